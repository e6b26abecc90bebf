#include "station/http_server.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <exception>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "station/tapp_frame.h"

namespace station {

namespace {

const char *reason(int status)
{
	switch (status) {
	case 200: return "OK";
	case 400: return "Bad Request";
	case 404: return "Not Found";
	case 405: return "Method Not Allowed";
	case 408: return "Request Timeout";
	case 431: return "Request Header Fields Too Large";
	case 503: return "Service Unavailable";
	default: return "Internal Server Error";
	}
}

bool percent_decode(std::string_view in, std::string *out)
{
	out->clear();
	for (size_t i = 0; i < in.size(); ++i) {
		if (in[i] == '+') {
			out->push_back(' ');
		} else if (in[i] != '%') {
			out->push_back(in[i]);
		} else {
			if (i + 2 >= in.size())
				return false;
			int hi = hex_digit(in[i + 1]), lo = hex_digit(in[i + 2]);
			if (hi < 0 || lo < 0)
				return false;
			out->push_back(static_cast<char>(hi * 16 + lo));
			i += 2;
		}
	}
	return true;
}

bool parse_query(std::string_view q, std::map<std::string, std::string> *out)
{
	while (!q.empty()) {
		size_t amp = q.find('&');
		std::string_view pair = q.substr(0, amp);
		q = amp == std::string_view::npos ? std::string_view{} : q.substr(amp + 1);
		if (pair.empty())
			continue;
		size_t eq = pair.find('=');
		std::string key, value;
		if (!percent_decode(pair.substr(0, eq), &key))
			return false;
		if (eq != std::string_view::npos && !percent_decode(pair.substr(eq + 1), &value))
			return false;
		(*out)[key] = value;
	}
	return true;
}

void close_fd(int *fd)
{
	if (*fd >= 0)
		::close(*fd);
	*fd = -1;
}

}  // namespace

bool parse_request_head(std::string_view head, HttpRequest *out)
{
	size_t eol = head.find('\n');
	std::string_view line = head.substr(0, eol);
	if (!line.empty() && line.back() == '\r')
		line.remove_suffix(1);
	size_t sp1 = line.find(' ');
	size_t sp2 = sp1 == std::string_view::npos ? sp1 : line.find(' ', sp1 + 1);
	if (sp2 == std::string_view::npos || line.find(' ', sp2 + 1) != std::string_view::npos)
		return false;
	std::string_view method = line.substr(0, sp1);
	std::string_view target = line.substr(sp1 + 1, sp2 - sp1 - 1);
	std::string_view version = line.substr(sp2 + 1);
	if (method.empty() || !version.starts_with("HTTP/1.") || target.empty() || target[0] != '/')
		return false;
	for (char c : method)
		if (c < 'A' || c > 'Z')
			return false;
	HttpRequest r;
	r.method = method;
	size_t qm = target.find('?');
	if (!percent_decode(target.substr(0, qm), &r.path))
		return false;
	if (qm != std::string_view::npos && !parse_query(target.substr(qm + 1), &r.query))
		return false;
	*out = std::move(r);
	return true;
}

std::string format_response(const HttpResponse &response)
{
	std::string out = "HTTP/1.1 " + std::to_string(response.status) + " " + reason(response.status) + "\r\n";
	out += "Content-Type: " + response.content_type + "\r\n";
	out += "Content-Length: " + std::to_string(response.body.size()) + "\r\n";
	out += "Cache-Control: no-store\r\nConnection: close\r\n\r\n";
	out += response.body;
	return out;
}

HttpServer::~HttpServer() { stop(); }

bool HttpServer::start(int port, HttpHandler handler, std::string *error)
{
	auto fail = [&](const std::string &what) {
		if (error)
			*error = what + ": " + std::strerror(errno);
		close_fd(&listen_fd_);
		close_fd(&stop_pipe_[0]);
		close_fd(&stop_pipe_[1]);
		return false;
	};
	if (thread_.joinable() || port < 0 || port > 65535) {
		errno = EINVAL;
		return fail("cannot listen on port " + std::to_string(port));
	}
	listen_fd_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
	if (listen_fd_ < 0)
		return fail("socket");
	int one = 1;
	::setsockopt(listen_fd_, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
	sockaddr_in addr{};
	addr.sin_family = AF_INET;
	addr.sin_port = htons(static_cast<uint16_t>(port));
	addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
	if (::bind(listen_fd_, reinterpret_cast<sockaddr *>(&addr), sizeof addr) != 0)
		return fail("127.0.0.1:" + std::to_string(port));
	if (::listen(listen_fd_, 16) != 0)
		return fail("listen");
	socklen_t len = sizeof addr;
	if (::getsockname(listen_fd_, reinterpret_cast<sockaddr *>(&addr), &len) != 0)
		return fail("getsockname");
	if (::pipe2(stop_pipe_, O_CLOEXEC | O_NONBLOCK) != 0)
		return fail("pipe");
	port_ = ntohs(addr.sin_port);
	handler_ = std::move(handler);
	thread_ = std::thread([this] { serve(); });
	return true;
}

void HttpServer::stop()
{
	if (thread_.joinable()) {
		char b = 1;
		(void)!::write(stop_pipe_[1], &b, 1);
		thread_.join();
	}
	close_fd(&listen_fd_);
	close_fd(&stop_pipe_[0]);
	close_fd(&stop_pipe_[1]);
}

// False on timeout, error or a stop request.
bool HttpServer::wait_for(int fd, short events, int timeout_ms)
{
	pollfd fds[2] = {{fd, events, 0}, {stop_pipe_[0], POLLIN, 0}};
	int r;
	do
		r = ::poll(fds, 2, timeout_ms);
	while (r < 0 && errno == EINTR);
	return r > 0 && fds[1].revents == 0 && (fds[0].revents & (events | POLLHUP | POLLERR)) != 0;
}

void HttpServer::serve()
{
	for (;;) {
		pollfd fds[2] = {{listen_fd_, POLLIN, 0}, {stop_pipe_[0], POLLIN, 0}};
		if (::poll(fds, 2, -1) < 0 && errno != EINTR)
			return;
		if (fds[1].revents != 0)
			return;
		if (!(fds[0].revents & POLLIN))
			continue;
		int fd = ::accept4(listen_fd_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
		if (fd < 0)
			continue;
		serve_one(fd);
		::close(fd);
	}
}

void HttpServer::serve_one(int fd)
{
	std::string head;
	HttpResponse response;
	bool complete = false;
	while (!complete) {
		if (!wait_for(fd, POLLIN, kReadTimeoutMs))
			return;  // a silent client or a stop: nothing is owed
		char buf[2048];
		ssize_t n = ::recv(fd, buf, sizeof buf, 0);
		if (n < 0 && (errno == EAGAIN || errno == EINTR))
			continue;
		if (n <= 0)
			return;
		head.append(buf, static_cast<size_t>(n));
		size_t end = head.find("\r\n\r\n");
		if (end == std::string::npos)
			end = head.find("\n\n");
		complete = end != std::string::npos && end < kMaxHead;
		if (!complete && head.size() >= kMaxHead) {
			response = {431, "text/plain; charset=utf-8", "request too large\n"};
			break;
		}
	}
	if (complete) {
		HttpRequest request;
		if (!parse_request_head(head, &request)) {
			response = {400, "text/plain; charset=utf-8", "malformed request\n"};
		} else {
			try {
				response = handler_(request);
			} catch (const std::exception &e) {
				response = {500, "text/plain; charset=utf-8", std::string(e.what()) + "\n"};
			} catch (...) {
				response = {500, "text/plain; charset=utf-8", "internal error\n"};
			}
		}
	}
	std::string out = format_response(response);
	for (size_t sent = 0; sent < out.size();) {
		if (!wait_for(fd, POLLOUT, kWriteTimeoutMs))
			return;
		ssize_t n = ::send(fd, out.data() + sent, out.size() - sent, MSG_NOSIGNAL);
		if (n < 0 && (errno == EAGAIN || errno == EINTR))
			continue;
		if (n <= 0)
			return;
		sent += static_cast<size_t>(n);
	}
	// Read what the client still sends (a body we do not use) before closing,
	// so the close does not reset the connection under the answer.
	::shutdown(fd, SHUT_WR);
	char sink[4096];
	for (int i = 0; i < 16 && wait_for(fd, POLLIN, 200); ++i)
		if (::recv(fd, sink, sizeof sink, 0) <= 0)
			break;
}

}  // namespace station
