// The image-effect parameter table and the effect and contrast changes.
#pragma once

#include <cstddef>
#include <cstdint>

namespace cam {

struct config_ctrl_t;

struct cam_parm_info {
	int32_t minimum_value;
	int32_t maximum_value;
	int32_t step_value;
	int32_t default_value;
	int32_t current_value;
};

// Only contrast, special effect and hue are read or written; the other rows
// are carried as the table stands.
struct effects_ctrl_t {
	cam_parm_info row0;
	cam_parm_info row1;
	cam_parm_info row2;
	cam_parm_info row3;
	cam_parm_info row4;
	cam_parm_info contrast;
	cam_parm_info special_effect;
	uint8_t effect_flag[4];  // set by vfe_util_set_special_effect; [0] is the gamma flag
	cam_parm_info row7;
	cam_parm_info hue;
	int32_t alt_color;  // low byte 1: the pipeline takes the second colour record
	cam_parm_info row9;
	cam_parm_info row10;
	int32_t spare[5];
	cam_parm_info last;
	int32_t luma_nr;  // low byte: luma noise reduction on the Bayer path
};
static_assert(offsetof(effects_ctrl_t, effect_flag) == 140);
static_assert(offsetof(effects_ctrl_t, alt_color) == 184);
static_assert(offsetof(effects_ctrl_t, luma_nr) == 268 && sizeof(effects_ctrl_t) == 272);

void effects_init(effects_ctrl_t *effects);
bool effects_set_special_effect(effects_ctrl_t *effects, int32_t effect);
bool effects_set_contrast(config_ctrl_t *ctrl, int32_t value);

}  // namespace cam
