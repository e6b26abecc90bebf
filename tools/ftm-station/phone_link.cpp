#include "phone_link.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <unistd.h>

#include "station/board.h"
#include "station/link.h"
#include "station/serial.h"
#include "station/tapp_frame.h"

namespace ftm_station {

namespace {

// How long a simulated phone has to say FTMModeReady.
constexpr int kReadyMs = 10000;

bool fail(std::string *error, std::string why)
{
	*error = std::move(why);
	return false;
}

}  // namespace

PhoneLink::~PhoneLink()
{
	phone_.stop();
	if (fd_ >= 0)
		::close(fd_);
	if (temp_board_) {
		std::string cmd = "rm -rf '" + spec_.board + "'";
		if (std::system(cmd.c_str()) != 0)
			std::fprintf(stderr, "ftm-station: cannot remove %s\n", spec_.board.c_str());
	}
}

bool PhoneLink::open(std::string *error)
{
	if (!spec_.sim) {
		fd_ = station::open_serial(spec_.device, spec_.baud, error);
		ports_.wired = fd_;
		return fd_ >= 0;
	}
	if (spec_.board.empty()) {
		const char *base = std::getenv("TMPDIR");
		std::string templ = std::string(base && *base ? base : "/tmp") + "/ftm-station-XXXXXX";
		if (!::mkdtemp(templ.data()))
			return fail(error, "cannot make a board folder");
		spec_.board = templ;
		temp_board_ = true;
	}
	if (!station::init_board(spec_.board, error))
		return false;
	for (const auto &[k, v] : spec_.settings)
		station::set_board_value(spec_.board, k, v);
	if (!spec_.product_id.empty() && !station::give_product_id(spec_.board, spec_.product_id))
		return fail(error, "cannot write the product id into " + spec_.board);
	station::Phone::Options po;
	po.board_dir = spec_.board;
	po.ftmd_path = spec_.ftmd_path;
	if (!phone_.start(po, error))
		return false;
	std::string hello = station::read_until_suffix(phone_.wired(), "FTMModeReady\n", kReadyMs);
	if (!hello.ends_with("FTMModeReady\n"))
		return fail(error, "the simulated phone did not get ready: '" + printable(hello) + "'");
	ports_ = {phone_.wired(), phone_.usb(), spec_.board};
	if (spec_.usb)
		std::swap(ports_.wired, ports_.usb);
	return true;
}

std::string sim_product_id(size_t n)
{
	char text[41] = {};
	std::snprintf(text, sizeof text, "ftm-sim %08lx %d %zu", static_cast<unsigned long>(std::time(nullptr)),
	              static_cast<int>(::getpid()), n);
	std::vector<uint8_t> bytes(text, text + 40);
	std::string hex = station::to_hex(bytes);
	for (char &c : hex)
		c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
	return hex;
}

}  // namespace ftm_station
