// Auto focus: the focus state, lens bookkeeping and moves, and one focus
// value per AF statistics frame. The searches are in af_core.
#pragma once

#include <array>
#include <cstdint>

#include "camera/isp3a/isp3a.h"

namespace cam {

enum af_state_e : int32_t {
	AF_INACTIVE = 0,
	AF_START = 1,
	AF_DECISION = 2,
	AF_EXHAUSTIVE = 3,
	AF_GATHER_STATS_COARSE = 4,
	AF_GATHER_STATS_FINE = 5,
	AF_FOCUSING = 6,
	AF_UNABLE_TO_FOCUS = 7,
	AF_ERROR = 8,
	AF_GATHER_STATS_LAST = 9,
	WAIT_FOR_AEC_TO_SETTLE = 10,
	WAIT_FOR_AEC_TO_SETTLE_WITH_LED = 11,
};

constexpr int AF_SAMPLES = 50;
// A search gives up after this many frames in a row without focus values.
constexpr int AF_EMPTY_FRAMES_MAX = 30;

struct af_ctrl_t {
	uint8_t af_ready;
	int32_t af_metering;
	std::array<int32_t, AF_SAMPLES> fv;
	int32_t index;
	std::array<std::array<int32_t, 16>, AF_SAMPLES> window_fv;
	int32_t frame_cnt;
	int32_t near_end, far_end, position, default_focus, boundary;
	uint8_t lens_ready;
	int32_t num_moves;
	uint8_t collect_last_sample;
	int32_t frame_delay;
	int32_t state;
	int32_t fail_cnt;
	int32_t focusvalue_max, focusvalue_min, focusvalue_cur;
	int32_t max_position;
	int32_t mode, direction, fine_cnt;
	uint8_t is_exhaustive;
	std::array<int32_t, AF_SAMPLES> position_log;
	int32_t downhill_cnt, uphill_cnt;
	int32_t af_process_type;
	uint8_t low_fps, long_move_pending;
	int32_t af_success;
	int32_t sample_cnt;
	std::array<int32_t, AF_SAMPLES> sample_fv, sample_nfocus, sample_pos;
	int32_t downhill_limit;
	float fv_drop_ratio;
	int32_t undershoot_limit;
	int32_t empty_cnt;  // frames in a row without focus values
	// Hill climbing.
	int32_t coarse_step, fine_step, hc_step, fine_step_num;
	int32_t fv_a, fv_b, fv_c;
	int32_t decision_stage;
	int32_t last_focusvalue_max;
	int32_t reversal_cnt;
	uint8_t first_decision;
	// Where the moves go and what AEC says; set at each entry.
	sensor_ctrl_t *sensor;
	isp3a_ctrl_t *isp3a;
};

int32_t af_algo_execution(int32_t op, isp3a_ctx_t *ctx, isp3a_update_t *update);
void af_reset();
af_ctrl_t *af_ctrl();
bool af_is_active();
int32_t af_algo_config(isp3a_ctx_t *ctx, int32_t type);
int32_t af_process_start_focus(sensor_ctrl_t *sensor, isp3a_ctrl_t *isp3a, int32_t kind, int32_t metering);
void af_check_aec_settled_cnt(isp3a_ctrl_t *isp3a, const aec_state_t *aec_output);
// The front end's part of a search's start: its AF statistics turned on
// (mode 1, one window). The camera's control sets it; unset, nothing is sent.
void af_set_vfe_start(bool (*start)(uint32_t mode));
void af_stop_focus();
void af_done(int32_t result);
int32_t af_move_lens_to(int32_t target);
void af_do_move_lens(int32_t direction, int32_t steps);
void af_do_reset_lens();
void af_process_lens_move_done(int32_t ok);
int32_t af_process_stats(isp3a_ctx_t *ctx);
// The searches, af_core.
void af_init_process_exhaustive_search(af_ctrl_t *af);
int32_t af_do_process_exhaustive_search(isp3a_ctx_t *ctx, af_ctrl_t *af);
void af_init_process_hill_climbing(af_ctrl_t *af, const sensor_tuning_t &t);
int32_t af_do_process_hill_climbing(isp3a_ctx_t *ctx, af_ctrl_t *af);

}  // namespace cam
