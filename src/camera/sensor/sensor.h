// The sensor layer: which sensor the kernel found, its sizes and modes, its
// table of operations, and the conversions of a tuning record.
#pragma once

#include <array>
#include <cstdint>

#include "camera/config/led.h"
#include "camera/sensor/sensor_convert.h"

namespace cam {

struct config_ctrl_t;
struct sensor_ctrl_t;
struct sensor_tuning_t;  // only a Bayer driver supplies one

enum : uint32_t {
	SENSOR_OP_MODE_INIT = 0,
	SENSOR_OP_MODE_SNAPSHOT = 1,
	SENSOR_OP_MODE_RAW_SNAPSHOT = 2,
	SENSOR_OP_MODE_PREVIEW = 3,
	SENSOR_OP_MODE_NONE = 4,
};

enum : uint32_t { SENSOR_BAYER = 0, SENSOR_YCBCR = 1 };

// 31 slots; a null slot means "not supported" and every caller tests it.
struct sensor_ops_t {
	bool (*video_config)(sensor_ctrl_t *);
	bool (*raw_snapshot_config)(sensor_ctrl_t *);
	bool (*snapshot_config)(sensor_ctrl_t *);
	void *slot3;
	bool (*power_down)(sensor_ctrl_t *);
	bool (*set_aec_preview)(sensor_ctrl_t *, uint32_t gain, uint32_t line_count);
	bool (*set_default_focus)(sensor_ctrl_t *, int32_t);
	bool (*move_focus)(sensor_ctrl_t *, int32_t direction, int32_t steps);
	void *slot8;
	void *slot9;
	bool (*set_frame_rate)(sensor_ctrl_t *, uint16_t fps_q8);
	bool (*set_brightness)(int32_t);
	bool (*set_contrast)(int32_t);
	bool (*set_optical_zoom)(config_ctrl_t *);
	bool (*set_effect)(sensor_ctrl_t *, uint8_t);
	bool (*set_antibanding)(uint8_t);
	bool (*set_wb)(uint8_t);
	bool (*set_exposure_mode)(uint8_t);
	bool (*set_lens_shading_correction)(sensor_ctrl_t *, uint8_t);
	void *slot19;
	void *slot20;
	std::array<bool (*)(sensor_ctrl_t *, int32_t), 8> iso;
	void *slot29;
	bool (*set_autofocus)(sensor_ctrl_t *, int32_t);
};
static_assert(sizeof(sensor_ops_t) == 31 * sizeof(void *));

// A raw sensor's timing and its snapshot exposure, beside the slot table:
// what exposure needs for line times and flicker bands. Null: not given.
struct sensor_timing_ops_t {
	uint32_t (*pixel_clock)(const sensor_ctrl_t *);      // Hz
	uint32_t (*pixels_per_line)(const sensor_ctrl_t *);  // blanking included
	// Lines of one frame at the frame rate (Q8): the longest exposure.
	uint32_t (*lines_per_frame)(const sensor_ctrl_t *, uint16_t fps_q8);
	bool (*set_aec_snapshot)(sensor_ctrl_t *, uint32_t gain, uint32_t line_count, float digital_gain);
};

// The capability table; only the entries named are read by this program.
struct sensor_camctrl_t {
	int32_t iso_limit;  // -1: no ISO
	int32_t word2, word3;
	std::array<int32_t, 4> pairs;
	std::array<uint8_t, 6> bytes;
	uint8_t iso_supported;
	uint8_t af_use_isp;
	uint8_t lc_supported;
	std::array<uint8_t, 3> af_flags;  // all three set: focus statistics by the ISP
	uint8_t optical_zoom;
	uint8_t hjr;
	uint8_t digital_gain;  // the sensor applies a digital gain of its own
	std::array<uint8_t, 5> feature_flags;  // the sensor-side features a YCbCr driver turns off
	int16_t short3;
	int32_t word1;
	int32_t word65535;
	std::array<uint8_t, 3> flags;
	std::array<float, 2> big;
	float half;
	float one;
};

struct fps_entry_t {
	uint16_t rate;  // Q8
	uint8_t short_list;
	uint8_t pad[17];
};
static_assert(sizeof(fps_entry_t) == 20);

constexpr int SENSOR_FPS_MAX = 15;
constexpr int SENSOR_FPS_LIST_WORDS = 16;

// Two 14-bit fields in one 32-bit word; the lower field is named first.
struct camif_word_t {
	uint32_t word;
	uint32_t low() const { return word & 0x3FFF; }
	uint32_t high() const { return (word >> 14) & 0x3FFF; }
	void set(uint32_t lo, uint32_t hi) { word = (word & 0xF0000000u) | (lo & 0x3FFF) | ((hi & 0x3FFF) << 14); }
};

struct sensor_wb_block_t {
	std::array<uint16_t, 4> gain;
	uint32_t word;
};

// The AWB and AEC block and the focus search blocks of the common defaults,
// in the order the common initialisation writes them.
struct sensor_3a_defaults_t {
	int32_t awb_aec_word;
	float awb_aec_ratio;
	uint8_t awb_aec_flag;
	std::array<int32_t, 2> awb_aec_words;
	std::array<float, 2> awb_aec_bounds;
	std::array<float, 4> awb_aec_fractions;
	uint8_t awb_aec_flag2;
	std::array<int32_t, 28> af_search;
};

struct sensor_af_window_t {
	uint16_t first_x, first_y, last_x, last_y;
};

// A limit of the tuning is unset when it reads -1 or -2 as unsigned.
struct sensor_aec_limits_t {
	uint32_t luma_max;
	uint32_t luma_limit_1, luma_limit_2;
	int32_t exp_index_max;
};

struct sensor_ctrl_t {
	int sfd;
	const struct sensor_entry_t *sensors;
	uint32_t op_mode;
	uint32_t word5;
	uint32_t mode_word;  // 2 after sensor_init, 1 from the drivers
	uint32_t word0;
	uint8_t flags;  // bit 1 vsync edge, bit 2 hsync edge, bits 3-4 sync mode
	uint8_t gamma_enable;
	uint8_t cositing;
	uint8_t x_subsample;
	uint32_t output_format;
	std::array<uint16_t, 3> fps;
	uint16_t preview_fps;
	uint16_t current_width, current_height;
	uint16_t full_width, full_height;
	uint16_t qtr_width, qtr_height;
	uint32_t ratio_width_q12, ratio_height_q12;
	uint32_t fps_count;
	std::array<fps_entry_t, SENSOR_FPS_MAX> fps_table;
	uint16_t camif_window_max;  // the 16-bit word before camif_format
	uint32_t camif_format;
	camif_word_t camif_frame;   // pixels per line, lines per frame
	camif_word_t camif_width;   // last pixel, first pixel
	camif_word_t camif_height;  // last line, first line
	uint8_t saved_effect;
	uint16_t night_fps;
	uint8_t fps_on_preview;
	std::array<uint8_t, 4> driver_flags;  // two set to 1, two to 0 by the drivers
	uint32_t raw_output_type;
	const sensor_tuning_t *tuning;
	sensor_wb_block_t wb;
	uint32_t wb_mode;  // last white balance the client set
	uint8_t awb_auto;
	uint8_t af_feature, awb_feature, aec_feature, aec_extra;
	std::array<uint32_t, SENSOR_FPS_LIST_WORDS> fps_long;
	std::array<uint32_t, SENSOR_FPS_LIST_WORDS> fps_short;
	// Defaults for the 3A code that a Bayer driver may overwrite.
	float af_fine_ratio;
	uint32_t af_fine_steps;
	sensor_3a_defaults_t defaults_3a;
	uint8_t ycbcr_min, ycbcr_max;
	// Focus windows of preview (quarter size) and snapshot (full size): the
	// first pixel and line, and the last, a quarter in from each edge.
	std::array<sensor_af_window_t, 2> af_window;
	// Exposure limits: the tuning's, or their defaults where it leaves them unset.
	sensor_aec_limits_t aec_limits;
	sensor_converted_t tuned;  // filled from the tuning on a Bayer sensor
	sensor_camctrl_t camctrl;
	sensor_ops_t ops;
	sensor_timing_ops_t timing;
	uint8_t flash_enabled;
	led_ctrl_t led;
};

struct sensor_entry_t {
	const char *name;
	bool (*start)(sensor_ctrl_t *);
};

// The table of known sensors, tried in order.
const std::array<sensor_entry_t, 4> &sensor_table();

uint32_t sensor_get_info(uint32_t mode, config_ctrl_t *ctrl);
void sensor_init(sensor_ctrl_t *sensor);
void sensor_common_ctrl_init(sensor_ctrl_t *sensor);
void sensor_common_parm_init(sensor_ctrl_t *sensor);
void sensor_post_init(sensor_ctrl_t *sensor);
void sensor_validate_features(sensor_ctrl_t *sensor);
// The two focus windows for the sensor's quarter and full sizes.
void sensor_set_af_windows(sensor_ctrl_t *sensor);
bool sensor_iso_is_supported(const sensor_ctrl_t *sensor);
bool sensor_af_use_isp(const sensor_ctrl_t *sensor);
bool sensor_lc_is_supported(const sensor_ctrl_t *sensor);
void sensor_create_fps_list(sensor_ctrl_t *sensor);
// *mode_or_list: in, 1 for the long list; out, the list.
bool sensor_get_fps_list(const sensor_ctrl_t *sensor, uintptr_t *mode_or_list, uint32_t *count);
bool sensor_set_zoom(int32_t value);

struct sensor_aec_update_t {
	uint32_t gain;
	uint32_t line_count;
};
bool sensor_set_aec_preview(sensor_ctrl_t *sensor, const sensor_aec_update_t *update);
bool sensor_af_move_focus(sensor_ctrl_t *sensor, int32_t direction, int32_t steps);
bool sensor_af_set_default_focus(sensor_ctrl_t *sensor);
bool sensor_ycbcr_set_wb(config_ctrl_t *ctrl, int32_t value);
uint8_t sensor_get_camif_x_subsample(const sensor_ctrl_t *sensor);

uint32_t sensor_convert_float_2_int(double value, uint32_t q);
double sensor_convert_int_2_float(uint32_t value, uint32_t q);

// The kernel side of a sensor mode change (MSM_CAM_IOCTL_SENSOR_CFG).
int sensor_config(const sensor_ctrl_t *sensor, int32_t cfgtype, int32_t mode, int32_t value = 0);

bool ov5642_process_start(sensor_ctrl_t *sensor);
bool ov5642af_process_start(sensor_ctrl_t *sensor);
bool ov3642_process_start(sensor_ctrl_t *sensor);
bool ov5642_set_lens_shading_correction(sensor_ctrl_t *sensor, uint8_t value);
bool ov5642af_set_lens_shading_correction(sensor_ctrl_t *sensor, uint8_t value);
bool ov3642_set_lens_shading_correction(sensor_ctrl_t *sensor, uint8_t value);

}  // namespace cam
