// Control of the VFE on the DSP: its operations, the update protocol and the
// handlers of its messages and events.
#pragma once

#include <array>
#include <cstdint>

#include "camera/msm_camera.h"
#include "camera/sensor/sensor_convert.h"
#include "camera/vfe/colour_record.h"
#include "camera/vfe/vfe_cmd.h"

namespace cam {

struct config_ctrl_t;

enum : uint32_t { VFE_MODE_PREVIEW = 0, VFE_MODE_SNAPSHOT = 1, VFE_MODE_RAW_SNAPSHOT = 2, VFE_MODE_PREVIEW_ALT = 3 };

// QDSP messages (vfe_msg.type 0).
enum : uint16_t {
	VFE_RESET_ACK = 0,
	VFE_STOP_ACK = 1,
	VFE_SNAPSHOT_DONE = 2,
	VFE_ILLEGAL_COMMAND = 3,
	VFE_START_ACK = 4,
	VFE_UPDATE_ACK = 5,
	VFE_OUTPUT1 = 6,
	VFE_OUTPUT2 = 7,
	VFE_STATS_AUTOFOCUS = 8,
	VFE_STATS_WB_EXP = 9,
	VFE_STATS_HISTOGRAM = 10,
	VFE_ERROR = 13,
};
// ADSP RTOS events (vfe_msg.type 1).
enum : uint16_t {
	ADSP_RTOS_MOD_READY = 0,
	ADSP_RTOS_MOD_DISABLE = 1,
	ADSP_RTOS_SERVICE_RESET = 2,
	ADSP_RTOS_CMD_FAIL = 3,
	ADSP_RTOS_CMD_SUCCESS = 4,
};

// A command held back while a VFE_UPDATE is out. It keeps the record's
// address, not a copy: what goes out is the record as it stands then.
struct vfe_stored_cmd_t {
	uint32_t cmd_type;
	uint16_t queue;
	uint16_t length;
	void *record;
};
constexpr int VFE_STORED_MAX = 64;  // more than any configuration sends

using vfe_state_op = bool (*)(int camfd, uint32_t *state, struct vfe_ctrl_t *vfe);

struct vfe_ctrl_t {
	vfe_cmd_block_t *vcmd;
	uint8_t hjr_enable;
	uint8_t stats_skip;
	uint32_t vfeMode;
	uint32_t stats_state;
	uint32_t outputs;  // bit 0 output 1, bit 1 output 2
	int8_t VfeUpdate;
	int8_t InVfeUpdate;
	std::array<vfe_stored_cmd_t, VFE_STORED_MAX> stored;
	uint32_t stored_count;
	float sharpness;
	float downscale_factor;
	float asf_limits[3];
	bool (*vfeEnableFn)(config_ctrl_t *);
	int (*vfeDisableFn)(int camfd);
	vfe_state_op vfeResetFn;
	vfe_state_op vfeStopFn;
	vfe_state_op vfeStartFn;
	bool (*vfePreviewConfigFn)(config_ctrl_t *);
	bool (*vfeSnapshotConfigFn)(config_ctrl_t *);
	bool (*vfeRawSnapshotConfigFn)(config_ctrl_t *);
	bool (*vfeStatsUpdateFn)(int kind, config_ctrl_t *);
	bool (*vfeUpdateFn)(config_ctrl_t *);
	uint32_t output1_width, output1_height;
	uint32_t output2_width, output2_height;
	uint8_t restart;
};

struct vfe_trigger_t {
	std::array<uint8_t, 15> value;
};

void vfe_init(config_ctrl_t *ctrl);
void vfe_trigger_init(vfe_trigger_t *trigger);
bool vfe_enable_vfe(config_ctrl_t *ctrl);
int vfe_disable_vfe(int camfd);
bool vfe_reset_vfe(int camfd, uint32_t *state, vfe_ctrl_t *vfe);
bool vfe_stop_vfe(int camfd, uint32_t *state, vfe_ctrl_t *vfe);
bool vfe_start_vfe(int camfd, uint32_t *state, vfe_ctrl_t *vfe);
bool vfe_vfe_update(config_ctrl_t *ctrl);
bool vfe_stats_update(int kind, config_ctrl_t *ctrl);
bool vfe_set_dimension(config_ctrl_t *ctrl, const uint16_t *dimension);

int vfe_proc_vfe_msg(const vfe_msg_t *msg, config_ctrl_t *ctrl);
int vfe_proc_vfe_evt(const vfe_msg_t *msg, config_ctrl_t *ctrl);

bool vfe_preview_config(config_ctrl_t *ctrl);
bool vfe_snapshot_config(config_ctrl_t *ctrl);
bool vfe_snapshot_raw_config(config_ctrl_t *ctrl);
// The AXI record of a raw snapshot: the sensor's window on output 2, its
// line in 64-bit words by the raw type. The ioctl's result, negative on failure.
int vfe_snapshot_raw_axi_init(config_ctrl_t *ctrl);

// Results of vfe_util_sendcmd.
enum : int { VFE_SEND_FAILED = 0, VFE_SENT = 1, VFE_STORED = 2 };
int vfe_util_sendcmd(uint32_t cmd_type, void *record, uint16_t length, uint16_t queue);
template <size_t N>
int vfe_util_send(vfe_rec<N> &record, uint16_t queue, uint32_t cmd_type = 0)
{
	return vfe_util_sendcmd(cmd_type, record.data(), static_cast<uint16_t>(N), queue);
}
void vfe_util_init(vfe_ctrl_t *vfe, const struct sensor_ctrl_t *sensor);
bool vfe_util_get_sensor_info(uint32_t mode, config_ctrl_t *ctrl);
void vfe_util_copy_sensor(config_ctrl_t *ctrl);
void vfe_util_sharpness_afilter(config_ctrl_t *ctrl);
bool vfe_util_hue_sat_incolorprocess(config_ctrl_t *ctrl, float hue, float saturation);
bool vfe_util_set_special_effect(config_ctrl_t *ctrl, uint32_t effect);
// Both gamma records take the tuning's default table again.
void vfe_util_updategammafromtuning(config_ctrl_t *ctrl);
// The colour conversion in force without an effect: the one 3A chose last,
// or the sensor's default before 3A has chosen one; null without a tuning
// record and a choice.
const colour_conversion_t *vfe_util_current_conversion(const config_ctrl_t *ctrl);
bool vfe_util_get_input_numReg(const config_ctrl_t *ctrl);
void vfe_util_update_fovcrop(uint32_t first_pixel, uint32_t last_pixel, uint32_t first_line, uint32_t last_line);
void vfe_util_updatescaleoutput(config_ctrl_t *ctrl, uint32_t x, uint32_t y);
void vfe_util_updatescaleoutput_rec(vfe_rec<292> &record, uint32_t x, uint32_t y);
void vfe_util_af_stop(uint32_t);
// cmd_type of the statistics commands.
enum : uint32_t { VFE_STATS_DISABLE = 13, VFE_STATS_ENABLE = 14, VFE_STATS_AF = 15 };
struct vfe_stats_bounds_t {
	uint32_t min_y, max_y;
	std::array<uint32_t, 4> slope;      // of the neutral region lines 0 to 3
	std::array<uint32_t, 4> intercept;  // Cb line 1, Cr line 2, Cb line 3, Cr line 4
};
// The bounds as the update record lays them out from byte 6; the
// configuration record holds the same fields 4 bytes further on.
constexpr size_t VFE_STATS_BOUNDS_IN_CFG = 4;
constexpr std::array<size_t, 4> VFE_STATS_INTERCEPT_AT = {14, 12, 18, 16};
template <size_t N>
void vfe_put_stats_bounds(vfe_rec<N> &r, size_t shift, const vfe_stats_bounds_t &b)
{
	r.set(6 + shift, 0, 8, b.min_y);
	r.set(7 + shift, 0, 8, b.max_y);
	for (size_t i = 0; i < 4; ++i) {
		r.set(8 + i + shift, 0, 8, b.slope[i]);
		r.set(VFE_STATS_INTERCEPT_AT[i] + shift, 0, 12, b.intercept[i]);
	}
}
bool vfe_util_updatestatssend(vfe_ctrl_t *vfe, uint32_t cmd_type);
bool vfe_update_stats_config(vfe_ctrl_t *vfe, const vfe_stats_bounds_t &bounds);
// The bounds that an update record holds.
vfe_stats_bounds_t vfe_stats_bounds_of(const vfe_rec<20> &update);
bool vfe_af_stop(vfe_ctrl_t *vfe);
bool vfe_util_updatewb(vfe_ctrl_t *vfe, float red, float green, float blue, bool send);
void vfe_util_updategamma(vfe_ctrl_t *vfe, const uint8_t *table);
uint32_t vfe_util_get_input_pix_per_region(const config_ctrl_t *ctrl);
// 3A on a Bayer sensor: statistics set-up and the records 3A changes.
bool vfe_preview_aecawb_init(config_ctrl_t *ctrl);
bool vfe_preview_af_init(config_ctrl_t *ctrl);
void vfe_util_copy_aec_awb_config(config_ctrl_t *ctrl);
void vfe_util_copy_af_config(config_ctrl_t *ctrl);
bool vfe_util_af_start(config_ctrl_t *ctrl, uint32_t mode);
bool vfe_util_updateblacklevel(vfe_ctrl_t *vfe, uint32_t a, uint32_t b, bool send);
bool vfe_util_updatecorrincolorproc(config_ctrl_t *ctrl, const colour_correction_t &matrix, bool send);
bool vfe_util_updateconversincolorprcess(config_ctrl_t *ctrl, const colour_conversion_t &matrix);
// The roll-off record from a converted table; preview and snapshot alike.
void vfe_preview_updaterollofftbl(config_ctrl_t *ctrl, const sensor_rolloff_t &table);
// Builds and sends the adaptive filter record if the tuning's mode is 2 or
// 3; true if sent. Preview and snapshot alike.
bool vfe_preview_configadaptivefilter(config_ctrl_t *ctrl);
void vfe_preview_putgammatable(config_ctrl_t *ctrl, int32_t effect, int32_t contrast, int32_t light);

}  // namespace cam
