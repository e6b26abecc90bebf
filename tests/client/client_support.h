// The station's side of the camera test: a phone with the camera board
// values, the picture stream read to its exact length, and what the
// daemon holds (descriptors, threads, mappings) to show that nothing grows.
#pragma once

#include <gtest/gtest.h>

#include <dirent.h>
#include <unistd.h>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "sim/camera_scene.h"
#include "station/link.h"
#include "support/sim_phone.h"

namespace clienttest {

// Sleeps of the sequences (500 ms settles, 700 ms focus) run a hundred
// times faster: time.scale 0.01.
inline testing_support::SimPhone::Setup camera_setup(std::map<std::string, std::string> extra = {})
{
	testing_support::SimPhone::Setup s;
	s.board = {{"time.scale", "0.01"}, {"camera.frame_ms", "0"}};
	for (auto &[k, v] : extra)
		s.board[k] = v;
	return s;
}

inline std::string header(int w, int h)
{
	return "FORMAT= YUV422\nRESOLUTION= " + std::to_string(w) + ", " + std::to_string(h) +
	       "\nSIZE= " + std::to_string(w * h * 2) + "\n\nOK\n";
}

// The scene as the sensor delivers it, with 10 and 13 lowered to 9 and 12.
inline std::string expected_picture(int w, int h)
{
	std::string bytes(size_t(w) * h * 2, '\0');
	sim::camera::render_uyvy(reinterpret_cast<uint8_t *>(bytes.data()), w, h);
	for (char &c : bytes)
		if (c == 10 || c == 13)
			--c;
	return bytes;
}

// Sends AT+DSCR and reads exactly what a whole answer holds.
inline std::string retrieve(testing_support::SimPhone &phone, int w, int h)
{
	size_t want = header(w, h).size() + size_t(w) * h * 2 + 3;
	phone.send("AT+DSCR\n");
	return station::read_until(phone.phone().wired(), [&](const std::string &s) { return s.size() >= want; },
				   60000);
}

inline size_t entries(const std::string &dir)
{
	size_t n = 0;
	if (DIR *d = ::opendir(dir.c_str())) {
		while (dirent *e = ::readdir(d))
			n += e->d_name[0] != '.';
		::closedir(d);
	}
	return n;
}

// AddressSanitizer's quarantine keeps freed blocks mapped for a while, so
// under it mappings are not counted.
#ifdef __SANITIZE_ADDRESS__
constexpr bool count_maps = false;
#else
constexpr bool count_maps = true;
#endif

struct held {
	size_t fds, threads, maps;
	bool operator==(const held &) const = default;
};

// Where each descriptor of the daemon leads, to tell what grew.
inline std::string fd_names(pid_t pid)
{
	std::string out, dir = "/proc/" + std::to_string(pid) + "/fd";
	if (DIR *d = ::opendir(dir.c_str())) {
		while (dirent *e = ::readdir(d)) {
			if (e->d_name[0] == '.')
				continue;
			char target[256] = {};
			ssize_t n = ::readlink((dir + "/" + e->d_name).c_str(), target, sizeof target - 1);
			out += std::string(e->d_name) + " -> " + (n > 0 ? target : "?") + "\n";
		}
		::closedir(d);
	}
	return out;
}

// The log step after each command runs a shell through a pipe and opens
// the kernel log for a moment: wait (a bounded while) until it is over, so
// that only what stays is counted.
inline size_t lasting_fds(pid_t pid)
{
	std::string names = fd_names(pid);
	for (int i = 0; i < 500 && names.find("pipe:") != std::string::npos; ++i) {
		::usleep(10000);
		names = fd_names(pid);
	}
	size_t n = 0;
	for (size_t at = 0; (at = names.find('\n', at)) != std::string::npos; ++at)
		++n;
	return n;
}

inline held what_daemon_holds(pid_t pid)
{
	std::string proc = "/proc/" + std::to_string(pid);
	std::ifstream maps(proc + "/maps");
	size_t lines = 0;
	for (std::string line; std::getline(maps, line);)
		++lines;
	return {lasting_fds(pid), entries(proc + "/task"), count_maps ? lines : 0};
}

// A thread that has just been joined or a descriptor of the log step may
// still show for a moment: wait (a bounded while) for the counts to come
// back to what they were. Something leaked never does.
inline held holds_back_to(pid_t pid, const held &want)
{
	held now = what_daemon_holds(pid);
	for (int i = 0; i < 100 && !(now == want); ++i) {
		::usleep(20000);
		now = what_daemon_holds(pid);
	}
	return now;
}

// The counts once two looks a moment apart agree.
inline held steady_holds(pid_t pid)
{
	held before = what_daemon_holds(pid);
	for (int i = 0; i < 100; ++i) {
		::usleep(20000);
		held now = what_daemon_holds(pid);
		if (now == before)
			break;
		before = now;
	}
	return before;
}

}  // namespace clienttest
