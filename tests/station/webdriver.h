// Headless Chromium driven through chromedriver's W3C WebDriver protocol,
// for tests of station pages. The driver and the browser are ended with the
// object, whatever the test did.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <sys/types.h>

namespace station_test {

class Browser {
public:
	static constexpr char kChromium[] = "/usr/bin/chromium";
	static constexpr char kChromedriver[] = "/usr/bin/chromedriver";
	static constexpr char kElementKey[] = "element-6066-11e4-a52e-4f735466cecf";  // fixed by the W3C protocol

	// Empty if both programs are installed, else what is missing.
	static std::string missing();

	Browser() = default;
	~Browser();
	Browser(const Browser &) = delete;
	Browser &operator=(const Browser &) = delete;

	// Starts chromedriver and a headless session with a window of the size
	// given. False with a reason.
	bool start(int width, int height, std::string *error);

	// One WebDriver command on the session ("" path: the session itself);
	// returns its "value". Throws std::runtime_error on a WebDriver error.
	nlohmann::json call(const std::string &method, const std::string &path, const nlohmann::json &body = nullptr);

	void open(const std::string &url);
	std::string find(const std::string &css);  // the element's id; throws if none
	void click(const std::string &element);
	std::string text(const std::string &element);
	nlohmann::json script(const std::string &js);  // runs "return ..." code
	std::string element_png(const std::string &element);  // decoded PNG bytes

private:
	void end();

	pid_t driver_ = -1;
	int port_ = 0;
	std::string session_;
	std::string profile_dir_;
};

// Base64 as WebDriver sends screenshots; nullopt-like empty on bad input.
std::string base64_decode(const std::string &in);

}  // namespace station_test
