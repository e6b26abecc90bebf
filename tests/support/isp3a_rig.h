// A closed loop of the 3A control and the simulated Bayer sensor, with no
// camera driver: the scene model fills the statistics buffers, the sensor
// operations move the rig's exposure and lens.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "camera/isp3a/isp3a.h"
#include "camera/sensor/sensor.h"
#include "camera/sensor/tuning.h"
#include "sim/bayer_scene.h"

namespace testing_support {

std::string bayersim_tuning_text();

// bayersim's readout, from its data sheet: 96 MHz over 3200 pixels a line.
constexpr double BAYERSIM_LINE_SECONDS = 3200.0 / 96e6;

struct isp3a_rig {
	cam::sensor_tuning_t tuning{};
	cam::sensor_ctrl_t sensor{};
	cam::isp3a_ctrl_t c{};
	sim::bayer_scene_t scene;
	std::vector<uint32_t> aec_buf, af_buf;
	uint32_t gain = 256, lines = 1;
	int lens = 0;
	int moves = 0, exposure_writes = 0;
	int snapshot_writes = 0;  // the snapshot's exposure, into gain and lines too
	float digital_gain = 1.0f;
	bool fail_moves = false;
	uint32_t stats_state = 6;

	isp3a_rig();
	~isp3a_rig();
	isp3a_rig(const isp3a_rig &) = delete;
	isp3a_rig &operator=(const isp3a_rig &) = delete;
	// Starts the driver and 3A on the tuning file of the tree (or text).
	bool start(const std::string &tuning_text = bayersim_tuning_text());
	// One AEC/AWB statistics frame of the scene as the sensor now sees it.
	void frame();
	// One AF statistics frame at the lens position.
	int32_t af_frame();
	uint8_t luma() const;
};

}  // namespace testing_support
