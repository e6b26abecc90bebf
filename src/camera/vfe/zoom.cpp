// Digital zoom: step to crop factor, crop factor to sizes, sizes to the
// VFE's crop and the frame path's scaling.
#include "camera/vfe/zoom.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "camera/config/config.h"
#include "platform/platform.h"

namespace cam {

namespace {

// 4096 * 64^(i/180), truncated, and the end mark.
std::array<uint32_t, ZOOM_TABLE_SIZE> make_zoom_table()
{
	std::array<uint32_t, ZOOM_TABLE_SIZE> t{};
	for (int i = 0; i < ZOOM_TABLE_SIZE - 1; ++i)
		t[static_cast<size_t>(i)] = static_cast<uint32_t>(4096.0 * std::pow(64.0, i / 180.0) + 1e-6);
	t[ZOOM_TABLE_SIZE - 1] = 999999;
	return t;
}

const std::array<uint32_t, ZOOM_TABLE_SIZE> zoom_table = make_zoom_table();

uint32_t q12_ratio(uint32_t a, uint32_t b) { return b ? static_cast<uint32_t>((uint64_t{a} << 12) / b) : 0; }

}  // namespace

const std::array<uint32_t, ZOOM_TABLE_SIZE> &camera_zoom_table() { return zoom_table; }

void zoom_reset_scaler(zoom_scaling_t *s)
{
	uint8_t flag = s->update_flag;
	*s = zoom_scaling_t{};
	s->update_flag = flag;
}

void zoom_init(zoom_ctrl_t *z)
{
	int32_t top = ZOOM_TABLE_SIZE - 1;
	for (int32_t i = 0; i < ZOOM_TABLE_SIZE - 1; ++i)
		if (zoom_table[static_cast<size_t>(i) + 1] > z->maximum_crop_factor) {
			top = i;
			break;
		}
	z->maximum_table_index = top;
	cam_parm_info &p = z->cam_parm_zoom;
	p.minimum_value = 0;
	p.maximum_value = z->maximum_table_index - z->minimum_table_index;
	int32_t range = p.maximum_value;
	if (range >= ZOOM_TABLE_SIZE) {
		z->zoom_step_size = static_cast<uint32_t>(range / 181);
		p.maximum_value = 181;
	} else {
		z->zoom_step_size = 1;
	}
	p.current_value = p.default_value = p.minimum_value;
	p.step_value = 1;
	for (size_t i = 0; i < z->zoomTableBump.size(); ++i)
		z->zoomTableBump[i] =
		    range < ZOOM_TABLE_SIZE ? 0 : static_cast<uint8_t>((static_cast<int32_t>(i) * 16 / 181 * (range % 181)) >> 4);
	std::fprintf(stderr, "after zoom_init, cam_parm_zoom.maximum_value = %d\n", static_cast<int>(p.maximum_value));
}

void zoom_init_ctrl(zoom_ctrl_t *z)
{
	z->cam_parm_zoom = {0, 0, 1, 0, 0};
	z->minimum_table_index = z->maximum_table_index = 0;
	z->words[0] = 1;
	z->words[1] = z->words[2] = 0;
	z->zoomTable = zoom_table.data();
	z->crop_factor = Q12_ONE;
	zoom_init(z);
	z->first_pixel = z->last_pixel = z->first_line = z->last_line = 0;
}

void zoom_calculate(config_ctrl_t *ctrl)
{
	zoom_ctrl_t &z = ctrl->zoomCtrl;
	const sensor_ctrl_t &s = ctrl->sensorCtrl;
	bool bayer = s.output_format == SENSOR_BAYER;
	uint32_t w = (ctrl->dimension.orig_picture_dx + 1u) & ~1u, h = (ctrl->dimension.orig_picture_dy + 1u) & ~1u;
	std::fprintf(stderr, "zoom_calculate: %d %d \n", static_cast<int>(w), static_cast<int>(h));
	if (ctrl->dimension.orig_picture_dx == 0 || ctrl->dimension.orig_picture_dy == 0) {
		std::fprintf(stderr, "zoom_calculate: Failed at line number: %d\n", 87);
		return;
	}
	z.working_crop_factor = z.base_crop_factor;
	size_t index = static_cast<size_t>(z.cam_parm_zoom.current_value) * z.zoom_step_size;
	size_t cur = static_cast<size_t>(std::clamp(z.cam_parm_zoom.current_value, 0, ZOOM_TABLE_SIZE - 1));
	index = std::min<size_t>(index + z.zoomTableBump[cur], ZOOM_TABLE_SIZE - 1);
	z.crop_factor = zoom_table[index];
	z.crop_width = static_cast<uint32_t>((uint64_t{z.working_crop_factor} * w) >> 12);
	if (bayer)
		z.crop_width &= ~1u;
	z.crop_width = std::min<uint32_t>(z.crop_width, s.full_width);
	z.working_crop_factor = q12_ratio(z.crop_width, w);
	z.crop_height = static_cast<uint32_t>((uint64_t{z.working_crop_factor} * h) >> 12) & ~1u;
	if (z.crop_height > s.full_height) {
		z.crop_height = s.full_height;
		z.working_crop_factor = q12_ratio(z.crop_height, h);
		z.crop_width = static_cast<uint32_t>((uint64_t{z.working_crop_factor} * w) >> 12);
		if (bayer)
			z.crop_width &= ~1u;
	}
}

namespace {

// The frame path's scaling in one direction, for one or two outputs. With
// one output, `lone_sets_both` says whether the second pair follows the
// first: the heights do, the widths do not.
void scale_axis(uint32_t &crop, uint32_t o1, uint32_t o2, bool two, bool lone_sets_both, uint32_t &in1,
		uint32_t &out1, uint32_t &in2, uint32_t &out2, uint32_t &max_seen, uint8_t &flag)
{
	uint32_t biggest = two ? std::max(o1, o2) : o1;
	if (crop < biggest) {
		crop = std::max(crop, biggest / 4);  // the VFE upscales 4 times at most
		if (!two) {
			in1 = crop;
			out1 = o1;
			if (lone_sets_both) {
				in2 = crop;
				out2 = o1;
			}
		} else if (crop < o2) {
			in2 = crop;
			out2 = o2;
			in1 = o2 ? crop * o1 / o2 : 0;
			out1 = o1;
		} else if (crop >= o1) {
			in1 = out1 = in2 = out2 = 0;
		} else {
			in1 = crop;
			out1 = o1;
			in2 = o1 ? crop * o2 / o1 : 0;
			out2 = o2;
		}
		flag = 1;
		max_seen = biggest;
	} else if (in1 || in2) {
		in1 = out1 = in2 = out2 = 0;
		flag = 1;
	}
}

}  // namespace

bool zoom_vfe(config_ctrl_t *ctrl)
{
	zoom_ctrl_t &z = ctrl->zoomCtrl;
	vfe_ctrl_t &v = ctrl->vfeCtrl;
	zoom_scaling_t &sc = z.zoomscaling;
	uint32_t fw = z.last_pixel - z.first_pixel + 1, fh = z.last_line - z.first_line + 1;
	uint32_t cam = q12_ratio(fw, fh);
	uint32_t a1 = (v.outputs & 1) && v.output1_height ? q12_ratio(v.output1_width, v.output1_height) : 0;
	uint32_t a2 = (v.outputs & 2) && v.output2_height ? q12_ratio(v.output2_width, v.output2_height) : 0;
	if (a1 == 0 || a2 == 0)
		a1 = a2 = std::max(a1, a2);
	if (a1 != a2)
		std::fprintf(stderr, "Output1 and Output2 aspect ratios differ. Frames may be distorted\n");
	uint32_t lo = std::min(a1, a2), hi = std::max(a1, a2);
	uint32_t factor = z.crop_factor ? z.crop_factor : Q12_ONE;
	if (lo >= cam) {
		z.crop_out_x = q12_ratio(fw, factor);
		z.crop_out_y = std::min(hi ? q12_ratio(z.crop_out_x, hi) : fh, fh);
	} else {
		z.crop_out_y = q12_ratio(fh, factor);
		z.crop_out_x = std::min(static_cast<uint32_t>((uint64_t{z.crop_out_y} * lo) >> 12), fw);
	}
	uint32_t widest = std::max(v.output1_width, v.output2_width);
	v.downscale_factor = widest ? static_cast<float>(z.crop_out_x) / static_cast<float>(widest) : 1.0f;
	bool two = (v.outputs & 2) != 0;
	scale_axis(z.crop_out_x, v.output1_width, v.output2_width, two, false, sc.input1_width, sc.output1_width,
		   sc.input2_width, sc.output2_width, z.max_width, sc.update_flag);
	scale_axis(z.crop_out_y, v.output1_height, v.output2_height, two, true, sc.input1_height, sc.output1_height,
		   sc.input2_height, sc.output2_height, z.max_height, sc.update_flag);
	std::fprintf(stderr, "zoomscaling: input1_width=%lu output1_width=%lu input1_height=%lu output1_height=%lu\n",
		     static_cast<unsigned long>(sc.input1_width), static_cast<unsigned long>(sc.output1_width),
		     static_cast<unsigned long>(sc.input1_height), static_cast<unsigned long>(sc.output1_height));
	std::fprintf(stderr, "zoomscaling: input2_width=%lu output2_width=%lu input2_height=%lu output2_height=%lu\n",
		     static_cast<unsigned long>(sc.input2_width), static_cast<unsigned long>(sc.output2_width),
		     static_cast<unsigned long>(sc.input2_height), static_cast<unsigned long>(sc.output2_height));
	z.crop_out_x = std::min(z.crop_out_x, fw);
	z.crop_out_y = std::min(z.crop_out_y, fh);
	z.crop_first_pixel = (z.last_pixel - z.first_pixel - z.crop_out_x + 1) >> 1;
	z.crop_last_pixel = z.crop_first_pixel + z.crop_out_x - 1;
	z.crop_first_line = (z.last_line - z.first_line - z.crop_out_y + 1) >> 1;
	z.crop_last_line = z.crop_first_line + z.crop_out_y - 1;
	if (sc.update_flag) {
		z.zoom_vfe_update_zoom = 1;
		crop_info_t crop{&sc, sizeof sc};
		if (plat::ioctl(ctrl->camfd, MSM_CAM_IOCTL_SET_CROP, &crop) < 0) {
			std::fprintf(stderr, "MSM_CAM_IOCTL_SET_CROP failed!\n");
			return false;
		}
	}
	return true;
}

bool zoom_proc(config_ctrl_t *ctrl, int32_t value)
{
	zoom_ctrl_t &z = ctrl->zoomCtrl;
	sensor_ctrl_t &s = ctrl->sensorCtrl;
	std::fprintf(stderr, "zoom_proc: val = %ld, max = %ld\n", static_cast<long>(value),
		     static_cast<long>(z.cam_parm_zoom.maximum_value));
	if (value < z.cam_parm_zoom.minimum_value || value > z.cam_parm_zoom.maximum_value)
		return false;
	z.cam_parm_zoom.current_value = value;
	std::fprintf(stderr, "zoom_proc: Zoom value is: %ld\n", static_cast<long>(value));
	if (s.ops.set_optical_zoom && s.camctrl.optical_zoom) {
		std::fprintf(stderr, "zoom_proc: Optical zoom \n");
		return s.ops.set_optical_zoom(ctrl);
	}
	std::fprintf(stderr, "zoom_proc: Digital zoom \n");
	zoom_calculate(ctrl);
	zoom_vfe(ctrl);
	vfe_util_update_fovcrop(z.crop_first_pixel, z.crop_last_pixel, z.crop_first_line, z.crop_last_line);
	vfe_util_updatescaleoutput(ctrl, z.crop_out_x, z.crop_out_y);
	vfe_util_sharpness_afilter(ctrl);
	return true;
}

}  // namespace cam
