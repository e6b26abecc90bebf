#include "support/dispatch.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "ftm/command.h"
#include "support/temp_board.h"

namespace testing_support {

std::string dispatch(std::string_view received)
{
	use_temp_board();
	std::vector<char> buffer(ftm::COMMAND_SIZE + ftm::COMMAND_SLACK, '\0');
	size_t n = std::min(received.size(), ftm::COMMAND_SIZE);
	std::memcpy(buffer.data(), received.data(), n);
	char answer[ftm::ANSWER_SIZE] = {};
	ftm::check_tapp_command(buffer.data(), n, answer, sizeof answer);
	return answer;
}

}  // namespace testing_support
