// The exhaustive focus search: a coarse sweep from the far end towards the
// near end, then a fine pass around the best coarse sample. One lens move
// at most per call.
#include <cstdio>
#include <cstdlib>

#include "camera/isp3a/af.h"
#include "camera/sensor/sensor.h"

namespace cam {

namespace {

// Records one sample; shared by both passes. fine adds the fine pass's
// uphill count and takes equal values as the minimum.
void take_sample(af_ctrl_t &af, bool fine)
{
	if (af.index > AF_SAMPLES - 1)
		return;
	int32_t v = af.focusvalue_cur;
	int32_t before = af.index ? af.fv[af.index - 1] : v;
	af.fv[af.index] = v;
	af.position_log[af.index] = af.position;
	std::fprintf(stderr, "Index, Focusvalue, and LensPosition %ld, %ld, %ld\n", static_cast<long>(af.index),
		     static_cast<long>(v), static_cast<long>(af.position));
	bool first = af.index == 0;
	af.index++;
	if (v > af.focusvalue_max) {
		af.focusvalue_max = v;
		af.max_position = af.position;
		af.downhill_cnt = 0;
		if (fine)
			af.uphill_cnt++;
		if (first)
			af.focusvalue_min = v;
		return;
	}
	if (v < af.focusvalue_min || (fine && v == af.focusvalue_min))
		af.focusvalue_min = v;
	if (v <= before) {
		af.downhill_cnt++;
		if (fine)
			af.uphill_cnt = 0;
	} else {
		af.downhill_cnt = 0;
		if (fine)
			af.uphill_cnt++;
	}
}

bool flat(const af_ctrl_t &af) { return af.focusvalue_max <= 499 || af.focusvalue_min > 0.9 * af.focusvalue_max; }

void af_start(af_ctrl_t &af, const sensor_tuning_t &t)
{
	af.frame_delay = 0;
	af.num_moves = 0;
	std::fprintf(stderr, " State is AF_START\n");
	std::fprintf(stderr, "type=%d mode=%d\n", static_cast<int>(af.af_process_type), static_cast<int>(af.mode));
	std::fprintf(stderr, "n=%ld f=%ld\n", static_cast<long>(af.near_end), static_cast<long>(af.far_end));
	int32_t d;
	if (af.position <= af.far_end) {
		if (t.af_undershoot_protect && af.far_end == t.af_far_end) {
			std::fprintf(stderr, "orig position is %ld\n", static_cast<long>(af.position));
			d = 8 * (af.far_end - af.position) / 5;
			d = d < 2 ? 2 : d;
			d = d > af.far_end ? af.far_end : d;
			af.position = af.far_end - d;
		} else {
			d = af.far_end - af.position;
			std::fprintf(stderr, "changed position to %ld\n", static_cast<long>(af.position));
		}
	} else {
		std::fprintf(stderr, "AF_START Warning, Lens Position %ld is larger than default_focus %ld\n",
			     static_cast<long>(af.position), static_cast<long>(af.far_end));
		af.position = 0;
		d = af.far_end;
	}
	af.long_move_pending = 1;
	af.state = af.mode == 0 ? AF_GATHER_STATS_FINE : AF_GATHER_STATS_COARSE;
	af.direction = 0;
	af.index = af.focusvalue_max = af.focusvalue_min = af.downhill_cnt = af.uphill_cnt = 0;
	af_do_move_lens(1, d);
	std::fprintf(stderr, "Frame Delays after initialization %ld, %ld, %ld\n", static_cast<long>(af.frame_delay),
		     static_cast<long>(af.position), static_cast<long>(af.num_moves));
}

int32_t af_coarse(af_ctrl_t &af, int32_t coarse, int32_t count)
{
	if (af.frame_delay > 0) {
		std::fprintf(stderr, "Frame Delays, COARSE MODE,  and Nlin %ld, %ld, %ld\n", static_cast<long>(af.frame_delay),
			     static_cast<long>(af.fv[0]), static_cast<long>(af.position));
		af.frame_delay--;
		return 1;
	}
	take_sample(af, false);
	bool drop = af.downhill_cnt >= af.downhill_limit && af.focusvalue_cur < af.focusvalue_max * af.fv_drop_ratio;
	bool moved = false;
	if (af.position - coarse >= af.near_end && !drop) {
		af_do_move_lens(0, coarse);
		moved = true;
	}
	if (!((af.position - coarse <= af.near_end && !moved) || drop))
		return 1;
	af.index--;
	int32_t p = 0;
	for (int32_t k = 1; k <= af.index && k < AF_SAMPLES; k++)
		if (af.fv[k] > af.fv[p])
			p = k;
	int32_t d = (af.index - p) * coarse;
	if (flat(af)) {
		std::fprintf(stderr, "No need to do fine search\n");
		std::fprintf(stderr, "focusvalue_max = %ld focusvalue_min  = %ld \n", static_cast<long>(af.focusvalue_max),
			     static_cast<long>(af.focusvalue_min));
		if (d > 0) {
			af.state = AF_UNABLE_TO_FOCUS;
			af_do_move_lens(1, d);
		} else if (af.collect_last_sample) {
			af.state = AF_GATHER_STATS_LAST;
		} else {
			af_done(2);
		}
		return 0;
	}
	int32_t h = count / 2;
	if (d >= h) {
		d -= (af.is_exhaustive && p > 0) ? h - coarse : h;
		af.long_move_pending = af.is_exhaustive;
		af_do_move_lens(1, d);
	} else {
		af.long_move_pending = af.is_exhaustive;
		af_do_move_lens(0, af.position - af.near_end);
	}
	std::fprintf(stderr, "FOR DEBUG PURPOSE HERE CHANGE to FINESEARCH %ld, %ld, %ld", static_cast<long>(d),
		     static_cast<long>(af.position), static_cast<long>(p));
	af.state = AF_GATHER_STATS_FINE;
	af.direction = 1;
	af.focusvalue_max = af.index = af.downhill_cnt = 0;
	return 1;
}

int32_t af_fine(af_ctrl_t &af, const sensor_tuning_t &t, int32_t fine, int32_t count)
{
	std::fprintf(stderr, "AF_GATHER_STATS_FINE: frame_delay=%ld \n", static_cast<long>(af.frame_delay));
	if (af.frame_delay > 0) {
		std::fprintf(stderr, "Frame Delays, FINE MODE,  and Nlines %ld, %ld, %ld\n", static_cast<long>(af.frame_delay),
			     static_cast<long>(af.fv[0]), static_cast<long>(af.position));
		af.frame_delay--;
		return 1;
	}
	take_sample(af, true);
	if (af.sample_cnt < AF_SAMPLES) {
		af.sample_fv[af.sample_cnt] = af.focusvalue_cur;
		af.sample_nfocus[af.sample_cnt] = af.isp3a && af.isp3a->vfeStatStruct ? static_cast<int32_t>(af.isp3a->vfeStatStruct->NFocus) : 0;
		af.sample_pos[af.sample_cnt] = af.position;
		af.sample_cnt++;
	}
	if (t.af_undershoot_protect && ((af.position == af.near_end && af.mode == 1) || af.position == af.far_end) &&
	    af.focusvalue_cur == af.focusvalue_max && af.uphill_cnt > af.undershoot_limit) {
		int32_t adj = af.position == af.far_end ? -t.af_undershoot_adjust : t.af_undershoot_adjust;
		af.position += adj;
		af.max_position += adj;
		std::fprintf(stderr, "undershoot detected, change position to %ld\n", static_cast<long>(af.position));
		af.uphill_cnt = 0;
	}
	bool inside = af.direction == 1 ? af.position + fine <= af.far_end : af.position - fine >= af.near_end;
	bool moved = false;
	if (inside && af.downhill_cnt < af.downhill_limit && (af.mode != 1 || af.index < count)) {
		af_do_move_lens(af.direction, fine);
		moved = true;
	}
	bool at_end = !moved && !inside;
	int32_t limit = t.af_undershoot_protect ? count + t.af_undershoot_adjust : count;
	bool stop = af.mode == 0 ? (at_end || af.downhill_cnt >= af.downhill_limit)
				 : (at_end || af.index >= limit || af.downhill_cnt >= af.downhill_limit);
	std::fprintf(stderr, "stop_condition=%d\n", stop);
	if (!stop)
		return 1;
	if (af.mode == 0 && flat(af))
		std::fprintf(stderr, "Warning: FVs not reliable, Move to Maximum location and quit %ld, %ld, %ld\n",
			     static_cast<long>(af.focusvalue_max), static_cast<long>(af.focusvalue_min),
			     static_cast<long>(af.position));
	int32_t d = af.position - af.max_position;
	if (af.is_exhaustive && d != 0 && fine * (af.index - 1) > std::abs(d))
		d += d > 0 ? fine : -fine;
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

}  // namespace

void af_init_process_exhaustive_search(af_ctrl_t *af)
{
	af->downhill_limit = 3;
	af->fv_drop_ratio = 0.5f;
	af->undershoot_limit = 3;
}

int32_t af_do_process_exhaustive_search(isp3a_ctx_t *ctx, af_ctrl_t *afp)
{
	if (!ctx->sensor || !ctx->sensor->tuning)
		return 0;
	af_ctrl_t &af = *afp;
	const sensor_tuning_t &t = *ctx->sensor->tuning;
	if (!af.lens_ready) {
		if (--af.frame_delay < -400)
			af.lens_ready = 1;
		return 1;
	}
	int32_t coarse = t.af_coarse_step, fine = t.af_fine_step, count = t.af_fine_step_num;
	af.low_fps = ctx->sensor->preview_fps / 256 <= 8;
	if (af.low_fps) {
		coarse = 3 * coarse / 2;
		fine = 2 * fine;
		count = count / 2;
	}
	if (!ctx->isp3a->vfeStatStruct || af.fail_cnt > 100) {
		af.state = af.fail_cnt > 100 ? AF_ERROR : AF_INACTIVE;
		af_done(2);
		return 0;
	}
	std::fprintf(stderr, "ctrl->isp3a_af_state.state=%d position=%ld \n", static_cast<int>(af.state),
		     static_cast<long>(af.position));
	switch (af.state) {
	case AF_START:
		af_start(af, t);
		return 1;
	case AF_GATHER_STATS_COARSE:
		return af_coarse(af, coarse, count);
	case AF_GATHER_STATS_FINE:
		return af_fine(af, t, fine, count);
	case AF_GATHER_STATS_LAST:
		if (af.frame_delay > -2) {
			std::fprintf(stderr, "Frame Delays, Focusvalue, and Nlines %ld, %ld, %ld\n",
				     static_cast<long>(af.frame_delay), static_cast<long>(af.focusvalue_cur),
				     static_cast<long>(af.position));
			af.frame_delay--;
			return 1;
		}
		take_sample(af, false);
		std::fprintf(stderr, "Took AF %ld moves to focus the lens\n", static_cast<long>(af.num_moves));
		af_done(1);
		return 1;
	default:
		std::fprintf(stderr, "Continuous AF search is not available\n");
		return 1;
	}
}

}  // namespace cam
