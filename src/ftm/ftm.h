// The daemon's entry, its one event loop and the loop's process-wide state.
#pragma once

#include <atomic>
#include <cstddef>

#include "ftm/tapp.h"

namespace ftm {

constexpr int FTM_STATE_NORMAL = 0;       // station in control
constexpr int FTM_STATE_FQC = 1;          // on-device menu in control
constexpr int FTM_STATE_CALIBRATION = 2;  // modem pass-through running

constexpr int NORMAL_TEST_MODE = 0;
constexpr int KEYPAD_TEST_MODE = 1;
constexpr int TOUCH_TEST_MODE = 2;

constexpr int KEY_SEND = 100;
constexpr int KEY_END = 229;

struct loop_globals {
	int max_fd = -1;
	int uart_fd = -1;
	int usb_fd = -1;
	int keypad_fd = -1;
	int touch_fd = -1;
	int jog_ball_fd = -1;
	// Read by the power-key thread and the forked log daemon.
	std::atomic<int> act_fd{0};
	std::atomic<int> log_fd{0};
	int ftm_state = FTM_STATE_NORMAL;
	int ftm_test_mode = NORMAL_TEST_MODE;
	// 1: no power-key thread wanted or running; 0: thread running.
	std::atomic<int> exitpwrkey_thread{1};
	int cap_touch_flag = 0;
	int virtual_key_flag = 0;
};
extern loop_globals loop;

// Puts the loop's state back to its start values (for tests).
void reset_loop_globals();

// The process: start-up in the phone's order, then the loop, for ever.
[[noreturn]] void ftm_main();

int write_response(int fd, const char *text);
int write_input_response(int fd, const char (*slots)[SLOT_SIZE], int count);
int connect_port_init_main(int fd);

// Thin wrappers of the 48-bit generator; the touch test's colours use them.
void srand(long seed);
long rand();

}  // namespace ftm
