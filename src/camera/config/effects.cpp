// The image-effect parameter table and the changes of effect and contrast.
#include "camera/config/effects.h"

#include <array>
#include <cstdio>

#include "camera/config/config.h"

namespace cam {

void effects_init(effects_ctrl_t *e)
{
	*e = effects_ctrl_t{};
	e->row0 = {0, 1, 1, 0, 0};
	e->row1 = {0, 2, 1, 0, 0};
	e->row2 = {0, 3, 1, 0, 0};
	e->row3 = {0, 1, 1, 0, 0};
	e->row4 = {0, 6, 1, 3, 3};
	e->contrast = {0, 10, 1, 5, 5};
	e->special_effect = {1, 4, 1, 1, 1};
	e->row7 = {0, 30, 1, 10, 10};
	e->hue = {0, 6, 1, 0, 0};
	e->row9 = {0, 10, 1, 5, 5};
	e->row10 = {0, 6, 1, 0, 0};
	e->last = {0, 3, 1, 0, 0};
}

namespace {

struct effect_map {
	int32_t value;
	uint32_t vfe_effect;
	const char *message;
	uint32_t color_conversion_state;
};

constexpr std::array<effect_map, 9> effect_table = {{
    {1, 0, "SPECIAL EFFECT OFF", 0},
    {2, 2, "SPECIAL EFFECT MONO", 1},
    {3, 3, "SPECIAL EFFECT NEGATIVE", 1},
    {4, 8, "SPECIAL EFFECT SOLARIZE", 1},
    {8, 1, "SPECIAL EFFECT SEPIA", 1},
    {9, 5, "SPECIAL EFFECT POSTERIZE", 1},
    {10, 7, "SPECIAL EFFECT WHITEBOARD", 1},
    {11, 6, "SPECIAL EFFECT BLACKBOARD", 1},
    {12, 4, "SPECIAL EFFECT AQUA", 1},
}};

}  // namespace

bool effects_set_special_effect(effects_ctrl_t *effects, int32_t effect)
{
	if (effect == effects->special_effect.current_value)
		return true;
	std::fprintf(stderr, "effects_set_special_effect: %ld\n", static_cast<long>(effect));
	for (const effect_map &m : effect_table) {
		if (m.value != effect)
			continue;
		if (vfe_util_set_special_effect(&cfgctrl, m.vfe_effect))
			isp3a_set_awb_state_color_conversion_state(&cfgctrl, m.color_conversion_state);
		std::fprintf(stderr, "%s\n", m.message);
		return true;
	}
	return false;
}

bool effects_set_contrast(config_ctrl_t *ctrl, int32_t value)
{
	effects_ctrl_t &e = ctrl->effectsCtrl;
	if (value == e.contrast.current_value)
		return true;
	bool r = true;
	if (ctrl->sensorCtrl.output_format != SENSOR_BAYER) {
		if (ctrl->sensorCtrl.ops.set_contrast)
			r = ctrl->sensorCtrl.ops.set_contrast(static_cast<int8_t>(value & 0xFF));
	} else if (ctrl->sensorCtrl.gamma_enable) {
		// The stored contrast goes to the table, not the new one: a change
		// takes hold one step late, as it always has.
		vfe_preview_putgammatable(ctrl, e.special_effect.current_value, e.contrast.current_value, 3);
	}
	if (r)
		e.contrast.current_value = value;
	return r;
}

}  // namespace cam
