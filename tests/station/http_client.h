// A small HTTP client for tests: one request per connection to 127.0.0.1.
#pragma once

#include <optional>
#include <string>

namespace station_test {

struct HttpReply {
	int status = 0;
	std::string head;  // status line and headers
	std::string body;
};

// Sends bytes as they are and reads the answer: to the end of its body
// (Content-Length or chunked) or until the server closes. Nullopt with a
// reason on error or after timeout_ms.
std::optional<HttpReply> http_exchange(int port, const std::string &bytes, int timeout_ms = 10000,
                                       std::string *error = nullptr);

std::optional<HttpReply> http_request(int port, const std::string &method, const std::string &target,
                                      const std::string &body = {}, int timeout_ms = 10000,
                                      std::string *error = nullptr);

// A port nobody listens on just now (bound, read back, released).
int free_port();

}  // namespace station_test
