// The station's Bluetooth tests: bt_active powers the SoC and brings it up,
// bt_hci sends one raw HCI packet and answers with the first event back.
#include <algorithm>
#include <cstdio>
#include <fcntl.h>

#include "ftm/debug.h"
#include "ftm/handlers.h"
#include "hal/bluetooth.h"
#include "hal/bt_h4.h"
#include "hal/bt_soc.h"
#include "platform/platform.h"

namespace bt {

namespace {

constexpr const char *rfkill_state = "/sys/class/rfkill/rfkill0/state";

void set_result(ftm::tapp_record *r, const char *text, int length)
{
	std::snprintf(r->result, sizeof r->result, "%s", text);
	r->result_len = length;
}

}  // namespace

int bt_active(ftm::tapp_record *r)
{
	// The power file stays open, as the port does: nothing powers down.
	int power = plat::open(rfkill_state, O_WRONLY);
	if (power < 0)
		DBG("Can't open /sys/class/rfkill/rfkill1/state");
	if (plat::write(power, "1", 1) != 1)
		DBG("Can't write");
	bt_hci_pfal_init_uart("/dev/ttyHS0", 0, 0);
	int ok = bt_hci_soc_init();
	set_result(r, ok == 1 ? "00" : "01", 1);
	return ok;
}

int bt_hci(ftm::tapp_record *r)
{
	DBG("tapp->bt.param_len -> %x\n", static_cast<unsigned>(r->hdr.bt.length));
	// A lying length never reads past the parameter text or the packet.
	int count = std::min(ftm::tapp_param_count(r, r->hdr.bt.length), static_cast<int>(BT_PACKET_SIZE));
	uint8_t packet[BT_PACKET_SIZE] = {};
	const char *cursor = r->params;
	for (int i = 0; i < count; ++i) {
		ftm::extract_bin_data_from_str(&cursor, &packet[i], 1);
		DBG("hci command -> %x\n", packet[i]);
	}
	bt_hci_soc_nwrite(packet, count);

	uint8_t event[BT_PACKET_SIZE] = {};
	if (!bt_hci_soc_get_event(event)) {
		set_result(r, "00", 1);
		return 0;
	}
	// 3 + 255 event bytes take 516 digits; the answer holds 255 bytes whole.
	int length = std::min(event[2] + 3, static_cast<int>((sizeof r->result - 1) / 2));
	if (length < event[2] + 3)
		DBG("bt_hci: event of %d bytes cut to %d\n", event[2] + 3, length);
	for (int i = 0; i < length; ++i)
		std::snprintf(r->result + 2 * i, 3, "%02x", event[i]);
	r->result_len = length;
	return 0;
}

}  // namespace bt

namespace ftm {

int tapp_bt_active_test(tapp_record *r)
{
	bt::bt_active(r);
	return 0;
}

int tapp_bt_hci_test(tapp_record *r)
{
	bt::bt_hci(r);
	return 0;
}

int at_bt_test(tapp_record *)
{
	DBG("at_bt_test!\n");
	return 0;
}

}  // namespace ftm
