// The station's camera test: capture a full-size raw picture, send its
// bytes over the port, close the camera. The first capture brings up the
// whole camera stack; the close takes all of it down again.
#pragma once

#include <array>
#include <cstdint>
#include <termios.h>
#include <thread>

#include "hal/native_cam.h"

namespace hal {

enum camera_sensor : int {
	SENSOR_UNKNOWN = 0,
	SENSOR_OV5642 = 1,
	SENSOR_OV5642AF = 2,
	SENSOR_OV3642 = 3,
	SENSOR_BAYERSIM = 4,  // raw Bayer: 3A runs on the preview
};

struct camera_globals {
	int camfd = -1;
	int InitDone = 0;
	int g_SensorSelect = SENSOR_UNKNOWN;
	int g_imageWidth = 0, g_imageHeight = 0;
	cam_ctrl_dimension_t *dimension = nullptr;
	std::array<msm_frame, 4> frames{};
	msm_frame frame_holding{};
	std::array<uint8_t, 36> crop{};
	crop_block cropInfo{};
	uint8_t *raw_img_buf = nullptr;
	int pmemRawSnapshotfd = -1;
	uint32_t raw_snapshot_buffer_size = 0;
	uint8_t *previewBuffer = nullptr;
	uint8_t *sharpness_AF = nullptr;
	int UYVY2YUYVDone = 0;
	bool picture_taken = false;  // a retrieve needs a picture of this bring-up
	std::thread cam_conf_thread;
	native_interface intrfcCtrl{};
	// Console state of the key handler.
	bool console_saved = false;
	termios oldtio{}, newtio{};
};
extern camera_globals camera;
// Forgets the state of a stopped camera (tests).
void camera_reset();

int camera_preview(int arg);
// 0, or the failure code the station sees as "FTM CAM ERR:%02x\n".
int camera_capture(int arg);
// 0 once the picture is sent; 1 when there is no picture to send.
int camera_retrieve_file();
int camera_close();

// One pixel of a 4:2:2 picture in the panel's RGB565 parts.
void YUVtoRGBOV9655(const uint8_t *buffer, uint32_t pixel, int width, int height, int *r, int *g, int *b);

// The console key handler on standard input (camera_console.cpp).
void install_sighandler();
void remove_sighandler();
void restore_console();
// Signals the handler has seen (tests).
int console_signals();

}  // namespace hal
