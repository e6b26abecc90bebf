// The TAPP frame: a binary frame written as hexadecimal text behind
// "AT*TAPP=", and the record every command handler receives.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ftm {

// Frame classes.
constexpr uint32_t TAPP_REQ_BB = 0x40;
constexpr uint32_t TAPP_REQ_E2P = 0x80;
constexpr uint32_t TAPP_REQ_BT = 0xA0;
constexpr uint32_t TAPP_REQ_WIFI = 0xB0;

constexpr int TAPP_MAX_FRAME_LEN = 140;
constexpr size_t SLOT_SIZE = 280;    // one input response slot
constexpr size_t INPUT_SLOTS = 16;   // slots per key or touch read
constexpr size_t PARAMS_SIZE = 514;
constexpr size_t RESULT_SIZE = 512;

#pragma pack(push, 1)
struct tapp_bb_header {
	uint8_t access;
	uint8_t spare;
	uint16_t func_index;
	uint16_t length;  // parameter bytes
	int16_t rev;
};

struct tapp_bt_header {
	uint8_t total_blk;
	uint8_t blk_index;
	int16_t length;
	uint8_t cmd;
};

struct tapp_wifi_header {
	uint8_t total_blk;
	uint8_t blk_index;
	uint8_t cmd;
	uint8_t unused;
	int16_t length;
};
#pragma pack(pop)

union tapp_class_header {
	tapp_bb_header bb;
	tapp_bt_header bt;
	tapp_wifi_header wifi;
	uint8_t raw[10];
};
static_assert(sizeof(tapp_class_header) == 10);

// One command: cleared before each, owned by the dispatcher.
struct tapp_record {
	int16_t frame_len;
	uint32_t req;
	tapp_class_header hdr;
	char params[PARAMS_SIZE];  // frame: parameter hex digits; AT: text after the keyword
	int32_t result_len;        // result bytes (half the hex digits of result)
	int32_t status;            // 0 row found and run, 1 none
	char result[RESULT_SIZE];  // hex digits for a frame, free text for AT
};

// Decodes n bytes of hex text at *cursor into out and moves the cursor by
// 2n. Does nothing for n of 5 or more (low 8 bits). Digits are not
// validated: a non-digit decodes as c - 55, as on the original.
void extract_bin_data_from_str(const char **cursor, void *out, int n);
// 1 if the XOR of n decoded bytes is 0; otherwise traces and returns 0.
int is_checksum_ok(const char *text, int n);
// XOR of n decoded bytes.
uint8_t checksum(const char *text, int n);
// Decodes n bytes into out[0..n-1] and returns their XOR; decodes one more
// byte into out[n], the checksum to compare with.
uint8_t checksumNodata(const char *text, int n, uint8_t *out);

// Decodes the class byte and header at text into record.
void get_tapp_param(const char *text, tapp_record *record);

// Writes the answer frame for record into answer (answer_size bytes).
// Classes 0x80 and unknown leave answer untouched.
void assemble_tapp_response(tapp_record record, char *answer, size_t answer_size);

// Forms one baseband input frame for each of count result slots.
int assemble_input_tapp_response(char (*frames)[SLOT_SIZE], const char (*results)[SLOT_SIZE], int count);

// Number of parameter bytes copied to params: the frame's claim, bounded by
// what params can hold. Handlers read past it into the cleared text.
int tapp_param_count(const tapp_record *record, int claimed);

}  // namespace ftm
