// /dev/bma020: the acceleration sensor's own driver node. The factory tests
// reach the chip over the compass bus instead, so the node only opens.
#include "sim/board.h"
#include "sim/models.h"

namespace sim {

std::unique_ptr<Device> open_bma020(Board &board, int /*flags*/)
{
	if (!board.num("gsensor.node", 1)) {
		errno = ENODEV;
		return nullptr;
	}
	return std::make_unique<Device>();
}

}  // namespace sim
