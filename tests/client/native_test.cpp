// The native interface's buffer records and the capture's pixel arithmetic.
#include <gtest/gtest.h>

#include <fcntl.h>

#include "hal/camera.h"
#include "hal/native_cam.h"
#include "platform/platform.h"
#include "sim/camera_driver.h"
#include "unit_board.h"

namespace {

using namespace cam;

std::vector<uint32_t> registered_types(unsigned long request)
{
	std::vector<uint32_t> out;
	for (const auto &r : sim::camera::Kernel::get().log())
		if (r.request == request)
			out.push_back(r.number);
	return out;
}

TEST(NativeInterface, SnapshotBuffersRegisterThumbnailOnlyWhenGiven)
{
	clienttest::unit_board();
	hal::native_interface table{};
	int fd = -1;
	ASSERT_EQ(hal::native_interface_init(&table, &fd), 1);
	EXPECT_EQ(table.native_get_picture, hal::native_get_picture);
	EXPECT_EQ(table.native_get_AF_sharpness, hal::native_get_AF_sharpness);
	static std::array<uint8_t, 64> main{}, thumb{};
	cam_ctrl_dimension_t d{};
	d.orig_picture_dx = 4;
	d.orig_picture_dy = 4;
	d.thumbnail_width = 2;
	d.thumbnail_height = 2;
	sim::camera::Kernel::get().clear_log();
	EXPECT_EQ(table.native_register_snapshot_bufs(fd, &d, 0, 7, nullptr, main.data(), false), 1);
	EXPECT_EQ(registered_types(MSM_CAM_IOCTL_REGISTER_PMEM), (std::vector<uint32_t>{PMEM_MAINIMG}));
	EXPECT_EQ(table.native_unregister_snapshot_bufs(fd, &d, 0, 7, nullptr, main.data(), false), 1);
	sim::camera::Kernel::get().clear_log();
	EXPECT_EQ(table.native_register_snapshot_bufs(fd, &d, 8, 7, thumb.data(), main.data(), true), 1);
	EXPECT_EQ(registered_types(MSM_CAM_IOCTL_REGISTER_PMEM), (std::vector<uint32_t>{PMEM_THUMBNAIL, PMEM_RAW_MAINIMG}));
	plat::close(fd);
}

TEST(NativeInterface, DeadConfigurationSideLeavesTheLastStatus)
{
	clienttest::unit_board();
	int fd = plat::open("/dev/msm_camera0", O_RDWR);
	ASSERT_GE(fd, 0);
	station::set_board_value(clienttest::unit_board(), "camera.fail", "ctrl_1");
	cam_ctrl_dimension_t d{};
	// Nobody answers; the status of the record is what it was: 0 at first.
	EXPECT_EQ(hal::native_set_dimension(fd, &d), 0);
	station::set_board_value(clienttest::unit_board(), "camera.fail", "");
	plat::close(fd);
}

TEST(CapturePixels, YCbYCrToPanelParts)
{
	// Grey: no colour difference, each part is luma at its depth.
	std::array<uint8_t, 4> grey{128, 128, 128, 128};
	int r = 0, g = 0, b = 0;
	hal::YUVtoRGBOV9655(grey.data(), 0, 2, 1, &r, &g, &b);
	EXPECT_EQ(r, 128 >> 3);
	EXPECT_EQ(g, 128 >> 2);
	EXPECT_EQ(b, 128 >> 3);
	// Strong red difference saturates red and pulls green down.
	std::array<uint8_t, 4> red{200, 128, 90, 255};
	hal::YUVtoRGBOV9655(red.data(), 0, 2, 1, &r, &g, &b);
	EXPECT_EQ(r, 31);                                                  // 200 + 200 clamps to 255
	EXPECT_EQ(g, (((508 * -7672 + 32768) >> 16) + 200) >> 2);          // 200 - 59 = 141
	EXPECT_EQ(b, (((508 * 12 + 32768) >> 16) + 200) >> 3);             // 200
	// An odd pixel takes the second luma of the pair.
	std::array<uint8_t, 6> pair{0, 0, 10, 128, 250, 128};
	hal::YUVtoRGBOV9655(pair.data(), 1, 2, 1, &r, &g, &b);
	EXPECT_EQ(r, 250 >> 3);
	// Below zero clamps to 0.
	std::array<uint8_t, 4> dark{0, 0, 0, 0};
	hal::YUVtoRGBOV9655(dark.data(), 0, 2, 1, &r, &g, &b);
	EXPECT_EQ(r, 0);
	EXPECT_EQ(b, 0);
}

}  // namespace
