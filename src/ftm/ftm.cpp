// The process entry and the daemon's only event loop.
#include "ftm/ftm.h"

#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <pthread.h>
#include <sys/ioctl.h>
#include <poll.h>
#include <termios.h>

#include "ftm/command.h"
#include "ftm/debug.h"
#include "ftm/log_step.h"
#include "ftm/mode.h"
#include "hal/fqc.h"
#include "hal/gpio.h"
#include "hal/hal.h"
#include "hal/input.h"
#include "platform/platform.h"

namespace ftm {

loop_globals loop;

namespace {

// The loop's buffers, kept over all passes. The command buffer has zeroed
// slack behind it so that decoding a short frame reads zeros, never beyond.
struct loop_buffers {
	char command[COMMAND_SIZE + COMMAND_SLACK];
	char answer[ANSWER_SIZE];
	uint8_t events[hal::INPUT_READ_SIZE];
	char raw_slots[INPUT_SLOTS][SLOT_SIZE];
	char frames[INPUT_SLOTS][SLOT_SIZE];
	int slot_count;
};
loop_buffers buf;

// A station port whose far end hung up reads end-of-file at once on every
// pass: it is left out of the wait and looked at again on this slow timer,
// so it neither starves the other sources nor spins the loop.
constexpr int64_t HANGUP_LOOK_MS = 1000;
struct port_watch {
	bool hung = false;
	int64_t since = 0;
};
port_watch uart_watch, usb_watch;

bool look_at(const port_watch &w) { return !w.hung || plat::now_ms() - w.since >= HANGUP_LOOK_MS; }

// Key counters; never reset.
uint16_t keycode, key_send, key_end;
pthread_t powerkey_thread;

// The loop's sources, in the order a pass serves them.
enum source { UART, USB, KEYPAD, JOG_BALL, TOUCH, SOURCE_COUNT };

// poll, not an fd_set: a descriptor of any number can be waited on.
struct input_set {
	pollfd fds[SOURCE_COUNT];
};

void set_input_fd(input_set *set)
{
	if (loop.usb_fd < 0 && look_at(usb_watch) && hal::get_usb_fd(&loop.usb_fd) != 0) {
		loop.usb_fd = -1;
		if (usb_watch.hung)
			usb_watch.since = plat::now_ms();
	}
	const int uart = look_at(uart_watch) ? loop.uart_fd : -1;
	const int usb = look_at(usb_watch) ? loop.usb_fd : -1;
	const int fds[SOURCE_COUNT] = {uart, usb, loop.keypad_fd, loop.jog_ball_fd, loop.touch_fd};
	for (int i = 0; i < SOURCE_COUNT; ++i) {
		set->fds[i] = {fds[i] < 0 ? -1 : fds[i], POLLIN, 0};  // poll skips a negative one
		if (fds[i] > loop.max_fd)
			loop.max_fd = fds[i];
	}
}

bool is_ready(const input_set &set, source s)
{
	return set.fds[s].fd >= 0 && (set.fds[s].revents & (POLLIN | POLLHUP | POLLERR)) != 0;
}

void *thread_powerkey_detection(void *)
{
	if (hal::fd_gpio < 1)
		hal::fd_gpio = plat::open("/dev/ftmgpio", O_RDWR);
	unsigned char state = 0;
	while (loop.exitpwrkey_thread == 0) {
		plat::usleep(300000);
		if (plat::ioctl(hal::fd_gpio, hal::FTMGPIO_POWER_KEY, uintptr_t{0}) != 0)
			DBG("thread_powerkey_detection ioctls failed.\n");
		if (plat::read(hal::fd_gpio, &state, 1) != 1)
			DBG("thread_powerkey_detection reads failed!\n");
		DBG("thread_powerkey_detection reads result[0]=%d\n", state);
		if (state != 0) {
			char slot[1][SLOT_SIZE] = {"01"};
			char frame[1][SLOT_SIZE] = {};
			assemble_input_tapp_response(frame, slot, 1);
			write_response(loop.act_fd, frame[0]);
		}
	}
	return nullptr;
}

// The power-key thread lives only while the keypad test mode does, and its
// life is decided here, after each command.
void update_powerkey_thread()
{
	if (loop.exitpwrkey_thread == 0 && loop.ftm_test_mode != KEYPAD_TEST_MODE) {
		loop.exitpwrkey_thread = 1;
		DBG("TURN_OFF_KEYPAD_TEST!\n");
		if (pthread_join(powerkey_thread, nullptr) != 0) {
			loop.exitpwrkey_thread = 0;
			DBG("tapp_keypad_test: Thread join failed!\n");
		} else {
			DBG("thread_powerkey_detection is deleted!\n");
		}
	}
	if (loop.exitpwrkey_thread == 1 && loop.ftm_test_mode == KEYPAD_TEST_MODE) {
		loop.exitpwrkey_thread = 0;
		int created = pthread_create(&powerkey_thread, nullptr, thread_powerkey_detection, nullptr);
		plat::usleep(300000);
		if (created != 0) {
			DBG("tapp_keypad_test: Thread creation failed!\n");
			loop.exitpwrkey_thread = 1;
		}
	}
}

void port_hung_up(port_watch &w, int fd)
{
	if (!w.hung)
		DBG("port %d hung up; looked at again every %d ms\n", fd, static_cast<int>(HANGUP_LOOK_MS));
	w.hung = true;
	w.since = plat::now_ms();
	// The USB port is the daemon's own: closed, so that a station that comes
	// back on a new device is opened afresh.
	if (fd == loop.usb_fd && fd != loop.uart_fd) {
		hal::close_usb_fd();
		loop.usb_fd = -1;
		if (loop.act_fd == fd)
			loop.act_fd = loop.uart_fd;
		if (loop.log_fd == fd)
			loop.log_fd = -1;
	}
}

void command_step()
{
	port_watch &watch = loop.act_fd == loop.uart_fd ? uart_watch : usb_watch;
	ssize_t n = plat::read(loop.act_fd, buf.command, COMMAND_SIZE);
	if (n <= 0) {
		if (plat::is_hung_up(loop.act_fd))
			port_hung_up(watch, loop.act_fd);
		return;
	}
	if (watch.hung)
		DBG("port %d is back\n", loop.act_fd.load());
	watch.hung = false;
	check_tapp_command(buf.command, static_cast<size_t>(n), buf.answer, sizeof buf.answer);
	report_hangups();
	log_step();
	write_response(loop.act_fd, buf.answer);
	DBG("exitpwrkey_thread=%d,ftm_test_mode=%d!\n", loop.exitpwrkey_thread.load(), loop.ftm_test_mode);
	update_powerkey_thread();
}

void drain_keypad() { (void)plat::read(loop.keypad_fd, buf.events, sizeof buf.events); }

void menu_key(int code)
{
	switch (code) {
	case 103: case 115: hal::fqc_menu_select_up(); break;
	case 108: case 114: hal::fqc_menu_select_down(); break;
	case 28: case 231: hal::fqc_menu_select(); break;
	case 14: case 158: hal::show_fqc_menu(); break;
	default: break;
	}
}

void report_keys(int count)
{
	buf.slot_count = 0;
	hal::keypad_handler(buf.events, count, buf.raw_slots, &buf.slot_count);
	if (buf.slot_count != 0 && keycode != 0) {
		assemble_input_tapp_response(buf.frames, buf.raw_slots, buf.slot_count);
		write_input_response(loop.act_fd, buf.frames, buf.slot_count);
	}
}

void key_step()
{
	ssize_t n = plat::read(loop.jog_ball_fd, buf.events, sizeof buf.events);
	if (n <= 0) {
		n = plat::read(loop.keypad_fd, buf.events, sizeof buf.events);
		keycode = static_cast<uint16_t>(hal::get_keycode(buf.events));
		DBG("keycode= %d\n", keycode);
		if (n <= 0)
			return;
	} else {
		keycode = 1;
	}
	int count = static_cast<int>(n >> 4);
	if (keycode == KEY_SEND)
		++key_send;
	else if (keycode == KEY_END)
		++key_end;
	if (loop.ftm_state != FTM_STATE_FQC && key_send > 4 && key_end > 4) {
		loop.ftm_state = FTM_STATE_FQC;
		hal::show_fqc_menu();
	}

	if (loop.ftm_state == FTM_STATE_FQC) {
		if (loop.ftm_test_mode == KEYPAD_TEST_MODE) {
			if (plat::read(loop.keypad_fd, buf.events, sizeof buf.events) > 0)
				DBG("fqc enter\n");
		} else if (loop.ftm_test_mode == NORMAL_TEST_MODE) {
			menu_key(keycode);
		}
	} else if (loop.ftm_state == FTM_STATE_NORMAL) {
		if (loop.ftm_test_mode == KEYPAD_TEST_MODE)
			report_keys(count);
		else
			drain_keypad();
	} else if (loop.ftm_state != FTM_STATE_CALIBRATION) {
		drain_keypad();
	}
}

void touch_step()
{
	ssize_t n = plat::read(loop.touch_fd, buf.events, sizeof buf.events);
	if (n <= 0)
		return;
	int count = static_cast<int>(n >> 4);
	if (loop.ftm_test_mode != TOUCH_TEST_MODE)
		return;
	if (loop.ftm_state == FTM_STATE_NORMAL) {
		buf.slot_count = 0;
		hal::touchpad_handler(buf.events, count, buf.raw_slots, &buf.slot_count);
		write_input_response(loop.act_fd, buf.raw_slots, buf.slot_count);
	} else if (loop.ftm_state == FTM_STATE_FQC) {
		hal::fqc_touchpanel_test(buf.events, count);
	}
}

void start_up()
{
	// What "mkdir /data" does, without a shell and a program start.
	plat::mkdir("/data", 0777);
	plat::system("mount -t yaffs2 /dev/block/mtdblock9 /data");
	hal::show_info();
	loop.uart_fd = 0;
	loop.cap_touch_flag = 0;
	loop.virtual_key_flag = 0;
	hal::get_keypad_fd(&loop.keypad_fd);
	hal::get_touchpad_fd(&loop.touch_fd);
	hal::get_jogball_fd(&loop.jog_ball_fd);
	ftm::srand(plat::time(nullptr));
	write_response(loop.act_fd, "FTMModeReady\n");
	DBG("FTMModeReady\n");
	log_step();
	// Held open for the life of the process; nothing uses it.
	(void)plat::open("/dev/ftmgpio", O_RDWR);
	loop.exitpwrkey_thread = 1;
}

}  // namespace

void reset_loop_globals()
{
	loop.max_fd = -1;
	loop.uart_fd = loop.usb_fd = loop.keypad_fd = loop.touch_fd = loop.jog_ball_fd = -1;
	loop.act_fd = 0;
	loop.log_fd = 0;
	loop.ftm_state = FTM_STATE_NORMAL;
	loop.ftm_test_mode = NORMAL_TEST_MODE;
	loop.exitpwrkey_thread = 1;
	loop.cap_touch_flag = loop.virtual_key_flag = 0;
	uart_watch = usb_watch = {};
}

int write_response(int fd, const char *text) { return static_cast<int>(plat::write(fd, text, std::strlen(text))); }

int write_input_response(int fd, const char (*slots)[SLOT_SIZE], int count)
{
	for (int i = 0; i < count; ++i)
		(void)plat::write(fd, slots[i], strnlen(slots[i], SLOT_SIZE));
	return 0;
}

void srand(long seed) { ::srand48(seed); }
long rand() { return ::lrand48(); }

int connect_port_init_main(int fd)
{
	struct termios tio{};
	if (plat::ioctl(fd, TCGETS, &tio) != 0) {
		DBG("tcgetattr failed!\n");
		return 1;
	}
	struct termios raw = tio;
	raw.c_cflag = (raw.c_cflag & ~static_cast<tcflag_t>(0x100F)) | B19200;
	raw.c_cflag |= CLOCAL | CREAD;
	raw.c_cflag &= ~static_cast<tcflag_t>(PARENB | CSTOPB | CRTSCTS | CSIZE);
	raw.c_cflag |= CS8;
	raw.c_iflag &= ~static_cast<tcflag_t>(ICRNL | IXON | IXANY | IXOFF);
	raw.c_oflag &= ~static_cast<tcflag_t>(OPOST);
	raw.c_lflag &= ~static_cast<tcflag_t>(ISIG | ICANON | ECHO | ECHOE);
	plat::ioctl(fd, TCFLSH, uintptr_t{2});
	if (plat::ioctl(fd, TCSETS, &raw) != 0) {
		DBG("tcsetattr failed!\n");
		return 1;
	}
	return 0;
}

void ftm_main()
{
	int64_t timeout_ms = 3000;  // set once: after the first expiry the loop polls
	start_up();
	for (;;) {
		std::memset(buf.answer, 0, sizeof buf.answer);
		std::memset(buf.command, 0, sizeof buf.command);
		input_set set;
		set_input_fd(&set);
		plat::poll_left(set.fds, SOURCE_COUNT, &timeout_ms);

		if (is_ready(set, UART)) {
			loop.act_fd = loop.uart_fd;
			loop.log_fd = loop.usb_fd;
			command_step();
		} else if (is_ready(set, USB)) {
			loop.act_fd = loop.usb_fd;
			loop.log_fd = loop.uart_fd;
			command_step();
		} else if (is_ready(set, KEYPAD) || is_ready(set, JOG_BALL)) {
			key_step();
		} else if (is_ready(set, TOUCH)) {
			touch_step();
		}
	}
}

}  // namespace ftm
