#include "webdriver.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <poll.h>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

#include "http_client.h"

namespace station_test {

namespace {

bool reap(pid_t pid, int timeout_ms)
{
	for (int waited = 0; waited <= timeout_ms; waited += 10) {
		if (::waitpid(pid, nullptr, WNOHANG) == pid)
			return true;
		::poll(nullptr, 0, 10);
	}
	return false;
}

}  // namespace

std::string base64_decode(const std::string &in)
{
	auto value = [](char c) -> int {
		if (c >= 'A' && c <= 'Z')
			return c - 'A';
		if (c >= 'a' && c <= 'z')
			return c - 'a' + 26;
		if (c >= '0' && c <= '9')
			return c - '0' + 52;
		return c == '+' ? 62 : c == '/' ? 63 : -1;
	};
	std::string out;
	out.reserve(in.size() / 4 * 3);
	unsigned bits = 0;
	int count = 0;
	for (char c : in) {
		if (c == '=' || c == '\n' || c == '\r')
			continue;
		int v = value(c);
		if (v < 0)
			return {};
		bits = (bits << 6) | static_cast<unsigned>(v);
		if (++count == 4) {
			out.push_back(static_cast<char>(bits >> 16));
			out.push_back(static_cast<char>(bits >> 8));
			out.push_back(static_cast<char>(bits));
			bits = 0;
			count = 0;
		}
	}
	if (count == 3) {
		out.push_back(static_cast<char>(bits >> 10));
		out.push_back(static_cast<char>(bits >> 2));
	} else if (count == 2) {
		out.push_back(static_cast<char>(bits >> 4));
	}
	return out;
}

std::string Browser::missing()
{
	std::string what;
	for (const char *p : {kChromium, kChromedriver})
		if (::access(p, X_OK) != 0)
			what += std::string(what.empty() ? "" : ", ") + p;
	return what;
}

Browser::~Browser() { end(); }

bool Browser::start(int width, int height, std::string *error)
{
	port_ = free_port();
	char tmpl[] = "/tmp/ftm-browser-XXXXXX";
	if (port_ == 0 || !::mkdtemp(tmpl)) {
		*error = "no free port or temporary folder";
		return false;
	}
	profile_dir_ = tmpl;
	std::string log = profile_dir_ + "/chromedriver.log";
	std::string port_arg = "--port=" + std::to_string(port_);
	driver_ = ::fork();
	if (driver_ == 0) {
		// A group of its own, so the browser it starts goes with it.
		::setpgid(0, 0);
		int fd = ::open(log.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
		if (fd >= 0) {
			::dup2(fd, 1);
			::dup2(fd, 2);
		}
		::execl(kChromedriver, kChromedriver, port_arg.c_str(), static_cast<char *>(nullptr));
		::_exit(127);
	}
	if (driver_ < 0) {
		*error = "fork failed";
		return false;
	}
	::setpgid(driver_, driver_);
	bool ready = false;
	for (int i = 0; i < 200 && !ready; ++i) {
		if (::waitpid(driver_, nullptr, WNOHANG) == driver_) {
			driver_ = -1;
			*error = "chromedriver exited at start (see " + log + ")";
			return false;
		}
		auto r = http_request(port_, "GET", "/status", {}, 1000);
		ready = r && r->status == 200 && nlohmann::json::parse(r->body, nullptr, false).value("value", nlohmann::json::object()).value("ready", false);
		if (!ready)
			::poll(nullptr, 0, 50);
	}
	if (!ready) {
		*error = "chromedriver did not get ready (see " + log + ")";
		return false;
	}
	std::string size = "--window-size=" + std::to_string(width) + "," + std::to_string(height);
	nlohmann::json caps = {
	    {"capabilities",
	     {{"alwaysMatch",
	       {{"browserName", "chrome"},
	        {"goog:chromeOptions",
	         {{"binary", kChromium},
	          {"args",
	           {"--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage", size,
	            "--force-device-scale-factor=1", "--force-color-profile=srgb", "--hide-scrollbars",
	            "--user-data-dir=" + profile_dir_ + "/profile"}}}}}}}}};
	auto r = http_request(port_, "POST", "/session", caps.dump(), 60000, error);
	if (!r)
		return false;
	auto answer = nlohmann::json::parse(r->body, nullptr, false);
	if (r->status != 200 || !answer.is_object() || !answer["value"].contains("sessionId")) {
		*error = "no session: " + r->body.substr(0, 400);
		return false;
	}
	session_ = answer["value"]["sessionId"].get<std::string>();
	return true;
}

void Browser::end()
{
	if (!session_.empty())
		(void)http_request(port_, "DELETE", "/session/" + session_, {}, 10000);
	session_.clear();
	if (driver_ > 0) {
		::kill(-driver_, SIGTERM);
		if (!reap(driver_, 3000)) {
			::kill(-driver_, SIGKILL);
			reap(driver_, 3000);
		}
		// Whatever of the group is left (a browser the driver left behind).
		::kill(-driver_, SIGKILL);
		driver_ = -1;
	}
	if (!profile_dir_.empty()) {
		std::error_code ec;
		std::filesystem::remove_all(profile_dir_, ec);
		profile_dir_.clear();
	}
}

nlohmann::json Browser::call(const std::string &method, const std::string &path, const nlohmann::json &body)
{
	std::string error;
	std::string target = "/session/" + session_ + (path.empty() ? "" : "/" + path);
	auto r = http_request(port_, method, target, body.is_null() ? std::string() : body.dump(), 30000, &error);
	if (!r)
		throw std::runtime_error("WebDriver " + method + " " + path + ": " + error);
	auto answer = nlohmann::json::parse(r->body, nullptr, false);
	if (r->status != 200 || !answer.is_object())
		throw std::runtime_error("WebDriver " + method + " " + path + ": " + std::to_string(r->status) + " " +
		                         r->body.substr(0, 400));
	return answer["value"];
}

void Browser::open(const std::string &url) { call("POST", "url", {{"url", url}}); }

std::string Browser::find(const std::string &css)
{
	auto v = call("POST", "element", {{"using", "css selector"}, {"value", css}});
	return v.at(kElementKey).get<std::string>();
}

void Browser::click(const std::string &element) { call("POST", "element/" + element + "/click", nlohmann::json::object()); }

std::string Browser::text(const std::string &element) { return call("GET", "element/" + element + "/text").get<std::string>(); }

nlohmann::json Browser::script(const std::string &js)
{
	return call("POST", "execute/sync", {{"script", js}, {"args", nlohmann::json::array()}});
}

std::string Browser::element_png(const std::string &element)
{
	return base64_decode(call("GET", "element/" + element + "/screenshot").get<std::string>());
}

}  // namespace station_test
