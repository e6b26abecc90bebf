// The dispatcher in process: what a received buffer is answered with.
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "ftm/command.h"
#include "ftm/ftm.h"
#include "station/tapp_frame.h"
#include "support/dispatch.h"

namespace {

using namespace ftm;

using testing_support::dispatch;

std::string frame_with_checksum(std::string hex_without_checksum)
{
	auto bytes = station::from_hex(hex_without_checksum).value();
	uint8_t x = 0;
	for (uint8_t b : bytes)
		x ^= b;
	bytes.push_back(x);
	return "AT*TAPP=" + station::to_hex(bytes) + "\n";
}

class Dispatcher : public ::testing::Test {
protected:
	void SetUp() override { reset_loop_globals(); }
	void TearDown() override { reset_loop_globals(); }
};

TEST_F(Dispatcher, ShortAnswers)
{
	EXPECT_EQ(dispatch("at\n"), "OK\n");
	EXPECT_EQ(dispatch("ATE0\r\n"), "OK\n");
	EXPECT_EQ(dispatch("XATE0"), "OK\n");
	EXPECT_EQ(dispatch("\n"), "OK\n");
	EXPECT_EQ(dispatch("Z"), "OK\n");
	// Neither exactly "AT\n" nor one character, and no keyword matches.
	EXPECT_EQ(dispatch("AT\r\n"), "NOTSUPPORTED\n");
	EXPECT_EQ(dispatch("HELLO\n"), "NOTSUPPORTED\n");
}

TEST_F(Dispatcher, CalibrationStateKeepsCaseAndSkipsShortAnswers)
{
	loop.ftm_state = FTM_STATE_CALIBRATION;
	EXPECT_EQ(dispatch("AT\n"), "NOTSUPPORTED\n");
	EXPECT_EQ(dispatch("at*tapp=0600400001000146\n"), "NOTSUPPORTED\n");  // not upper-cased: not a frame
}

TEST_F(Dispatcher, FrameToRowWithoutResultAnswersStatusZero)
{
	// Row 13 (vibrator) exists; whatever its handler returns, the frame is answered.
	std::string answer = dispatch("AT*TAPP=0A004001040001000000014F\n");
	auto a = station::decode_answer(answer);
	ASSERT_TRUE(a) << answer;
	EXPECT_EQ(a->req, 0x40);
	EXPECT_EQ(a->status, 0);
	EXPECT_TRUE(a->checksum_ok);
	EXPECT_TRUE(answer.ends_with("\nOK\n"));
}

TEST_F(Dispatcher, LowerCaseFrameIsAccepted)
{
	EXPECT_EQ(dispatch("at*tapp=0900400177770000000048\n"), "*TAPP=05004001000044\nOK\n");
}

TEST_F(Dispatcher, UnknownIdsAnswerWithStatusOne)
{
	EXPECT_EQ(dispatch("AT*TAPP=0900400177770000000048\n"), "*TAPP=05004001000044\nOK\n");
	// Wi-Fi command 0x55 has no row: status 1, echoed block fields.
	std::string wifi = dispatch(station::wifi_frame(0x55, {}));
	EXPECT_EQ(wifi, "*TAPP=ACK\n*TAPP=0800b0010155010000ec\nOK\n");
	// Bluetooth command 0x77 has no row: the frame has no status.
	std::string bt = dispatch(station::bt_frame(0x77, {}));
	auto a = station::decode_answer(bt);
	ASSERT_TRUE(a) << bt;
	EXPECT_EQ(a->cmd, 0x77);
	EXPECT_TRUE(bt.starts_with("\n*TAPP=ACK\n"));
}

TEST_F(Dispatcher, BadFramesGetNoAnswer)
{
	EXPECT_EQ(dispatch("AT*TAPP=0A004001040001000000014E\n"), "");  // checksum
	EXPECT_EQ(dispatch(station::bb_frame(1, 4, {}).replace(8, 4, "8D00")), "");  // frame_len 141
	EXPECT_EQ(dispatch(frame_with_checksum("0300" "80" "0000")), "");  // e2p class
	EXPECT_EQ(dispatch(frame_with_checksum("0300" "41" "0000")), "");  // unknown class
	EXPECT_EQ(dispatch("AT*TAPP=ZZ\n"), "");  // not hex: checksum fails
}

TEST_F(Dispatcher, FrameLengthLimitIs140)
{
	// 131 parameter bytes: frame_len = 9 + 131 = 140.
	std::vector<uint8_t> params(131, 0x11);
	std::string at_limit = station::bb_frame(1, 0x7777, params);
	EXPECT_EQ(at_limit.substr(8, 4), "8C00");
	EXPECT_EQ(dispatch(at_limit), "*TAPP=05004001000044\nOK\n");
	params.push_back(0x11);
	EXPECT_EQ(dispatch(station::bb_frame(1, 0x7777, params)), "");
}

TEST_F(Dispatcher, NegativeFrameLengthSkipsTheChecksum)
{
	// frame_len 0xFFFE is -2: the checksum runs over no bytes and passes.
	EXPECT_EQ(dispatch("AT*TAPP=FEFF4001777700000000\n"), "*TAPP=05004001000044\nOK\n");
}

TEST_F(Dispatcher, FrameNamingRowWithoutFramedHandlerSendsNothing)
{
	// 0x1A is the camera rows' id, which have no framed handler.
	EXPECT_EQ(dispatch(station::bb_frame(1, 0x1A, {})), "");
	EXPECT_EQ(dispatch(station::bb_frame(1, 0x888, {})), "");
	EXPECT_EQ(dispatch(station::bb_frame(1, 0x9010, {0x31})), "");
	EXPECT_EQ(dispatch("AT\n"), "OK\n");  // and the dispatcher goes on
}

TEST_F(Dispatcher, LyingLengthsAndLongLinesStayInBounds)
{
	// A parameter length of 0xFFFF in a short frame.
	EXPECT_EQ(dispatch(frame_with_checksum("0900" "40" "01" "7777" "FFFF" "0000")),
	          "*TAPP=05004001000044\nOK\n");
	// A wifi frame claiming a negative length.
	std::string wifi = dispatch(frame_with_checksum("0800" "B0" "01" "01" "55" "00" "00F0"));
	EXPECT_TRUE(wifi.starts_with("*TAPP=ACK\n")) << wifi;
	// A full read of one unterminated line behind a keyword.
	EXPECT_EQ(dispatch("AT+ALIVX" + std::string(COMMAND_SIZE, 'Q')), "NOTSUPPORTED\n");
	EXPECT_EQ(dispatch(std::string(COMMAND_SIZE, 'A')), "NOTSUPPORTED\n");
}

TEST(CommandTable, KeywordsStationsDependOn)
{
	ASSERT_EQ(cmd_table.size(), 54u);
	// Rows stations address by framed id, and the search order that makes
	// AT+KBL reach its own row: AT+BL is not a prefix of it.
	EXPECT_STREQ(cmd_table[13].keyword, "AT+VIB");
	EXPECT_EQ(cmd_table[13].id, 0x4u);
	EXPECT_STREQ(cmd_table[26].keyword, "AT+KBL");
	EXPECT_STREQ(cmd_table[51].keyword, "SD GETSIZE");
	EXPECT_STREQ(cmd_table[38].keyword, cmd_table[39].keyword);
	for (const cmd_entry &row : cmd_table)
		EXPECT_NE(row.at_handler, nullptr) << row.keyword;
}

}  // namespace
