// The station console of the launcher: lines typed go to the wired port,
// what the phone sends comes back exactly as sent.
#pragma once

#include "station/phone.h"

int run_console(station::Phone &phone);
