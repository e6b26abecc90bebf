// vfe_set_dimension: from the sizes a client wants to the sizes the sensor,
// the VFE and the zoom can do.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <utility>

#include "camera/config/config.h"

namespace cam {

namespace {

uint16_t up_to(uint32_t v, uint32_t m) { return static_cast<uint16_t>((v + m - 1) / m * m); }
uint32_t ceil_div(uint32_t a, uint32_t b) { return b ? (a + b - 1) / b : 1; }
uint32_t binning(uint32_t full, uint32_t qtr) { return qtr ? static_cast<uint32_t>(static_cast<float>(full) / qtr + 0.5f) : 1; }
uint32_t q12(uint32_t a, uint32_t b) { return b ? static_cast<uint32_t>((uint64_t{a} << 12) / b) : 0; }

void raw_size(config_ctrl_t *ctrl, cam_ctrl_dimension_t &d)
{
	const sensor_ctrl_t &s = ctrl->sensorCtrl;
	if (s.output_format == SENSOR_YCBCR) {
		d.raw_picture_width = static_cast<uint16_t>(s.full_width * 2);
		d.raw_picture_size = 0;
	} else {
		uint32_t group = 8, mult = 3;
		if (s.raw_output_type == 1) {
			group = 6;
			mult = 6;
		} else if (s.raw_output_type != 0) {
			std::fprintf(stderr, "Unsupported raw image output type: %d\n", static_cast<int>(s.raw_output_type));
		}
		d.raw_picture_width = static_cast<uint16_t>(8 * ceil_div(s.full_width, group));
		d.raw_picture_size = mult * d.raw_picture_width;
	}
	d.raw_picture_height = s.full_height;
}

// Steps that only shape the sizes: rounding, swapping, limits, thumbnail.
void shape_sizes(config_ctrl_t *ctrl, cam_ctrl_dimension_t &d, uint16_t asked_w, uint16_t asked_h)
{
	const sensor_ctrl_t &s = ctrl->sensorCtrl;
	d.picture_width = up_to(d.picture_width, 2);
	d.picture_height = up_to(d.picture_height, 2);
	if (d.picture_height > d.picture_width)
		std::swap(d.picture_width, d.picture_height);
	if (d.display_width == 0 || d.display_height == 0) {
		d.display_width = d.picture_width;
		d.display_height = d.picture_height;
	}
	if (d.display_height > d.display_width)
		std::swap(d.display_width, d.display_height);
	uint32_t ry = binning(s.full_height, s.qtr_height), rx = binning(s.full_width, s.qtr_width);
	if (ry != rx && rx) {
		float limit = s.qtr_width / (static_cast<float>(ry) / static_cast<float>(rx)) - 12.0f;
		auto cap = static_cast<uint16_t>(static_cast<uint32_t>(std::max(limit, 0.0f)) & ~15u);
		d.display_width = std::min(d.display_width, cap);
	}
	d.display_width = up_to(d.display_width, 16);
	d.display_height = up_to(d.display_height, 16);
	d.orig_picture_dx = asked_w;
	d.orig_picture_dy = asked_h;
	d.picture_width = up_to(d.picture_width, 16);
	d.picture_height = up_to(d.picture_height, 16);
	if (d.ui_thumbnail_width <= d.orig_picture_dx && d.ui_thumbnail_height <= d.orig_picture_dy) {
		d.thumbnail_width = d.ui_thumbnail_width;
		d.thumbnail_height = d.ui_thumbnail_height;
	} else {
		d.thumbnail_width = d.orig_picture_dx;
		d.thumbnail_height = d.orig_picture_dy;
	}
	if (d.picture_width > s.full_width || d.picture_height > s.full_height) {
		d.picture_width = static_cast<uint16_t>(s.full_width & ~15u);
		d.picture_height = static_cast<uint16_t>(s.full_height & ~15u);
		d.display_width = std::min(d.display_width, d.picture_width);
		d.display_height = std::min(d.display_height, d.picture_height);
		d.orig_picture_dx = d.picture_width;
		d.orig_picture_dy = d.picture_height;
	}
	// A zero-sized thumbnail keeps its size: there is no ratio to fit.
	uint32_t a = q12(d.picture_width, d.picture_height), t = q12(d.thumbnail_width, d.thumbnail_height);
	if (a && t && t < a)
		d.thumbnail_height = static_cast<uint16_t>(q12(d.thumbnail_width, a));
	else if (a && t && t > a)
		d.thumbnail_width = static_cast<uint16_t>((d.thumbnail_height * uint64_t{a}) >> 12);
	if (ctrl->preview_mode == 1 && (d.display_width > d.picture_width || d.display_height > d.picture_height)) {
		d.picture_width = d.orig_picture_dx = d.display_width;
		d.picture_height = d.orig_picture_dy = d.display_height;
	}
}

}  // namespace

bool vfe_set_dimension(config_ctrl_t *ctrl, const uint16_t *dimension)
{
	cam_ctrl_dimension_t &d = ctrl->dimension;
	cam_ctrl_dimension_t wanted{};
	std::memcpy(&wanted, dimension, sizeof wanted);
	if (wanted.picture_width == 0 || wanted.picture_height == 0)
		return false;
	d = wanted;
	raw_size(ctrl, d);
	if (d.display_width == 0 || d.display_height == 0) {
		d.display_width = ctrl->display_info.width;
		d.display_height = ctrl->display_info.height;
	}
	if (ctrl->preview_mode == 0 && d.picture_width < d.display_width && d.picture_height < d.display_height) {
		d.display_width = d.picture_width;
		d.display_height = d.picture_height;
	}
	zoom_reset_scaler(&ctrl->zoomCtrl.zoomscaling);
	shape_sizes(ctrl, d, wanted.picture_width, wanted.picture_height);
	uint32_t m = std::max<uint32_t>(Q12_ONE, q12(d.picture_width, d.display_width));
	// The dimension command already puts the sensor into preview mode.
	if (!vfe_util_get_sensor_info(SENSOR_OP_MODE_PREVIEW, ctrl))
		return false;
	const sensor_ctrl_t &s = ctrl->sensorCtrl;
	uint32_t w = s.camif_width.low() - s.camif_width.high() + 1;
	uint32_t h = s.camif_height.low() - s.camif_height.high() + 1;
	if (s.output_format == SENSOR_YCBCR)
		w = (w & ~3u) / 2;  // a pixel takes two clocks
	uint32_t nx = ceil_div(w, ctrl->vfeCtrl.output1_width / 2), ny = ceil_div(h, ctrl->vfeCtrl.output1_height / 2);
	uint32_t sx = nx > 16 ? ceil_div(nx, 16) : 1, sy = ny > 16 ? ceil_div(ny, 16) : 1;
	bool bayer = s.output_format == SENSOR_BAYER;
	uint32_t uw = bayer ? w / sx - 12 : w / sx, uh = bayer ? h / sy - 6 : h / sy;
	if (d.picture_width == 0 || d.picture_height == 0)
		return false;
	zoom_ctrl_t &z = ctrl->zoomCtrl;
	z.maximum_crop_factor = std::max<uint32_t>(Q12_ONE, 4 * std::min(q12(uh, d.picture_height), q12(uw, d.picture_width)));
	z.base_crop_factor = s.ratio_height_q12 > m ? std::max<uint32_t>(Q12_ONE, q12(s.ratio_height_q12, m)) : Q12_ONE;
	if (z.crop_factor == Q12_ONE) {
		zoom_init_ctrl(&z);
		zoom_calculate(ctrl);
	}
	return true;
}

}  // namespace cam
