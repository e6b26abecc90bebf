// The hill climbing focus search: from where the lens stands, test moves
// choose a direction, then coarse and fine steps climb to the peak. One lens
// move at most per call.
#include <cstdio>
#include <cstdlib>

#include "camera/isp3a/af.h"
#include "camera/sensor/sensor.h"

namespace cam {

namespace {

int32_t step_of(const af_ctrl_t &af) { return af.mode == 0 ? af.hc_step : af.coarse_step; }

void flip(af_ctrl_t &af) { af.direction = af.direction ? 0 : 1; }

bool flat(const af_ctrl_t &af, float ratio) { return af.first_decision && af.focusvalue_min > ratio * af.focusvalue_max; }

void restart_as_sweep(af_ctrl_t &af)
{
	af_do_reset_lens();
	af.state = AF_EXHAUSTIVE;
	af.first_decision = 0;
}

int32_t approach_to_peak(af_ctrl_t &af)
{
	if (flat(af, 0.7f)) {
		restart_as_sweep(af);
		return 1;
	}
	int32_t d = af.position - af.max_position, h = af.fine_step_num / 2;
	if (d > h) {
		af.direction = 0;
		af_do_move_lens(0, d - h);
	} else if (d < -h) {
		af.direction = 1;
		af_do_move_lens(1, -d - h);
	} else {
		af.direction = af.position >= af.max_position ? 0 : 1;
	}
	return 1;
}

int32_t finish_search(af_ctrl_t &af)
{
	if (flat(af, 0.8f)) {
		restart_as_sweep(af);
		return 1;
	}
	int32_t d = af.position - af.max_position;
	if (d > 0) {
		af.state = AF_FOCUSING;
		af_do_move_lens(0, d);
	} else if (d < 0) {
		af.state = AF_FOCUSING;
		af_do_move_lens(1, -d);
	} else if (af.collect_last_sample) {
		af.state = AF_GATHER_STATS_LAST;
	} else {
		af_done(1);
	}
	return 1;
}

// One test move of s, turned back at a limit.
void mind_boundary_and_edge(af_ctrl_t &af)
{
	int32_t s = step_of(af);
	if (af.direction == 1) {
		bool fits = af.mode == 0 ? af.position + s <= af.far_end : af.position + s < af.far_end;
		if (!fits)
			flip(af);
	} else if (!(af.position - s > af.near_end)) {
		flip(af);
	}
	af_do_move_lens(af.direction, s);
}

void prepare_decision_making(af_ctrl_t &af)
{
	int32_t s = step_of(af);
	if (af.position >= af.far_end - 3 * s)
		af.direction = 0;
	else if (af.position <= af.near_end + 3 * s)
		af.direction = 1;
	af.state = AF_DECISION;
	mind_boundary_and_edge(af);
}

void climb(af_ctrl_t &af, int32_t steps)
{
	af.state = af.mode == 0 ? AF_GATHER_STATS_FINE : AF_GATHER_STATS_COARSE;
	af_do_move_lens(af.direction, steps);
}

int32_t make_decision(af_ctrl_t &af)
{
	af.first_decision = 1;
	int32_t s = step_of(af);
	int32_t last = af.index > 0 ? af.fv[af.index - 1] : 0;
	if (af.decision_stage == 0) {
		int32_t a = af.index > 1 ? af.fv[af.index - 2] : last, b = last;
		int32_t m = a > b ? a : b;
		if (m < 0) {
			restart_as_sweep(af);
			return 1;
		}
		af.fv_a = a;
		af.fv_b = b;
		float r = m > 0 ? static_cast<float>(std::abs(a - b)) / static_cast<float>(m) : 0.0f;
		if (r > 0.05f) {
			if (b < a) {
				flip(af);
				af.reversal_cnt = 1;
			}
			climb(af, s);
		} else {
			af.decision_stage = 1;
			af_do_move_lens(af.direction, s);
		}
		return 1;
	}
	af.fv_c = last;
	if (af.fv_a < af.fv_b && af.fv_b < af.fv_c) {
		af.decision_stage = 0;
		climb(af, s);
	} else if (af.fv_a > af.fv_b && af.fv_b > af.fv_c) {
		af.reversal_cnt = af.decision_stage + 1;
		af.decision_stage = 0;
		flip(af);
		climb(af, af.reversal_cnt * s);
	} else if (af.decision_stage == 1 && af.mode == 0) {
		af.decision_stage = 2;
		af.fv_a = af.fv_b;
		af.fv_b = af.fv_c;
		af_do_move_lens(af.direction, s);
	} else {
		af.decision_stage = 0;
		restart_as_sweep(af);
	}
	return 1;
}

int32_t exhaustive_fallback(af_ctrl_t &af)
{
	int32_t s = af.coarse_step;
	if (af.mode == 0 || af.mode == 1) {
		if (af.position - s >= af.near_end) {
			af_do_move_lens(0, s);
			return 1;
		}
		if (af.focusvalue_min < 0.95f * af.focusvalue_max) {
			approach_to_peak(af);
			af.state = AF_GATHER_STATS_FINE;
		} else {
			af.state = AF_UNABLE_TO_FOCUS;
		}
		return 1;
	}
	if (af.position + s <= af.far_end) {
		af_do_move_lens(1, s);
		return 1;
	}
	if (af.focusvalue_max > 0.1f * af.last_focusvalue_max) {
		approach_to_peak(af);
		af.state = AF_GATHER_STATS_FINE;
	} else {
		af.state = AF_UNABLE_TO_FOCUS;
	}
	return 1;
}

int32_t coarse_search(af_ctrl_t &af)
{
	int32_t s = af.coarse_step;
	bool fits = af.direction == 1 ? af.position + s <= af.far_end : af.position - s > af.near_end;
	if (fits) {
		af_do_move_lens(af.direction, s);
		return 1;
	}
	approach_to_peak(af);
	af.state = AF_GATHER_STATS_FINE;
	af.focusvalue_max = 0;
	return 1;
}

int32_t fine_search(af_ctrl_t &af)
{
	if (af.mode == 0) {
		int32_t s = af.hc_step;
		bool inside = af.direction == 1 ? af.position + s <= af.far_end : af.position - s >= af.near_end;
		if (inside) {
			af_do_move_lens(af.direction, s);
			return 1;
		}
		return finish_search(af);
	}
	if (af.fine_cnt < af.fine_step_num) {
		if (af.direction == 1)
			af_do_move_lens(1, af.fine_step);
		else if (af.position - af.fine_step >= af.near_end)
			af_do_move_lens(0, af.fine_step);
		else
			af.fine_cnt = af.fine_step_num;
		af.fine_cnt++;
		return 1;
	}
	return finish_search(af);
}

// 1 to go on with this frame, 0 to wait for the next.
int32_t arrange_current_frame_info(af_ctrl_t &af, bool stats)
{
	if (af.state == AF_START) {
		af.index = af.fine_cnt = 0;
		if (af.focusvalue_max > 0.5f * af.last_focusvalue_max)
			af.last_focusvalue_max = af.focusvalue_max;
		af.downhill_cnt = af.reversal_cnt = 0;
		af.first_decision = 0;
		af.fv = {};
		if (stats) {
			af.fv[0] = af.focusvalue_max = af.focusvalue_min = af.focusvalue_cur;
			af.max_position = af.position;
			af.index = 1;
		}
		return 1;
	}
	if (af.frame_delay > 0) {
		af.frame_delay--;
		return 0;
	}
	if (stats && af.index < AF_SAMPLES) {
		int32_t v = af.focusvalue_cur, before = af.index ? af.fv[af.index - 1] : v;
		af.fv[af.index++] = v;
		if (v >= af.focusvalue_max) {
			af.focusvalue_max = v;
			af.max_position = af.position;
			af.downhill_cnt = 0;
		} else {
			if (v < af.focusvalue_min)
				af.focusvalue_min = v;
			af.downhill_cnt = v <= before ? af.downhill_cnt + 1 : 0;
		}
	}
	if ((af.af_process_type == 3 || af.af_process_type == 4) && af.reversal_cnt == 1 && af.index == af.reversal_cnt + 3) {
		af.reversal_cnt = 0;
		if (af.index >= 2 && af.fv[af.index - 2] * 0.95f > af.fv[af.index - 1]) {
			if (af.state == AF_GATHER_STATS_COARSE) {
				approach_to_peak(af);
				af.state = AF_GATHER_STATS_FINE;
				return 0;
			}
			if (af.state == AF_GATHER_STATS_FINE)
				finish_search(af);
		}
	}
	if (af.downhill_cnt >= af.downhill_limit) {
		if (af.state == AF_GATHER_STATS_COARSE && af.focusvalue_cur < af.focusvalue_max * af.fv_drop_ratio) {
			approach_to_peak(af);
			af.state = AF_GATHER_STATS_FINE;
			af.downhill_cnt = 0;
			return 0;
		}
		if (af.state == AF_GATHER_STATS_FINE) {
			finish_search(af);
			af.downhill_cnt = 0;
		}
	}
	return 1;
}

}  // namespace

void af_init_process_hill_climbing(af_ctrl_t *af, const sensor_tuning_t &t)
{
	switch (af->af_process_type) {
	case 2: af->downhill_limit = 10, af->fv_drop_ratio = 0.0f; break;
	case 3: af->downhill_limit = 3, af->fv_drop_ratio = 0.5f; break;
	case 4: af->downhill_limit = 2, af->fv_drop_ratio = 0.75f; break;
	default: af->downhill_limit = 2, af->fv_drop_ratio = 0.5f; break;
	}
	af->coarse_step = t.af_coarse_step;
	af->fine_step = af->hc_step = t.af_fine_step;
	af->fine_step_num = t.af_fine_step_num;
	af->fv_a = af->fv_b = af->fv_c = 0;
	af->decision_stage = 0;
	af->state = AF_INACTIVE;
}

int32_t af_do_process_hill_climbing(isp3a_ctx_t *ctx, af_ctrl_t *afp)
{
	af_ctrl_t &af = *afp;
	if (!af.lens_ready) {
		if (--af.frame_delay < -400)
			af.lens_ready = 1;
		return 1;
	}
	const vfe_stat_t *st = ctx->isp3a->vfeStatStruct;
	if (!st || af.fail_cnt > 100) {
		af_done(2);
		return 0;
	}
	if (st->NFocus == 0)
		return 1;
	if (!arrange_current_frame_info(af, true))
		return 1;
	if (!af_is_active())
		return 1;  // the frame's bookkeeping ended the search
	int32_t ok = 1;
	switch (af.state) {
	case AF_START:
		af.num_moves = 0;
		prepare_decision_making(af);
		break;
	case AF_DECISION: ok = make_decision(af); break;
	case AF_EXHAUSTIVE: ok = exhaustive_fallback(af); break;
	case AF_GATHER_STATS_COARSE: ok = coarse_search(af); break;
	case AF_GATHER_STATS_FINE: ok = fine_search(af); break;
	case AF_FOCUSING:
	case AF_UNABLE_TO_FOCUS: break;
	case AF_GATHER_STATS_LAST:
		std::fprintf(stderr, "Took AF %ld moves to focus the lens\n", static_cast<long>(af.num_moves));
		af_done(1);
		af.state = AF_INACTIVE;
		return 1;
	default: ok = 0; break;
	}
	if (!ok) {
		af.fail_cnt++;
		af_do_reset_lens();
		af_done(2);
		return 1;
	}
	if (af.state == AF_UNABLE_TO_FOCUS) {
		af.focusvalue_max = af.last_focusvalue_max;
		af_do_reset_lens();
		af.state = AF_INACTIVE;
		af_done(2);
	} else if (af.state == AF_FOCUSING) {
		af_done(1);
	}
	return 1;
}

}  // namespace cam
