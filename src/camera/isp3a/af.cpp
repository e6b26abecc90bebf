// Auto focus control: search start and wait for exposure, lens moves and
// their completion, and the focus value of each AF statistics frame.
#include "camera/isp3a/af.h"

#include <cstdio>
#include <memory>

#include "camera/config/led.h"
#include "camera/isp3a/aec.h"
#include "camera/sensor/sensor.h"

namespace cam {

namespace {

std::unique_ptr<af_ctrl_t> afp;

constexpr std::array<uint8_t, 16> af_spot_windows = {102, 103, 104, 105, 118, 119, 120, 121,
						     134, 135, 136, 137, 150, 151, 152, 153};
constexpr std::array<uint8_t, 16> af_average_windows = {34, 38, 41, 45, 98, 102, 105, 109,
							146, 150, 153, 157, 210, 214, 217, 221};
constexpr std::array<uint8_t, 16> af_center_weighted_windows = {55, 56, 85, 90, 115, 119, 120, 124,
								131, 135, 136, 140, 165, 170, 199, 200};
// Focus values a frame carries when one window is read.
constexpr uint32_t AF_SINGLE_WINDOW_VALUES = 16;

bool (*vfe_start)(uint32_t mode) = nullptr;

const sensor_tuning_t *tuning() { return afp && afp->sensor ? afp->sensor->tuning : nullptr; }

void af_start_stats(isp3a_ctrl_t *isp3a)
{
	af_ctrl_t &af = *afp;
	af.state = AF_START;
	std::fprintf(stderr, "AF state = START\n");
	af.frame_cnt = 0;
	af.empty_cnt = 0;
	af.af_success = 0;
	// The front end's AF window: the values it sums per frame.
	if (isp3a->vfeStatStruct)
		isp3a->vfeStatStruct->NFocus = AF_SINGLE_WINDOW_VALUES;
	if (vfe_start)
		vfe_start(1);
	else
		std::fprintf(stderr, "AF STATS: VFE_AFStatsStart\n");
}

int32_t af_algo_init(isp3a_ctx_t *ctx)
{
	afp = std::make_unique<af_ctrl_t>();
	afp->sensor = ctx->sensor;
	afp->isp3a = ctx->isp3a;
	af_algo_config(ctx, -2);
	return 1;
}

int32_t af_process_focus_sensor(isp3a_ctx_t *ctx)
{
	af_ctrl_t &af = *afp;
	const vfe_stat_t *st = ctx->isp3a->vfeStatStruct;
	if (af.frame_cnt > 414) {
		std::fprintf(stderr, "AF is taking too long - exit now\n");
		af_stop_focus();
		return 1;
	}
	if (!st || st->Focus == 0 || st->NFocus == 0) {
		std::fprintf(stderr, "Invalid AF stat from VFE: Focus = %lu, NFocus = %lu\n",
			     static_cast<unsigned long>(st ? st->Focus : 0), static_cast<unsigned long>(st ? st->NFocus : 0));
		// The original waits for ever; a search without statistics gives up.
		if (++af.empty_cnt >= AF_EMPTY_FRAMES_MAX) {
			std::fprintf(stderr, "AF stats never came - exit now\n");
			af.empty_cnt = 0;
			af_done(2);
		}
		return 0;
	}
	af.empty_cnt = 0;
	af.focusvalue_cur = static_cast<int32_t>(st->Focus / st->NFocus);
	af.is_exhaustive = af.af_process_type == 1;
	if (af.af_process_type == 0 || af.af_process_type == 1)
		return af_do_process_exhaustive_search(ctx, &af);
	if (af.af_process_type >= 2 && af.af_process_type <= 4)
		return af_do_process_hill_climbing(ctx, &af);
	std::fprintf(stderr, "Undefined af_process_type %d\n", static_cast<int>(af.af_process_type));
	return 0;
}

}  // namespace

af_ctrl_t *af_ctrl() { return afp.get(); }
void af_reset() { afp.reset(); }

bool af_is_active()
{
	if (!afp || afp->state < 0 || afp->state > 11)
		return false;
	return (0x2FEu >> afp->state) & 1u;  // states 1 to 7 and 9
}

int32_t af_algo_config(isp3a_ctx_t *ctx, int32_t type)
{
	af_ctrl_t &af = *afp;
	const sensor_tuning_t *t = ctx->sensor ? ctx->sensor->tuning : nullptr;
	if (!t || !t->af_is_supported) {
		af.af_ready = 1;
		std::fprintf(stderr, "af_config unsupported\n");
		return 0;
	}
	af.lens_ready = 1;
	af.af_ready = 1;
	af.state = AF_INACTIVE;
	af.num_moves = 0;
	af.low_fps = 0;
	if (type == -2)
		af.af_process_type = t->af_process_type;
	else if (type >= 0 && type <= 5)
		af.af_process_type = type;
	else if (type != -1)
		af.af_process_type = 0;
	int32_t mode = ctx->isp3a->af_parm[10];
	if (mode == 0 || mode == 1) {
		af.mode = mode;
		af.near_end = mode ? t->af_near_end_macro : t->af_near_end_normal;
		af.far_end = t->af_far_end;
		af.default_focus = mode ? t->af_default_macro : t->af_default_normal;
		af.boundary = t->af_far_end;
	} else if (mode != -1) {
		std::fprintf(stderr, "Unknown AF mode\n");
	}
	if (af.af_process_type <= 1)
		af_init_process_exhaustive_search(&af);
	else if (af.af_process_type <= 4)
		af_init_process_hill_climbing(&af, *t);
	else
		std::fprintf(stderr, "Undefined af_process_type %d\n", static_cast<int>(af.af_process_type));
	af.collect_last_sample = 0;
	return 1;
}

int32_t af_process_start_focus(sensor_ctrl_t *sensor, isp3a_ctrl_t *isp3a, int32_t kind, int32_t metering)
{
	if (!afp)
		return 0;
	af_ctrl_t &af = *afp;
	af.sensor = sensor;
	af.isp3a = isp3a;
	af.af_metering = metering;
	const sensor_tuning_t *t = tuning();
	if (kind == 1) {
		if (af_move_lens_to(af.default_focus) == 0) {
			af_done(1);
			return 1;
		}
		af_done(2);  // a moved lens reports 1, which this test takes as failure: kept
		return 0;
	}
	if (t && t->af_no_search) {
		af_done(1);
		return 1;
	}
	const aec_state_t &a = isp3a->aec_state;
	if (get_led_mode() == 1 && aec_ctrl() && aec_LED_use_strobe()) {
		aec_LED_store_est_stats(0);
		std::fprintf(stderr, "camera_start_focus - Enable LED ");
		std::fprintf(stderr, "camera_start_focus - TURN ON LED TO TO LOW");
		isp3a_update_led_state(isp3a, 1);
		aec_ctrl()->out.aec_frame_cnt = 0;
		isp3a->aec_LED_stats_cnt = 0;
		af.state = WAIT_FOR_AEC_TO_SETTLE_WITH_LED;
		std::fprintf(stderr, "AF state = WAIT_FOR_AEC_TO_SETTLE_WITH_LED");
	} else if (a.aec_enabled && a.luma_settled_cnt <= 1 && a.exp_index < a.num_exp_tab_val - 1) {
		af.state = WAIT_FOR_AEC_TO_SETTLE;
		std::fprintf(stderr, "luma_settled_cnt=%ld\n", static_cast<long>(a.luma_settled_cnt));
		std::fprintf(stderr, "AF state = WAIT_FOR_AEC_TO_SETTLE\n");
	} else {
		af_start_stats(isp3a);
	}
	return 1;
}

void af_check_aec_settled_cnt(isp3a_ctrl_t *isp3a, const aec_state_t *a)
{
	if (!afp)
		return;
	af_ctrl_t &af = *afp;
	if (af.state == WAIT_FOR_AEC_TO_SETTLE) {
		if (a->luma_settled_cnt > 1 || a->exp_index == a->num_exp_tab_val - 1)
			af_start_stats(isp3a);
		else if (af.frame_cnt++ > 14)
			af_start_stats(isp3a);
	} else if (af.state == WAIT_FOR_AEC_TO_SETTLE_WITH_LED && isp3a->aec_LED_stats_cnt > 4) {
		af.frame_cnt++;
		if (!aec_LED_check_overexposure()) {
			aec_LED_store_est_stats(1);
			af_start_stats(isp3a);
		}
	}
}

void af_stop_focus()
{
	if (!afp)
		return;
	af_ctrl_t &af = *afp;
	if (af_is_active() || af.state == WAIT_FOR_AEC_TO_SETTLE || af.state == WAIT_FOR_AEC_TO_SETTLE_WITH_LED) {
		af.state = AF_INACTIVE;
		std::fprintf(stderr, "led_mode = %d\n", static_cast<int>(get_led_mode()));
		if (get_led_mode() == 1 && get_led_state() && af.isp3a)
			isp3a_update_led_state(af.isp3a, 0);
	}
}

void af_done(int32_t result)
{
	std::fprintf(stderr, "af_done\n");
	if (result == 1) {
		std::fprintf(stderr, "Autofocus is successful\n");
		afp->af_success = 1;
	} else {
		std::fprintf(stderr, "Autofocus is not successful\n");
		afp->af_success = 0;
	}
	af_stop_focus();
}

int32_t af_move_lens_to(int32_t target)
{
	const sensor_tuning_t *t = tuning();
	if (!t || !t->af_is_supported) {
		std::fprintf(stderr, "Cannot manually move lens - not supported");
		return 6;
	}
	af_ctrl_t &af = *afp;
	if (af_is_active()) {
		std::fprintf(stderr, "Calling af_stop_focus");
		af_stop_focus();
	}
	std::fprintf(stderr, "Manually move lens from %ld to %ld", static_cast<long>(af.position), static_cast<long>(target));
	int32_t d = target - af.position;
	af_do_move_lens(d < 0 ? 0 : 1, d < 0 ? -d : d);
	af.state = AF_INACTIVE;
	return 1;
}

void af_set_vfe_start(bool (*start)(uint32_t mode)) { vfe_start = start; }

void af_do_move_lens(int32_t direction, int32_t steps)
{
	af_ctrl_t &af = *afp;
	std::fprintf(stderr, "af_do_move_lens: direction=%d steps=%ld\n", static_cast<int>(direction), static_cast<long>(steps));
	if (direction == 0 && steps > af.position)
		steps = af.position;
	else if (direction == 1 && af.position + steps > af.boundary)
		steps = af.boundary - af.position;
	if (steps <= 0) {
		af_process_lens_move_done(1);
		return;
	}
	if (!af.sensor || !sensor_af_move_focus(af.sensor, direction, steps)) {
		af_process_lens_move_done(0);
		return;
	}
	af.num_moves++;
	af.position += direction == 0 ? -steps : steps;
	af_process_lens_move_done(1);
}

void af_process_lens_move_done(int32_t ok)
{
	af_ctrl_t &af = *afp;
	if (!ok) {
		std::fprintf(stderr, "Lens move failed.\n");
		af.fail_cnt++;
		af_do_reset_lens();
		af_done(2);
		return;
	}
	if (af.is_exhaustive) {
		af.frame_delay = af.long_move_pending ? 1 : 0;
		af.long_move_pending = 0;
	} else {
		af.frame_delay = af.low_fps ? 1 : 2;
	}
	af.lens_ready = 1;
	if (af.state != AF_FOCUSING && af.state != AF_UNABLE_TO_FOCUS)
		return;
	if (af.collect_last_sample) {
		af.state = AF_GATHER_STATS_LAST;
	} else if (af.state == AF_UNABLE_TO_FOCUS) {
		std::fprintf(stderr, "AF ENDs here - unable to focus\n");
		af_done(2);
	} else if (af.position == af.near_end) {
		std::fprintf(stderr, "AF ENDs here - peak postion is near end\n");
		af_done(2);
	} else {
		std::fprintf(stderr, "AF ENDs here - took %ld moves to focus lens\n", static_cast<long>(af.num_moves));
		af_done(1);
	}
}

void af_do_reset_lens()
{
	af_ctrl_t &af = *afp;
	const sensor_tuning_t *t = tuning();
	int supported = t ? t->af_is_supported : 0;
	std::fprintf(stderr, "af_do_reset_lens af_is_supported=%d\n", supported);
	if (!supported)
		return;
	af.lens_ready = 0;
	if (!af.sensor || !sensor_af_set_default_focus(af.sensor)) {
		std::fprintf(stderr, "Reset lens failed\n");
	} else {
		af.position = af.boundary;
		std::fprintf(stderr, "Reset lens succeeded\n");
	}
	af.lens_ready = 1;
}

int32_t af_process_stats(isp3a_ctx_t *ctx)
{
	af_ctrl_t &af = *afp;
	isp3a_ctrl_t &c = *ctx->isp3a;
	vfe_stat_t *st = c.vfeStatStruct;
	if (!st)
		return 0;
	st->Focus = 0;
	const isp3a_buf_t &b = c.AfBuf[c.curAfBuf % 3];
	uint32_t words = b.len / 4;
	if (!b.addr || words < 2)
		return 0;
	const uint32_t *p = b.addr + 1;
	const uint32_t *end = b.addr + words;
	const std::array<uint8_t, 16> *table = af.af_metering == 2   ? &af_spot_windows
					       : af.af_metering == 3 ? &af_center_weighted_windows
					       : af.af_metering == 4 ? &af_average_windows
								     : nullptr;
	uint64_t focus = 0;
	int32_t slot = af.index < AF_SAMPLES ? af.index : AF_SAMPLES - 1;
	if (!table) {
		std::fprintf(stderr, "af_process_stats: Single window stats\n");
		for (uint32_t n = 0; n < st->NFocus && p < end; n++)
			focus += *p++;
	} else {
		std::fprintf(stderr, "af_process_stats: AUTO\n");
		int32_t rows = static_cast<int32_t>(ctx->af_last_line) - static_cast<int32_t>(ctx->af_first_line) + 1;
		int32_t entries = (((rows / 16) - 2) / 2) * 16;
		std::array<uint64_t, 16> sum{};
		for (int32_t e = 0; e < entries && p < end; e++) {
			uint32_t win = (*p >> 24) & 0xFF;
			for (int w = 0; w < 16; w++)
				if ((*table)[w] == win) {
					sum[w] += *p & 0xFFFF;
					p++;  // the hardware writes only the selected windows
					break;
				}
		}
		for (int w = 0; w < 16; w++) {
			focus += sum[w];
			af.window_fv[slot][w] = static_cast<int32_t>(sum[w] > 0x7FFFFFFF ? 0x7FFFFFFF : sum[w]);
		}
	}
	st->Focus = static_cast<uint32_t>(focus > 0xFFFFFFFFu ? 0xFFFFFFFFu : focus);
	std::fprintf(stderr, "af_process_stats:Focus=%ld NFocus=%ld \n", static_cast<long>(st->Focus), static_cast<long>(st->NFocus));
	return 1;
}

int32_t af_algo_execution(int32_t op, isp3a_ctx_t *ctx, isp3a_update_t *)
{
	if (op == ISP3A_OP_INIT) {
		int32_t rc = af_algo_init(ctx);
		if (rc != 1)
			std::fprintf(stderr, "af_algo_init: FAILED....");
		return rc;
	}
	if (op != ISP3A_OP_PREVIEW || !afp)
		return 0;
	afp->sensor = ctx->sensor;
	afp->isp3a = ctx->isp3a;
	af_process_stats(ctx);
	int32_t rc = af_process_focus_sensor(ctx);
	if (rc != 1)
		std::fprintf(stderr, "af_algo_preview: FAILED....");
	return rc;
}

int32_t af_read_sharpness() { return afp ? afp->focusvalue_max : 0; }

}  // namespace cam
