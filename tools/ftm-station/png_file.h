// Saving a screen as PNG.
#pragma once

#include <string>

#include "station/screen.h"

namespace ftm_station {

bool write_png(const std::string &path, const station::Image &image, std::string *error);

}  // namespace ftm_station
