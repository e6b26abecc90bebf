// The live view's page: HTML, style and script in one, no outside assets.
#pragma once

#include <string_view>

namespace station {

std::string_view live_view_page();

}  // namespace station
