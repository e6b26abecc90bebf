// The preview's brightness as the frame thread sees it, and the wait of a
// capture on a Bayer sensor until 3A has settled it. The client cannot see
// inside 3A: it watches the frames, as a viewfinder would.
#pragma once

#include "camera/msm_camera.h"

namespace hal {

struct settle_result {
	int frames;    // preview frames watched
	int luma;      // mean luma of the last one
	bool settled;  // the last frames agreed; else a bound ended the wait
};

// Frame thread: notes the mean luma of a width x height preview frame.
void settle_note_frame(const cam::msm_frame &frame, int width, int height);
// Waits until the mean luma of consecutive preview frames stops moving,
// bounded in frames and in time.
settle_result wait_for_3a_settle();

}  // namespace hal
