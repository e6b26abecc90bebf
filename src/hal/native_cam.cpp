// The client side of the camera driver: each operation fills a control
// command or a buffer record and hands it to the kernel, which passes it on
// to cam_conf. Trace goes to standard error, as in all of the camera stack.
#include "hal/native_cam.h"

#include <array>
#include <cstdio>
#include <cstring>
#include <fcntl.h>

#include "hal/camframe.h"
#include "hal/jpeg_encoder.h"
#include "platform/platform.h"

namespace hal {

using namespace cam;

namespace {

// Fills a control command and sends it; the ioctl's result.
int control(int fd, ctrl_cmd_t &cmd, uint16_t type, uint32_t timeout_ms, uint16_t length, void *value)
{
	cmd.timeout_ms = timeout_ms;
	cmd.type = type;
	cmd.length = length;
	cmd.value = value;
	return plat::ioctl(fd, MSM_CAM_IOCTL_CTRL_COMMAND, &cmd);
}

// The commands that carry one value and answer with the ioctl's low byte;
// `name` is the name their failure print has always carried.
int8_t set_parm(int fd, uint16_t type, const char *name, const void *value, uint16_t length)
{
	std::array<uint8_t, 4> bytes{};
	std::memcpy(bytes.data(), value, length);
	ctrl_cmd_t cmd{};
	int rc = control(fd, cmd, type, 5000, length, bytes.data());
	if (rc < 0)
		std::fprintf(stderr, "%s: ioctl failed. ioctl return value is %d \n", name, rc);
	return static_cast<int8_t>(rc);
}

int8_t set_word(int fd, uint16_t type, const char *name, int32_t value)
{
	return set_parm(fd, type, name, &value, sizeof value);
}

// Start and stop commands: 1 once the kernel took the command.
int8_t move(int fd, uint16_t type, uint32_t timeout_ms, const char *name)
{
	ctrl_cmd_t cmd{};
	int rc = control(fd, cmd, type, timeout_ms, 0, nullptr);
	if (rc < 0) {
		std::fprintf(stderr, "%s: ioctl failed. ioctl return value is %d \n", name, rc);
		return 0;
	}
	return 1;
}

// A 4-byte value sent and copied back, answered by the status byte.
int8_t round_trip_word(int fd, uint16_t type, uint32_t timeout_ms, const char *name, void *value)
{
	ctrl_cmd_t cmd{};
	std::array<uint8_t, 4> bytes{};
	std::memcpy(bytes.data(), value, bytes.size());
	int rc = control(fd, cmd, type, timeout_ms, 4, bytes.data());
	if (rc < 0)
		std::fprintf(stderr, "%s: ioctl failed. ioctl return value is %d \n", name, rc);
	std::memcpy(value, cmd.value, bytes.size());
	return static_cast<int8_t>(cmd.status);
}

uint32_t chroma_offset(uint32_t width, uint32_t height) { return (width * height + 3) & ~3u; }

}  // namespace

int native_interface_init(native_interface *table, int *fd)
{
	*fd = plat::open("/dev/msm_camera0", O_RDWR);
	if (*fd < 0) {
		std::fprintf(stderr, "native_interface_init: msm_camera opened failed!\n");
		return 0;
	}
	*table = native_interface{
	    cam_frame,
	    native_set_dimension,
	    native_set_default_params,
	    native_register_preview_bufs,
	    native_unregister_preview_bufs,
	    native_start_preview,
	    native_stop_preview,
	    native_start_snapshot,
	    native_start_raw_snapshot,
	    native_register_snapshot_bufs,
	    native_register_raw_snapshot_bufs,
	    native_unregister_snapshot_bufs,
	    native_unregister_raw_snapshot_bufs,
	    native_get_picture,
	    native_stop_snapshot,
	    native_jpeg_encode,
	    native_set_zoom,
	    native_get_maxzoom,
	    native_set_special_effect,
	    native_set_brightness,
	    native_set_contrast,
	    native_set_saturation,
	    native_set_ev,
	    native_set_AntiBanding,
	    native_set_WhiteBalance,
	    native_set_aecmode,
	    native_set_iso,
	    native_set_sharpness,
	    native_set_afmode,
	    native_set_hjr,
	    native_set_lens_shading,
	    native_set_led_mode,
	    native_get_AF_sharpness,
	};
	return 1;
}

int reg_unreg_buf(int fd, uint32_t width, uint32_t height, uint32_t offset, int pmem_fd, void *vaddr,
		  uint32_t type, bool unregister, uint8_t active)
{
	msm_pmem_info info{};
	info.type = type;
	info.fd = pmem_fd;
	info.vaddr = vaddr;
	info.y_off = offset;
	info.cbcr_off = type == PMEM_RAW_MAINIMG ? 0 : chroma_offset(width, height);
	info.active = active;
	int rc = plat::ioctl(fd, unregister ? MSM_CAM_IOCTL_UNREGISTER_PMEM : MSM_CAM_IOCTL_REGISTER_PMEM, &info);
	if (rc < 0)
		std::fprintf(stderr,
			     "reg_unreg_buf: MSM_CAM_IOCTL_(UN)REGISTER_PMEM ioctl failed... ioctl return value is %d \n",
			     rc);
	return rc;
}

int8_t native_set_dimension(int fd, cam_ctrl_dimension_t *dimension)
{
	// Kept from call to call: a driver that never answers leaves the status
	// of the last answer in place.
	static ctrl_cmd_t cmd{};
	static_assert(sizeof(cam_ctrl_dimension_t) == 28);
	cam_ctrl_dimension_t sent = *dimension;
	int rc = control(fd, cmd, CAMERA_SET_PARM_DIMENSION, 200000, sizeof sent, &sent);
	if (rc < 0)
		std::fprintf(stderr, "native_set_dimension: ioctl failed... ioctl return value is %d \n", rc);
	// The kernel copied the configuration side's record into ours.
	std::memcpy(dimension, cmd.value, sizeof *dimension);
	return static_cast<int8_t>(cmd.status & 0xFF);
}

int8_t native_set_default_params(int fd)
{
	struct step {
		uint16_t type;
		const char *name;
		uint16_t length;
		std::array<uint8_t, 8> value;
	};
	static constexpr std::array<step, 8> steps = {{
	    {CAMERA_SET_PARM_PREVIEW_MODE, "CAMERA_SET_PARM_PREVIEW_MODE", 4, {}},
	    {CAMERA_SET_PARM_ENCODE_ROTATION, "CAMERA_SET_PARM_ENCODE_ROTATION", 4, {}},
	    {CAMERA_SET_PARM_WB, "CAMERA_SET_PARM_WB", 4, {1}},
	    {CAMERA_SET_PARM_EFFECT, "CAMERA_SET_PARM_EFFECT", 4, {1}},
	    {CAMERA_SET_PARM_NIGHTSHOT_MODE, "CAMERA_SET_PARM_NIGHTSHOT_MODE", 4, {}},
	    {CAMERA_SET_PARM_LUMA_ADAPTATION, "CAMERA_SET_PARM_LUMA_ADAPTATION", 4, {}},
	    {CAMERA_SET_PARM_ANTIBANDING, "CAMERA_SET_PARM_ANTIBANDING", 4, {}},
	    // 15000 and 1000, twice: frame rate range of the preview.
	    {CAMERA_SET_PARM_PREVIEW_FPS, "CAMERA_SET_PARM_PREVIEW_FPS", 8, {0x98, 0x3A, 0xE8, 0x03, 0x98, 0x3A, 0xE8, 0x03}},
	}};
	for (const step &s : steps) {
		std::array<uint8_t, 8> value = s.value;  // the driver may write into it
		ctrl_cmd_t cmd{};
		int rc = control(fd, cmd, s.type, 200000, s.length, value.data());
		if (rc < 0)
			std::fprintf(stderr, "set_default_parameters: %s ioctl failed. ioctl return value is %d \n", s.name,
				     rc);
	}
	return 1;
}

int8_t native_register_preview_bufs(int fd, cam_ctrl_dimension_t *dimension, msm_frame *frame, uint8_t active)
{
	reg_unreg_buf(fd, dimension->display_width, dimension->display_height, 0, frame->fd, frame->buffer,
		      PMEM_PREVIEW, false, active);
	return 1;
}

int8_t native_unregister_preview_bufs(int fd, cam_ctrl_dimension_t *dimension, int pmem_fd, void *vaddr)
{
	reg_unreg_buf(fd, dimension->display_width, dimension->display_height, 0, pmem_fd, vaddr, PMEM_PREVIEW, true,
		      1);
	return 1;
}

int8_t native_register_raw_snapshot_bufs(int fd, cam_ctrl_dimension_t *dimension, int pmem_fd, void *vaddr)
{
	reg_unreg_buf(fd, dimension->raw_picture_width, dimension->raw_picture_height, 0, pmem_fd, vaddr,
		      PMEM_RAW_MAINIMG, false, 1);
	return 1;
}

int8_t native_unregister_raw_snapshot_bufs(int fd, cam_ctrl_dimension_t *dimension, int pmem_fd, void *vaddr)
{
	reg_unreg_buf(fd, dimension->raw_picture_width, dimension->raw_picture_height, 0, pmem_fd, vaddr,
		      PMEM_RAW_MAINIMG, true, 1);
	return 1;
}

int8_t native_register_snapshot_bufs(int fd, cam_ctrl_dimension_t *dimension, int thumbnail_fd, int main_fd,
				     void *thumbnail_vaddr, void *main_vaddr, bool raw_form)
{
	if (thumbnail_vaddr && thumbnail_fd)
		reg_unreg_buf(fd, dimension->thumbnail_width, dimension->thumbnail_height, 0, thumbnail_fd,
			      thumbnail_vaddr, PMEM_THUMBNAIL, false, 1);
	if (raw_form)
		reg_unreg_buf(fd, dimension->orig_picture_dx, dimension->orig_picture_dy, dimension->raw_picture_size,
			      main_fd, main_vaddr, PMEM_RAW_MAINIMG, false, 1);
	else
		reg_unreg_buf(fd, dimension->orig_picture_dx, dimension->orig_picture_dy, 0, main_fd, main_vaddr,
			      PMEM_MAINIMG, false, 1);
	return 1;
}

int8_t native_unregister_snapshot_bufs(int fd, cam_ctrl_dimension_t *dimension, int thumbnail_fd, int main_fd,
				       void *thumbnail_vaddr, void *main_vaddr, bool raw_form)
{
	reg_unreg_buf(fd, dimension->thumbnail_width, dimension->thumbnail_height, 0, thumbnail_fd, thumbnail_vaddr,
		      PMEM_THUMBNAIL, true, 1);
	// The raw main buffer is registered here, not unregistered; it has
	// always been so and a client that uses it relies on nothing else.
	if (raw_form)
		reg_unreg_buf(fd, dimension->orig_picture_dx, dimension->orig_picture_dy, dimension->raw_picture_size,
			      main_fd, main_vaddr, PMEM_RAW_MAINIMG, false, 1);
	else
		reg_unreg_buf(fd, dimension->orig_picture_dx, dimension->orig_picture_dy, 0, main_fd, main_vaddr,
			      PMEM_MAINIMG, true, 1);
	return 1;
}

int8_t native_start_preview(int fd)
{
	ctrl_cmd_t cmd{};
	int rc = control(fd, cmd, CAMERA_START_PREVIEW, 200000, 0, nullptr);
	if (rc < 0) {
		std::fprintf(stderr, "native_start_preview: MSM_CAM_IOCTL_CTRL_COMMAND failed. ret=%d \n", rc);
		return 0;
	}
	return 1;
}

int8_t native_stop_preview(int fd) { return move(fd, CAMERA_STOP_PREVIEW, 5000, "native_stop_preview"); }
int8_t native_start_snapshot(int fd) { return move(fd, CAMERA_START_SNAPSHOT, 5000, "native_start_snapshot"); }
int8_t native_start_raw_snapshot(int fd) { return move(fd, CAMERA_START_RAW_SNAPSHOT, 5000, "native_start_snapshot"); }
int8_t native_stop_snapshot(int fd) { return move(fd, CAMERA_STOP_SNAPSHOT, 5000, "native_stop_snapshot"); }

int8_t native_get_picture(int fd, crop_block *crop)
{
	ctrl_cmd_t cmd{};
	cmd.timeout_ms = 200000;
	cmd.length = static_cast<uint16_t>(crop->len);
	cmd.value = crop->info;
	int rc = plat::ioctl(fd, MSM_CAM_IOCTL_GET_PICTURE, &cmd);
	if (rc < 0) {
		std::fprintf(stderr, "native_get_picture: MSM_CAM_IOCTL_GET_PICTURE failed... ioctl return value is %d \n",
			     rc);
		return 0;
	}
	return 1;
}

int8_t native_jpeg_encode(const char *path, cam_ctrl_dimension_t *dimension, uint8_t *thumbnail_buf,
			  uint8_t *main_buf, int thumbnail_fd, int main_fd, const uint32_t *scaling, int rotation)
{
	static int counter = 0;
	std::array<char, 256> name{};
	std::snprintf(name.data(), name.size(), "%s/snapshot_%d.jpg", path ? path : "", ++counter);
	if (!jpeg_encoder_encode(name.data(), dimension, thumbnail_buf, thumbnail_fd, main_buf, main_fd, scaling,
				 rotation)) {
		std::fprintf(stderr, "%d: %s: jpeg_encoder_encode failed.\n", __LINE__, __FILE__);
		return 0;
	}
	return 1;
}

int8_t native_set_zoom(int fd, void *value)
{
	return round_trip_word(fd, CAMERA_SET_PARM_ZOOM, 200000, "native_set_zoom", value);
}

int8_t native_get_maxzoom(int fd, void *value)
{
	return round_trip_word(fd, CAMERA_GET_PARM_MAXZOOM, 50000, "native_set_zoom", value);
}

int8_t native_set_special_effect(int fd, int32_t v)
{
	return set_word(fd, CAMERA_SET_PARM_EFFECT, "native_set_special_effect", v);
}
int8_t native_set_brightness(int fd, int32_t v)
{
	return set_word(fd, CAMERA_SET_PARM_BRIGHTNESS, "native_set_brightness", v);
}
int8_t native_set_contrast(int fd, int32_t v)
{
	return set_word(fd, CAMERA_SET_PARM_CONTRAST, "native_set_brightness", v);
}
int8_t native_set_saturation(int fd, int32_t v)
{
	return set_word(fd, CAMERA_SET_PARM_SATURATION, "native_set_brightness", v);
}
int8_t native_set_ev(int fd, int32_t v) { return set_word(fd, CAMERA_SET_PARM_EXPOSURE_COMPENSATION, "native_set_ev", v); }
int8_t native_set_AntiBanding(int fd, int32_t v)
{
	return set_word(fd, CAMERA_SET_PARM_ANTIBANDING, "native_set_AndiBanding", v);
}
int8_t native_set_WhiteBalance(int fd, int32_t v)
{
	return set_word(fd, CAMERA_SET_PARM_WB, "native_set_WhiteBalance", v);
}
int8_t native_set_aecmode(int fd, int32_t v)
{
	return set_word(fd, CAMERA_SET_PARM_EXPOSURE, "native_set_brightness", v);
}
int8_t native_set_iso(int fd, int32_t v) { return set_word(fd, CAMERA_SET_PARM_ISO, "native_set_iso", v); }
int8_t native_set_sharpness(int fd, int32_t v)
{
	return set_word(fd, CAMERA_SET_PARM_SHARPNESS, "native_set_sharpness", v);
}
int8_t native_set_afmode(int fd, int32_t v) { return set_word(fd, CAMERA_SET_PARM_AUTO_FOCUS, "native_set_afmode", v); }
int8_t native_set_hjr(int fd, int8_t v) { return set_parm(fd, CAMERA_SET_PARM_HJR, "native_set_sharpness", &v, 1); }
int8_t native_set_lens_shading(int fd, int8_t v)
{
	return set_parm(fd, CAMERA_SET_PARM_ROLLOFF, "native_set_lens_shading", &v, 1);
}
int8_t native_set_led_mode(int fd, int32_t v)
{
	return set_word(fd, CAMERA_SET_PARM_LED_MODE, "native_set_lens_shading", v);
}

int8_t native_get_AF_sharpness(int fd, int32_t *value)
{
	std::array<uint8_t, 4> bytes{};
	ctrl_cmd_t cmd{};
	int rc = control(fd, cmd, CAMERA_GET_PARM_AF_SHARPNESS, 5000, 4, bytes.data());
	if (rc < 0)
		std::fprintf(stderr, "native_set_afmode: ioctl failed. ioctl return value is %d \n", rc);
	std::memcpy(value, bytes.data(), sizeof *value);
	std::fprintf(stderr, "native_get_AF_sharpness:sharpness=%d\n", *value);
	return static_cast<int8_t>(rc);
}

}  // namespace hal
