// Trace, device registry and GPIO wrappers run in the test process, on a
// board of its own.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <fstream>
#include <string>
#include <unistd.h>

#include "ftm/debug.h"
#include "ftm/ftm.h"
#include "ftm/log.h"
#include "hal/gpio.h"
#include "hal/hal.h"
#include "hal/utils.h"
#include "local_board.h"
#include "platform/platform.h"

namespace {

using namespace factory_test;

// A pipe standing in for a port; the read end is non-blocking.
struct Port {
	int fds[2] = {-1, -1};
	Port()
	{
		EXPECT_EQ(::pipe2(fds, O_NONBLOCK | O_CLOEXEC), 0);
	}
	~Port()
	{
		::close(fds[0]);
		::close(fds[1]);
	}
	std::string take()
	{
		std::string s;
		char buf[512];
		ssize_t n;
		while ((n = ::read(fds[0], buf, sizeof buf)) > 0)
			s.append(buf, static_cast<size_t>(n));
		return s;
	}
};

class Trace : public ::testing::Test {
protected:
	void SetUp() override
	{
		local_board();
		ftm::reset_debug_globals();
		ftm::reset_loop_globals();
		clear_kernel_log();
	}
	void TearDown() override
	{
		ftm::reset_debug_globals();
		ftm::reset_loop_globals();
	}
};

TEST_F(Trace, LongLinesAreCutTo254BytesEndingInANewline)
{
	Port port;
	ftm::loop.act_fd = port.fds[1];
	ftm::dbg.debug_switch = ftm::DEBUG_ON;
	std::string long_text(400, 'q');
	ftm::_dbg_print("/x/y/a.cpp", 7, "f", "%s done\n", long_text.c_str());
	std::string expected = "U [a.cpp:7] f() - " + std::string(254 - 19, 'q') + "\n";
	ASSERT_EQ(expected.size(), 254u);
	EXPECT_EQ(kernel_log(), "<4>" + expected);
	EXPECT_EQ(port.take(), expected);

	// A line that fits is kept whole, without an added newline.
	clear_kernel_log();
	ftm::_dbg_print("b.cpp", 12, "g", "n=%d", 42);
	EXPECT_EQ(kernel_log(), "<4>U [b.cpp:12] g() - n=42");
	EXPECT_EQ(port.take(), "U [b.cpp:12] g() - n=42");
}

TEST_F(Trace, AFormatCutInsideAConversionDropsIt)
{
	// "U [a.cpp:1] f() - " is 18 bytes: the '%' of "%ld" lands on byte
	// 252 and the 'd' falls off the 255-byte buffer.
	std::string format = std::string(234, 'y') + "%ld tail";
	clear_kernel_log();
	ftm::_dbg_print("a.cpp", 1, "f", format.c_str(), 123456789L);
	EXPECT_EQ(kernel_log(), "<4>U [a.cpp:1] f() - " + std::string(234, 'y') + "\n");
}

TEST_F(Trace, ModesChooseThePort)
{
	Port active, other;
	ftm::loop.act_fd = active.fds[1];
	ftm::loop.log_fd = other.fds[1];
	DBG("off\n");
	ftm::dbg.debug_switch = ftm::DEBUG_FON;
	DBG("fon, gate shut\n");
	EXPECT_EQ(active.take(), "");
	EXPECT_EQ(other.take(), "");
	ftm::dbg.log_on = 1;
	ftm::_dbg_print("c.cpp", 3, "h", "fon\n");
	EXPECT_EQ(active.take(), "");
	EXPECT_EQ(other.take(), "U [c.cpp:3] h() - fon\n");
	// The kernel copy is made whatever the mode.
	std::string log = kernel_log();
	EXPECT_NE(log.find("- off\n"), std::string::npos);
	EXPECT_NE(log.find("- fon, gate shut\n"), std::string::npos);
}

TEST(KlogStrip, LevelPrefixAndDigitsBehindItGo)
{
	auto strip = [](std::string_view in) {
		std::string out;
		ftm::strip_log_levels(in.data(), in.size(), [&](char c) { out += c; });
		return out;
	};
	EXPECT_EQ(strip("<6>123 abc\n"), " abc\n");
	EXPECT_EQ(strip("<4>U [x] a\n<3>b<4>c\nplain <5> mid\n"), "U [x] a\nb<4>c\nplain <5> mid\n");
	EXPECT_EQ(strip("<4>"), "");
	EXPECT_EQ(strip("<4>12"), "");
	EXPECT_EQ(strip("\n<"), "\n");
	EXPECT_EQ(strip(""), "");
}

TEST(SendData, WritesAllAndGivesUpOnADeadPort)
{
	local_board();
	Port port;
	std::string text(3000, 'z');
	EXPECT_EQ(ftm::send_data(port.fds[1], text.data(), text.size()), 3000);
	EXPECT_EQ(port.take(), text);
	// A port that only fails is left after a bounded number of tries.
	EXPECT_EQ(ftm::send_data(-1, text.data(), text.size()), -1);
}

class Registry : public ::testing::Test {
protected:
	void SetUp() override
	{
		local_board();
		hal::hal_reset_cache();
		hal::utils_reset_cache();
	}
};

TEST_F(Registry, NamesByIndex)
{
	EXPECT_STREQ(hal::hal_get_name(0), "/dev/stdin");
	EXPECT_STREQ(hal::hal_get_name(14), "/dev/ftm_smd");
	EXPECT_STREQ(hal::hal_get_name(16), "/sys/devices/platform/i2c-adapter/i2c-0/0-0037/brightness");
	EXPECT_STREQ(hal::hal_get_name(17), "/dev/input/event3");
	EXPECT_EQ(hal::hal_get_name(18), nullptr);
}

TEST_F(Registry, FailedOpenIsRetriedAndSharedPathsGetTheirOwnDescriptor)
{
	std::string brightness = local_board() + hal::hal_get_name(16);
	::unlink(brightness.c_str());
	int fd = 123;
	EXPECT_EQ(hal::get_flashled_fd(&fd), -1);
	EXPECT_LT(fd, 0);
	std::string mk = "mkdir -p '" + brightness.substr(0, brightness.rfind('/')) + "' && touch '" + brightness + "'";
	ASSERT_EQ(std::system(mk.c_str()), 0);
	EXPECT_EQ(hal::get_flashled_fd(&fd), 0);
	EXPECT_GE(fd, 0);
	int again = -1;
	EXPECT_EQ(hal::get_flashled_fd(&again), 0);
	EXPECT_EQ(again, fd);

	std::ofstream(local_board() + "/dev/graphics/fb0").put('\0');
	int lcd = -1, overlay = -1;
	EXPECT_EQ(hal::get_lcd_fd(&lcd), 0);
	EXPECT_EQ(hal::get_overlay_fd(&overlay), 0);
	EXPECT_NE(lcd, overlay);
}

TEST_F(Registry, ScreenLookUpsFailWithoutADriver)
{
	int w = -1, h = -1, bpp = -1;
	std::string fb = local_board() + "/dev/graphics/fb0";
	::unlink(fb.c_str());
	clear_kernel_log();
	EXPECT_EQ(hal::get_lcd_size(&w, &h), 1);
	EXPECT_NE(kernel_log().find("] get_lcd_size() - Error"), std::string::npos);
	EXPECT_NE(kernel_log().find("Error: cannot open framebuffer device.\n"), std::string::npos);
	// A plain file is no framebuffer: the driver question fails, and is
	// asked again next time.
	std::ofstream(fb).put('\0');
	clear_kernel_log();
	EXPECT_EQ(hal::get_lcd_bpp(&bpp), 1);
	EXPECT_EQ(hal::get_lcd_bpp(&bpp), 1);
	EXPECT_EQ(bpp, -1);
	std::string log = kernel_log();
	size_t first = log.find("Error reading variable information.\n");
	ASSERT_NE(first, std::string::npos);
	EXPECT_NE(log.find("Error reading variable information.\n", first + 1), std::string::npos);

	EXPECT_EQ(hal::get_camera_preview_size(&w, &h), 0);
	EXPECT_EQ(w * 10000 + h, 320 * 10000 + 240);
	EXPECT_EQ(hal::get_camera_capture_size(&w, &h), 0);
	EXPECT_EQ(w * 10000 + h, 2592 * 10000 + 1944);
}

class Gpio : public ::testing::Test {
protected:
	void SetUp() override
	{
		local_board();
		if (hal::fd_gpio >= 1)
			plat::close(hal::fd_gpio);
		hal::fd_gpio = 0;
		::unlink((local_board() + "/var/ftmgpio").c_str());
		set_local("gpio.absent", "0");
		set_local("gpio.fail.hw_ver", "0");
		set_local("gpio.input_raw", "0");
		clear_kernel_log();
	}
};

TEST_F(Gpio, SetAndGetNeedAPinInitFirst)
{
	EXPECT_EQ(hal::gpio_set_output(40, 1), 1);
	EXPECT_EQ(hal::gpio_get_input(40), -1);
	EXPECT_EQ(hal::fd_gpio.load(), 0);  // neither opened the device

	set_local("gpio.pin.29", "1");
	EXPECT_EQ(hal::gpio_pin_init(29, 0), 0);
	EXPECT_EQ(hal::gpio_get_input(29), 1);
	EXPECT_EQ(hal::gpio_pin_init(40, 1), 0);
	EXPECT_EQ(hal::gpio_set_output(40, 0), 0);
	EXPECT_EQ(hal::gpio_get_input(40), 0);
	EXPECT_EQ(hal::gpio_set_output(40, 1), 0);
	EXPECT_EQ(hal::gpio_get_input(40), 1);
	// Binary 0 and 1 are not the characters the driver sends.
	set_local("gpio.input_raw", "1");
	EXPECT_EQ(hal::gpio_get_input(40), -1);
	EXPECT_EQ(hal::gpio_get_input(29), -1);
}

TEST_F(Gpio, HardwareVersionAndItsFailure)
{
	unsigned char ver[4] = {9, 9, 9, 9};
	EXPECT_EQ(hal::Get_Hardware_Ver(ver), 0);
	EXPECT_EQ(std::string(reinterpret_cast<char *>(ver), 4), std::string("\0" "100", 4));
	set_local("gpio.fail.hw_ver", "2");
	EXPECT_EQ(hal::Get_Hardware_Ver(ver), -1);
	EXPECT_NE(kernel_log().find("[Get_Hardware_Ver] read fail\n"), std::string::npos);
}

TEST_F(Gpio, MissingDeviceIsRetriedOnEveryCall)
{
	set_local("gpio.absent", "1");
	EXPECT_EQ(hal::gpio_pin_init(40, 0), 1);
	EXPECT_EQ(hal::power_off_test(), 1);
	EXPECT_EQ(hal::MIC_Bias_set(1), 1);
	EXPECT_EQ(hal::put_modem_to_LPM(), 1);
	EXPECT_EQ(hal::Write_FUSE(), -1);
	set_local("gpio.absent", "0");
	EXPECT_EQ(hal::put_modem_to_LPM(), 0);
	EXPECT_EQ(hal::power_off_test(), 0);
	EXPECT_EQ(hal::MIC_Bias_set(1), 0);
	std::ifstream in(local_board() + "/var/ftmgpio");
	std::string state((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
	EXPECT_NE(state.find("modem_lpm=1\n"), std::string::npos) << state;
	EXPECT_NE(state.find("power_off=1\n"), std::string::npos) << state;
	EXPECT_NE(state.find("mic_bias=1\n"), std::string::npos) << state;
}

}  // namespace
