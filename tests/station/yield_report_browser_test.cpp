// The yield page in headless Chromium: its three plots render, with marks
// of non-zero size, and their colours reach the screen.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "station/png.h"
#include "station/results_store.h"
#include "webdriver.h"
#include "yield_report.h"

namespace {

using station_test::Browser;

std::vector<station::PhoneResult> phones()
{
	std::vector<station::PhoneResult> out;
	const char *steps[] = {"", "camera", "", "lcd", "", "camera", "", "", "audio", ""};
	for (int i = 0; i < 40; ++i) {
		station::PhoneResult p;
		p.id = i + 1;
		p.product_id = "id" + std::to_string(i % 30);  // ten retests
		char started[40];
		std::snprintf(started, sizeof started, "2026-11-23T%02d:%02d:00.000Z", 8 + i / 10, (i * 6) % 60);
		p.started = started;
		p.seconds = 30 + (i * 7) % 25;
		p.failed_step = steps[i % 10];
		p.verdict = p.failed_step.empty() ? "PASS" : "FAIL";
		out.push_back(p);
	}
	return out;
}

TEST(YieldReportBrowser, ThePlotsRender)
{
	std::string missing = Browser::missing();
	if (!missing.empty())
		GTEST_SKIP() << "headless browser test needs " << missing << " (apt-get install chromium chromium-driver)";
	namespace fs = std::filesystem;
	std::string dir = (fs::temp_directory_path() / "ftm-yield-page-XXXXXX").string();
	ASSERT_TRUE(::mkdtemp(dir.data()));
	std::string page = dir + "/yield.html";
	std::ofstream(page) << ftm_station::yield_html(ftm_station::compute_yield(phones()), "Yield");

	Browser browser;
	std::string error;
	ASSERT_TRUE(browser.start(900, 1400, &error)) << error;
	browser.open("file://" + page);
	// Each plot: its box, and how many of its marks (bars, points, lines) have a size.
	auto plots = browser.script(
		"return ['yield-over-time', 'pareto', 'cycle-time'].map(id => {"
		"  const svg = document.getElementById(id);"
		"  const box = svg.getBoundingClientRect();"
		"  const marks = [...svg.querySelectorAll('rect, circle, polyline')];"
		"  const drawn = marks.filter(m => { const b = m.getBBox(); return b.width > 0 && b.height > 0; });"
		"  return {id, width: box.width, height: box.height, marks: marks.length, drawn: drawn.length};"
		"});");
	ASSERT_EQ(plots.size(), 3u) << plots.dump();
	for (const auto &p : plots) {
		SCOPED_TRACE(p.dump());
		EXPECT_GT(p["width"].get<double>(), 100);
		EXPECT_GT(p["height"].get<double>(), 100);
		EXPECT_GT(p["marks"].get<int>(), 2);
		// Every point and bar drawn (an empty histogram bin is a bar of zero height).
		if (p["id"] != "cycle-time")
			EXPECT_EQ(p["drawn"].get<int>(), p["marks"].get<int>());
		else
			EXPECT_GT(p["drawn"].get<int>(), 5);
	}
	// The Pareto bars' red is on the screen.
	std::string png = browser.element_png(browser.find("#pareto"));
	auto img = station::decode_png({reinterpret_cast<const uint8_t *>(png.data()), png.size()}, &error);
	ASSERT_TRUE(img) << error;
	int red = 0;
	for (int y = 0; y < img->height; ++y)
		for (int x = 0; x < img->width; ++x) {
			auto c = img->at(x, y);
			red += c.r > 150 && c.g < 90 && c.b < 80;
		}
	EXPECT_GT(red, 500);
	fs::remove_all(dir);
}

}  // namespace
