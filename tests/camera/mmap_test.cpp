// pmem buffers: sizes rounded to 4096 and then to a power of two.
#include "cam_fixture.h"

#include "sim/pmem.h"

namespace camtest {
namespace {

using namespace cam;

TEST(CamMmap, SizesRoundToPagesThenPowersOfTwo)
{
	EXPECT_EQ(cam_mmap_size(5000), 8192u);
	EXPECT_EQ(cam_mmap_size(12288), 16384u);
	EXPECT_EQ(cam_mmap_size(4096), 4096u);
	EXPECT_EQ(cam_mmap_size(1), 4096u);
	EXPECT_EQ(cam_mmap_size(800 * 480 * 3 / 2), 1048576u);
	EXPECT_EQ(cam_mmap_size(0xFFFFFFFFu), 0x80000000u);  // no overflow
}

TEST(CamMmap, MapsSharedMemoryAndReleasesIt)
{
	board_dir();
	reset_board();
	sim::pmem_clear_log();
	int fd = -1;
	void *p = do_mmap(5000, &fd);
	ASSERT_NE(p, nullptr);
	EXPECT_GE(fd, 0);
	EXPECT_EQ(sim::pmem_mapped_sizes(), (std::vector<size_t>{8192}));
	std::memset(p, 0x5A, 8192);  // the whole rounded size is ours
	EXPECT_EQ(do_munmap(fd, p, 5000), 0);

	set_board("pmem.missing", "1");
	fd = -1;
	EXPECT_EQ(do_mmap(4096, &fd), nullptr);
	EXPECT_EQ(fd, -1);
	set_board("pmem.missing", "0");
	set_board("pmem.fail_mmap", "1");
	EXPECT_EQ(do_mmap(4096, &fd), nullptr);
	EXPECT_EQ(fd, -1);
	reset_board();
}

}  // namespace
}  // namespace camtest
