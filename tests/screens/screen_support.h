// Helpers of the black-box screen tests: reading the panel, pressing keys
// one at a time, golden pictures.
#pragma once

#include <gtest/gtest.h>
#include <string>

#include "station/screen.h"
#include "support/sim_phone.h"

namespace screens_test {

using image = station::Image;
using rgb8 = station::Rgb;
using testing_support::SimPhone;

constexpr rgb8 kBlack{0, 0, 0}, kWhite{255, 255, 255};
constexpr rgb8 kRed{255, 0, 0}, kGreen{0, 255, 0}, kBlue{0, 0, 255};

// Waits (bounded) until the daemon has read all that was written to input
// device event<device>, so that each event is a read of its own.
void wait_taken(SimPhone &phone, int device);
// A key press, handled before this returns.
void key(SimPhone &phone, int code, int device = 0);
// A touch (x, y, touch key down, sync), handled before this returns.
void touch(SimPhone &phone, int x, int y);
// An AT round trip: whatever the daemon had read is handled when it returns.
void settle(SimPhone &phone);
// Five presses of each of the two keys: the way into the FQC menu.
void enter_fqc(SimPhone &phone);

image panel(SimPhone &phone);
// Pixels of colour c in [x0, x1) x [y0, y1).
int count(const image &img, rgb8 c, int x0, int y0, int x1, int y1);
// Compares with tests/screens/golden/NAME.png; FTM_UPDATE_GOLDEN=1 writes it.
::testing::AssertionResult matches_golden(const image &img, const std::string &name);

}  // namespace screens_test
