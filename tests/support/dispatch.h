// One received buffer through the dispatcher in process, as the loop hands
// it over, on the binary's temporary board.
#pragma once

#include <string>
#include <string_view>

namespace testing_support {

// The answer text the loop would send (empty when nothing is sent).
std::string dispatch(std::string_view received);

}  // namespace testing_support
