// The board's framebuffer device as the daemon sees it through plat::.
#include <cstdlib>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/fb.h>
#include <string>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/platform.h"
#include "station/board.h"

namespace {

constexpr unsigned long kMsmfbBlit = 0x40046D02;

// The process's board is fixed at its first use: one for all these cases,
// removed when the process ends.
struct TempBoard {
	std::string dir;
	TempBoard()
	{
		char templ[] = "/tmp/ftm-fbmodel-XXXXXX";
		if (::mkdtemp(templ) && station::init_board(templ)) {
			dir = templ;
			::setenv("FTM_BOARD", templ, 1);
		}
	}
	~TempBoard()
	{
		if (!dir.empty())
			std::system(("rm -rf '" + dir + "'").c_str());
	}
};

const std::string &board_dir()
{
	static TempBoard board;
	return board.dir;
}

class FramebufferModel : public ::testing::Test {
protected:
	void SetUp() override { ASSERT_FALSE(board_dir().empty()); }
	void set(const char *key, const char *value) { ASSERT_TRUE(station::set_board_value(board_dir(), key, value)); }
	void TearDown() override
	{
		set("lcd.width", "800");
		set("lcd.height", "480");
		set("lcd.bpp", "16");
		set("lcd.present", "1");
	}
	off_t file_size()
	{
		struct stat st{};
		return ::stat((board_dir() + "/dev/graphics/fb0").c_str(), &st) == 0 ? st.st_size : -1;
	}
};

TEST_F(FramebufferModel, ReportsTheBoardsPanelAndMapsOneFrameOfItsFile)
{
	set("lcd.width", "320");
	set("lcd.height", "240");
	set("lcd.bpp", "24");
	int fd = plat::open("/dev/graphics/fb0", O_RDWR);
	ASSERT_GE(fd, 0);
	EXPECT_EQ(file_size(), 320 * 240 * 3);
	fb_var_screeninfo var{};
	ASSERT_EQ(plat::ioctl(fd, FBIOGET_VSCREENINFO, &var), 0);
	EXPECT_EQ(var.xres, 320u);
	EXPECT_EQ(var.yres, 240u);
	EXPECT_EQ(var.bits_per_pixel, 24u);
	fb_fix_screeninfo fix{};
	ASSERT_EQ(plat::ioctl(fd, FBIOGET_FSCREENINFO, &fix), 0);
	EXPECT_EQ(fix.smem_len, 320u * 240 * 3);
	EXPECT_EQ(fix.line_length, 320u * 3);
	EXPECT_EQ(plat::ioctl(fd, FBIOPAN_DISPLAY, &var), 0);
	var.yoffset = 240;
	EXPECT_NE(plat::ioctl(fd, FBIOPAN_DISPLAY, &var), 0);

	// Writes through the mapping land in the board's file.
	auto *p = static_cast<uint8_t *>(plat::mmap(nullptr, fix.smem_len, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0));
	ASSERT_NE(p, MAP_FAILED);
	p[fix.smem_len - 1] = 0xA5;
	plat::munmap(p, fix.smem_len);
	int raw = ::open((board_dir() + "/dev/graphics/fb0").c_str(), O_RDONLY);
	uint8_t last = 0;
	EXPECT_EQ(::pread(raw, &last, 1, fix.smem_len - 1), 1);
	EXPECT_EQ(last, 0xA5);
	::close(raw);
	// Never a mapping past the frame.
	EXPECT_EQ(plat::mmap(nullptr, fix.smem_len + 1, PROT_READ, MAP_SHARED, fd, 0), MAP_FAILED);
	EXPECT_EQ(plat::mmap(nullptr, 4096, PROT_READ, MAP_SHARED, fd, fix.smem_len), MAP_FAILED);
	plat::close(fd);
}

TEST_F(FramebufferModel, ASmallerPanelNeverCutsTheFileUnderALiveMapping)
{
	set("lcd.width", "320");
	set("lcd.height", "240");
	int fd = plat::open("/dev/graphics/fb0", O_RDWR);
	ASSERT_GE(fd, 0);
	const size_t frame = 320 * 240 * 2;
	auto *p = static_cast<uint8_t *>(plat::mmap(nullptr, frame, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0));
	ASSERT_NE(p, MAP_FAILED);
	plat::close(fd);

	// Half the panel: the new open reports it, the file keeps the mapped frame.
	set("lcd.height", "120");
	fd = plat::open("/dev/graphics/fb0", O_RDWR);
	ASSERT_GE(fd, 0);
	fb_fix_screeninfo fix{};
	ASSERT_EQ(plat::ioctl(fd, FBIOGET_FSCREENINFO, &fix), 0);
	EXPECT_EQ(fix.smem_len, frame / 2);
	EXPECT_EQ(file_size(), static_cast<off_t>(frame));
	p[frame - 1] = 0x5A;  // the old mapping's last byte is still backed
	plat::close(fd);

	// Once unmapped, the next open cuts the file to the panel.
	plat::munmap(p, frame);
	fd = plat::open("/dev/graphics/fb0", O_RDWR);
	ASSERT_GE(fd, 0);
	EXPECT_EQ(file_size(), static_cast<off_t>(frame / 2));
	plat::close(fd);
}

TEST_F(FramebufferModel, ChecksBlitRequestsAgainstThePanel)
{
	int fd = plat::open("/dev/graphics/fb0", O_RDWR);
	ASSERT_GE(fd, 0);
	// Count, then source, destination, two rectangles, alpha, mask, flags.
	uint32_t list[1 + 21 + 1] = {};
	list[0] = 1;
	uint32_t *req = list + 1;
	req[0] = 800, req[1] = 480, req[2] = 2;    // source 800 x 480 YCbCr
	req[5] = 800, req[6] = 480;                // destination
	req[14] = 0, req[15] = 0, req[16] = 800, req[17] = 480;  // destination rectangle
	req[18] = 255;
	EXPECT_EQ(plat::ioctl(fd, kMsmfbBlit, list), 0);
	req[17] = 481;
	EXPECT_NE(plat::ioctl(fd, kMsmfbBlit, list), 0);
	list[0] = 0;
	EXPECT_NE(plat::ioctl(fd, kMsmfbBlit, list), 0);
	plat::close(fd);
}

TEST_F(FramebufferModel, AMissingPanelDoesNotOpen)
{
	set("lcd.present", "0");
	EXPECT_LT(plat::open("/dev/graphics/fb0", O_RDWR), 0);
}

}  // namespace
