// The clock test: a stub on this board, in both its forms.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "station/tapp_frame.h"
#include "support/sim_phone.h"

namespace {

using testing_support::SimPhone;

std::vector<uint8_t> rtc_result(SimPhone &phone, uint8_t access, const std::vector<uint8_t> &params)
{
	std::string answer = phone.ask(station::bb_frame(access, 0x12, params));
	auto frame = station::decode_answer(answer);
	EXPECT_TRUE(frame && frame->checksum_ok) << answer;
	return frame ? frame->result : std::vector<uint8_t>{0xEE};
}

TEST(Rtc, FramedFormOnABoardWithoutAClock)
{
	SimPhone phone;
	std::vector<uint8_t> none(12, 0xFF);
	// Wrong length: answered, with an empty result.
	EXPECT_EQ(rtc_result(phone, 0, std::vector<uint8_t>(11, 0x12)), std::vector<uint8_t>{});
	EXPECT_EQ(rtc_result(phone, 0, std::vector<uint8_t>(13, 0x12)), std::vector<uint8_t>{});
	// Nothing given, read: nothing to show.
	EXPECT_EQ(rtc_result(phone, 0, none), std::vector<uint8_t>{});
	// A write fails on this board.
	EXPECT_EQ(rtc_result(phone, 1, none), std::vector<uint8_t>{0xFF});
	// A read shows the given values back as two decimal digits each, so
	// BCD bytes come back as they went.
	std::vector<uint8_t> time = {0x09, 0x12, 0x31, 0x23, 0x59, 0x58};
	std::vector<uint8_t> params = time;
	params.insert(params.end(), 6, 0xFF);
	EXPECT_EQ(rtc_result(phone, 0, params), time);
	params.assign(6, 0xFF);
	params.insert(params.end(), time.begin(), time.end());
	EXPECT_EQ(rtc_result(phone, 0, params), time);
	// Any other access does nothing.
	EXPECT_EQ(rtc_result(phone, 2, none), std::vector<uint8_t>{});
}

TEST(Rtc, PlainFormAlwaysFailsHere)
{
	SimPhone phone;
	EXPECT_EQ(phone.ask("AT+RTC=0\n"), "ERROR\n");
	EXPECT_EQ(phone.ask("AT+RTC=1,091231235958FFFFFFFFFFFF\n"), "ERROR\n");
	EXPECT_EQ(phone.ask("AT+RTC=0,0912312359581011121314150\n"), "ERROR\n");
	EXPECT_EQ(phone.ask("AT+RTC\n"), "ERROR\n");
	EXPECT_EQ(phone.ask("AT\n"), "OK\n");
	std::string log = phone.file("/data/ftm.log");
	EXPECT_NE(log.find("time_value=091231235958\n"), std::string::npos);
	EXPECT_NE(log.find("alarm_value=101112131415\n"), std::string::npos);
	EXPECT_NE(log.find("rtc test failed\n"), std::string::npos);
	std::string out = phone.file("/ftmd.out");
	EXPECT_NE(out.find("NOTSUPPORT\n"), std::string::npos);
	EXPECT_NE(out.find("]Unknow parameters\n"), std::string::npos);
}

}  // namespace
