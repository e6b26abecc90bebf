// The live view's request head, and the answer to it on a board. No daemon
// reads the board's input devices here, so a key or touch is refused at once
// (503) after its query is checked.
#include <cstdint>
#include <string_view>

#include "station/http_server.h"
#include "station/live_view.h"
#include "support/temp_board.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
	const std::string &board = testing_support::use_temp_board();
	std::string_view head(reinterpret_cast<const char *>(data), size);
	station::HttpRequest request;
	if (!station::parse_request_head(head, &request))
		return 0;
	station::format_response(station::live_view_answer(board, request));
	return 0;
}
