// The TAPP codec on any frame text: the length and checksum digits, the
// class headers and parameter copy, and the answer built from the record.
#include <cstdint>
#include <cstring>
#include <vector>

#include "ftm/command.h"
#include "ftm/tapp.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
	using namespace ftm;
	if (size > COMMAND_SIZE)
		return -1;
	// As the loop hands it over: one read, then the zeroed slack.
	std::vector<char> text(COMMAND_SIZE + COMMAND_SLACK, '\0');
	std::memcpy(text.data(), data, size);

	tapp_record record{};
	const char *cursor = text.data();
	extract_bin_data_from_str(&cursor, &record.frame_len, 2);
	if (record.frame_len > TAPP_MAX_FRAME_LEN)
		return 0;
	checksum(text.data(), record.frame_len + 2);
	uint8_t bytes[TAPP_MAX_FRAME_LEN + 4] = {};
	checksumNodata(text.data(), record.frame_len + 2, bytes);
	get_tapp_param(cursor, &record);

	// Whatever a handler leaves in result goes back out in the answer.
	std::memcpy(record.result, record.params, sizeof record.result);
	record.result_len = record.frame_len;
	record.status = static_cast<uint8_t>(size);
	char answer[ANSWER_SIZE] = {};
	assemble_tapp_response(record, answer, sizeof answer);
	return 0;
}
