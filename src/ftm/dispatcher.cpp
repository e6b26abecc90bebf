// Decides what a received buffer means and runs its handler.
#include <cctype>
#include <cstdio>
#include <cstring>

#include "ftm/command.h"
#include "ftm/debug.h"
#include "ftm/ftm.h"

namespace ftm {

namespace {

constexpr char kTappPrefix[] = "AT*TAPP=";
constexpr size_t kTappPrefixLen = sizeof kTappPrefix - 1;

uint32_t tapp_row_id(const tapp_record &r)
{
	switch (r.req) {
	case TAPP_REQ_BB:
		DBG("baseband request\n");
		return r.hdr.bb.func_index;
	case TAPP_REQ_BT:
		DBG("bt request\n");
		return 0x100u + r.hdr.bt.cmd;
	case TAPP_REQ_WIFI:
		DBG("wifi request\n");
		return 0x200u + r.hdr.wifi.cmd;
	case TAPP_REQ_E2P:
		DBG("e2p request\n");
		return 0;
	default:
		return 0;  // get_tapp_param has traced it
	}
}

void run_frame(const char *text, tapp_record *record, char *answer, size_t answer_size)
{
	const char *cursor = text + kTappPrefixLen;
	extract_bin_data_from_str(&cursor, &record->frame_len, 2);
	if (record->frame_len > TAPP_MAX_FRAME_LEN)
		return;
	if (!is_checksum_ok(text + kTappPrefixLen, record->frame_len + 2)) {
		std::printf("CRC error\n");
		std::fflush(stdout);
		return;
	}
	get_tapp_param(cursor, record);
	const tapp_bb_header &bb = record->hdr.bb;
	DBG("access = %02x, func_index = %04x, length = %04x, rev = %04x\n", bb.access, bb.func_index,
	    bb.length, static_cast<int>(bb.rev));
	DBG("params = %s\n", record->params);
	uint32_t id = tapp_row_id(*record);
	int status = search_tapp_and_execute_cmd(id, record);
	if (status == TAPP_NO_HANDLER)
		return;
	record->status = status;
	assemble_tapp_response(*record, answer, answer_size);
}

bool is_short_command(const char *text, size_t length)
{
	return std::strstr(text, "ATE0") != nullptr || std::strcmp(text, "AT\n") == 0 || length == 1;
}

}  // namespace

int check_tapp_command(char *buffer, size_t length, char *answer, size_t answer_size)
{
	tapp_record record{};

	if (loop.ftm_state != FTM_STATE_CALIBRATION)
		for (size_t i = 0; i < length; ++i)
			buffer[i] = static_cast<char>(std::toupper(static_cast<unsigned char>(buffer[i])));

	if (std::strncmp(buffer, kTappPrefix, kTappPrefixLen) == 0) {
		run_frame(buffer, &record, answer, answer_size);
		return 0;
	}

	if (is_short_command(buffer, length) && loop.ftm_state != FTM_STATE_CALIBRATION) {
		std::snprintf(answer, answer_size, "OK\n");
		return 0;
	}

	int r = search_at_and_execute_cmd(buffer, &record);
	record.result[RESULT_SIZE - 1] = '\0';
	if (r == 0)
		std::snprintf(answer, answer_size, "%sOK\n", record.result);
	else if (r == 1)
		std::snprintf(answer, answer_size, "ERROR\n");
	else
		std::snprintf(answer, answer_size, "NOTSUPPORTED\n");
	return 0;
}

int search_at_and_execute_cmd(const char *text, tapp_record *record)
{
	for (const cmd_entry &row : cmd_table) {
		size_t klen = std::strlen(row.keyword);
		if (std::strncmp(row.keyword, text, klen) != 0)
			continue;
		// Only the copied bytes are written: what a longer earlier copy left
		// stays, as the record is cleared once per command.
		const char *rest = text + klen;
		std::memcpy(record->params, rest, strnlen(rest, PARAMS_SIZE - 1));
		int r = row.at_handler(record);
		if (r == 0 || r == 1)
			return r;
	}
	return 2;
}

int search_tapp_and_execute_cmd(uint32_t id, tapp_record *record)
{
	for (const cmd_entry &row : cmd_table) {
		if (row.id != id)
			continue;
		DBG("cmd = %x, tapp.id = %x\n", row.id, id);
		if (!row.tapp_handler) {
			// The original calls through a null pointer here and dies.
			DBG("no framed handler for id %x\n", id);
			return TAPP_NO_HANDLER;
		}
		row.tapp_handler(record);
		return TAPP_FOUND;
	}
	return TAPP_NOT_FOUND;
}

}  // namespace ftm
