// The FQC menu: a list on the screen, a selection the keys move, and the
// test of the selected row. Also the version screen shown at start-up.
#include "hal/fqc.h"

#include <array>
#include <cstring>
#include <fcntl.h>

#include "ftm/graphics.h"
#include "ftm/mode.h"
#include "hal/fqc_tests.h"
#include "hal/gpio.h"
#include "hal/lcd.h"
#include "platform/platform.h"

namespace hal {

namespace {

struct menu_item {
	int r, g, b;
	const char *text;
	void (*function)();
};

struct menu_config {
	int x, y;
	int pitch;
	int scale;
	int selected;
};

constexpr int kMainMenuSize = 11;
constexpr std::array<menu_item, kMainMenuSize> main_menu = {{
	{31, 63, 31, "FTM", nullptr},
	{31, 63, 31, "1. S/W ver. & model\n", show_info},
	{31, 63, 31, "2. Keypad Function\n", nullptr},
	{31, 63, 31, "3. Indication Function\n", nullptr},
	{31, 63, 31, "4. Audio path\n", nullptr},
	{31, 63, 31, "5. Camera Test\n", nullptr},
	{31, 63, 31, "6. Touch Panel Test\n", nullptr},
	{31, 63, 31, "7. LCD Test\n", fqc_lcd_test},
	{31, 63, 31, "8. LED Test\n", fqc_led_test},
	{31, 63, 31, "9. Backlight Test\n", fqc_backlight_test},
	{31, 63, 31, "10. One-Wire Bridge Test\n", fqc_battery_test},
}};

struct fqc_state {
	menu_config main_menuconfig{10, 10, 0, 0, 0};
	menu_config cur_mc{};
	const menu_item *cur_menu = nullptr;
	int cur_menu_size = 0;
};
fqc_state fqc;

constexpr char kVersionPath[] = "/ftm/version.ftm";
constexpr size_t kVersionRead = 256;
constexpr char kLeaveHint[] = "\n\n\n\nPower on with pressing CAMERA and VOLUME_DOWN keys to leave Auto-FTM.";
static_assert(sizeof kLeaveHint == 74);

int show_menu(int x, int y, int pitch, int scale, int selected, const menu_item *menu, int count)
{
	ftm::lcd_clear();
	for (int i = 0; i < count; ++i) {
		const menu_item &m = menu[i];
		if (i == selected)
			ftm::draw_str(x, y + pitch * i, 31, 0, 0, scale, "%s", m.text);
		else
			ftm::draw_str(x, y + pitch * i, m.r, m.g, m.b, scale, "%s", m.text);
	}
	msm_blit();
	return 0;
}

void redraw()
{
	const menu_config &c = fqc.cur_mc;
	show_menu(c.x, c.y, c.pitch, c.scale, c.selected, fqc.cur_menu, fqc.cur_menu_size);
}

// The version file's first two '~' become newlines, the 6-character label
// of the third field is kept, and the board's version follows it ("XX" when
// it cannot be read). Returns where the text goes on.

}  // namespace

void show_info()
{
	int fd = plat::open(kVersionPath, O_RDONLY);
	if (fd < 0)
		return;
	// Room for the file, the splice (at most 10 bytes on) and the hint.
	char text[kVersionRead + 16 + sizeof kLeaveHint] = {};
	ssize_t n = plat::read(fd, text, kVersionRead);
	plat::close(fd);
	size_t len = n > 0 ? static_cast<size_t>(n) : 0;
	for (int i = 0; i < 3; ++i) {
		ftm::lcd_clear();
		msm_blit();
	}
	ftm::version_splice v = ftm::splice_hardware_version(text, static_cast<int>(len));
	std::memcpy(text + v.end, kLeaveHint, sizeof kLeaveHint);
	ftm::draw_str(10, 100, 31, 63, 31, 2, "%s", text);
	msm_blit();
}

void show_fqc_menu()
{
	menu_config &c = fqc.main_menuconfig;
	c.x = 10;
	c.y = 10;
	c.pitch = 13;
	c.scale = 1;
	show_menu(c.x, c.y, c.pitch, c.scale, c.selected, main_menu.data(), kMainMenuSize);
	fqc.cur_mc = c;
	fqc.cur_menu = main_menu.data();
	fqc.cur_menu_size = kMainMenuSize;
}

void fqc_menu_select_up()
{
	if (!fqc.cur_menu)
		return;
	if (--fqc.cur_mc.selected < 0)
		fqc.cur_mc.selected = fqc.cur_menu_size - 1;
	redraw();
}

void fqc_menu_select_down()
{
	if (!fqc.cur_menu)
		return;
	if (++fqc.cur_mc.selected >= fqc.cur_menu_size)
		fqc.cur_mc.selected = 0;
	redraw();
}

void fqc_menu_select()
{
	if (!fqc.cur_menu || fqc.cur_mc.selected < 0 || fqc.cur_mc.selected >= fqc.cur_menu_size)
		return;
	if (void (*f)() = fqc.cur_menu[fqc.cur_mc.selected].function)
		f();
}

void fqc_reset() { fqc = {}; }

}  // namespace hal
