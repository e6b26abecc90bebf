// The MSM camera driver's interface: ioctl numbers and the records they
// carry. Shared by the configuration thread, the camera client and the
// simulated driver.
//
// On the phone every pointer in these records is 32 bits wide. We keep real
// pointers so a 64-bit host never truncates one; the phone's byte layout is
// checked when the build is for 32 bits, and the 64-bit layout is the same
// fields at natural alignment.
#pragma once

#include <cstddef>
#include <cstdint>

namespace cam {

constexpr unsigned long MSM_CAM_IOCTL_GET_SENSOR_INFO = 0x80046D01;
constexpr unsigned long MSM_CAM_IOCTL_REGISTER_PMEM = 0x40046D02;
constexpr unsigned long MSM_CAM_IOCTL_UNREGISTER_PMEM = 0x40046D03;
constexpr unsigned long MSM_CAM_IOCTL_CTRL_COMMAND = 0x40046D04;
constexpr unsigned long MSM_CAM_IOCTL_VFE_COMMAND = 0x40046D05;
constexpr unsigned long MSM_CAM_IOCTL_GET_STATS = 0x80046D06;
constexpr unsigned long MSM_CAM_IOCTL_GETFRAME = 0x80046D07;
constexpr unsigned long MSM_CAM_IOCTL_ENABLE_VFE = 0x40046D08;
constexpr unsigned long MSM_CAM_IOCTL_CTRL_CMD_DONE = 0x40046D09;
constexpr unsigned long MSM_CAM_IOCTL_DISABLE_VFE = 0x40046D0B;
constexpr unsigned long MSM_CAM_IOCTL_SNAPSHOT_BEGIN = 0x40046D0D;
constexpr unsigned long MSM_CAM_IOCTL_RELEASE_FRAME_BUFFER = 0x40046D0E;
constexpr unsigned long MSM_CAM_IOCTL_RELEASE_STATS_BUFFER = 0x40046D0F;
constexpr unsigned long MSM_CAM_IOCTL_AXI_CONFIG = 0x40046D10;
constexpr unsigned long MSM_CAM_IOCTL_GET_PICTURE = 0x40046D11;
constexpr unsigned long MSM_CAM_IOCTL_SET_CROP = 0x40046D12;
constexpr unsigned long MSM_CAM_IOCTL_PICT_PP = 0x40046D13;
constexpr unsigned long MSM_CAM_IOCTL_SENSOR_CFG = 0x40046D15;
constexpr unsigned long MSM_CAM_IOCTL_FLASH_LED_CFG = 0x40046D16;

constexpr bool phone_layout = sizeof(void *) == 4;

// A control command between the camera client and the configuration thread.
struct ctrl_cmd_t {
	uint32_t timeout_ms;
	uint16_t type;
	uint16_t length;
	void *value;
	uint16_t status;
	uint16_t reserved;
};
static_assert(offsetof(ctrl_cmd_t, type) == 4 && offsetof(ctrl_cmd_t, length) == 6);
static_assert(offsetof(ctrl_cmd_t, value) == 8);
static_assert(!phone_layout || (sizeof(ctrl_cmd_t) == 16 && offsetof(ctrl_cmd_t, status) == 12));
static_assert(phone_layout || sizeof(ctrl_cmd_t) == 24);

// Bytes of the value buffer of a control command on the configuration side.
constexpr uint16_t CTRL_VALUE_MAX = 512;

// A DSP message or ADSP RTOS event, as the kernel hands it on.
struct vfe_msg_t {
	uint16_t type;   // 0 QDSP message, 1 ADSP RTOS event
	uint16_t msgId;
	uint32_t reserved;
	void *data;  // receives the message body, up to CTRL_VALUE_MAX bytes
};

enum : uint32_t { RESP_CTRL = 0, RESP_VFE = 1, RESP_V4L2 = 2 };

// The argument of MSM_CAM_IOCTL_GET_STATS: one event of the configuration loop.
struct stats_event_t {
	uint32_t resptype;
	uint32_t timeout_ms;
	ctrl_cmd_t ctrl_cmd;
	vfe_msg_t vfe_msg;
};
static_assert(offsetof(stats_event_t, ctrl_cmd) == 8);
static_assert(!phone_layout || (sizeof(stats_event_t) == 36 && offsetof(stats_event_t, vfe_msg) == 24 &&
				offsetof(stats_event_t, vfe_msg.data) == 32));

// MSM_CAM_IOCTL_GET_SENSOR_INFO.
struct msm_camsensor_info {
	char name[32];
	uint8_t flash_enabled;
};
static_assert(sizeof(msm_camsensor_info) == 33);

// A command for one DSP queue, and its wrapper for VFE_COMMAND and AXI_CONFIG.
struct vfe_command_t {
	uint16_t queue;
	uint16_t length;  // bytes of the record
	void *value;
};
struct vfe_cfg_cmd_t {
	uint32_t cmd_type;
	uint16_t length;  // always 8: the size of vfe_command_t on the phone
	uint16_t pad;
	void *value;      // vfe_command_t
};
static_assert(!phone_layout || (sizeof(vfe_command_t) == 8 && sizeof(vfe_cfg_cmd_t) == 12));

// MSM_CAM_IOCTL_ENABLE_VFE and DISABLE_VFE: a module name and its buffer length.
struct camera_enable_cmd_t {
	char *name;
	uint32_t length;
};
static_assert(!phone_layout || sizeof(camera_enable_cmd_t) == 8);

// MSM_CAM_IOCTL_SENSOR_CFG. Only the word at offset 16 of the union is used.
struct sensor_cfg_data {
	int32_t cfgtype;
	int32_t mode;
	int32_t rs;
	int32_t max_steps;
	int32_t value;
	uint8_t rest[12];
};
static_assert(sizeof(sensor_cfg_data) == 32 && offsetof(sensor_cfg_data, value) == 16);

enum : int32_t { CFG_SET_MODE = 0, CFG_SET_AUTOFOCUS = 28 };

// MSM_CAM_IOCTL_SET_CROP: the crop record of the frame path and its length.
struct crop_info_t {
	void *info;
	uint16_t len;
};
static_assert(!phone_layout || sizeof(crop_info_t) == 8);

// MSM_CAM_IOCTL_RELEASE_STATS_BUFFER.
struct msm_stats_buf {
	int32_t type;  // 0 white balance and exposure, 1 auto focus
	void *buffer;
	int32_t fd;
};

// MSM_CAM_IOCTL_REGISTER_PMEM / UNREGISTER_PMEM.
struct msm_pmem_info {
	uint32_t type;  // 1 preview, 3 thumbnail, 4 main picture, 5 raw picture
	int32_t fd;
	void *vaddr;
	uint32_t y_off;
	uint32_t cbcr_off;
	uint8_t active;
};
static_assert(!phone_layout || sizeof(msm_pmem_info) == 24);

// A finished frame, from MSM_CAM_IOCTL_GETFRAME, given back with
// MSM_CAM_IOCTL_RELEASE_FRAME_BUFFER.
struct msm_frame {
	int32_t path;
	void *buffer;  // virtual address of the pmem buffer
	uint32_t y_off;
	uint32_t cbcr_off;
	int32_t fd;
	void *cropinfo;  // receives the crop record of MSM_CAM_IOCTL_SET_CROP
	uint32_t croplen;
};
static_assert(!phone_layout || sizeof(msm_frame) == 28);

// Body of the VFE_STATS_WB_EXP and VFE_STATS_AUTOFOCUS messages: the
// statistics buffer the DSP has just filled.
struct vfe_stats_msg_t {
	uint32_t word;
	void *buf;
	int32_t fd;
};
static_assert(!phone_layout || sizeof(vfe_stats_msg_t) == 12);

enum : uint32_t {
	PMEM_PREVIEW = 1,
	PMEM_THUMBNAIL = 3,
	PMEM_MAINIMG = 4,
	PMEM_RAW_MAINIMG = 5,
	PMEM_AEC_AWB = 6,  // white balance and exposure statistics
	PMEM_AF = 7,       // focus statistics
};

}  // namespace cam
