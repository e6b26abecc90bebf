// Bytes from the Bluetooth SoC's UART: H4 events read as the bring-up reads
// them, each handed to the vendor event decoder (version and silicon).
#include <cstdint>
#include <unistd.h>

#include "hal/bt_h4.h"
#include "hal/bt_hci.h"
#include "hal/bt_soc.h"
#include "support/temp_board.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
	testing_support::use_temp_board();
	if (size > 16384)
		return -1;  // a pipe holds this much without a reader
	int fds[2];
	if (::pipe(fds) != 0)
		return 0;
	ssize_t put = size ? ::write(fds[1], data, size) : 0;
	::close(fds[1]);
	bt::reset_bt_globals();
	bt::bt_state.fd_ttyHS0 = fds[0];
	if (put == static_cast<ssize_t>(size)) {
		uint8_t packet[bt::BT_PACKET_SIZE] = {};
		// Each event takes at least 3 bytes, so the input bounds the loop.
		while (bt::bt_hci_soc_get_event(packet))
			bt::bt_hci_soc_vs_event(packet + 1, packet[2] + 2);
	}
	::close(fds[0]);
	bt::reset_bt_globals();
	return 0;
}
