#include "hal/bt_hci.h"

#include <cstdio>
#include <cstring>

#include "ftm/debug.h"
#include "hal/bt_h4.h"
#include "hal/bt_soc.h"

namespace bt {

int hci_command_packet(uint16_t opcode, std::span<const uint8_t> params, std::span<uint8_t> out)
{
	if (params.size() > 255 || out.size() < params.size() + 4)
		return 0;
	out[0] = H4_COMMAND;
	out[1] = static_cast<uint8_t>(opcode & 0xFF);
	out[2] = static_cast<uint8_t>(opcode >> 8);
	out[3] = static_cast<uint8_t>(params.size());
	if (!params.empty())
		std::memcpy(out.data() + 4, params.data(), params.size());
	return static_cast<int>(params.size() + 4);
}

int bt_hci_soc_pfal_sendresetcmd()
{
	uint8_t event[BT_PACKET_SIZE] = {};
	if (bt_hci_soc_nwrite(hci_reset_cmd.data(), static_cast<int>(hci_reset_cmd.size())) == 0) {
		DBG("bt_hci_soc_SendResetCmd: Error->Send Cmd failed\n");
		return 0;
	}
	return bt_hci_soc_get_event(event);
}

// A diagnostic: no test calls it.
int bt_hci_soc_pfal_sendReadBDADDcmd()
{
	uint8_t event[BT_PACKET_SIZE] = {};
	int n = bt_hci_soc_nwrite(hci_read_bd_addr_cmd.data(), static_cast<int>(hci_read_bd_addr_cmd.size()));
	if (n == 0) {
		DBG("bt_hci_soc_SendResetCmd: Error->Send Cmd failed\n");
		return 0;
	}
	bt_hci_soc_get_event(event);
	if (event[0] == H4_EVENT && event[1] == HCI_EV_CMD_COMPLETE && event[2] == 0x0A) {
		DBG("Read BT Address->\n");
		for (int i = 0; i < 10; ++i)
			DBG(" %02X\n", event[3 + 3 + i]);
	}
	return n & 0xFF;
}

// Each vendor command costs two events: the vendor event, then Command
// Complete, whose contents nobody looks at.
int bt_hci_soc_pfal_vs_sendcmd(uint16_t opcode, const uint8_t *params, uint8_t count)
{
	uint8_t packet[BT_PACKET_SIZE] = {};
	int length = hci_command_packet(opcode, {params, count}, packet);
	int n = bt_hci_soc_nwrite(packet, length);
	if (n != count + 4) {
		DBG("Error->Send Header failed:: %d\n", n);
		std::perror("Header send failed");
		return 0;
	}
	if (!bt_hci_soc_get_event(packet)) {
		DBG("Failed to receive VS event \n");
		return 0;
	}
	// The event from its code on, and its size: code, length byte and the
	// parameters (the hardware version answer of 11 parameters is 13 bytes).
	bt_hci_soc_vs_event(packet + 1, packet[2] + 2);
	if (!bt_hci_soc_get_event(packet)) {
		DBG("Failed to receive cmd cmplt event \n");
		return 0;
	}
	return 1;
}

namespace {

constexpr std::array<uint8_t, 7> hw_version_reply = {0x00, 0x01, 0x34, 0x00, 0x00, 0x8C, 0x04};

}  // namespace

void bt_hci_soc_vs_event(const uint8_t *e, int n)
{
	if (n <= 3)
		return;
	if (e[0] == HCI_EV_VENDOR && e[1] >= 6 && e[2] == 0 && e[3] == 2) {
		bt_hci_soc_vs_handleappversion(reinterpret_cast<const char *>(e + 5), (n - 5) & 0xFF);
		return;
	}
	if (n > 12 && e[0] == HCI_EV_VENDOR && e[1] == 11 &&
	    std::memcmp(e + 2, hw_version_reply.data(), hw_version_reply.size()) == 0)
		std::memcpy(bt_state.bt_soc_hw_version.data(), e + 9, 4);
}

}  // namespace bt
