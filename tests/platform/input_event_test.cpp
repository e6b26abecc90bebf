// The kernel's input events become the phone's 16-byte records: translated
// on a 64-bit host, the same bytes on the phone's 32-bit build.
#include <gtest/gtest.h>

#include <array>
#include <cstring>

#include "hal/input.h"
#include "platform/linux/input_event.h"

namespace {

struct event_row {
	uint32_t sec, usec;
	uint16_t type, code;
	int32_t value;
	std::array<unsigned char, 16> phone;  // the record as the phone's kernel gives it
};

const event_row kEvents[] = {
	{0, 0, 0, 0, 0, {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
	{0x12345678, 0x000F423F, 1, 100, 1,
	 {0x78, 0x56, 0x34, 0x12, 0x3F, 0x42, 0x0F, 0x00, 0x01, 0x00, 0x64, 0x00, 0x01, 0x00, 0x00, 0x00}},
	{7, 999999, 3, 330, -1,
	 {0x07, 0, 0, 0, 0x3F, 0x42, 0x0F, 0x00, 0x03, 0x00, 0x4A, 0x01, 0xFF, 0xFF, 0xFF, 0xFF}},
	{0x7FFFFFFF, 1, 2, 0x0102, 0x40302010,
	 {0xFF, 0xFF, 0xFF, 0x7F, 0x01, 0, 0, 0, 0x02, 0x00, 0x02, 0x01, 0x10, 0x20, 0x30, 0x40}},
};

TEST(InputEventTranslation, EveryFieldLandsWhereThePhoneHasIt)
{
	for (const event_row &row : kEvents) {
		input_event e{};
		e.input_event_sec = row.sec;
		e.input_event_usec = row.usec;
		e.type = row.type;
		e.code = row.code;
		e.value = row.value;
		std::array<unsigned char, 16> out{};
		plat::to_phone_input_event(e, out.data());
		EXPECT_EQ(out, row.phone) << "event type " << row.type << " code " << row.code;

		// The daemon reads the record as its own struct.
		hal::input_event16 seen{};
		std::memcpy(&seen, out.data(), sizeof seen);
		EXPECT_EQ(seen.sec, row.sec);
		EXPECT_EQ(seen.usec, row.usec);
		EXPECT_EQ(seen.type, row.type);
		EXPECT_EQ(seen.code, row.code);
		EXPECT_EQ(seen.value, row.value);

		// Where the kernel's record is the phone's, no translation is needed:
		// its bytes are the same.
		if (plat::kernel_input_event_is_phone_record) {
			std::array<unsigned char, 16> raw{};
			std::memcpy(raw.data(), &e, sizeof e);
			EXPECT_EQ(raw, row.phone);
		}
	}
}

TEST(InputEventTranslation, ThirtyTwoBitBuildsNeedNone)
{
	EXPECT_EQ(plat::kernel_input_event_is_phone_record, sizeof(void *) == 4);
	EXPECT_EQ(plat::PHONE_INPUT_EVENT_SIZE, size_t(hal::INPUT_EVENT_SIZE));
}

}  // namespace
