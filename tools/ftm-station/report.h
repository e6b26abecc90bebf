// Reports of a run for a factory's systems: JUnit XML and JSON.
#pragma once

#include <string>

#include "runner.h"

namespace ftm_station {

// The answer text in reports is cut to this many bytes (pictures are megabytes).
constexpr size_t kReportAnswerBytes = 2000;

std::string junit_xml(const RunResult &run);
std::string json_report(const RunResult &run);

// Writes text to path whole (temporary file, then rename).
bool write_file(const std::string &path, const std::string &text, std::string *error);

}  // namespace ftm_station
