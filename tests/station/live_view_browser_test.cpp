// The live view in headless Chromium, as an operator uses it: open the page,
// enter FQC with the key buttons, move in the menu, touch the panel, and see
// the same picture on the page as in the framebuffer.
#include <gtest/gtest.h>
#include <unistd.h>

#include "station/board.h"
#include "station/live_view.h"
#include "station/png.h"
#include "station/screen.h"
#include "support/sim_phone.h"
#include "webdriver.h"

namespace {

using station_test::Browser;

class LiveViewBrowser : public ::testing::Test {
protected:
	void SetUp() override
	{
		std::string missing = Browser::missing();
		if (!missing.empty())
			GTEST_SKIP() << "headless browser test needs " << missing << " (apt-get install chromium chromium-driver)";
		std::string error;
		ASSERT_TRUE(view.start(phone.path(""), 0, &error)) << error;
		ASSERT_TRUE(browser.start(1400, 1000, &error)) << error;
		browser.open("http://127.0.0.1:" + std::to_string(view.port()) + "/");
		panel = browser.find("#panel");
		done = browser.find("#done");
	}

	// Until the page counts more answers than before, for a bounded while:
	// a loaded machine (a sanitizer build beside a compiler) can be slow.
	bool answered_since(int before)
	{
		for (int i = 0; i < 2000; ++i) {
			if (std::stoi(browser.text(done)) > before)
				return true;
			::usleep(10000);
		}
		return false;
	}

	// Clicks an element that sends one input, waits until the page has its
	// answer, then until the daemon's step for it is over.
	void input(const std::string &css)
	{
		int before = std::stoi(browser.text(done));
		browser.click(browser.find(css));
		ASSERT_TRUE(answered_since(before)) << css << ": the page got no answer";
		EXPECT_EQ(browser.text(browser.find("#status")), "") << css;
		ASSERT_EQ(phone.ask("AT\n"), "OK\n");
	}

	// What the page shows of the panel, as the browser draws it.
	station::Image shown()
	{
		std::string png = browser.element_png(panel);
		std::string error;
		auto img = station::decode_png({reinterpret_cast<const uint8_t *>(png.data()), png.size()}, &error);
		EXPECT_TRUE(img) << error;
		return img.value_or(station::Image{});
	}

	// Waits until the page shows the framebuffer, pixel for pixel.
	void expect_page_shows_panel(const char *what)
	{
		auto fb = station::read_screen(phone.path(""));
		ASSERT_TRUE(fb);
		station::Image img;
		for (int i = 0; i < 100; ++i) {
			img = shown();
			if (img.width == fb->width && img.height == fb->height && img.rgb == fb->rgb)
				return;
		}
		ADD_FAILURE() << what << ": the page shows " << img.width << "x" << img.height
		              << ", not the framebuffer's picture " << fb->width << "x" << fb->height;
	}

	// Rows of the menu drawn in the selection's red.
	static std::vector<int> red_rows(const station::Image &img)
	{
		std::vector<int> rows;
		for (int row = 0; row < 11; ++row) {
			int red = 0;
			for (int y = 10 + 13 * row; y < 18 + 13 * row; ++y)
				for (int x = 0; x < img.width; ++x) {
					red += img.at(x, y) == station::Rgb{255, 0, 0};
				}
			if (red > 0)
				rows.push_back(row);
		}
		return rows;
	}

	testing_support::SimPhone phone;
	station::LiveView view;
	Browser browser;
	std::string panel, done;
};

TEST_F(LiveViewBrowser, KeysEnterFqcMoveInTheMenuAndThePageShowsThePanel)
{
	expect_page_shows_panel("the version screen");
	station::Image version = *station::read_screen(phone.path(""));

	for (int i = 0; i < 5; ++i) {
		input("#key-100");
		input("#key-229");
	}
	station::Image menu = *station::read_screen(phone.path(""));
	EXPECT_NE(menu.rgb, version.rgb) << "the keys did not open the FQC menu";
	EXPECT_EQ(red_rows(menu), std::vector<int>{0});

	input("#key-108");
	input("#key-108");
	input("#key-103");
	station::Image moved = *station::read_screen(phone.path(""));
	EXPECT_EQ(red_rows(moved), std::vector<int>{1});
	expect_page_shows_panel("the menu, second row selected");

	// A touch where the panel is clicked reaches the touch device (the menu
	// takes no touches: the picture stays).
	input("#panel");
	EXPECT_EQ(station::read_screen(phone.path(""))->rgb, moved.rgb);
}

TEST_F(LiveViewBrowser, ThePowerButtonHoldsThePowerKeyUntilLetGo)
{
	auto pointer = [&](const char *action) {
		int before = std::stoi(browser.text(done));
		nlohmann::json steps = nlohmann::json::array();
		if (std::string(action) == "pointerDown")
			steps.push_back({{"type", "pointerMove"}, {"origin", {{Browser::kElementKey, browser.find("#power")}}},
			                 {"x", 0}, {"y", 0}});
		steps.push_back({{"type", action}, {"button", 0}});
		browser.call("POST", "actions",
		             {{"actions",
		               {{{"type", "pointer"}, {"id", "mouse"}, {"parameters", {{"pointerType", "mouse"}}}, {"actions", steps}}}}});
		EXPECT_TRUE(answered_since(before)) << action << ", page status: " << browser.text(browser.find("#status"));
	};
	pointer("pointerDown");
	EXPECT_EQ(station::board_value(phone.path(""), "gpio.power_key"), "1");
	pointer("pointerUp");
	EXPECT_EQ(station::board_value(phone.path(""), "gpio.power_key"), "0");
}

}  // namespace
