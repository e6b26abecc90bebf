// /dev/msm_camera0: each open is a handle on the one simulated driver.
#include "sim/board.h"
#include "sim/camera_driver.h"
#include "sim/models.h"

namespace sim {

namespace {

class MsmCamera : public Device {
public:
	MsmCamera() { camera::Kernel::get().opened(); }
	~MsmCamera() override { camera::Kernel::get().closed(); }
	MsmCamera(const MsmCamera &) = delete;
	MsmCamera &operator=(const MsmCamera &) = delete;

	int ioctl(unsigned long request, uintptr_t arg) override { return camera::Kernel::get().ioctl(request, arg); }
	// Readable while a frame waits, so the frame thread can select on it.
	int stream_fd() override { return camera::Kernel::get().frame_fd(); }
};

}  // namespace

std::unique_ptr<Device> open_msm_camera(Board &board, int)
{
	if (board.num("camera.missing", 0)) {
		errno = ENOENT;
		return nullptr;
	}
	return std::make_unique<MsmCamera>();
}

}  // namespace sim
