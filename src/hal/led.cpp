#include "hal/led.h"


#include "ftm/debug.h"
#include "ftm/graphics.h"
#include "ftm/handlers.h"
#include "ftm/tapp_param.h"
#include "hal/fqc_text.h"
#include "hal/hal.h"
#include "platform/platform.h"

namespace hal {

namespace {

// Test index -> chip channel, as the LEDs are wired.
constexpr std::array<int, 7> led_channel_of_index = {0, 2, 1, 6, 5, 3, 4};

}  // namespace

int check_led_index(int index)
{
	if (index < 0 || index >= static_cast<int>(led_channel_of_index.size()))
		return -1;
	return led_channel_of_index[static_cast<size_t>(index)];
}

int led_test(int channel, int on)
{
	// A device that does not open leaves -1, and the switch below fails on it.
	int fd = -1;
	(void)get_led_fd(&fd);
	if (on != 0 && on != 1)
		return 0;
	tca6507_channel arg = channel;
	if (plat::ioctl(fd, on == 1 ? TCA6507_CHANNEL_ON : TCA6507_CHANNEL_OFF, &arg) != 0) {
		DBG("tca6507 led error\n");
		return 1;
	}
	return 0;
}

void fqc_led_test()
{
	ftm::lcd_clear();
	// Character 9 takes the channel's digit. The "FF" at 12 and 13 lies
	// behind the terminator, so the off lines still read "ON".
	char text[16] = "LED #  ON .";
	for (int pass = 0; pass < 2; ++pass) {
		int on = pass == 0 ? 1 : 0;
		if (!on)
			text[12] = text[13] = 'F';
		for (int channel = 0; channel < TCA6507_CHANNELS; ++channel) {
			text[9] = static_cast<char>('0' + channel);
			ftm::draw_str(FQC_TEXT_X, fqc_line_y(TCA6507_CHANNELS * pass + channel), FQC_TEXT_R, FQC_TEXT_G,
			              FQC_TEXT_B, FQC_TEXT_SCALE, "%s\n", text);
			led_test(channel, on);
			plat::sleep(1);
		}
	}
}

}  // namespace hal

namespace ftm {

int tapp_led_test(tapp_record *r)
{
	r->result_len = 1;
	int on = tapp_param_byte(r, 0);
	int index = tapp_param_byte(r, 1);
	if (on != 0 && on != 1)
		return 0;
	// No check of the channel: an unknown index reaches the chip as -1.
	int ok = hal::led_test(hal::check_led_index(index), on) == 0;
	tapp_result_byte(r, ok ? 0x54 : 0x55);
	return 0;
}

int at_led_test(tapp_record *r)
{
	// "=" and one byte of hex text: the index in the high nibble, on or off
	// in bit 0. The digits are decoded as frames are, without a check.
	const char *digits = r->params + 1;
	uint8_t byte = 0;
	tapp_param_take(r, &digits, &byte, 1);
	int index = byte >> 4;
	int channel = hal::check_led_index(index);
	if (channel < 0) {
		DBG("Wrong led index:%d\n", index);
		return 1;
	}
	return hal::led_test(channel, byte & 1);
}

}  // namespace ftm
