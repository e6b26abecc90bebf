// The live view's server without a browser: routes, refusals, and what each
// request does to the board.
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <future>
#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include "http_client.h"
#include "station/board.h"
#include "station/board_state.h"
#include "station/input.h"
#include "station/live_view.h"
#include "station/png.h"
#include "station/screen.h"
#include "support/sim_phone.h"

namespace {

using station_test::http_exchange;
using station_test::http_request;

// A fresh board with no daemon: the test reads the input devices itself.
class Board {
public:
	Board()
	{
		char tmpl[] = "/tmp/ftm-view-XXXXXX";
		if (::mkdtemp(tmpl))
			dir_ = tmpl;
		std::string error;
		EXPECT_TRUE(!dir_.empty() && station::init_board(dir_, &error)) << error;
	}
	~Board()
	{
		std::error_code ec;
		std::filesystem::remove_all(dir_, ec);
	}
	const std::string &dir() const { return dir_; }
	void write_var(const std::string &name, const std::string &text) const
	{
		std::filesystem::create_directories(dir_ + "/var");
		std::ofstream(dir_ + "/var/" + name, std::ios::binary | std::ios::trunc) << text;
	}

private:
	std::string dir_;
};

// Reads count events from an input device, each up to 2 s.
std::vector<station::InputEvent> read_events(int fd, size_t count)
{
	std::string bytes;
	for (int i = 0; i < 200 && bytes.size() < count * 16; ++i) {
		pollfd p{fd, POLLIN, 0};
		if (::poll(&p, 1, 2000) <= 0)
			break;
		char buf[256];
		ssize_t n = ::read(fd, buf, std::min(sizeof buf, count * 16 - bytes.size()));
		if (n > 0)
			bytes.append(buf, static_cast<size_t>(n));
	}
	std::vector<station::InputEvent> out;
	for (size_t at = 0; at + 16 <= bytes.size(); at += 16) {
		station::InputEvent ev{};
		std::memcpy(&ev.type, bytes.data() + at + 8, 2);
		std::memcpy(&ev.code, bytes.data() + at + 10, 2);
		std::memcpy(&ev.value, bytes.data() + at + 12, 4);
		out.push_back(ev);
	}
	return out;
}

// The device read as the daemon would read it, for the length of the test.
struct Reader {
	explicit Reader(const std::string &board, int device)
	{
		std::string fifo = board + "/dev/input/event" + std::to_string(device);
		fd = ::open(fifo.c_str(), O_RDONLY | O_NONBLOCK);
		// A writer of our own, so poll waits for data rather than reporting
		// a hang-up between the view's writes.
		keep = ::open(fifo.c_str(), O_WRONLY | O_NONBLOCK);
		EXPECT_GE(fd, 0);
		EXPECT_GE(keep, 0);
	}
	~Reader()
	{
		::close(keep);
		::close(fd);
	}
	int fd = -1, keep = -1;
};

class LiveViewTest : public ::testing::Test {
protected:
	void SetUp() override
	{
		std::string error;
		ASSERT_TRUE(view.start(board.dir(), 0, &error)) << error;
		ASSERT_GT(view.port(), 0);
	}
	station_test::HttpReply ask(const std::string &method, const std::string &target)
	{
		std::string error;
		auto r = http_request(view.port(), method, target, {}, 10000, &error);
		EXPECT_TRUE(r) << error;
		return r.value_or(station_test::HttpReply{});
	}

	Board board;
	station::LiveView view;
};

TEST(HttpRequestHead, ParsesPathAndQuery)
{
	station::HttpRequest r;
	ASSERT_TRUE(station::parse_request_head("POST /key?code=100&value=1&x=a%20b HTTP/1.1\r\nHost: x\r\n\r\n", &r));
	EXPECT_EQ(r.method, "POST");
	EXPECT_EQ(r.path, "/key");
	EXPECT_EQ(r.query["code"], "100");
	EXPECT_EQ(r.query["value"], "1");
	EXPECT_EQ(r.query["x"], "a b");
	ASSERT_TRUE(station::parse_request_head("GET / HTTP/1.0\n\n", &r));
	EXPECT_EQ(r.path, "/");
	EXPECT_TRUE(r.query.empty());
}

TEST(HttpRequestHead, RefusesWhatIsNotARequest)
{
	station::HttpRequest r;
	for (const char *bad : {"", "\r\n\r\n", "GET\r\n\r\n", "GET /\r\n\r\n", "GET / HTTP/2\r\n\r\n", "get / HTTP/1.1\r\n\r\n",
	                        "GET x HTTP/1.1\r\n\r\n", "GET / HTTP/1.1 extra\r\n\r\n", "GET /%zz HTTP/1.1\r\n\r\n",
	                        "GET /?a=%4 HTTP/1.1\r\n\r\n", "GET /?a=% HTTP/1.1\r\n\r\n"})
		EXPECT_FALSE(station::parse_request_head(bad, &r)) << bad;
}

TEST_F(LiveViewTest, ServesThePageWithPanelAndKeys)
{
	auto r = ask("GET", "/");
	EXPECT_EQ(r.status, 200);
	EXPECT_NE(r.head.find("Content-Type: text/html"), std::string::npos);
	EXPECT_NE(r.body.find("id=\"panel\""), std::string::npos);
	// The send and end keys, and the menu's up, down, select and back.
	for (const char *key : {"[100, ", "[229, ", "[103, ", "[108, ", "[28, ", "[158, "})
		EXPECT_NE(r.body.find(key), std::string::npos) << key;
	EXPECT_NE(r.body.find("id=\"power\""), std::string::npos);
}

TEST_F(LiveViewTest, UnknownPagesAndWrongMethodsAndBadParametersAreRefused)
{
	EXPECT_EQ(ask("GET", "/nothing").status, 404);
	EXPECT_EQ(ask("GET", "/screen.png/x").status, 404);
	EXPECT_EQ(ask("GET", "/key?code=100").status, 405);
	EXPECT_EQ(ask("POST", "/state").status, 405);
	EXPECT_EQ(ask("DELETE", "/").status, 405);
	for (const char *bad : {"/key", "/key?code=", "/key?code=abc", "/key?code=0", "/key?code=768", "/key?code=100x",
	                        "/key?code=-5", "/key?code=100&value=2", "/key?code=100&value=", "/key?code=99999999999",
	                        "/touch?x=1", "/touch?x=-1&y=0", "/touch?x=800&y=0", "/touch?x=0&y=480",
	                        "/power", "/power?down=2", "/power?down=yes"})
		EXPECT_EQ(ask("POST", bad).status, 400) << bad;
	// Nothing reached the board file.
	EXPECT_EQ(station::board_value(board.dir(), "gpio.power_key"), "0");
}

TEST_F(LiveViewTest, MalformedAndOversizedRequestsAreAnsweredAndServingGoesOn)
{
	auto r = http_exchange(view.port(), std::string("\x00\x01\xff garbage\r\n\r\n", 15));
	ASSERT_TRUE(r);
	EXPECT_EQ(r->status, 400);
	std::string huge = "GET /" + std::string(20000, 'a') + " HTTP/1.1\r\n\r\n";
	r = http_exchange(view.port(), huge);
	ASSERT_TRUE(r);
	EXPECT_EQ(r->status, 431);
	std::string many_headers = "GET / HTTP/1.1\r\n";
	for (int i = 0; i < 1000; ++i)
		many_headers += "X-" + std::to_string(i) + ": y\r\n";
	r = http_exchange(view.port(), many_headers + "\r\n");
	ASSERT_TRUE(r);
	EXPECT_EQ(r->status, 431);
	// A client that gives up half-way.
	{
		std::string error;
		auto cut = http_exchange(view.port(), "GET /st", 200, &error);
		EXPECT_FALSE(cut);
	}
	EXPECT_EQ(ask("GET", "/state").status, 200);
}

TEST_F(LiveViewTest, StopClosesThePortAndTheViewStartsAgain)
{
	int port = view.port();
	view.stop();
	view.stop();
	std::string error;
	EXPECT_FALSE(http_request(port, "GET", "/", {}, 2000, &error));
	ASSERT_TRUE(view.start(board.dir(), port, &error)) << error;
	EXPECT_EQ(ask("GET", "/state").status, 200);
}

TEST_F(LiveViewTest, AnotherServerCannotTakeTheSamePort)
{
	station::LiveView second;
	std::string error;
	EXPECT_FALSE(second.start(board.dir(), view.port(), &error));
	EXPECT_NE(error.find(std::to_string(view.port())), std::string::npos) << error;
}

TEST_F(LiveViewTest, StateShowsTheVarFilesAndTheBoardFile)
{
	auto fresh = nlohmann::json::parse(ask("GET", "/state").body);
	EXPECT_TRUE(fresh["leds"].is_null());
	EXPECT_TRUE(fresh["backlight"].is_null());
	EXPECT_TRUE(fresh["vibrator"].is_null());
	EXPECT_EQ(fresh["battery"]["voltage_mv"], 3800);
	EXPECT_EQ(fresh["battery"]["id"], 0x2a);
	EXPECT_EQ(fresh["power_key"], 0);
	EXPECT_EQ(fresh["screen"]["width"], 800);

	board.write_var("tca6507", "1010001\n");
	board.write_var("max7302", "level 77\n");
	board.write_var("vibrator", "250\n");
	board.write_var("flashled", "1\n");
	station::set_board_value(board.dir(), "battery.voltage_mv", "3650");
	station::set_board_value(board.dir(), "battery.present", "0");
	station::set_board_value(board.dir(), "gpio.power_key", "1");
	auto r = ask("GET", "/state");
	EXPECT_NE(r.head.find("application/json"), std::string::npos);
	auto s = nlohmann::json::parse(r.body);
	EXPECT_EQ(s["leds"], nlohmann::json({1, 0, 1, 0, 0, 0, 1}));
	EXPECT_EQ(s["backlight"], 77);
	EXPECT_EQ(s["vibrator"], 250);
	EXPECT_EQ(s["flashled"], 1);
	EXPECT_EQ(s["battery"]["voltage_mv"], 3650);
	EXPECT_EQ(s["battery"]["present"], false);
	EXPECT_EQ(s["power_key"], 1);

	// Files the view cannot read as state show as unknown, not as zero.
	board.write_var("tca6507", "10x\n");
	board.write_var("max7302", "junk\n");
	board.write_var("vibrator", std::string(5000, '9'));
	s = nlohmann::json::parse(ask("GET", "/state").body);
	EXPECT_TRUE(s["leds"].is_null());
	EXPECT_TRUE(s["backlight"].is_null());
	EXPECT_TRUE(s["vibrator"].is_null());
}

TEST_F(LiveViewTest, AKeyIsAPressAndAReleaseOrOneEventAsAsked)
{
	Reader keypad(board.dir(), 0);
	auto answer = std::async(std::launch::async, [&] { return ask("POST", "/key?code=229"); });
	auto events = read_events(keypad.fd, 2);
	EXPECT_EQ(answer.get().status, 200);
	ASSERT_EQ(events.size(), 2u);
	EXPECT_EQ(events[0].type, station::EV_KEY_TYPE);
	EXPECT_EQ(events[0].code, 229);
	EXPECT_EQ(events[0].value, 1);
	EXPECT_EQ(events[1].code, 229);
	EXPECT_EQ(events[1].value, 0);

	answer = std::async(std::launch::async, [&] { return ask("POST", "/key?code=100&value=1"); });
	events = read_events(keypad.fd, 1);
	EXPECT_EQ(answer.get().status, 200);
	ASSERT_EQ(events.size(), 1u);
	EXPECT_EQ(events[0].code, 100);
	EXPECT_EQ(events[0].value, 1);
}

TEST_F(LiveViewTest, InputWithNobodyReadingIsServiceUnavailable)
{
	auto r = ask("POST", "/key?code=100");
	EXPECT_EQ(r.status, 503);
	EXPECT_NE(r.body.find("event0"), std::string::npos);
	EXPECT_EQ(ask("POST", "/touch?x=1&y=1").status, 503);
}

TEST_F(LiveViewTest, ATouchIsScaledFromPanelPixelsToTheTouchRange)
{
	station::set_board_value(board.dir(), "touch.x_min", "100");
	station::set_board_value(board.dir(), "touch.x_max", "1698");
	station::set_board_value(board.dir(), "touch.y_max", "958");
	Reader touch(board.dir(), 1);
	for (auto [x, y, tx, ty] : {std::array{0, 0, 100, 0}, {799, 479, 1698, 958}, {400, 240, 900, 480}}) {
		auto answer = std::async(std::launch::async,
		                         [&] { return ask("POST", "/touch?x=" + std::to_string(x) + "&y=" + std::to_string(y)); });
		auto events = read_events(touch.fd, 4);
		EXPECT_EQ(answer.get().status, 200);
		ASSERT_EQ(events.size(), 4u);
		EXPECT_EQ(events[0].type, station::EV_ABS_TYPE);
		EXPECT_EQ(events[0].code, 0);
		EXPECT_EQ(events[0].value, tx) << x;
		EXPECT_EQ(events[1].code, 1);
		EXPECT_EQ(events[1].value, ty) << y;
		EXPECT_EQ(events[2].code, station::BTN_TOUCH_CODE);
		EXPECT_EQ(events[3].type, station::EV_SYN_TYPE);
	}
}

TEST_F(LiveViewTest, ThePowerKeyIsTheBoardValue)
{
	EXPECT_EQ(ask("POST", "/power?down=1").status, 200);
	EXPECT_EQ(station::board_value(board.dir(), "gpio.power_key"), "1");
	EXPECT_EQ(nlohmann::json::parse(ask("GET", "/state").body)["power_key"], 1);
	EXPECT_EQ(ask("POST", "/power?down=0").status, 200);
	EXPECT_EQ(station::board_value(board.dir(), "gpio.power_key"), "0");
}

TEST_F(LiveViewTest, NoScreenYetIsServiceUnavailable)
{
	std::filesystem::remove(board.dir() + "/dev/graphics/fb0");
	EXPECT_EQ(ask("GET", "/screen.png").status, 503);
}

TEST(LiveViewPhone, TheScreenIsThePanelAndKeysReachTheDaemon)
{
	testing_support::SimPhone phone;
	station::LiveView view;
	std::string error;
	ASSERT_TRUE(view.start(phone.path(""), 0, &error)) << error;
	auto png = [&] {
		auto r = http_request(view.port(), "GET", "/screen.png");
		EXPECT_TRUE(r && r->status == 200);
		EXPECT_TRUE(r && r->head.find("image/png") != std::string::npos);
		std::string body = r ? r->body : std::string();
		auto img = station::decode_png({reinterpret_cast<const uint8_t *>(body.data()), body.size()});
		EXPECT_TRUE(img);
		return img.value_or(station::Image{});
	};
	station::Image version = png();
	EXPECT_EQ(version.rgb, station::read_screen(phone.path(""))->rgb);
	for (int i = 0; i < 5; ++i)
		for (int code : {100, 229})
			ASSERT_EQ(http_request(view.port(), "POST", "/key?code=" + std::to_string(code))->status, 200);
	// Each key is answered once the daemon has read it; its trace says the
	// key step has run, and the command after it that the step is over.
	EXPECT_TRUE(phone.wait_trace("keycode= 100", 5));
	EXPECT_TRUE(phone.wait_trace("keycode= 229", 5));
	ASSERT_EQ(phone.ask("AT\n"), "OK\n");
	station::Image menu = png();
	EXPECT_EQ(menu.rgb, station::read_screen(phone.path(""))->rgb);
	EXPECT_NE(menu.rgb, version.rgb);
	EXPECT_EQ(phone.trace_count("keycode= 100"), 5);
	EXPECT_EQ(phone.trace_count("keycode= 229"), 5);
}

}  // namespace
