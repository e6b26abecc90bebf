#include <gtest/gtest.h>
#include <pty.h>
#include <termios.h>
#include <unistd.h>

#include "station/link.h"
#include "station/serial.h"
#include "support/sim_phone.h"

namespace {

TEST(StationSerial, SetsTheLineAsAStationDoes)
{
	int master = -1, slave = -1;
	char name[256] = {};
	ASSERT_EQ(::openpty(&master, &slave, name, nullptr, nullptr), 0);
	std::string error;
	int fd = station::open_serial(name, 460800, &error);
	ASSERT_GE(fd, 0) << error;
	termios t{};
	ASSERT_EQ(::tcgetattr(fd, &t), 0);
	EXPECT_EQ(t.c_cflag & CSIZE, static_cast<tcflag_t>(CS8));
	EXPECT_EQ(t.c_cflag & (PARENB | CSTOPB | CRTSCTS), 0u);
	EXPECT_NE(t.c_cflag & CLOCAL, 0u);
	EXPECT_EQ(t.c_lflag & (ICANON | ECHO | ISIG), 0u);
	EXPECT_EQ(t.c_iflag & (IXON | ICRNL), 0u);
	EXPECT_EQ(t.c_oflag & OPOST, 0u);
	EXPECT_EQ(::cfgetospeed(&t), static_cast<speed_t>(B460800));

	// Bytes go through untouched both ways: no CR/LF mapping, no echo.
	station::make_raw(master);
	ASSERT_TRUE(station::write_all(fd, "AT\r\n"));
	EXPECT_EQ(station::read_until_suffix(master, "\n", 2000), "AT\r\n");
	ASSERT_TRUE(station::write_all(master, "OK\r\n"));
	EXPECT_EQ(station::read_until_suffix(fd, "\n", 2000), "OK\r\n");
	::close(fd);
	::close(master);
	::close(slave);
}

TEST(StationSerial, RefusesWhatItCannotOpen)
{
	std::string error;
	EXPECT_EQ(station::open_serial("/nonexistent/ttyUSB9", 115200, &error), -1);
	EXPECT_EQ(error.rfind("open /nonexistent/ttyUSB9: ", 0), 0u) << error;
	EXPECT_EQ(station::open_serial("/dev/null", 12345, &error), -1);
	EXPECT_EQ(error, "unsupported rate 12345");
	EXPECT_EQ(station::open_serial("/dev/null", 115200, &error), -1);  // no terminal
	EXPECT_EQ(error.rfind("tcgetattr /dev/null", 0), 0u) << error;
	EXPECT_EQ(station::serial_speed(115200), static_cast<unsigned>(B115200));
	EXPECT_EQ(station::serial_speed(0), 0u);
}

// The README's way to drive the phone's ARM daemon from a host station:
// FTM_SIM_EMULATOR=qemu-arm, a bare name. `env` stands in for the emulator
// here: it too runs the program named after it.
TEST(StationPhone, AnEmulatorGivenByNameIsFoundOnThePath)
{
	::setenv("FTM_SIM_EMULATOR", "env", 1);
	testing_support::SimPhone phone;
	::unsetenv("FTM_SIM_EMULATOR");
	EXPECT_EQ(phone.ask("AT\n"), "OK\n");
}

}  // namespace
