// The two frame threads of the camera client: cam_frame takes finished
// preview frames from the driver and hands them to the display, and
// camframe_fb_thread pans the panel once for each frame blitted.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>

#include "camera/msm_camera.h"

namespace hal {

struct camframe_globals {
	std::thread frame_thread;
	std::thread cam_frame_fb_thread_id;
	int camerafd1 = -1;
	int fb_fd = -1;
	uint16_t input_display[2] = {800, 480};  // source size of the preview blit
	int num_of_ready_frames = 0;             // under camframe_fb_mutex
	std::atomic<int> camframe_exit{0};
	std::atomic<int> camframe_fb_exit{0};
	// 0 starting, 1 ready, -1 the thread gave up before it was ready.
	int is_camframe_thread_ready = 0;
	int is_camframe_fb_thread_ready = 0;
	std::mutex sub_thread_ready_mutex;
	std::condition_variable sub_thread_ready_cond;
	std::mutex camframe_fb_mutex;
	std::condition_variable camframe_fb_cond;
	void (*camframe_callback)(cam::msm_frame *frame) = nullptr;
	int dump_to_file_flag = 0;
};
extern camframe_globals camframe;

// Back to the start values; the threads must be stopped.
void camframe_reset();

void *cam_frame(void *frame);
void camframe_fb_thread();
// 0 once the thread is ready; -1 if it could not start.
int launch_camframe_fb_thread();
void release_camframe_fb_thread();
int launch_camframe_thread(cam::msm_frame *frame);
void release_camframe_thread();
void camframe_terminate();
void notify_camframe_fb_thread();
void test_app_camframe_callback(cam::msm_frame *frame);

void dump_to_file(int flag);
int is_dump_to_file();

}  // namespace hal
