// The on-device FQC menu and its start-up version screen.
#pragma once

namespace hal {

void show_info();
void show_fqc_menu();
void fqc_menu_select_up();
void fqc_menu_select_down();
void fqc_menu_select();
void fqc_touchpanel_test(const unsigned char *events, int count);

// Back to the state at start-up (for tests).
void fqc_reset();

}  // namespace hal
