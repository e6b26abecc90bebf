#include "support/isp3a_rig.h"

#include <fstream>
#include <sstream>

#include "camera/config/led.h"
#include "camera/isp3a/aec.h"
#include "camera/sensor/bayersim.h"

namespace testing_support {

namespace {

isp3a_rig *current = nullptr;

bool rig_set_aec(cam::sensor_ctrl_t *, uint32_t gain, uint32_t lines)
{
	current->gain = gain;
	current->lines = lines;
	current->exposure_writes++;
	return true;
}

bool rig_set_aec_snapshot(cam::sensor_ctrl_t *, uint32_t gain, uint32_t lines, float digital_gain)
{
	current->gain = gain;
	current->lines = lines;
	current->digital_gain = digital_gain;
	current->snapshot_writes++;
	return true;
}

bool rig_move_focus(cam::sensor_ctrl_t *, int32_t direction, int32_t steps)
{
	if (current->fail_moves)
		return false;
	current->lens += direction ? steps : -steps;
	current->moves++;
	return true;
}

bool rig_default_focus(cam::sensor_ctrl_t *, int32_t)
{
	current->lens = current->tuning.af_far_end;
	return true;
}

}  // namespace

std::string bayersim_tuning_text()
{
	std::ifstream in(std::string(FTM_SOURCE_DIR) + "/src/station/board/system/etc/bayersim.tuning");
	std::stringstream ss;
	ss << in.rdbuf();
	return ss.str();
}

isp3a_rig::isp3a_rig() : aec_buf(cam::AEC_AWB_BUF_BYTES / 4), af_buf(cam::AF_BUF_BYTES / 4)
{
	current = this;
	cam::led_ctrl_p = nullptr;
}

isp3a_rig::~isp3a_rig()
{
	cam::isp3a_stop(&c);
	if (current == this)
		current = nullptr;
}

bool isp3a_rig::start(const std::string &text)
{
	std::string err;
	if (!cam::tuning_parse(text, &tuning, &err))
		return false;
	cam::sensor_init(&sensor);
	cam::bayersim_start_with(&sensor, &tuning);
	sensor.ops.set_aec_preview = rig_set_aec;
	sensor.timing.set_aec_snapshot = rig_set_aec_snapshot;
	sensor.ops.move_focus = rig_move_focus;
	sensor.ops.set_default_focus = rig_default_focus;
	c.AecAwbBuf[0] = {cam::AEC_AWB_BUF_BYTES, aec_buf.data(), 3};
	c.AfBuf[0] = {cam::AF_BUF_BYTES, af_buf.data(), 4};
	cam::isp3a_start(&sensor, &c, 256);
	int i = c.aec_state.exp_index;
	gain = static_cast<uint32_t>(tuning.exp_gain[i]);
	lines = static_cast<uint32_t>(tuning.exp_lines[i]);
	lens = 0;  // the lens rests where the focus code counts from
	scene.pix_per_region = cam::isp3a_pix_per_region(&sensor, 256);
	return true;
}

void isp3a_rig::frame()
{
	sim::bayer_fill_aec_awb(scene, gain, lines, cam::get_led_state() != 0, 256, aec_buf);
	c.curAwbAecBuf = 0;
	cam::isp3a_stats_execution(&sensor, &c, cam::ISP3A_OP_PREVIEW, 1, stats_state);
}

int32_t isp3a_rig::af_frame()
{
	sim::bayer_fill_af(scene, lens, c.vfeStatStruct ? c.vfeStatStruct->NFocus : 0, af_buf);
	c.curAfBuf = 0;
	return cam::isp3a_process_af_stats(&sensor, &c, 0, 959);
}

uint8_t isp3a_rig::luma() const { return c.aec_state.current_luma; }

}  // namespace testing_support
