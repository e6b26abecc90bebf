// /dev/graphics/fb0: the MSM framebuffer driver's screen information, pan
// and blit calls over a plain file that the daemon maps shared, so any
// process can read what the panel shows.
#include "sim/framebuffer.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <linux/fb.h>
#include <map>
#include <mutex>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "sim/board.h"
#include "sim/models.h"

namespace sim {

namespace {

constexpr unsigned long kMsmfbBlit = 0x40046D02;

// The blit request list as the MSM driver takes it: a count, then requests
// of 21 words each (source, destination, two rectangles, alpha, mask, flags).
struct mdp_img {
	uint32_t width, height, format, offset;
	int32_t memory_id;
};
struct mdp_rect {
	uint32_t x, y, w, h;
};
struct mdp_blit_req {
	mdp_img src, dst;
	mdp_rect src_rect, dst_rect;
	uint32_t alpha, transp_mask, flags;
};
static_assert(sizeof(mdp_blit_req) == 21 * 4);
constexpr uint32_t kMaxBlitCount = 16;

// The panel file's bytes that live mappings of this process reach, by
// address. The file is never cut below the furthest of them: a page that
// vanished under a mapping would fault the daemon.
struct Mappings {
	std::mutex mutex;
	std::map<const void *, size_t> end_of;

	void add(const void *addr, size_t end)
	{
		std::lock_guard lock(mutex);
		end_of[addr] = end;
	}
	void remove(const void *addr)
	{
		std::lock_guard lock(mutex);
		end_of.erase(addr);
	}
	size_t furthest()
	{
		std::lock_guard lock(mutex);
		size_t most = 0;
		for (const auto &[addr, end] : end_of)
			most = std::max(most, end);
		return most;
	}
};

Mappings &mappings()
{
	static Mappings m;
	return m;
}

long bounded(Board &board, const char *key, long fallback, long lo, long hi)
{
	long v = board.num(key, fallback);
	return v < lo || v > hi ? fallback : v;
}

class Framebuffer : public Device {
public:
	Framebuffer(panel_geometry panel, int fd, bool pan_fails)
	    : panel_(panel), fd_(fd), pan_fails_(pan_fails)
	{
	}
	~Framebuffer() override { ::close(fd_); }

	int ioctl(unsigned long request, uintptr_t arg) override
	{
		if (arg == 0) {
			errno = EFAULT;
			return -1;
		}
		switch (request) {
		case FBIOGET_VSCREENINFO:
			std::memcpy(reinterpret_cast<void *>(arg), &var(), sizeof(fb_var_screeninfo));
			return 0;
		case FBIOGET_FSCREENINFO: {
			fb_fix_screeninfo fix{};
			std::strncpy(fix.id, "msmfb_sim", sizeof fix.id - 1);
			fix.smem_len = static_cast<uint32_t>(panel_.frame_bytes());
			fix.type = FB_TYPE_PACKED_PIXELS;
			fix.visual = FB_VISUAL_TRUECOLOR;
			fix.line_length = static_cast<uint32_t>(panel_.width * panel_.bpp / 8);
			std::memcpy(reinterpret_cast<void *>(arg), &fix, sizeof fix);
			return 0;
		}
		case FBIOPAN_DISPLAY: {
			fb_var_screeninfo v;
			std::memcpy(&v, reinterpret_cast<const void *>(arg), sizeof v);
			// One frame only: the sole valid pan is to the origin.
			if (pan_fails_ || v.xoffset != 0 || v.yoffset != 0) {
				errno = EINVAL;
				return -1;
			}
			return 0;
		}
		case kMsmfbBlit:
			return blit(arg);
		default:
			errno = ENOTTY;
			return -1;
		}
	}

	void *mmap(size_t len, int prot, int flags, off_t off) override
	{
		// Never map past the frame: a page beyond the file would fault.
		if (len == 0 || off < 0 || static_cast<size_t>(off) > panel_.frame_bytes() ||
		    len > panel_.frame_bytes() - static_cast<size_t>(off)) {
			errno = EINVAL;
			return MAP_FAILED;
		}
		void *p = ::mmap(nullptr, len, prot, flags, fd_, off);
		if (p != MAP_FAILED)
			mappings().add(p, static_cast<size_t>(off) + len);
		return p;
	}

private:
	const fb_var_screeninfo &var()
	{
		fb_var_screeninfo &v = var_;
		v = {};
		v.xres = v.xres_virtual = static_cast<uint32_t>(panel_.width);
		v.yres = v.yres_virtual = static_cast<uint32_t>(panel_.height);
		v.bits_per_pixel = static_cast<uint32_t>(panel_.bpp);
		if (panel_.bpp == 16) {
			v.red = {11, 5, 0};
			v.green = {5, 6, 0};
			v.blue = {0, 5, 0};
		} else if (panel_.bpp == 18) {
			v.red = {12, 6, 0};
			v.green = {6, 6, 0};
			v.blue = {0, 6, 0};
		} else {
			v.red = {16, 8, 0};
			v.green = {8, 8, 0};
			v.blue = {0, 8, 0};
		}
		v.activate = FB_ACTIVATE_NOW;
		v.height = v.width = static_cast<uint32_t>(-1);
		return v;
	}

	// Checks the request list the way the driver does, then copies each
	// request whose source is a two-plane YCbCr 4:2:0 picture named by its
	// pmem descriptor onto the panel, scaled by nearest pixel.
	int blit(uintptr_t arg)
	{
		uint32_t count = 0;
		std::memcpy(&count, reinterpret_cast<const void *>(arg), sizeof count);
		if (count == 0 || count > kMaxBlitCount) {
			errno = EINVAL;
			return -1;
		}
		std::vector<mdp_blit_req> reqs(count);
		for (uint32_t i = 0; i < count; ++i) {
			mdp_blit_req &req = reqs[i];
			std::memcpy(&req, reinterpret_cast<const uint8_t *>(arg) + 4 + i * sizeof req, sizeof req);
			const mdp_rect &d = req.dst_rect;
			if (d.x + d.w > static_cast<uint32_t>(panel_.width) || d.y + d.h > static_cast<uint32_t>(panel_.height)) {
				errno = EINVAL;
				return -1;
			}
		}
		for (const mdp_blit_req &req : reqs)
			copy_ycbcr(req);
		return 0;
	}

	void copy_ycbcr(const mdp_blit_req &req)
	{
		constexpr uint32_t kYCbCrH2V2 = 2;
		const mdp_img &s = req.src;
		const mdp_rect &sr = req.src_rect, &dr = req.dst_rect;
		if (s.format != kYCbCrH2V2 || panel_.bpp != 16 || s.width == 0 || s.height == 0 || s.width > 4096 ||
		    s.height > 4096 || sr.w == 0 || sr.h == 0 || sr.x + sr.w > s.width || sr.y + sr.h > s.height)
			return;
		size_t luma = size_t{s.width} * s.height;
		std::vector<uint8_t> src(luma + luma / 2);
		if (::pread(s.memory_id, src.data(), src.size(), s.offset) != static_cast<ssize_t>(src.size()))
			return;  // not a pmem descriptor, or too short: nothing to show
		std::vector<uint8_t> row(size_t{dr.w} * 2);
		for (uint32_t y = 0; y < dr.h; ++y) {
			uint32_t sy = sr.y + y * sr.h / dr.h;
			for (uint32_t x = 0; x < dr.w; ++x) {
				uint32_t sx = sr.x + x * sr.w / dr.w;
				const uint8_t *c = &src[luma + size_t{sy / 2} * s.width + (sx & ~1u)];
				uint16_t v = rgb565(src[size_t{sy} * s.width + sx], c[0], c[1]);
				row[size_t{x} * 2] = static_cast<uint8_t>(v);
				row[size_t{x} * 2 + 1] = static_cast<uint8_t>(v >> 8);
			}
			off_t at = static_cast<off_t>((size_t{dr.y + y} * static_cast<size_t>(panel_.width) + dr.x) * 2);
			if (::pwrite(fd_, row.data(), row.size(), at) != static_cast<ssize_t>(row.size()))
				return;
		}
	}

	// BT.601 studio range to the panel's 5-6-5.
	static uint16_t rgb565(int y, int cb, int cr)
	{
		double l = 1.164 * (y - 16);
		auto clamp = [](double v) { return v < 0 ? 0 : v > 255 ? 255 : static_cast<int>(v + 0.5); };
		int r = clamp(l + 1.596 * (cr - 128));
		int g = clamp(l - 0.392 * (cb - 128) - 0.813 * (cr - 128));
		int b = clamp(l + 2.017 * (cb - 128));
		return static_cast<uint16_t>((r >> 3) << 11 | (g >> 2) << 5 | (b >> 3));
	}

	panel_geometry panel_;
	int fd_;
	bool pan_fails_;
	fb_var_screeninfo var_{};
};

}  // namespace

void framebuffer_unmapped(const void *addr) { mappings().remove(addr); }

panel_geometry panel_of(Board &board)
{
	panel_geometry p{};
	p.width = static_cast<int>(bounded(board, "lcd.width", 800, 1, 4096));
	p.height = static_cast<int>(bounded(board, "lcd.height", 480, 1, 4096));
	p.bpp = static_cast<int>(board.num("lcd.bpp", 16));
	if (p.bpp != 16 && p.bpp != 18 && p.bpp != 24 && p.bpp != 32)
		p.bpp = 16;
	return p;
}

std::unique_ptr<Device> open_framebuffer(Board &board, int /*flags*/)
{
	if (board.num("lcd.present", 1) == 0) {
		errno = ENODEV;
		return nullptr;
	}
	panel_geometry panel = panel_of(board);
	std::string path = board.map(kFramebufferPath);
	int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
	if (fd < 0)
		return nullptr;
	// A missing or wrongly sized panel file is made the size of one frame,
	// but never smaller than what the daemon still maps: a panel made
	// smaller under a running daemon leaves the file's tail in place.
	size_t keep = mappings().furthest();
	size_t size = std::max(panel.frame_bytes(), keep);
	struct stat st{};
	if (::fstat(fd, &st) != 0 ||
	    (static_cast<size_t>(st.st_size) != size && ::ftruncate(fd, static_cast<off_t>(size)) != 0)) {
		int e = errno;
		::close(fd);
		errno = e;
		return nullptr;
	}
	if (keep > panel.frame_bytes()) {
		char line[160];
		std::snprintf(line, sizeof line, "msmfb_sim: panel %dx%d at %d bpp; fb0 kept at %zu bytes while mapped\n",
		              panel.width, panel.height, panel.bpp, keep);
		board.kmsg_write(line);
	}
	return std::make_unique<Framebuffer>(panel, fd, board.num("lcd.pan_fail", 0) != 0);
}

}  // namespace sim
