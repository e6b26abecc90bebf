#include <gtest/gtest.h>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

#include "station/exchange.h"
#include "station/link.h"

namespace {

using station::Reply;

TEST(StationAnswer, CompleteWhenAFinalLineEndsIt)
{
	EXPECT_TRUE(station::answer_complete("OK\n", Reply::final_line));
	EXPECT_TRUE(station::answer_complete("BTOK\n", Reply::final_line));
	EXPECT_TRUE(station::answer_complete("*TAPP=05004001000044\nOK\n", Reply::final_line));
	EXPECT_TRUE(station::answer_complete("NOTSUPPORTED\n", Reply::final_line));
	EXPECT_FALSE(station::answer_complete("*TAPP=ACK\n", Reply::final_line));
	EXPECT_FALSE(station::answer_complete("O", Reply::final_line));
	EXPECT_FALSE(station::answer_complete("OK", Reply::final_line));
	EXPECT_EQ(station::final_word("ERROR\n"), "ERROR");
	EXPECT_EQ(station::final_word("00OK\n"), "OK");
	EXPECT_EQ(station::final_word("OK\nfoo"), "");
}

TEST(StationAnswer, StreamWaitsForItsPayload)
{
	std::string head = "FORMAT= LOG\nSIZE= 8\n\nOK\n";
	// The header's own "\nOK\n" does not end the answer, nor does an "OK\n"
	// inside the payload.
	EXPECT_FALSE(station::answer_complete(head, Reply::stream));
	EXPECT_FALSE(station::answer_complete(head + "abOK\n", Reply::stream));
	EXPECT_FALSE(station::answer_complete(head + "abOK\ncde", Reply::stream));
	EXPECT_FALSE(station::answer_complete(head + "abOK\ncdeX", Reply::stream));
	EXPECT_TRUE(station::answer_complete(head + "abOK\ncdeXOK\n", Reply::stream));
	EXPECT_TRUE(station::answer_complete(head + "abOK\ncdeXat_dumpLog file name:x, size=8.OK.\nOK\n", Reply::stream));
	EXPECT_FALSE(station::answer_complete("FORMAT= YUV422\nRESOLUTION= 2, 1\nSIZE= 4\n", Reply::stream));
	// A command that fails before any header.
	EXPECT_TRUE(station::answer_complete("NOTSUPPORTED\n", Reply::stream));
	EXPECT_TRUE(station::answer_complete("FORMAT= LOG\nSIZE= 0\n\nOK\nOK\n", Reply::stream));
}

// A phone at the far end of a socket pair that answers by a script.
struct FakePhone {
	int fds[2] = {-1, -1};
	std::thread thread;

	explicit FakePhone(std::function<void(int)> script)
	{
		EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, fds), 0);
		thread = std::thread([this, script] { script(fds[1]); });
	}
	~FakePhone()
	{
		thread.join();
		::close(fds[0]);
		if (fds[1] >= 0)
			::close(fds[1]);
	}
	int station() const { return fds[0]; }
};

std::string read_line(int fd) { return station::read_until_suffix(fd, "\n", 5000); }

TEST(StationExchange, DecodesTheAnswerFrame)
{
	FakePhone phone([](int fd) {
		EXPECT_EQ(read_line(fd), "AT*TAPP=0A004001040001000000014F\n");
		station::write_all(fd, "*TAPP=0600400001000146\nOK\n");
	});
	auto x = station::exchange(phone.station(), "AT*TAPP=0A004001040001000000014F\n", Reply::final_line, 5000);
	EXPECT_EQ(x.outcome, station::Outcome::answered);
	EXPECT_EQ(x.final, "OK");
	ASSERT_TRUE(x.frame);
	EXPECT_TRUE(x.frame->checksum_ok);
	EXPECT_EQ(x.frame->req, 0x40);
	EXPECT_EQ(station::to_hex(x.frame->result), "01");
}

TEST(StationExchange, StreamInPiecesWithProgress)
{
	std::string payload(100000, 'y');
	payload[500] = '\n';
	FakePhone phone([&](int fd) {
		read_line(fd);
		station::write_all(fd, "FORMAT= LOG\nSIZE= 100000\n\nOK\n");
		for (size_t at = 0; at < payload.size(); at += 7000)
			station::write_all(fd, std::string_view(payload).substr(at, 7000));
		station::write_all(fd, "at_dumpLog file name:/data/ftm.log, size=100000.OK.\nOK\n");
	});
	size_t last = 0, total = 0;
	auto x = station::exchange(phone.station(), "AT+DUMPLOG\n", Reply::stream, 5000, [&](size_t got, size_t all) {
		EXPECT_GE(got, last);
		last = got;
		total = all;
	});
	EXPECT_EQ(x.outcome, station::Outcome::answered);
	ASSERT_TRUE(x.payload_size);
	EXPECT_EQ(*x.payload_size, 100000u);
	EXPECT_EQ(x.text.substr(x.payload_at, 100000), payload);
	EXPECT_EQ(x.without_payload(),
	          "FORMAT= LOG\nSIZE= 100000\n\nOK\nat_dumpLog file name:/data/ftm.log, size=100000.OK.\nOK\n");
	EXPECT_EQ(last, 100000u);
	EXPECT_EQ(total, 100000u);
}

TEST(StationExchange, SilenceGarbageAndUnplugEndWithAReason)
{
	{
		FakePhone phone([](int fd) { read_line(fd); });  // hears, says nothing
		auto x = station::exchange(phone.station(), "AT\n", Reply::final_line, 200);
		EXPECT_EQ(x.outcome, station::Outcome::timeout);
	}
	{
		FakePhone phone([](int fd) {
			read_line(fd);
			station::write_all(fd, std::string("\x01\xFFgarbage", 9));
		});
		auto x = station::exchange(phone.station(), "AT\n", Reply::final_line, 300);
		EXPECT_EQ(x.outcome, station::Outcome::timeout);
		EXPECT_EQ(x.text.size(), 9u);
	}
	{
		// Unplugged half way through a picture: closed at once, not at the timeout.
		FakePhone phone([](int fd) {
			read_line(fd);
			station::write_all(fd, "FORMAT= YUV422\nRESOLUTION= 2592, 1944\nSIZE= 10077696\n\nOK\nabc");
			::shutdown(fd, SHUT_RDWR);
		});
		auto x = station::exchange(phone.station(), "AT+DSCR\n", Reply::stream, 60000);
		EXPECT_EQ(x.outcome, station::Outcome::closed);
		EXPECT_TRUE(x.text.ends_with("abc"));
	}
}

}  // namespace
