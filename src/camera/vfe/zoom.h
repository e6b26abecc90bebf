// Digital zoom: a crop of the sensor window scaled back to the output size.
#pragma once

#include <array>
#include <cstdint>

#include "camera/config/effects.h"

namespace cam {

struct config_ctrl_t;

constexpr int ZOOM_TABLE_SIZE = 182;
constexpr uint32_t Q12_ONE = 4096;

// The crop record of MSM_CAM_IOCTL_SET_CROP.
struct zoom_scaling_t {
	uint32_t input1_width, output1_width, input1_height, output1_height;
	uint32_t input2_width, output2_width, input2_height, output2_height;
	uint8_t update_flag;
	uint8_t pad[3];
};
static_assert(sizeof(zoom_scaling_t) == 36);

struct zoom_ctrl_t {
	const uint32_t *zoomTable;
	std::array<uint8_t, ZOOM_TABLE_SIZE> zoomTableBump;
	int32_t minimum_table_index, maximum_table_index;
	int32_t words[3];
	cam_parm_info cam_parm_zoom;
	uint32_t maximum_crop_factor, crop_factor, base_crop_factor, working_crop_factor;
	uint32_t zoom_step_size;
	uint32_t crop_width, crop_height;
	uint8_t zoom_vfe_update_zoom;
	zoom_scaling_t zoomscaling;
	uint32_t first_pixel, last_pixel, first_line, last_line;
	uint32_t crop_first_pixel, crop_last_pixel, crop_first_line, crop_last_line;
	uint32_t crop_out_x, crop_out_y;
	uint32_t max_width, max_height;
};

const std::array<uint32_t, ZOOM_TABLE_SIZE> &camera_zoom_table();
void zoom_init_ctrl(zoom_ctrl_t *zoom);
void zoom_init(zoom_ctrl_t *zoom);
void zoom_calculate(config_ctrl_t *ctrl);
bool zoom_vfe(config_ctrl_t *ctrl);
bool zoom_proc(config_ctrl_t *ctrl, int32_t value);
void zoom_reset_scaler(zoom_scaling_t *scaling);

}  // namespace cam
