#include "ftm/tapp.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>

#include "ftm/debug.h"

namespace ftm {

namespace {

// The original's digit rule: no validation, letters and garbage alike c - 55.
int digit_value(char c)
{
	int u = std::toupper(static_cast<unsigned char>(c));
	return (u >= '0' && u <= '9') ? u - '0' : u - 55;
}

uint8_t decode_byte(const char *p)
{
	return static_cast<uint8_t>(digit_value(p[0]) * 16 + digit_value(p[1]));
}

}  // namespace

void extract_bin_data_from_str(const char **cursor, void *out, int n)
{
	auto count = static_cast<uint8_t>(n);
	if (count >= 5)
		return;
	auto *bytes = static_cast<uint8_t *>(out);
	std::memset(bytes, 0, count);
	for (uint8_t i = 0; i < count; ++i)
		bytes[i] = decode_byte(*cursor + 2 * i);
	*cursor += 2 * count;
}

uint8_t checksum(const char *text, int n)
{
	uint8_t x = 0;
	for (int i = 0; i < n; ++i)
		x ^= decode_byte(text + 2 * i);
	return x;
}

int is_checksum_ok(const char *text, int n)
{
	uint8_t x = checksum(text, n);
	if (x == 0)
		return 1;
	DBG("CRC = %02x\n", x);
	return 0;
}

uint8_t checksumNodata(const char *text, int n, uint8_t *out)
{
	uint8_t x = 0;
	for (int i = 0; i < n; ++i) {
		out[i] = decode_byte(text + 2 * i);
		x ^= out[i];
	}
	out[n < 0 ? 0 : n] = decode_byte(text + 2 * (n < 0 ? 0 : n));
	return x;
}

int tapp_param_count(const tapp_record * /*record*/, int claimed)
{
	constexpr int kMax = static_cast<int>((PARAMS_SIZE - 2) / 2);
	return std::clamp(claimed, 0, kMax);
}

namespace {

// Parameter text is copied as digits; the record's zeroed tail terminates it.
void copy_params(const char *text, int length, tapp_record *record)
{
	int chars = tapp_param_count(record, length) * 2;
	std::strncpy(record->params, text, static_cast<size_t>(chars));
}

void get_tapp_bb_param(const char *text, tapp_record *r)
{
	extract_bin_data_from_str(&text, &r->hdr.bb.access, 1);
	extract_bin_data_from_str(&text, &r->hdr.bb.func_index, 2);
	extract_bin_data_from_str(&text, &r->hdr.bb.length, 2);
	extract_bin_data_from_str(&text, &r->hdr.bb.rev, 2);
	copy_params(text, r->hdr.bb.length, r);
}

void get_tapp_bt_param(const char *text, tapp_record *r)
{
	extract_bin_data_from_str(&text, &r->hdr.bt.total_blk, 1);
	extract_bin_data_from_str(&text, &r->hdr.bt.blk_index, 1);
	extract_bin_data_from_str(&text, &r->hdr.bt.length, 2);
	extract_bin_data_from_str(&text, &r->hdr.bt.cmd, 1);
	copy_params(text, r->hdr.bt.length, r);
}

void get_tapp_wifi_param(const char *text, tapp_record *r)
{
	extract_bin_data_from_str(&text, &r->hdr.wifi.total_blk, 1);
	extract_bin_data_from_str(&text, &r->hdr.wifi.blk_index, 1);
	extract_bin_data_from_str(&text, &r->hdr.wifi.cmd, 1);
	extract_bin_data_from_str(&text, &r->hdr.wifi.unused, 1);
	extract_bin_data_from_str(&text, &r->hdr.wifi.length, 2);
	copy_params(text, r->hdr.wifi.length, r);
}

void get_tapp_e2p_param(const char * /*text*/, tapp_record * /*r*/) {}

// The body's checksum may be asked over more bytes than the text holds
// (a handler whose result_len disagrees with its text): the cleared work
// area then supplies what the original read, within bounds.
constexpr size_t kWorkSize = 2 * RESULT_SIZE + 64;

uint8_t body_checksum(const char *work, int bytes)
{
	int max_bytes = static_cast<int>(kWorkSize / 2);
	return checksum(work, std::clamp(bytes, 0, max_bytes));
}

}  // namespace

void get_tapp_param(const char *text, tapp_record *record)
{
	uint8_t req = 0;
	extract_bin_data_from_str(&text, &req, 1);
	record->req = req;
	switch (req) {
	case TAPP_REQ_BB:
		get_tapp_bb_param(text, record);
		break;
	case TAPP_REQ_BT:
		get_tapp_bt_param(text, record);
		break;
	case TAPP_REQ_WIFI:
		get_tapp_wifi_param(text, record);
		break;
	case TAPP_REQ_E2P:
		get_tapp_e2p_param(text, record);
		break;
	default:
		DBG("unknow request: %d\n", req);
		break;
	}
}

void assemble_tapp_response(tapp_record record, char *answer, size_t answer_size)
{
	char work[kWorkSize] = {};
	const int r = record.result_len;
	const auto lo = [](int v) { return v & 0xFF; };
	const auto hi = [](int v) { return (v >> 8) & 0xFF; };
	record.result[RESULT_SIZE - 1] = '\0';

	switch (record.req) {
	case TAPP_REQ_BB: {
		std::snprintf(work, sizeof work, "%02x%02x%02x%02x%02x%02x%s", lo(r + 5), hi(r + 5),
		              lo(static_cast<int>(record.req)), lo(record.status), lo(r), hi(r), record.result);
		std::snprintf(answer, answer_size, "*TAPP=%s%02x\nOK\n", work, body_checksum(work, r + 6));
		break;
	}
	case TAPP_REQ_BT: {
		std::snprintf(work, sizeof work, "%02x%02x%02x%02x%02x%02x%02x%02x%s", lo(r + 7), hi(r + 7),
		              lo(static_cast<int>(record.req)), 1, 1, lo(r), hi(r), record.hdr.bt.cmd, record.result);
		std::snprintf(answer, answer_size, "\n*TAPP=ACK\n*TAPP=%s%02x\nOK\n", work, body_checksum(work, r + 8));
		break;
	}
	case TAPP_REQ_WIFI: {
		const tapp_wifi_header &w = record.hdr.wifi;
		std::snprintf(work, sizeof work, "%02x%02x%02x%02x%02x%02x%02x%02x%02x%s", lo(r + 8), hi(r + 8),
		              lo(static_cast<int>(record.req)), w.total_blk, w.blk_index, w.cmd, lo(record.status), lo(r),
		              hi(r), record.result);
		std::snprintf(answer, answer_size, "*TAPP=ACK\n*TAPP=%s%02x\nOK\n", work, body_checksum(work, r + 9));
		break;
	}
	default:
		break;  // e2p and unknown classes are not answered
	}
}

int assemble_input_tapp_response(char (*frames)[SLOT_SIZE], const char (*results)[SLOT_SIZE], int count)
{
	// The frame adds 12 characters to the body and 12 to the result: a
	// result of up to 255 characters still fits one slot.
	for (int i = 0; i < count; ++i) {
		char work[SLOT_SIZE - 12] = {};
		std::snprintf(work, sizeof work, "%02x%02x%02x%02x%02x%02x%.255s", 6, 0, 64, 0, 1, 0, results[i]);
		std::snprintf(frames[i], SLOT_SIZE, "*TAPP=%s%02x\nOK\n", work, checksum(work, 7));
	}
	return 0;
}

}  // namespace ftm
