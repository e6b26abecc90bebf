// The 3A algorithms are not built yet. No sensor of the table is a Bayer
// sensor, so none of these runs but isp3a_free_ctrl after a failed probe;
// each reports failure, which the callers already handle.
#include <cstdio>

#include "camera/config/config.h"
#include "camera/isp3a/isp3a.h"

namespace cam {

bool isp3a_init_ctrl(config_ctrl_t *)
{
	std::fprintf(stderr, "isp3a: 3A not available\n");
	return false;
}

void isp3a_free_ctrl(config_ctrl_t *) {}

bool isp3a_miscs_execution(config_ctrl_t *, const isp3a_misc_t *) { return false; }

bool isp3a_set_wb(config_ctrl_t *, int32_t) { return false; }

void isp3a_set_awb_state_color_conversion_state(config_ctrl_t *ctrl, uint32_t state)
{
	ctrl->isp3aCtrl.awb_color_conversion_state = state;
}

bool af_process_start_focus(config_ctrl_t *) { return false; }

int32_t af_read_sharpness() { return 0; }

}  // namespace cam
