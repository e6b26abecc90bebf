#include "http_client.h"

#include <arpa/inet.h>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <netinet/in.h>
#include <poll.h>
#include <strings.h>
#include <sys/socket.h>
#include <unistd.h>

namespace station_test {

namespace {

constexpr size_t kMaxReply = 64u << 20;

struct Fd {
	int fd = -1;
	~Fd()
	{
		if (fd >= 0)
			::close(fd);
	}
};

bool fail(std::string *error, const std::string &why)
{
	if (error)
		*error = why;
	return false;
}

// The value of a header (case-insensitive name), empty if absent.
std::string header(const std::string &head, const char *name)
{
	size_t n = std::strlen(name);
	for (size_t at = head.find('\n'); at != std::string::npos; at = head.find('\n', at + 1)) {
		if (head.size() > at + 1 + n && strncasecmp(head.c_str() + at + 1, name, n) == 0 && head[at + 1 + n] == ':') {
			size_t end = head.find_first_of("\r\n", at + 1);
			std::string v = head.substr(at + 2 + n, end - at - 2 - n);
			size_t first = v.find_first_not_of(' ');
			return first == std::string::npos ? std::string() : v.substr(first);
		}
	}
	return {};
}

// Decodes a whole chunked body; false while it is incomplete.
bool dechunk(const std::string &in, std::string *out)
{
	out->clear();
	size_t at = 0;
	for (;;) {
		size_t eol = in.find("\r\n", at);
		if (eol == std::string::npos)
			return false;
		size_t len = std::strtoul(in.c_str() + at, nullptr, 16);
		if (len == 0)
			return in.find("\r\n", eol + 2) != std::string::npos;
		if (len > kMaxReply || in.size() < eol + 2 + len + 2)
			return false;
		out->append(in, eol + 2, len);
		at = eol + 2 + len + 2;
	}
}

// True once the reply in buf is whole.
bool complete(const std::string &buf, HttpReply *reply)
{
	size_t end = buf.find("\r\n\r\n");
	if (end == std::string::npos)
		return false;
	reply->head = buf.substr(0, end);
	std::string rest = buf.substr(end + 4);
	if (strcasecmp(header(reply->head, "Transfer-Encoding").c_str(), "chunked") == 0)
		return dechunk(rest, &reply->body);
	std::string length = header(reply->head, "Content-Length");
	if (length.empty())
		return false;
	size_t n = std::strtoul(length.c_str(), nullptr, 10);
	if (rest.size() < n)
		return false;
	reply->body = rest.substr(0, n);
	return true;
}

}  // namespace

std::optional<HttpReply> http_exchange(int port, const std::string &bytes, int timeout_ms, std::string *error)
{
	using clock = std::chrono::steady_clock;
	auto deadline = clock::now() + std::chrono::milliseconds(timeout_ms);
	auto left = [&] {
		return static_cast<int>(std::max<long long>(
		    0, std::chrono::duration_cast<std::chrono::milliseconds>(deadline - clock::now()).count()));
	};
	Fd s{::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)};
	sockaddr_in addr{};
	addr.sin_family = AF_INET;
	addr.sin_port = htons(static_cast<uint16_t>(port));
	addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
	if (s.fd < 0 || ::connect(s.fd, reinterpret_cast<sockaddr *>(&addr), sizeof addr) != 0) {
		fail(error, "cannot connect to 127.0.0.1:" + std::to_string(port) + ": " + std::strerror(errno));
		return std::nullopt;
	}
	for (size_t sent = 0; sent < bytes.size();) {
		pollfd p{s.fd, POLLOUT, 0};
		if (::poll(&p, 1, left()) <= 0) {
			fail(error, "timed out sending");
			return std::nullopt;
		}
		ssize_t n = ::send(s.fd, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
		if (n <= 0) {
			// The server may answer and close before it has read everything.
			break;
		}
		sent += static_cast<size_t>(n);
	}
	std::string buf;
	HttpReply reply;
	for (;;) {
		if (complete(buf, &reply))
			break;
		pollfd p{s.fd, POLLIN, 0};
		if (::poll(&p, 1, left()) <= 0) {
			fail(error, "timed out waiting for the answer (" + std::to_string(buf.size()) + " bytes so far)");
			return std::nullopt;
		}
		char chunk[65536];
		ssize_t n = ::recv(s.fd, chunk, sizeof chunk, 0);
		if (n < 0 && errno == EINTR)
			continue;
		if (n <= 0) {
			size_t end = buf.find("\r\n\r\n");
			if (end == std::string::npos) {
				fail(error, "connection closed before an answer");
				return std::nullopt;
			}
			reply.head = buf.substr(0, end);
			reply.body = buf.substr(end + 4);
			break;
		}
		if (buf.size() + static_cast<size_t>(n) > kMaxReply) {
			fail(error, "answer too large");
			return std::nullopt;
		}
		buf.append(chunk, static_cast<size_t>(n));
	}
	if (!reply.head.starts_with("HTTP/1.") || reply.head.size() < 12) {
		fail(error, "not an HTTP answer: " + reply.head.substr(0, 80));
		return std::nullopt;
	}
	reply.status = std::atoi(reply.head.c_str() + 9);
	return reply;
}

std::optional<HttpReply> http_request(int port, const std::string &method, const std::string &target,
                                      const std::string &body, int timeout_ms, std::string *error)
{
	std::string req = method + " " + target + " HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(port) +
	                  "\r\nConnection: close\r\n";
	if (!body.empty() || method == "POST")
		req += "Content-Type: application/json\r\nContent-Length: " + std::to_string(body.size()) + "\r\n";
	req += "\r\n" + body;
	return http_exchange(port, req, timeout_ms, error);
}

int free_port()
{
	Fd s{::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)};
	sockaddr_in addr{};
	addr.sin_family = AF_INET;
	addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
	socklen_t len = sizeof addr;
	if (s.fd < 0 || ::bind(s.fd, reinterpret_cast<sockaddr *>(&addr), sizeof addr) != 0 ||
	    ::getsockname(s.fd, reinterpret_cast<sockaddr *>(&addr), &len) != 0)
		return 0;
	return ntohs(addr.sin_port);
}

}  // namespace station_test
