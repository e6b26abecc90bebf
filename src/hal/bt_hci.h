// HCI packets over the H4 transport: fixed commands, vendor commands and the
// vendor events that tell the SoC's firmware and silicon.
#pragma once

#include <array>
#include <cstdint>
#include <span>

namespace bt {

constexpr uint8_t H4_COMMAND = 0x01;
constexpr uint8_t H4_EVENT = 0x04;
constexpr uint8_t HCI_EV_CMD_COMPLETE = 0x0E;
constexpr uint8_t HCI_EV_VENDOR = 0xFF;

constexpr std::array<uint8_t, 4> hci_reset_cmd = {0x01, 0x03, 0x0C, 0x00};
constexpr std::array<uint8_t, 4> hci_read_bd_addr_cmd = {0x01, 0x09, 0x10, 0x00};

constexpr uint16_t HCI_VS_REQUEST = 0xFC00;   // version, register read, poke
constexpr uint16_t HCI_VS_NVM_WRITE = 0xFC0B;  // one NVM tag

// H4 command packet of opcode and params into out; its length, or 0 when
// it would not fit.
int hci_command_packet(uint16_t opcode, std::span<const uint8_t> params, std::span<uint8_t> out);

int bt_hci_soc_pfal_sendresetcmd();
int bt_hci_soc_pfal_sendReadBDADDcmd();
int bt_hci_soc_pfal_vs_sendcmd(uint16_t opcode, const uint8_t *params, uint8_t count);
// e: the event from its code on; n: how many bytes e holds.
void bt_hci_soc_vs_event(const uint8_t *e, int n);

}  // namespace bt
