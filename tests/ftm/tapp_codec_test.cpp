// The TAPP codec against the worked examples and the decoder's edge rules.
#include <cstring>
#include <gtest/gtest.h>
#include <string>

#include "ftm/command.h"
#include "ftm/tapp.h"
#include "support/temp_board.h"

namespace {

using namespace ftm;

std::string answer_for(tapp_record r)
{
	char answer[ANSWER_SIZE] = {};
	assemble_tapp_response(r, answer, sizeof answer);
	return answer;
}

TEST(TappDecode, VibratorRequestFillsTheBasebandRecord)
{
	testing_support::use_temp_board();
	const char *frame = "0A004001040001000000014F";
	ASSERT_EQ(is_checksum_ok(frame, 0x0A + 2), 1);

	tapp_record r{};
	const char *cursor = frame;
	extract_bin_data_from_str(&cursor, &r.frame_len, 2);
	EXPECT_EQ(r.frame_len, 10);
	get_tapp_param(cursor, &r);
	EXPECT_EQ(r.req, TAPP_REQ_BB);
	EXPECT_EQ(r.hdr.bb.access, 1);
	EXPECT_EQ(r.hdr.bb.func_index, 4);
	EXPECT_EQ(r.hdr.bb.length, 1);
	EXPECT_EQ(r.hdr.bb.rev, 0);
	EXPECT_STREQ(r.params, "01");
}

TEST(TappDecode, WifiAndBtHeadersInWireOrder)
{
	testing_support::use_temp_board();
	tapp_record w{};
	get_tapp_param("B0010101000300010600BE", &w);
	EXPECT_EQ(w.req, TAPP_REQ_WIFI);
	EXPECT_EQ(w.hdr.wifi.total_blk, 1);
	EXPECT_EQ(w.hdr.wifi.blk_index, 1);
	EXPECT_EQ(w.hdr.wifi.cmd, 1);
	EXPECT_EQ(w.hdr.wifi.length, 3);
	EXPECT_STREQ(w.params, "010600");

	tapp_record b{};
	get_tapp_param("A0010102000301FF", &b);
	EXPECT_EQ(b.req, TAPP_REQ_BT);
	EXPECT_EQ(b.hdr.bt.length, 2);
	EXPECT_EQ(b.hdr.bt.cmd, 3);
	EXPECT_STREQ(b.params, "01FF");
}

TEST(TappEncode, WorkedExampleAnswersByteForByte)
{
	tapp_record bb{};
	bb.req = TAPP_REQ_BB;
	std::strcpy(bb.result, "01");
	bb.result_len = 1;
	EXPECT_EQ(answer_for(bb), "*TAPP=0600400001000146\nOK\n");

	tapp_record wifi{};
	wifi.req = TAPP_REQ_WIFI;
	wifi.hdr.wifi = {1, 1, 1, 0, 3};
	std::strcpy(wifi.result, "0600");
	wifi.result_len = 2;
	EXPECT_EQ(answer_for(wifi), "*TAPP=ACK\n*TAPP=0a00b00101010002000600bf\nOK\n");

	tapp_record bt{};
	bt.req = TAPP_REQ_BT;
	bt.hdr.bt.cmd = 1;
	std::strcpy(bt.result, "00");
	bt.result_len = 1;
	EXPECT_EQ(answer_for(bt), "\n*TAPP=ACK\n*TAPP=0800a0010101000100a8\nOK\n");
}

TEST(TappEncode, EmptyResultFailedSearchAndSilentClasses)
{
	tapp_record bb{};
	bb.req = TAPP_REQ_BB;
	EXPECT_EQ(answer_for(bb), "*TAPP=05004000000045\nOK\n");  // resp_len 5
	bb.status = 1;
	EXPECT_EQ(answer_for(bb), "*TAPP=05004001000044\nOK\n");

	tapp_record bt{};
	bt.req = TAPP_REQ_BT;
	bt.status = 1;  // not shown in this class
	EXPECT_EQ(answer_for(bt), "\n*TAPP=ACK\n*TAPP=0700a00101000000a7\nOK\n");

	tapp_record e2p{};
	e2p.req = TAPP_REQ_E2P;
	EXPECT_EQ(answer_for(e2p), "");
	tapp_record other{};
	other.req = 0x41;
	EXPECT_EQ(answer_for(other), "");
}

TEST(TappEncode, LongResultIsNotCutShort)
{
	tapp_record bb{};
	bb.req = TAPP_REQ_BB;
	std::string digits(2 * 200, 'a');
	std::strcpy(bb.result, digits.c_str());
	bb.result_len = 200;
	std::string answer = answer_for(bb);
	ASSERT_TRUE(answer.ends_with("\nOK\n"));
	// 6 header bytes, 200 result bytes and the checksum, as text.
	EXPECT_EQ(answer.size(), 6 + 2 * 207 + 4);
	EXPECT_EQ(is_checksum_ok(answer.c_str() + 6, 207), 1);
}

TEST(TappEncode, InputFramesChecksumSevenBytesWhateverTheSlot)
{
	char results[2][SLOT_SIZE] = {"01", "1E5"};
	char frames[2][SLOT_SIZE] = {};
	assemble_input_tapp_response(frames, results, 2);
	EXPECT_STREQ(frames[0], "*TAPP=0600400001000146\nOK\n");
	// A code above 255 gives three digits; the checksum still covers 7 bytes.
	EXPECT_STREQ(frames[1], "*TAPP=0600400001001E5" "59\nOK\n");
}

TEST(TappHex, ExtractRules)
{
	uint8_t out[8];
	const char *text = "0aFfG0";
	const char *cursor = text;
	extract_bin_data_from_str(&cursor, out, 2);
	EXPECT_EQ(out[0], 0x0A);
	EXPECT_EQ(out[1], 0xFF);
	EXPECT_EQ(cursor, text + 4);
	// Not a digit: c - 55, no validation ('G' is 16).
	extract_bin_data_from_str(&cursor, out, 1);
	EXPECT_EQ(out[0], static_cast<uint8_t>(16 * 16 + 0));

	// Five or more bytes (low 8 bits) does nothing and leaves the cursor.
	cursor = text;
	std::memset(out, 0x77, sizeof out);
	extract_bin_data_from_str(&cursor, out, 5);
	EXPECT_EQ(cursor, text);
	EXPECT_EQ(out[0], 0x77);
	extract_bin_data_from_str(&cursor, out, 256 + 5);
	EXPECT_EQ(cursor, text);
	extract_bin_data_from_str(&cursor, out, 256 + 1);
	EXPECT_EQ(cursor, text + 2);
	EXPECT_EQ(out[0], 0x0A);
}

TEST(TappHex, ChecksumHelpers)
{
	testing_support::use_temp_board();
	EXPECT_EQ(checksum("0A00400104000100000001", 11), 0x4F);
	EXPECT_EQ(is_checksum_ok("0A004001040001000000014E", 12), 0);
	EXPECT_EQ(is_checksum_ok("", 0), 1);  // no bytes: XOR 0

	uint8_t out[4] = {};
	EXPECT_EQ(checksumNodata("1234AB26", 3, out), 0x12 ^ 0x34 ^ 0xAB);
	EXPECT_EQ(out[0], 0x12);
	EXPECT_EQ(out[2], 0xAB);
	EXPECT_EQ(out[3], 0x26);  // the checksum byte, outside the XOR
}

}  // namespace
