// ftm-station report: yield figures from the line's results store.
#pragma once

#include <string>
#include <vector>

namespace ftm_station {

// args: what follows "report" on the command line. Exit code: 0 done,
// 1 the database could not be read or the page written, 2 usage.
int report_main(const std::vector<std::string> &args);

}  // namespace ftm_station
