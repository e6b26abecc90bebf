#include "station/live_view.h"

#include <charconv>
#include <optional>

#include "station/board.h"
#include "station/board_state.h"
#include "station/input.h"
#include "station/live_view_page.h"
#include "station/png.h"
#include "station/screen.h"

namespace station {

namespace {

constexpr int kKeypad = 0, kTouch = 1;
constexpr int kKeyCodeMax = 0x2ff;  // the kernel's KEY_MAX
constexpr int kReadTimeoutMs = 2000;

HttpResponse text(int status, const std::string &body) { return {status, "text/plain; charset=utf-8", body + "\n"}; }

// The parameter as a whole decimal number in [lo, hi]; nullopt if absent or not.
std::optional<int> int_param(const HttpRequest &r, const char *name, int lo, int hi)
{
	auto it = r.query.find(name);
	if (it == r.query.end())
		return std::nullopt;
	const std::string &s = it->second;
	int v = 0;
	auto [end, ec] = std::from_chars(s.data(), s.data() + s.size(), v);
	if (s.empty() || ec != std::errc() || end != s.data() + s.size() || v < lo || v > hi)
		return std::nullopt;
	return v;
}

HttpResponse send_input(const std::string &dir, int device, const std::vector<InputEvent> &events)
{
	if (!send_events(dir, device, events))
		return text(503, "nobody reads input device event" + std::to_string(device) + " (is the daemon running?)");
	if (!wait_events_read(dir, device, kReadTimeoutMs))
		return text(503, "the daemon did not read input device event" + std::to_string(device));
	return text(200, "ok");
}

HttpResponse key(const std::string &dir, const HttpRequest &r)
{
	auto code = int_param(r, "code", 1, kKeyCodeMax);
	auto value = int_param(r, "value", 0, 1);
	if (!code || (!value && r.query.contains("value")))
		return text(400, "want code=1.." + std::to_string(kKeyCodeMax) + " and optionally value=1 or 0");
	uint16_t c = static_cast<uint16_t>(*code);
	if (value)
		return send_input(dir, kKeypad, {{EV_KEY_TYPE, c, *value}});
	// Press and release as two reads, as a keypad reports them.
	HttpResponse press = send_input(dir, kKeypad, {{EV_KEY_TYPE, c, 1}});
	if (press.status != 200)
		return press;
	return send_input(dir, kKeypad, {{EV_KEY_TYPE, c, 0}});
}

HttpResponse touch(const std::string &dir, const HttpRequest &r)
{
	Geometry g = board_geometry(dir);
	auto x = int_param(r, "x", 0, g.width - 1);
	auto y = int_param(r, "y", 0, g.height - 1);
	if (!x || !y)
		return text(400, "want x=0.." + std::to_string(g.width - 1) + " and y=0.." + std::to_string(g.height - 1));
	auto [tx, ty] = touch_point(board_touch_range(dir), g.width, g.height, *x, *y);
	return send_input(dir, kTouch, touch_events(tx, ty));
}

HttpResponse power(const std::string &dir, const HttpRequest &r)
{
	auto down = int_param(r, "down", 0, 1);
	if (!down)
		return text(400, "want down=1 or 0");
	if (!set_board_value(dir, "gpio.power_key", *down ? "1" : "0"))
		return text(500, "cannot write the board file");
	return text(200, "ok");
}

HttpResponse screen(const std::string &dir)
{
	std::string error;
	auto img = read_screen(dir, &error);
	std::optional<std::string> png;
	if (img)
		png = encode_png(*img, &error);
	if (!png)
		return text(503, error);
	return {200, "image/png", std::move(*png)};
}

}  // namespace

HttpResponse live_view_answer(const std::string &dir, const HttpRequest &r)
{
	bool get = r.method == "GET", post = r.method == "POST";
	if (r.path == "/" || r.path == "/screen.png" || r.path == "/state") {
		if (!get)
			return text(405, "use GET");
		if (r.path == "/")
			return {200, "text/html; charset=utf-8", std::string(live_view_page())};
		if (r.path == "/state")
			return {200, "application/json", board_state(dir).dump()};
		return screen(dir);
	}
	if (r.path == "/key" || r.path == "/touch" || r.path == "/power") {
		if (!post)
			return text(405, "use POST");
		if (r.path == "/key")
			return key(dir, r);
		if (r.path == "/touch")
			return touch(dir, r);
		return power(dir, r);
	}
	return text(404, "no such page");
}

bool LiveView::start(const std::string &board_dir, int port, std::string *error)
{
	board_dir_ = board_dir;
	return server_.start(port, [this](const HttpRequest &r) { return live_view_answer(board_dir_, r); }, error);
}

}  // namespace station
