// Preview frames from the driver to the panel. cam_frame holds one frame
// back as the one on display and gives the one before it back to the
// driver, so the DSP never writes the buffer that the panel reads.
#include "hal/camframe.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <linux/fb.h>
#include <sys/select.h>

#include "hal/camera_settle.h"
#include "platform/platform.h"

namespace hal {

using namespace cam;

camframe_globals camframe;

namespace {

constexpr unsigned long MSMFB_BLIT = 0x40046D02;
constexpr const char *FB_PATH = "/dev/graphics/fb0";
constexpr unsigned RETRY_US = 100000;
constexpr int WAIT_MS = 500;
// A thread that neither starts nor fails within this is given up on.
constexpr auto LAUNCH_LIMIT = std::chrono::seconds(5);
// The framebuffer thread looks at its exit flag at least this often.
constexpr auto FB_WAIT_LIMIT = std::chrono::milliseconds(500);

struct mdp_img {
	uint32_t width, height, format, offset;
	int32_t memory_id;
};
struct mdp_rect {
	uint32_t x, y, w, h;
};
struct mdp_blit_req {
	mdp_img src, dst;
	mdp_rect src_rect, dst_rect;
	uint32_t alpha, transp_mask, flags;
	uint32_t reserved;
};
struct mdp_blit_req_list {
	uint32_t count;
	mdp_blit_req req;
};
static_assert(sizeof(mdp_blit_req_list) == 92);

fb_var_screeninfo vinfo{};
fb_fix_screeninfo finfo{};
mdp_blit_req_list yuv{};  // only cam_frame writes it

int64_t now_us()
{
	using namespace std::chrono;
	return duration_cast<microseconds>(steady_clock::now().time_since_epoch()).count();
}

void set_ready(int &flag, int value)
{
	std::lock_guard lock(camframe.sub_thread_ready_mutex);
	flag = value;
	camframe.sub_thread_ready_cond.notify_all();
}

// Waits for a thread's start-up hand-shake; 0 when it is ready.
int wait_ready(const int &flag)
{
	std::unique_lock lock(camframe.sub_thread_ready_mutex);
	camframe.sub_thread_ready_cond.wait_for(lock, LAUNCH_LIMIT, [&] { return flag != 0; });
	return flag == 1 ? 0 : -1;
}

void join(std::thread &t, const char *failure)
{
	if (t.joinable())
		t.join();
	else
		std::fputs(failure, stderr);
}

}  // namespace

void camframe_reset()
{
	camframe.camerafd1 = -1;
	camframe.fb_fd = -1;
	camframe.num_of_ready_frames = 0;
	camframe.camframe_exit = 0;
	camframe.camframe_fb_exit = 0;
	camframe.is_camframe_thread_ready = 0;
	camframe.is_camframe_fb_thread_ready = 0;
	camframe.camframe_callback = nullptr;
	camframe.dump_to_file_flag = 0;
}

void camframe_fb_thread()
{
	camframe.fb_fd = plat::open(FB_PATH, O_RDWR);
	if (camframe.fb_fd < 0) {
		std::fprintf(stderr, "cannot open framebuffer %s or %s file node\n", FB_PATH, "/dev/fb0");
		set_ready(camframe.is_camframe_fb_thread_ready, -1);
		return;
	}
	const char *failure = nullptr;
	if (plat::ioctl(camframe.fb_fd, FBIOGET_VSCREENINFO, &vinfo) < 0)
		failure = "cannot retrieve vscreenInfo!\n";
	else if (plat::ioctl(camframe.fb_fd, FBIOGET_FSCREENINFO, &finfo) < 0)
		failure = "can't retrieve fscreenInfo!\n";
	if (failure) {
		std::fputs(failure, stderr);
		plat::close(camframe.fb_fd);
		camframe.fb_fd = -1;
		set_ready(camframe.is_camframe_fb_thread_ready, -1);
		return;
	}
	vinfo.activate = FB_ACTIVATE_VBL;  // a pan waits for the vertical blank
	set_ready(camframe.is_camframe_fb_thread_ready, 1);

	std::unique_lock lock(camframe.camframe_fb_mutex);
	while (!camframe.camframe_fb_exit) {
		if (camframe.num_of_ready_frames < 1)
			camframe.camframe_fb_cond.wait_for(lock, FB_WAIT_LIMIT);
		if (camframe.num_of_ready_frames > 0) {
			--camframe.num_of_ready_frames;
			int64_t td1 = now_us();
			int rc = plat::ioctl(camframe.fb_fd, FBIOPAN_DISPLAY, &vinfo);
			int64_t td2 = now_us();
			std::fprintf(stderr, "cam_frame_fb_thread: elapse time for FBIOPAN_DISPLAY = %ld\n",
				     static_cast<long>(td2 - td1));
			std::fprintf(stderr, "cam_frame_fb_thread: FBIOPAN_DISPLAY returns %d\n", rc);
			if (rc < 0)
				std::fputs("FBIOPAN_DISPLAY: Failed\n", stderr);
		}
	}
	// The descriptor outlives the thread: the next launch opens its own,
	// so close this one here rather than leak it.
	plat::close(camframe.fb_fd);
	camframe.fb_fd = -1;
}

int launch_camframe_fb_thread()
{
	camframe.camframe_fb_exit = 0;
	camframe.is_camframe_fb_thread_ready = 0;
	camframe.cam_frame_fb_thread_id = std::thread(camframe_fb_thread);
	return wait_ready(camframe.is_camframe_fb_thread_ready);
}

void release_camframe_fb_thread()
{
	camframe.camframe_fb_exit = 1;
	{
		std::lock_guard lock(camframe.camframe_fb_mutex);
		camframe.camframe_fb_cond.notify_all();
	}
	join(camframe.cam_frame_fb_thread_id, "cam_frame_fb_thread exit failure!\n");
}

void notify_camframe_fb_thread()
{
	std::lock_guard lock(camframe.camframe_fb_mutex);
	++camframe.num_of_ready_frames;
	camframe.camframe_fb_cond.notify_all();
}

void test_app_camframe_callback(msm_frame *frame)
{
	settle_note_frame(*frame, camframe.input_display[0], camframe.input_display[1]);
	mdp_blit_req &e = yuv.req;
	yuv.count = 1;
	e = {};
	e.src = {camframe.input_display[0], camframe.input_display[1], 2, 0, frame->fd};
	e.dst = {vinfo.xres, vinfo.yres, 0, 0, camframe.fb_fd};
	e.alpha = 255;
	e.transp_mask = 0xFFFFFFFF;
	e.flags = 0;
	std::array<uint32_t, 8> c{};
	if (frame->path == 1 && frame->cropinfo)
		std::memcpy(c.data(), frame->cropinfo, std::min<size_t>(sizeof c, frame->croplen));
	if (frame->path == 1 && (c[4] || c[6])) {
		e.src_rect.x = ((c[5] - c[4] + 1) >> 1) - 1;
		e.src_rect.y = ((c[7] - c[6] + 1) >> 1) - 1;
		e.src_rect.w = c[4];
		e.src_rect.h = c[6];
		std::fprintf(stderr, "e->src_rect.x = %d\n", static_cast<int>(e.src_rect.x));
		std::fprintf(stderr, "e->src_rect.y = %d\n", static_cast<int>(e.src_rect.y));
		std::fprintf(stderr, "e->src_rect.w = %d\n", static_cast<int>(e.src_rect.w));
		std::fprintf(stderr, "e->src_rect.h = %d\n", static_cast<int>(e.src_rect.h));
	} else {
		e.src_rect = {0, 0, camframe.input_display[0], camframe.input_display[1]};
	}
	e.dst_rect = {0, 0, camframe.input_display[0], camframe.input_display[1]};
	int64_t t1 = now_us();
	if (plat::ioctl(camframe.fb_fd, MSMFB_BLIT, &yuv) < 0)
		std::fprintf(stderr, "MSM_FBIOBLT failed! line=%d\n", 168);
	std::fprintf(stderr, "Profiling: MSMFB_BLIT takes %ld microseconds\n", static_cast<long>(now_us() - t1));
	notify_camframe_fb_thread();
}

void *cam_frame(void *arg)
{
	msm_frame held = *static_cast<msm_frame *>(arg);
	camframe.camframe_exit = 0;
	camframe.camerafd1 = plat::open("/dev/msm_camera0", O_RDWR);
	if (camframe.camerafd1 < 0) {
		set_ready(camframe.is_camframe_thread_ready, -1);
		return nullptr;
	}
	set_ready(camframe.is_camframe_thread_ready, 1);
	std::array<uint8_t, 36> crop{};
	int64_t last = now_us();
	for (;;) {
		int retval = plat::wait_fd(camframe.camerafd1, POLLIN, WAIT_MS);
		std::fprintf(stderr, "camerafd1 = %d\n", camframe.camerafd1);
		std::fprintf(stderr, "retval = %d\n", retval);
		if (retval <= 0) {
			plat::usleep(RETRY_US);
		} else if (!camframe.camframe_exit) {
			msm_frame frame{};
			frame.cropinfo = crop.data();
			frame.croplen = crop.size();
			int rc = plat::ioctl(camframe.camerafd1, MSM_CAM_IOCTL_GETFRAME, &frame);
			if (rc < 0) {
				std::fprintf(stderr,
					     "cam_frame: MSM_CAM_IOCTL_GETFRAME ioctl failed. ioctl return value is %d \n", rc);
				plat::usleep(RETRY_US);
			} else if (frame.buffer) {
				frame.path = 1;
				rc = plat::ioctl(camframe.camerafd1, MSM_CAM_IOCTL_RELEASE_FRAME_BUFFER, &held);
				if (rc < 0) {
					std::fprintf(stderr,
						     "cam_frame: MSM_CAM_IOCTL_RELEASE_FRAMEE_BUFFER ioctl failed. ioctl "
						     "return value is %d \n",
						     rc);
					break;
				}
				if (camframe.camframe_callback)
					camframe.camframe_callback(&frame);
				held = frame;
				held.cropinfo = crop.data();
				held.croplen = crop.size();
				int64_t now = now_us();
				if (now > last)
					std::fprintf(stderr, "Profiling: preview frame rate is %f\n",
						     1000000.0 / static_cast<double>(now - last));
				last = now;
			}
		}
		if (camframe.camframe_exit)
			break;
	}
	plat::close(camframe.camerafd1);
	camframe.camerafd1 = -1;
	std::fputs("Exiting camframe thread\n", stderr);
	return nullptr;
}

int launch_camframe_thread(msm_frame *frame)
{
	camframe.is_camframe_thread_ready = 0;
	camframe.camframe_exit = 0;
	msm_frame first = *frame;
	camframe.frame_thread = std::thread([first]() mutable { cam_frame(&first); });
	return wait_ready(camframe.is_camframe_thread_ready);
}

void release_camframe_thread()
{
	camframe.camframe_exit = 1;
	join(camframe.frame_thread, "frame_thread exit failure!\n");
	std::fputs("pthread_join succeeded on frame_thread, \n", stderr);
}

void camframe_terminate()
{
	camframe.camframe_exit = 1;
	std::fputs("In camframe_terminate\n", stderr);
}

void dump_to_file(int flag) { camframe.dump_to_file_flag = flag; }
int is_dump_to_file() { return camframe.dump_to_file_flag; }

}  // namespace hal
