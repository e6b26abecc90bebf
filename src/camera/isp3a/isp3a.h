// The 3A control that the camera control calls on a Bayer sensor, and the
// plain records through which exposure, focus and white balance hand their
// results on. The algorithms never call each other: AEC writes aec_state and
// the update record, AF and AWB read them.
#pragma once

#include <array>
#include <cstdint>

#include "camera/sensor/tuning.h"

namespace cam {

struct config_ctrl_t;
struct sensor_ctrl_t;

constexpr int STATS_REGIONS = 256;
constexpr uint32_t AEC_AWB_BUF_BYTES = 8224;  // header word + 256 regions of 8 words
constexpr uint32_t AF_BUF_BYTES = 4228;
constexpr uint32_t STATS_25BIT = 0x1FFFFFF;
constexpr uint32_t STATS_17BIT = 0x1FFFF;

// min, max, step, default, current.
struct parm_desc_t {
	int32_t min, max, step, def, cur;
};

// Region statistics decoded from the front end's buffer.
struct vfe_stat_t {
	uint32_t Focus, NFocus;
	std::array<uint32_t, STATS_REGIONS> SY, Cb, Cr, Y, count;
};

// Output of AEC, read by AF and AWB.
struct aec_state_t {
	parm_desc_t exposure_mode, exposure_compensation, iso;
	int16_t indoor_index, outdoor_index, prev_exp_index;
	uint8_t luma_target, current_luma;
	uint32_t aec_frame_cnt;
	float current_real_gain;
	int32_t num_exp_tab_val;
	int16_t exp_index;
	uint16_t sensor_max_fps, sensor_fps_limit;
	uint32_t sensor_fps;
	std::array<uint32_t, 3> led_words;
	float exposure_index_adj_step;
	uint32_t snapshot_gain;
	float digital_gain;
	uint32_t luma_settled_cnt;
	uint8_t aec_enabled;
};

// Pending changes for the sensor and the front end, filled by AEC and AWB.
struct isp3a_update_t {
	uint32_t gain, line_count;  // gain Q8
	float digital_gain;
	uint16_t fps;  // Q8, the snapshot's frame rate
	uint8_t bounding_box_update;
	awb_box_t box;
	uint8_t wb_update;
	float r_gain, g_gain, b_gain;
	uint8_t wb_applied;  // set with wb_update
	uint8_t conversionInCP_update;
	std::array<int32_t, CC_WORDS> conversion;
	uint8_t color_correction_update, color_correction_applied;
	std::array<int32_t, 13> color_correction;  // nine coefficients, three offsets, Q factor
	uint8_t gamma_update, gamma_applied;
	std::array<uint8_t, GAMMA_ENTRIES> gamma;  // the table AEC chose
};

// AWB's state, mirrored after every run.
struct awb_state_t {
	int32_t decision;
	std::array<int32_t, 3> tuning_words;
	float filter_r, filter_g, filter_b;
	int32_t awb_mode;
};

struct isp3a_buf_t {
	uint32_t len;
	uint32_t *addr;
	int fd;
};

// The statistics buffers and 3A working data; the 3A code owns the contents.
struct isp3a_ctrl_t {
	float wb_gain[3];  // red, green, blue, from the sensor's defaults
	uint32_t awb_color_conversion_state;
	uint32_t iso;
	uint32_t focus_mode;  // the client's auto focus request
	parm_desc_t wb_parm;
	awb_state_t awb_state;
	float wb_gain_r, wb_gain_g, wb_gain_b;
	uint8_t awb_supported;
	uint8_t awb_auto;
	aec_state_t aec_state;
	std::array<int32_t, 15> af_parm;  // [10]: 0 normal, 1 macro
	uint32_t curAwbAecBuf;
	uint8_t curAfBuf;
	std::array<isp3a_buf_t, 3> AecAwbBuf, AfBuf;
	vfe_stat_t *vfeStatStruct;
	isp3a_update_t update_record;
	uint32_t isp3a_op;
	std::array<uint8_t, 15> trigger;
	uint32_t aec_LED_stats_cnt;
	uint8_t validStatsExisted;
	int32_t num_regions;
};

// The call record of one algorithm run, built on the stack.
struct isp3a_ctx_t {
	sensor_ctrl_t *sensor;
	isp3a_ctrl_t *isp3a;
	int32_t num_regions;
	uint32_t pix_per_region;
	uint32_t af_last_line, af_first_line;
};

enum : int32_t {
	ISP3A_OP_INIT = 0,
	ISP3A_OP_PREVIEW = 1,
	ISP3A_OP_SNAPSHOT = 2,
	ISP3A_OP_MISC = 4,
};

enum : int32_t {
	ISP3A_MISC_EXPOSURE_MODE = 1,
	ISP3A_MISC_ISO = 2,
	ISP3A_MISC_ANTIBANDING = 3,
	ISP3A_MISC_BRIGHTNESS = 4,
	ISP3A_MISC_EXPOSURE_COMPENSATION = 5,
	ISP3A_MISC_STOP_PREVIEW = 9,
	ISP3A_MISC_EXPOSURE_INFO = 10,
};

struct isp3a_misc_t {
	int32_t type;
	int32_t value[2];
};

bool isp3a_init_ctrl(config_ctrl_t *ctrl);
// Safe to call without isp3a_init_ctrl.
void isp3a_free_ctrl(config_ctrl_t *ctrl);
bool isp3a_miscs_execution(config_ctrl_t *ctrl, const isp3a_misc_t *misc);
bool isp3a_set_wb(config_ctrl_t *ctrl, int32_t value);
void isp3a_set_awb_state_color_conversion_state(config_ctrl_t *ctrl, uint32_t state);
bool af_process_start_focus(config_ctrl_t *ctrl);
int32_t af_read_sharpness();
// A statistics message of the front end on a Bayer sensor: type 0 AEC/AWB,
// 1 AF, whose window is the field-of-view crop's lines. Consumes the
// one-frame skip flag.
void isp3a_vfe_stats_msg(config_ctrl_t *ctrl, int32_t type, int32_t fd);
// The camera control's run of 3A with its front end: op 2 with no new
// buffer is the snapshot's exposure, from the preview's statistics.
int32_t isp3a_stats_execution(config_ctrl_t *ctrl, int32_t op, int32_t new_buffer);

// The camera-free core of the control, on a sensor and a 3A record alone:
// what the camera control runs through the calls above, and what tests and
// tools run on recorded statistics.
bool isp3a_start(sensor_ctrl_t *sensor, isp3a_ctrl_t *isp3a, int32_t num_regions);
void isp3a_stop(isp3a_ctrl_t *isp3a);
int32_t isp3a_shared_parse_regions(const uint32_t *raw, isp3a_ctrl_t *isp3a, uint32_t numReg_flag);
// One AEC/AWB statistics frame. stats_state is the front end's statistics
// state (AWB runs only at 6). Returns 1.
int32_t isp3a_stats_execution(sensor_ctrl_t *sensor, isp3a_ctrl_t *isp3a, int32_t op, int32_t new_buffer,
			      uint32_t stats_state);
// One AF statistics frame. Returns AF's result, or 1 when AF is idle.
int32_t isp3a_process_af_stats(sensor_ctrl_t *sensor, isp3a_ctrl_t *isp3a, uint32_t first_line, uint32_t last_line);
bool isp3a_set_wb_on(sensor_ctrl_t *sensor, isp3a_ctrl_t *isp3a, int32_t value);
void isp3a_update_led_state(isp3a_ctrl_t *isp3a, uint32_t state);
int isp3a_select_gamma_table(int mode);
isp3a_ctx_t isp3a_ctx(sensor_ctrl_t *sensor, isp3a_ctrl_t *isp3a);
// Pixels that one region of the statistics grid covers.
uint32_t isp3a_pix_per_region(const sensor_ctrl_t *sensor, int32_t num_regions);

}  // namespace cam
