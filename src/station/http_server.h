// A small HTTP server on 127.0.0.1 for station pages: one request per
// connection (answers close it), served one at a time in a thread of its own.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <thread>

namespace station {

struct HttpRequest {
	std::string method;
	std::string path;  // without the query
	std::map<std::string, std::string> query;
};

struct HttpResponse {
	int status = 200;
	std::string content_type = "text/plain; charset=utf-8";
	std::string body;
};

using HttpHandler = std::function<HttpResponse(const HttpRequest &)>;

// The request line and headers up to the blank line. False if malformed.
bool parse_request_head(std::string_view head, HttpRequest *out);

// The bytes of a whole answer, head and body.
std::string format_response(const HttpResponse &response);

class HttpServer {
public:
	static constexpr size_t kMaxHead = 8192;      // a longer request is refused
	static constexpr int kReadTimeoutMs = 3000;   // for the whole request head
	static constexpr int kWriteTimeoutMs = 5000;  // for each part of the answer

	HttpServer() = default;
	~HttpServer();
	HttpServer(const HttpServer &) = delete;
	HttpServer &operator=(const HttpServer &) = delete;

	// Listens on 127.0.0.1:port (0: a free port the system picks). False with
	// a reason if the port cannot be had.
	bool start(int port, HttpHandler handler, std::string *error = nullptr);
	// Ends the serving thread; a request being served is cut short.
	void stop();
	int port() const { return port_; }

private:
	void serve();
	void serve_one(int fd);
	bool wait_for(int fd, short events, int timeout_ms);

	HttpHandler handler_;
	int listen_fd_ = -1;
	int stop_pipe_[2] = {-1, -1};
	int port_ = 0;
	std::thread thread_;
};

}  // namespace station
