// Keys: raw events become the test key numbers the station reads.
#include "hal/input.h"

#include <array>
#include <cstdio>
#include <cstring>

#include "ftm/ftm.h"
#include "ftm/handlers.h"
#include "platform/platform.h"

namespace hal {

namespace {

struct key_pair {
	uint16_t raw;
	uint16_t reported;
};

// Raw key code to the station's test key number, searched from the top.
// The second pair for 192 can never match; it stays as the table was made.
constexpr std::array<key_pair, 74> matrix_key_map = {{
	{30, 35}, {48, 36}, {46, 37}, {32, 38}, {18, 39}, {33, 40}, {34, 41}, {35, 42},
	{23, 43}, {36, 44}, {37, 45}, {38, 46}, {50, 47}, {49, 48}, {24, 49}, {25, 50},
	{16, 51}, {19, 52}, {31, 53}, {20, 54}, {22, 55}, {47, 56}, {17, 57}, {45, 58},
	{21, 59}, {44, 60}, {103, 9}, {108, 10}, {105, 11}, {106, 12}, {353, 13}, {128, 1},
	{115, 2}, {114, 3}, {183, 4}, {212, 5}, {231, 6}, {107, 7}, {352, 8}, {158, 14},
	{28, 15}, {57, 16}, {52, 17}, {59, 18}, {102, 19}, {51, 20}, {60, 21}, {193, 21},
	{11, 22}, {2, 23}, {3, 24}, {4, 25}, {5, 26}, {6, 27}, {7, 28}, {8, 29},
	{9, 30}, {10, 31}, {55, 32}, {228, 33}, {127, 34}, {139, 61}, {191, 62}, {14, 63},
	{56, 64}, {42, 65}, {192, 66}, {194, 67}, {97, 68}, {217, 69}, {229, 70}, {192, 71},
	{272, 8}, {116, 1},
}};

constexpr char kBiasOn[] = "echo bias_on > /proc/driver/hook_bias";
constexpr char kBiasOff[] = "echo bias_off > /proc/driver/hook_bias";

}  // namespace

input_event16 event_at(const uint8_t *events, int index)
{
	input_event16 ev;
	std::memcpy(&ev, events + static_cast<size_t>(index) * INPUT_EVENT_SIZE, sizeof ev);
	return ev;
}

int get_keycode(const uint8_t *events)
{
	input_event16 ev = event_at(events, 0);
	return ev.value != 0 ? ev.code : 0;
}

void keycode_remap(uint16_t *code)
{
	for (const key_pair &p : matrix_key_map)
		if (p.raw == *code) {
			*code = p.reported;
			return;
		}
}

void keypad_response(char *slot, uint16_t code) { std::snprintf(slot, ftm::SLOT_SIZE, "%02x", code); }

int keypad_handler(const uint8_t *events, int count, char (*slots)[ftm::SLOT_SIZE], int *used)
{
	*used = 0;
	for (int i = 0; i < count && *used < static_cast<int>(ftm::INPUT_SLOTS); ++i) {
		input_event16 ev = event_at(events, i);
		if (ev.type == EV_KEY_TYPE) {
			// Presses and releases alike; the loop decides what is sent.
			keycode_remap(&ev.code);
			keypad_response(slots[(*used)++], ev.code);
		} else if (ev.type == EV_REL_TYPE) {
			// The jog ball: a roll is an arrow key.
			if (ev.code == 1)
				ev.code = ev.value >= 0 ? 108 : 103;
			else if (ev.code == 0)
				ev.code = ev.value < 1 ? 105 : 106;
			else
				continue;
			keycode_remap(&ev.code);
			if (ev.value != 0)
				keypad_response(slots[(*used)++], ev.code);
		}
	}
	return 0;
}

}  // namespace hal

namespace ftm {

int at_keypad_test(tapp_record *record)
{
	loop.ftm_test_mode = std::strncmp(record->params, "=1", 2) == 0 ? KEYPAD_TEST_MODE : NORMAL_TEST_MODE;
	return 0;
}

int tapp_keypad_test(tapp_record *record)
{
	if (record->hdr.bb.access != 0)
		return 1;
	if (std::strncmp(record->params, "0100", 4) == 0) {
		loop.ftm_test_mode = KEYPAD_TEST_MODE;
		plat::system(hal::kBiasOn);
		std::snprintf(record->result, sizeof record->result, "01");
	} else if (std::strncmp(record->params, "0000", 4) == 0) {
		loop.ftm_test_mode = NORMAL_TEST_MODE;
		plat::system(hal::kBiasOff);
		std::snprintf(record->result, sizeof record->result, "00");
	}
	record->result_len = 1;
	return 0;
}

}  // namespace ftm
