// The camera client's front end of the JPEG library: it wraps a snapshot's
// main and thumbnail pmem buffers, fills a configuration and starts the
// encoder, so that a client encodes a picture in one call.
#pragma once

#include <cstdint>

#include "camera/config/config.h"

namespace hal {

// Hooks of the client: each piece of the file as it is produced, and the end.
using jpeg_fragment_hook = void (*)(uint8_t *data, uint32_t size);
using jpeg_done_hook = void (*)(int thumbnail_fd, uint32_t thumbnail_size, uint8_t *thumbnail,
				int main_fd, uint32_t main_size, uint8_t *main);
void jpeg_encoder_set_callbacks(jpeg_fragment_hook fragment, jpeg_done_hook done);

int jpeg_encoder_init();
void jpeg_encoder_join();
// 1 when the encoding has started, 0 on failure. `scaling` is eight words or
// null; `rotation` an index 0 to 3 for 0, 90, 180, 270 degrees.
int jpeg_encoder_encode(const char *path, const cam::cam_ctrl_dimension_t *dimension, uint8_t *thumbnail_buf,
			int thumbnail_fd, uint8_t *main_buf, int main_fd, const uint32_t *scaling, int rotation);
bool jpeg_encoder_setMainImageQuality(uint32_t quality);
// True while an encoding runs (and after one that failed: nothing clears it).
bool jpeg_encoder_busy();

}  // namespace hal
