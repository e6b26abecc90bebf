// The camera test sequences: the capture that brings the stack up, takes a
// raw picture and shows a small copy of it; the retrieve that streams the
// picture's bytes to the station; the close that takes everything down.
// Trace goes to standard error, as in all of the camera stack.
#include "hal/camera.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "camera/config/config.h"
#include "ftm/debug.h"
#include "ftm/ftm.h"
#include "ftm/graphics.h"
#include "hal/camera_io.h"
#include "hal/camera_settle.h"
#include "hal/camframe.h"
#include "hal/lcd.h"
#include "platform/platform.h"

namespace hal {

using namespace cam;

camera_globals camera;

namespace {

struct sensor_row {
	std::string_view name;
	size_t compared;  // characters compared
	int select;
	int width, height;
};
// The longer name first: "ov5642" is a prefix of "ov5642af".
constexpr std::array<sensor_row, 4> sensor_table = {{
    {"bayersim", 8, SENSOR_BAYERSIM, 2592, 1944},
    {"ov5642af", 8, SENSOR_OV5642AF, 2592, 1944},
    {"ov5642", 6, SENSOR_OV5642, 2592, 1944},
    {"ov3642", 6, SENSOR_OV3642, 2048, 1536},
}};

constexpr uint16_t DISPLAY_W = 800, DISPLAY_H = 480;
constexpr int SHOWN_W = 320, SHOWN_H = 240;
constexpr uint32_t PREVIEW_BYTES = DISPLAY_W * DISPLAY_H * 3 / 2;
constexpr size_t PREVIEW_BUFFER_BYTES = SHOWN_W * SHOWN_H * 3;
constexpr unsigned CONF_SETTLE_US = 500000;
constexpr unsigned PREVIEW_SETTLE_US = 500000;
constexpr unsigned AF_SETTLE_US = 700000;
// After CAMERA_EXIT is answered, cam_conf ends within this.
constexpr int CONF_EXIT_LIMIT_MS = 2000;
// A sensor probe (power-up, tuning file) is over within this.
constexpr int CONF_PROBE_LIMIT_MS = 3000;

bool af_sensor() { return camera.g_SensorSelect == SENSOR_OV5642AF; }
bool bayer_sensor() { return camera.g_SensorSelect == SENSOR_BAYERSIM; }
// The preview that runs from the bring-up on: the snapshot stops it.
bool preview_from_bring_up() { return camera.g_SensorSelect == SENSOR_OV5642 || bayer_sensor(); }
bool preview_stops_after_snapshot()
{
	return camera.g_SensorSelect == SENSOR_OV5642AF || camera.g_SensorSelect == SENSOR_OV3642;
}

void choose_sensor(const char *name)
{
	camera.g_SensorSelect = SENSOR_UNKNOWN;
	camera.g_imageWidth = 2592;
	camera.g_imageHeight = 1944;
	for (const sensor_row &row : sensor_table)
		if (std::strncmp(name, row.name.data(), row.compared) == 0) {
			camera.g_SensorSelect = row.select;
			camera.g_imageWidth = row.width;
			camera.g_imageHeight = row.height;
			return;
		}
}

void start_cam_conf()
{
	// Probing from now: the thread may not have run a line when the client looks.
	cam_conf_phase = conf_phase::probing;
	camera.cam_conf_thread = std::thread([] { cam_conf(nullptr); });
}

// Waits, bounded, until cam_conf has probed: serving, or ended. A control
// command sent while it still probes would be lost with it if the probe
// fails, and wait out its own time-out.
conf_phase probed_cam_conf()
{
	int64_t limit = plat::now_ms() + CONF_PROBE_LIMIT_MS;
	while (cam_conf_phase == conf_phase::probing && plat::now_ms() < limit)
		plat::usleep(1000);
	return cam_conf_phase;
}

// cam_conf ends on CAMERA_EXIT; a thread that does not (a driver that
// never hands it the command) is let go rather than waited on for ever.
void stop_cam_conf(bool send_exit)
{
	if (!camera.cam_conf_thread.joinable())
		return;
	if (send_exit && probed_cam_conf() == conf_phase::serving) {
		ctrl_cmd_t cmd{50000, CAMERA_EXIT, 0, nullptr, 0, 0};
		if (plat::ioctl(camera.camfd, MSM_CAM_IOCTL_CTRL_COMMAND, &cmd) < 0)
			std::fputs("ioctl with CAMERA_EXIT failed\n", stderr);
	}
	int64_t limit = plat::now_ms() + CONF_EXIT_LIMIT_MS;
	while (cam_conf_phase != conf_phase::ended && plat::now_ms() < limit)
		plat::usleep(1000);
	if (cam_conf_phase != conf_phase::ended) {
		std::fputs("camera: cam_conf did not end; left behind\n", stderr);
		camera.cam_conf_thread.detach();
	} else {
		camera.cam_conf_thread.join();
	}
}

void release_preview_buffers()
{
	for (msm_frame &f : camera.frames) {
		if (!f.buffer)
			continue;
		camera.intrfcCtrl.native_unregister_preview_bufs(camera.camfd, camera.dimension, f.fd, f.buffer);
		do_munmap(f.fd, f.buffer, PREVIEW_BYTES);
		f = msm_frame{};
	}
}

void release_raw_buffer()
{
	if (!camera.raw_img_buf)
		return;
	camera.intrfcCtrl.native_unregister_raw_snapshot_bufs(camera.camfd, camera.dimension,
							       camera.pmemRawSnapshotfd, camera.raw_img_buf);
	do_munmap(camera.pmemRawSnapshotfd, camera.raw_img_buf, camera.raw_snapshot_buffer_size);
	camera.raw_img_buf = nullptr;
	camera.pmemRawSnapshotfd = -1;
}

// Everything the bring-up made, in the order the close takes it down.
void tear_down()
{
	release_raw_buffer();
	if (camera.frame_holding.buffer) {
		release_camframe_thread();
		release_camframe_fb_thread();
		camera.frame_holding = msm_frame{};
	}
	if (camera.dimension)
		release_preview_buffers();
	heap_free(camera.dimension);
	heap_free(camera.sharpness_AF);
	heap_free(camera.previewBuffer);
	stop_cam_conf(true);
	if (camera.camfd >= 0)
		plat::close(camera.camfd);
	camera.camfd = -1;
	remove_sighandler();
	camera.picture_taken = false;
	camera.InitDone = 0;
}

// Steps of the first capture; 0 or the failure code.
int bring_up()
{
	std::fputs("Camera Test Application\n", stderr);
	std::fputs("Init camera\n", stderr);
	if (!native_interface_init(&camera.intrfcCtrl, &camera.camfd)) {
		std::fputs("native_interface_init fail\n", stderr);
		return 1;
	}
	start_cam_conf();
	plat::usleep(CONF_SETTLE_US);  // all the synchronisation there is with cam_conf
	install_sighandler();
	camera.frames = {};
	camera.crop = {};

	camera.sharpness_AF = heap_alloc<uint8_t>(4);
	if (!camera.sharpness_AF) {
		std::fputs("main: malloc failed!\n", stderr);
		return 2;
	}
	camera.cropInfo = {camera.crop.data(), static_cast<uint32_t>(camera.crop.size())};
	camera.dimension = heap_alloc<cam_ctrl_dimension_t>(sizeof(cam_ctrl_dimension_t));
	if (!camera.dimension) {
		std::fputs("main: malloc failed!\n", stderr);
		return 3;
	}

	msm_camsensor_info info{};
	if (plat::ioctl(camera.camfd, MSM_CAM_IOCTL_GET_SENSOR_INFO, &info) < 0) {
		std::fputs("ioctl with MSM_CAM_IOCTL_GET_SENSOR_INFO failed\n", stderr);
		return 4;
	}
	info.name[sizeof info.name - 1] = '\0';
	choose_sensor(info.name);
	std::fprintf(stderr, "MSM_CAM_IOCTL_GET_SENSOR_INFO done - sensor_name: %s!\n", info.name);

	camera.previewBuffer = heap_alloc<uint8_t>(PREVIEW_BUFFER_BYTES);
	cam_ctrl_dimension_t &d = *camera.dimension;
	d.picture_width = static_cast<uint16_t>(camera.g_imageWidth);
	d.picture_height = static_cast<uint16_t>(camera.g_imageHeight);
	d.display_width = DISPLAY_W;
	d.display_height = DISPLAY_H;
	d.ui_thumbnail_width = SHOWN_W;
	d.ui_thumbnail_height = SHOWN_H;
	camframe.input_display[0] = DISPLAY_W;
	camframe.input_display[1] = DISPLAY_H;

	// A cam_conf that ended at start-up answers nothing, and one still
	// probing may yet end: the dimension's 200-second time-out would only
	// delay the same failure.
	conf_phase phase = probed_cam_conf();
	if (phase != conf_phase::serving) {
		std::fputs(phase == conf_phase::ended ? "native_set_dimension: cam_conf is not running\n"
						      : "native_set_dimension: cam_conf is still probing\n",
			   stderr);
		return 7;
	}
	if (camera.intrfcCtrl.native_set_dimension(camera.camfd, &d) != 1) {
		std::fputs("main: first setDimension failed!\n", stderr);
		return 7;
	}

	for (size_t cnt = 0; cnt < camera.frames.size(); ++cnt) {
		msm_frame &f = camera.frames[cnt];
		f.buffer = do_mmap(d.display_width * d.display_height * 3 / 2, &f.fd);
		if (!f.buffer) {
			std::fputs("main: malloc failed!\n", stderr);
			return 6;
		}
		f.y_off = 0;
		f.cbcr_off = static_cast<uint32_t>(d.display_width) * d.display_height;
		f.path = 2;
		// The driver fills three buffers in turn; the fourth stays with the display.
		camera.intrfcCtrl.native_register_preview_bufs(camera.camfd, &d, &f, cnt < 3 ? 1 : 0);
	}
	camera.raw_snapshot_buffer_size = static_cast<uint32_t>(d.raw_picture_height) * d.raw_picture_width;
	// A Bayer sensor's raw lines are shorter than the 4:2:2 picture its VFE
	// hands over and the station reads.
	if (bayer_sensor())
		camera.raw_snapshot_buffer_size = std::max(camera.raw_snapshot_buffer_size,
							   static_cast<uint32_t>(camera.g_imageWidth * camera.g_imageHeight * 2));

	camera.frame_holding = camera.frames[3];
	camframe.camframe_callback = test_app_camframe_callback;
	if (launch_camframe_fb_thread() != 0)
		std::fputs("camera: framebuffer thread did not start\n", stderr);
	if (launch_camframe_thread(&camera.frame_holding) != 0)
		std::fputs("camera: frame thread did not start\n", stderr);

	camera.raw_img_buf = static_cast<uint8_t *>(do_mmap(camera.raw_snapshot_buffer_size, &camera.pmemRawSnapshotfd));
	if (!camera.raw_img_buf)
		return 8;
	std::fprintf(stderr, "do_mmap snapshot pbuf = %p, pmem_fd = %d\n", static_cast<void *>(camera.raw_img_buf),
		     camera.pmemRawSnapshotfd);

	if (camera.intrfcCtrl.native_set_dimension(camera.camfd, &d) == 0) {
		std::fprintf(stderr, "main:%d setDimension failed!\n", __LINE__);
		return 9;
	}
	camera.intrfcCtrl.native_register_raw_snapshot_bufs(camera.camfd, &d, camera.pmemRawSnapshotfd,
							    camera.raw_img_buf);
	if (preview_from_bring_up()) {
		// This preview runs on until the snapshot of the first capture.
		if (!camera.intrfcCtrl.native_start_preview(camera.camfd)) {
			std::fprintf(stderr, "main:%d start_preview failed!\n", __LINE__);
			return 10;
		}
		plat::usleep(PREVIEW_SETTLE_US);
	}
	camera.InitDone = 1;
	return 0;
}

void set_autofocus(const char *start, const char *fail)
{
	sensor_cfg_data cfg{};
	cfg.cfgtype = CFG_SET_AUTOFOCUS;
	std::fputs(start, stderr);
	if (plat::ioctl(camera.camfd, MSM_CAM_IOCTL_SENSOR_CFG, &cfg) < 0)
		std::fputs(fail, stderr);
}

// Steps of every capture; 0 or the failure code.
int snapshot()
{
	native_interface &n = camera.intrfcCtrl;
	if (af_sensor())
		set_autofocus("CFG_SET_AUTOFOCUS start - 1\n", "CFG_SET_AUTOFOCUS-1 fail\n");
	if (preview_stops_after_snapshot()) {
		if (!n.native_start_preview(camera.camfd)) {
			std::fprintf(stderr, "main:%d start_preview failed!\n", __LINE__);
			return 11;
		}
		if (af_sensor())
			plat::usleep(AF_SETTLE_US);
	}
	if (bayer_sensor()) {
		// Exposure and white balance follow the scene frame by frame.
		settle_result r = wait_for_3a_settle();
		std::fprintf(stderr, "camera: 3A %s after %d preview frames, luma %d\n",
			     r.settled ? "settled" : "did not settle", r.frames, r.luma);
	}
	if (!n.native_stop_preview(camera.camfd)) {
		std::fprintf(stderr, "main:%d stop_preview failed!\n", __LINE__);
		return 12;
	}
	if (af_sensor())
		set_autofocus("CFG_SET_AUTOFOCUS start - 2\n", "CFG_SET_AUTOFOCUS-2 fail\n");
	std::fputs("RAW - snapshot - 1!\n", stderr);
	if (!n.native_start_raw_snapshot(camera.camfd)) {
		std::fprintf(stderr, "main:%d start_raw_snapshot failed!\n", __LINE__);
		return 13;
	}
	std::fputs("RAW - snapshot - 2!\n", stderr);
	if (!n.native_get_picture(camera.camfd, &camera.cropInfo)) {
		std::fprintf(stderr, "main:%d getPicture failed!\n", __LINE__);
		return 14;
	}
	std::fputs("RAW - snapshot - 3!\n", stderr);
	if (!n.native_start_preview(camera.camfd)) {
		std::fprintf(stderr, "main:%d start_preview failed!\n", __LINE__);
		return 15;
	}
	if (preview_stops_after_snapshot()) {
		std::fputs("RAW - snapshot - 4!\n", stderr);
		if (!n.native_stop_preview(camera.camfd)) {
			std::fprintf(stderr, "main:%d stop_preview failed!\n", __LINE__);
			return 16;
		}
	}
	return 0;
}

// The top-left corner of the picture, one pixel in `factor` each way, on a
// 320 by 240 patch of the panel.
void show_picture()
{
	int factor = camera.g_imageWidth / SHOWN_W;
	size_t mapped = cam_mmap_size(camera.raw_snapshot_buffer_size);
	if (!camera.previewBuffer || !camera.raw_img_buf)
		return;
	for (int y = 0; y < SHOWN_H; ++y)
		for (int x = 0; x < SHOWN_W; ++x) {
			uint32_t p = static_cast<uint32_t>((y * factor) * camera.g_imageWidth + x * factor);
			int r = 0, g = 0, b = 0;
			if (size_t{p} * 2 + 3 < mapped)
				YUVtoRGBOV9655(camera.raw_img_buf, p, camera.g_imageWidth, camera.g_imageHeight, &r, &g, &b);
			uint8_t *px = camera.previewBuffer + (static_cast<size_t>(y) * SHOWN_W + x) * 3;
			px[0] = static_cast<uint8_t>(r);
			px[1] = static_cast<uint8_t>(g);
			px[2] = static_cast<uint8_t>(b);
		}
	for (int y = 0; y < SHOWN_H; ++y)
		for (int x = 0; x < SHOWN_W; ++x) {
			const uint8_t *px = camera.previewBuffer + (static_cast<size_t>(y) * SHOWN_W + x) * 3;
			ftm::draw(x, y, px[0], px[1], px[2]);
		}
	msm_blit();
}

}  // namespace

void camera_reset()
{
	camera.camfd = -1;
	camera.InitDone = 0;
	camera.g_SensorSelect = SENSOR_UNKNOWN;
	camera.g_imageWidth = camera.g_imageHeight = 0;
	camera.frames = {};
	camera.frame_holding = {};
	camera.raw_img_buf = nullptr;
	camera.pmemRawSnapshotfd = -1;
	camera.raw_snapshot_buffer_size = 0;
	camera.UYVY2YUYVDone = 0;
	camera.picture_taken = false;
}

void YUVtoRGBOV9655(const uint8_t *buffer, uint32_t pixel, int, int, int *r, int *g, int *b)
{
	const uint8_t *q = buffer + size_t{pixel} * 2;
	int luma = (pixel & 1) ? q[2] : q[0];
	int cb = q[1] * 4 - 512, cr = q[3] * 4 - 512;
	auto part = [&](int c0, int c1) { return std::clamp(((cb * c0 + cr * c1 + 32768) >> 16) + luma, 0, 255); };
	*r = part(8, 25803) >> 3;
	*g = part(-3071, -7672) >> 2;
	*b = part(30399, 12) >> 3;
}

int camera_preview(int) { return 0; }

int camera_capture(int)
{
	camera.picture_taken = false;  // a failed capture leaves no picture to send
	int rc = camera.InitDone ? 0 : bring_up();
	if (rc == 0)
		rc = snapshot();
	if (rc != 0) {
		restore_console();
		// Unlike the phone's first capture, a failed bring-up leaves
		// nothing behind: the next capture starts from clean.
		if (!camera.InitDone)
			tear_down();
		return rc;
	}
	camera.UYVY2YUYVDone = 0;
	camera.picture_taken = true;
	if (ftm::lcd_init() != 0)
		std::fputs("lcd init failed\n", stderr);
	else
		show_picture();
	std::fputs("RAW - snapshot - 5!\n", stderr);
	return 0;
}

int camera_retrieve_file()
{
	// Without a picture of this bring-up there is nothing to send: the
	// station gets "ERROR\n" and no stream.
	if (!camera.picture_taken || !camera.raw_img_buf) {
		std::fputs("camera_retrieve_file: no picture taken\n", stderr);
		return 1;
	}
	int fd = ftm::loop.act_fd;
	size_t width = static_cast<size_t>(camera.g_imageWidth), height = static_cast<size_t>(camera.g_imageHeight);
	size_t bytes = std::min(width * height * 2, size_t{cam_mmap_size(camera.raw_snapshot_buffer_size)});
	std::array<char, 64> line{};
	int n = std::snprintf(line.data(), line.size(), "FORMAT= YUV422\n");
	bool ok = send_data(fd, line.data(), static_cast<size_t>(n));
	n = std::snprintf(line.data(), line.size(), "RESOLUTION= %d, %d\n", camera.g_imageWidth, camera.g_imageHeight);
	ok = ok && send_data(fd, line.data(), static_cast<size_t>(n));
	n = std::snprintf(line.data(), line.size(), "SIZE= %d\n", static_cast<int>(width * height * 2));
	ok = ok && send_data(fd, line.data(), static_cast<size_t>(n));
	ok = ok && send_data(fd, "\nOK\n", 4);
	// No picture byte may look like a line end to a station reading lines.
	for (size_t i = 0; i < bytes; ++i)
		if (camera.raw_img_buf[i] == 10 || camera.raw_img_buf[i] == 13)
			--camera.raw_img_buf[i];
	if (camera.UYVY2YUYVDone == 0)
		camera.UYVY2YUYVDone = 1;
	size_t block = width * 4;
	for (size_t i = 0; ok && i < height / 2 && (i + 1) * block <= bytes; ++i)
		ok = send_data(fd, camera.raw_img_buf + i * block, block);
	if (!ok)
		DBG("camera_retrieve_file: the station stopped reading; picture cut short\n");
	return 0;
}

int camera_close()
{
	if (camera.InitDone != 1)
		return 0;
	if (preview_stops_after_snapshot() && !camera.intrfcCtrl.native_start_preview(camera.camfd))
		std::fputs("camera_close:start_preview failed!\n", stderr);
	tear_down();
	return 0;
}

}  // namespace hal

namespace ftm {

int at_camera_preview(tapp_record *) { return hal::camera_preview(0); }

int at_camera_capture(tapp_record *)
{
	int rc = hal::camera_capture(1);
	if (rc == 0)
		return 0;
	std::array<char, 32> text{};
	int n = std::snprintf(text.data(), text.size(), "FTM CAM ERR:%02x\n", rc);
	plat::write(loop.act_fd, text.data(), static_cast<size_t>(n));
	return 1;
}

int at_camera_retrieve(tapp_record *) { return hal::camera_retrieve_file(); }

int at_camera_close(tapp_record *) { return hal::camera_close(); }

}  // namespace ftm
