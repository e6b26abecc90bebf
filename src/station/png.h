// Screens as PNG: to a file, to memory, and back.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "station/screen.h"

namespace station {

bool write_png(const std::string &path, const Image &image, std::string *error = nullptr);

// The PNG bytes of an image; empty with a reason on failure.
std::optional<std::string> encode_png(const Image &image, std::string *error = nullptr);

// A PNG of any colour type as 8-bit RGB (alpha dropped, composited on black).
std::optional<Image> decode_png(std::span<const uint8_t> bytes, std::string *error = nullptr);
// The same from a file.
std::optional<Image> read_png(const std::string &path, std::string *error = nullptr);

}  // namespace station
