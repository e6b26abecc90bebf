// Bring-up of the Bluetooth SoC: which silicon it is, and its NVM download.
#pragma once

#include <array>
#include <cstdint>

namespace bt {

enum bt_soc_type : uint8_t {
	BT_SOC_R2B = 0,
	BT_SOC_R2C = 1,
	BT_SOC_R3 = 2,
	BT_SOC_R3BD = 3,
	BT_SOC_4020BD_B0 = 4,
	BT_SOC_4020BD_B1 = 5,
	BT_SOC_R4 = 6,
	BT_SOC_4021_B1 = 7,
	BT_SOC_4025_A0 = 8,
	BT_SOC_4025_B0 = 9,
	BT_SOC_4025_B1 = 10,
	BT_SOC_UNKNOWN = 11,
	BT_SOC_NONE = 255,  // no version answer understood
};

// What the bring-up fills and the NVM tables read.
struct bt_nvm_config {
	const uint8_t *const *fixed_table;
	const uint8_t *const *custom_table;
	int32_t fixed_count;
	int32_t custom_count;
	uint8_t bd_addr[6];
	uint32_t refclock_type;  // 1: 19.2 MHz, else 32 MHz
	uint32_t clock_sharing;
	uint8_t soc_logging;
	uint8_t bt_2_1_unsupported;
};

constexpr std::array<uint8_t, 6> default_bt_bd_addr = {0x34, 0x12, 0x78, 0x56, 0xBC, 0x9A};

// The transport's and the bring-up's process-wide state.
struct bt_globals {
	int fd_ttyHS0 = -1;  // never closed: a new bt_active opens it anew
	uint8_t bt_soc = BT_SOC_NONE;
	std::array<uint8_t, 4> bt_soc_hw_version = {0x05, 0x00, 0x00, 0x00};
	uint32_t ref_clk_speed = 19200000;
	bt_nvm_config nvm_config{};
};
extern bt_globals bt_state;

// Back to the start values, parser and tag tables included (for tests).
void reset_bt_globals();

int bt_hci_soc_init();
int bt_hci_soc_vs_getappversion();
int bt_hci_soc_vs_gethwversion();
void bt_hci_soc_vs_handleappversion(const char *text, int length);
bool bt_hci_soc_pfal_is_refclock_19P2MHz();
// Trace name of a type ("BT_SOC_R3", ...).
const char *bt_soc_name(uint8_t type);

}  // namespace bt
