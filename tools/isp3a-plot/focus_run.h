// The focus search of isp3a-plot: the daemon's configuration thread in
// this process against the simulated camera driver on a fresh board (the
// station has no command that starts a search on a running phone).
#pragma once

#include <string>

// Runs one search for a peak at `peak`; writes focus.csv (frame, lens,
// focus value of each frame from the search's start) and curve.csv (the
// scene's focus value at every lens position) into dir. False if the
// search did not run to its end.
bool focus_run(const std::string &dir, int peak);
