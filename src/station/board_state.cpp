#include "station/board_state.h"

#include <charconv>
#include <fstream>
#include <optional>

#include "station/board.h"
#include "station/screen.h"

namespace station {

namespace {

// A var/ file's text; empty if the device never wrote it.
std::string var_text(const std::string &board_dir, const char *name)
{
	std::ifstream in(board_dir + "/var/" + name, std::ios::binary);
	std::string text;
	char buf[256];
	in.read(buf, sizeof buf);  // these files are a line; more is not state
	text.assign(buf, static_cast<size_t>(in.gcount()));
	while (!text.empty() && (text.back() == '\n' || text.back() == ' '))
		text.pop_back();
	return text;
}

// A whole decimal or 0x-hexadecimal number, as the board file writes them.
std::optional<long> number(std::string_view text)
{
	bool negative = !text.empty() && text[0] == '-';
	if (negative)
		text.remove_prefix(1);
	int base = 10;
	if (text.starts_with("0x") || text.starts_with("0X")) {
		text.remove_prefix(2);
		base = 16;
	}
	long v = 0;
	auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), v, base);
	if (text.empty() || ec != std::errc() || end != text.data() + text.size())
		return std::nullopt;
	return negative ? -v : v;
}

nlohmann::json number_or_null(std::string_view text)
{
	auto n = number(text);
	return n ? nlohmann::json(*n) : nlohmann::json(nullptr);
}

int board_int(const std::string &dir, const char *key, int fallback)
{
	long n = board_number(dir, key, fallback);
	return n > -1000000000L && n < 1000000000L ? static_cast<int>(n) : fallback;
}

}  // namespace

TouchRange board_touch_range(const std::string &board_dir)
{
	Geometry g = board_geometry(board_dir);
	return {board_int(board_dir, "touch.x_min", 0), board_int(board_dir, "touch.x_max", g.width - 1),
	        board_int(board_dir, "touch.y_min", 0), board_int(board_dir, "touch.y_max", g.height - 1)};
}

std::pair<int, int> touch_point(const TouchRange &range, int width, int height, int x, int y)
{
	auto scale = [](int v, int pixels, int lo, int hi) {
		if (pixels <= 1)
			return lo;
		return static_cast<int>(lo + static_cast<long long>(v) * (static_cast<long long>(hi) - lo) / (pixels - 1));
	};
	return {scale(x, width, range.x_min, range.x_max), scale(y, height, range.y_min, range.y_max)};
}

nlohmann::json board_state(const std::string &board_dir)
{
	nlohmann::json s;
	Geometry g = board_geometry(board_dir);
	s["screen"] = {{"width", g.width}, {"height", g.height}, {"bpp", g.bpp}};

	std::string leds = var_text(board_dir, "tca6507");
	if (leds.size() == 7 && leds.find_first_not_of("01") == std::string::npos) {
		s["leds"] = nlohmann::json::array();
		for (char c : leds)
			s["leds"].push_back(c == '1' ? 1 : 0);
	} else {
		s["leds"] = nullptr;
	}
	std::string level = var_text(board_dir, "max7302");
	s["backlight"] = level.starts_with("level ") ? number_or_null(std::string_view(level).substr(6)) : nullptr;
	s["vibrator"] = number_or_null(var_text(board_dir, "vibrator"));
	s["flashled"] = number_or_null(var_text(board_dir, "flashled"));

	s["battery"] = {{"present", board_int(board_dir, "battery.present", 1) != 0},
	                {"voltage_mv", number_or_null(board_value(board_dir, "battery.voltage_mv"))},
	                {"id", number_or_null(board_value(board_dir, "battery.id"))}};
	s["power_key"] = board_int(board_dir, "gpio.power_key", 0) != 0 ? 1 : 0;
	TouchRange t = board_touch_range(board_dir);
	s["touch"] = {{"x_min", t.x_min}, {"x_max", t.x_max}, {"y_min", t.y_min}, {"y_max", t.y_max}};
	return s;
}

}  // namespace station
