// The camera client's thin layer over the MSM camera driver: one function
// per control command or buffer operation, gathered in one table.
#pragma once

#include <cstdint>

#include "camera/config/config.h"
#include "camera/msm_camera.h"

namespace hal {

using cam::cam_ctrl_dimension_t;
using cam::msm_frame;

// The crop block that MSM_CAM_IOCTL_GET_PICTURE fills, and its length.
struct crop_block {
	void *info;
	uint32_t len;
};

// Scale ratios of a picture for the JPEG front end: all eight words set
// turns scaling on.
using jpeg_scaling = uint32_t[8];

// The operations in their table order: the test sequences reach the driver
// only through here.
struct native_interface {
	void *(*cam_frame)(void *frame);
	int8_t (*native_set_dimension)(int fd, cam_ctrl_dimension_t *dimension);
	int8_t (*native_set_default_params)(int fd);
	int8_t (*native_register_preview_bufs)(int fd, cam_ctrl_dimension_t *dimension, msm_frame *frame, uint8_t active);
	int8_t (*native_unregister_preview_bufs)(int fd, cam_ctrl_dimension_t *dimension, int pmem_fd, void *vaddr);
	int8_t (*native_start_preview)(int fd);
	int8_t (*native_stop_preview)(int fd);
	int8_t (*native_start_snapshot)(int fd);
	int8_t (*native_start_raw_snapshot)(int fd);
	int8_t (*native_register_snapshot_bufs)(int fd, cam_ctrl_dimension_t *dimension, int thumbnail_fd, int main_fd,
						void *thumbnail_vaddr, void *main_vaddr, bool raw_form);
	int8_t (*native_register_raw_snapshot_bufs)(int fd, cam_ctrl_dimension_t *dimension, int pmem_fd, void *vaddr);
	int8_t (*native_unregister_snapshot_bufs)(int fd, cam_ctrl_dimension_t *dimension, int thumbnail_fd,
						  int main_fd, void *thumbnail_vaddr, void *main_vaddr, bool raw_form);
	int8_t (*native_unregister_raw_snapshot_bufs)(int fd, cam_ctrl_dimension_t *dimension, int pmem_fd, void *vaddr);
	int8_t (*native_get_picture)(int fd, crop_block *crop);
	int8_t (*native_stop_snapshot)(int fd);
	int8_t (*native_jpeg_encode)(const char *path, cam_ctrl_dimension_t *dimension, uint8_t *thumbnail_buf,
				     uint8_t *main_buf, int thumbnail_fd, int main_fd, const uint32_t *scaling,
				     int rotation);
	int8_t (*native_set_zoom)(int fd, void *value);
	int8_t (*native_get_maxzoom)(int fd, void *value);
	int8_t (*native_set_special_effect)(int fd, int32_t value);
	int8_t (*native_set_brightness)(int fd, int32_t value);
	int8_t (*native_set_contrast)(int fd, int32_t value);
	int8_t (*native_set_saturation)(int fd, int32_t value);
	int8_t (*native_set_ev)(int fd, int32_t value);
	int8_t (*native_set_AntiBanding)(int fd, int32_t value);
	int8_t (*native_set_WhiteBalance)(int fd, int32_t value);
	int8_t (*native_set_aecmode)(int fd, int32_t value);
	int8_t (*native_set_iso)(int fd, int32_t value);
	int8_t (*native_set_sharpness)(int fd, int32_t value);
	int8_t (*native_set_afmode)(int fd, int32_t value);
	int8_t (*native_set_hjr)(int fd, int8_t value);
	int8_t (*native_set_lens_shading)(int fd, int8_t value);
	int8_t (*native_set_led_mode)(int fd, int32_t value);
	int8_t (*native_get_AF_sharpness)(int fd, int32_t *value);
};
static_assert(sizeof(native_interface) == 33 * sizeof(void *));

// Opens /dev/msm_camera0 into *fd and fills the table: 1, or 0 on failure.
int native_interface_init(native_interface *table, int *fd);

int reg_unreg_buf(int fd, uint32_t width, uint32_t height, uint32_t offset, int pmem_fd, void *vaddr,
		  uint32_t type, bool unregister, uint8_t active);

int8_t native_set_dimension(int fd, cam_ctrl_dimension_t *dimension);
int8_t native_set_default_params(int fd);
int8_t native_register_preview_bufs(int fd, cam_ctrl_dimension_t *dimension, msm_frame *frame, uint8_t active);
int8_t native_unregister_preview_bufs(int fd, cam_ctrl_dimension_t *dimension, int pmem_fd, void *vaddr);
int8_t native_start_preview(int fd);
int8_t native_stop_preview(int fd);
int8_t native_start_snapshot(int fd);
int8_t native_start_raw_snapshot(int fd);
int8_t native_register_snapshot_bufs(int fd, cam_ctrl_dimension_t *dimension, int thumbnail_fd, int main_fd,
				     void *thumbnail_vaddr, void *main_vaddr, bool raw_form);
int8_t native_register_raw_snapshot_bufs(int fd, cam_ctrl_dimension_t *dimension, int pmem_fd, void *vaddr);
int8_t native_unregister_snapshot_bufs(int fd, cam_ctrl_dimension_t *dimension, int thumbnail_fd, int main_fd,
				       void *thumbnail_vaddr, void *main_vaddr, bool raw_form);
int8_t native_unregister_raw_snapshot_bufs(int fd, cam_ctrl_dimension_t *dimension, int pmem_fd, void *vaddr);
int8_t native_get_picture(int fd, crop_block *crop);
int8_t native_stop_snapshot(int fd);
int8_t native_jpeg_encode(const char *path, cam_ctrl_dimension_t *dimension, uint8_t *thumbnail_buf,
			  uint8_t *main_buf, int thumbnail_fd, int main_fd, const uint32_t *scaling, int rotation);
int8_t native_set_zoom(int fd, void *value);
int8_t native_get_maxzoom(int fd, void *value);
int8_t native_set_special_effect(int fd, int32_t value);
int8_t native_set_brightness(int fd, int32_t value);
int8_t native_set_contrast(int fd, int32_t value);
int8_t native_set_saturation(int fd, int32_t value);
int8_t native_set_ev(int fd, int32_t value);
int8_t native_set_AntiBanding(int fd, int32_t value);
int8_t native_set_WhiteBalance(int fd, int32_t value);
int8_t native_set_aecmode(int fd, int32_t value);
int8_t native_set_iso(int fd, int32_t value);
int8_t native_set_sharpness(int fd, int32_t value);
int8_t native_set_afmode(int fd, int32_t value);
int8_t native_set_hjr(int fd, int8_t value);
int8_t native_set_lens_shading(int fd, int8_t value);
int8_t native_set_led_mode(int fd, int32_t value);
int8_t native_get_AF_sharpness(int fd, int32_t *value);

}  // namespace hal
