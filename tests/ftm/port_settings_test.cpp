// connect_port_init_main on a real terminal: the raw 19200 8N1 settings.
#include <gtest/gtest.h>
#include <pty.h>
#include <termios.h>
#include <unistd.h>

#include "ftm/ftm.h"
#include "support/temp_board.h"

namespace {

TEST(PortSettings, RawNineteenTwoHundredEightNOne)
{
	testing_support::use_temp_board();
	int master = -1, slave = -1;
	ASSERT_EQ(::openpty(&master, &slave, nullptr, nullptr, nullptr), 0);
	termios before{};
	ASSERT_EQ(::tcgetattr(slave, &before), 0);
	before.c_cflag |= PARENB | CSTOPB;
	before.c_iflag |= ICRNL | IXON;
	before.c_lflag |= ICANON | ECHO | ISIG;
	ASSERT_EQ(::tcsetattr(slave, TCSANOW, &before), 0);

	EXPECT_EQ(ftm::connect_port_init_main(slave), 0);

	termios after{};
	ASSERT_EQ(::tcgetattr(slave, &after), 0);
	EXPECT_EQ(::cfgetispeed(&after), B19200);
	EXPECT_EQ(after.c_cflag & CSIZE, static_cast<tcflag_t>(CS8));
	EXPECT_EQ(after.c_cflag & (PARENB | CSTOPB | CRTSCTS), 0u);
	EXPECT_NE(after.c_cflag & CREAD, 0u);
	EXPECT_EQ(after.c_iflag & (ICRNL | IXON | IXANY | IXOFF), 0u);
	EXPECT_EQ(after.c_oflag & OPOST, 0u);
	EXPECT_EQ(after.c_lflag & (ISIG | ICANON | ECHO | ECHOE), 0u);
	::close(master);
	::close(slave);
}

TEST(PortSettings, NotATerminalFails)
{
	testing_support::use_temp_board();
	int fds[2];
	ASSERT_EQ(::pipe(fds), 0);
	EXPECT_EQ(ftm::connect_port_init_main(fds[0]), 1);
	::close(fds[0]);
	::close(fds[1]);
}

}  // namespace
