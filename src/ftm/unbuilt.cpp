// Handlers whose hardware is not built yet. Each answers as a command the
// daemon does not support; a later change moves it to its own file and
// deletes it here.
#include "ftm/handlers.h"

namespace ftm {

namespace {
constexpr int NOT_BUILT = 2;  // the station reads "NOTSUPPORTED\n"
}

int at_camera_preview(tapp_record *) { return NOT_BUILT; }
int at_camera_capture(tapp_record *) { return NOT_BUILT; }
int at_camera_retrieve(tapp_record *) { return NOT_BUILT; }
int at_camera_close(tapp_record *) { return NOT_BUILT; }

}  // namespace ftm
