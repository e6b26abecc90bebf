// Bring-up of the SoC: learn the silicon, download the NVM in three stages
// (fixed, custom, dynamic), then an HCI Reset makes the tags take effect.
#include "hal/bt_soc.h"

#include <algorithm>
#include <cstring>

#include "ftm/debug.h"
#include "hal/bt_hci.h"
#include "hal/btsocnvm.h"

namespace bt {

bt_globals bt_state;

void reset_bt_globals()
{
	bt_state = bt_globals{};
	reset_btsocnvm();
}

namespace {

struct soc_release {
	const char *text;
	uint8_t type;
};

// Searched in this order, first hit wins: 3.03.5 before 3.03.4.
constexpr std::array<soc_release, 10> soc_releases = {{
	{"Release 3.03.0", BT_SOC_R2B},
	{"Release 3.03.1", BT_SOC_R2C},
	{"Release 3.03.2", BT_SOC_R3},
	{"Release 3.03.3", BT_SOC_R3BD},
	{"Release 3.03.5", BT_SOC_4020BD_B0},
	{"Release 3.03.4", BT_SOC_R4},
	{"Release 4.03.0", BT_SOC_4021_B1},
	{"Release 4.00.0", BT_SOC_4025_A0},
	{"Release 4.00.1", BT_SOC_4025_B0},
	{"Release 4.00.2", BT_SOC_4025_B1},
}};

constexpr std::array<const char *, 12> soc_names = {
	"BT_SOC_R2B",       "BT_SOC_R2C",       "BT_SOC_R3",      "BT_SOC_R3BD",
	"BT_SOC_4020BD_B0", "BT_SOC_4020BD_B1", "BT_SOC_R4",      "BT_SOC_4021_B1",
	"BT_SOC_4025_A0",   "BT_SOC_4025_B0",   "BT_SOC_4025_B1", "BT_SOC_UNKNOWN",
};

// One poke row: a length byte and up to 240 parameter bytes.
struct poke8_row {
	uint8_t length;
	uint8_t bytes[240];
};

constexpr std::array<poke8_row, 1> bt_soc_vs_poke8_tbl_r3 = {{
	{66, {0x01, 0x40, 0xD4, 0x7A, 0x00, 0x00, 0x1F, 0x70, 0x03, 0x70, 0x81, 0x71, 0x03, 0x70, 0x00, 0x00, 0x00,
	      0x00, 0xED, 0x6B, 0x03, 0x70, 0x00, 0x00, 0x00, 0x00, 0x0B, 0x72, 0x03, 0x70, 0x8F, 0x72, 0x03, 0x70,
	      0x01, 0x7B, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x1D, 0x73, 0x03, 0x70, 0x01,
	      0x49, 0x88, 0x70, 0x01, 0x49, 0x08, 0x47, 0xDC, 0x6C, 0x00, 0x00, 0xD1, 0x72, 0x03, 0x70}},
}};

constexpr uint8_t app_version_request[] = {0x06};
// Read 4 bytes at register 0x8C000034.
constexpr uint8_t hw_version_request[] = {0x0D, 0x34, 0x00, 0x00, 0x8C, 0x04};

// Sends every non-null tag command of a table with the NVM write opcode.
int send_tags(const uint8_t *const *table, int32_t count)
{
	for (int32_t i = 0; i < count; ++i) {
		const uint8_t *tag = table[i];
		if (tag && !bt_hci_soc_pfal_vs_sendcmd(HCI_VS_NVM_WRITE, tag + 1, tag[0]))
			return 0;
	}
	return 1;
}

int send_poke_table()
{
	DBG("bt_hci_soc_init  - Initialize R3 Poke table\n");
	for (const poke8_row &row : bt_soc_vs_poke8_tbl_r3) {
		if (!bt_hci_soc_pfal_vs_sendcmd(HCI_VS_REQUEST, row.bytes, row.length)) {
			DBG("bt_hci_soc_init Failed Poke VS Set Cmds\n");
			return 0;
		}
	}
	return 1;
}

void read_hw_version()
{
	int result = bt_hci_soc_vs_gethwversion();
	uint8_t hw = bt_state.bt_soc_hw_version[0];
	DBG("bt_hci_soc_init: Now reading hardware version register, result=%d hw_ver=0x%02X", result, hw);
	if (result && hw != 5) {
		bt_state.bt_soc = BT_SOC_4020BD_B1;
		DBG("bt_soc_type : BT_SOC_4020BD_B1 (hw_ver=0x%x)", hw);
	} else {
		DBG("bt_soc_type : BT_SOC_4020BD_B0 (hw_ver=0x%x)", hw);
	}
}

// The released tags of the text NVM; the parser is closed whatever happens.
int send_dynamic_tags(bt_nvm_config *config)
{
	int ok = bt_soc_read_nvm_tags_from_header(bt_state.bt_soc, config->refclock_type);
	if (!ok)
		DBG("bt_hci_soc_init - Failed bt_soc_read_nvm_tags_from_header\n");
	if (ok) {
		ok = bt_soc_nvm_vs_init_released_nvm(bt_state.bt_soc, config);
		if (!ok)
			DBG("bt_hci_soc_init - bt_soc_nvm_vs_init_released_nvm failed\n");
	}
	if (ok) {
		const uint8_t *tag = nullptr;
		uint8_t error = 0;
		// Each round consumes a tag of the text, so the loop ends with it.
		while (bt_soc_nvm_vs_get_next_released_nvm(&tag, &error) && tag) {
			if (!bt_hci_soc_pfal_vs_sendcmd(HCI_VS_NVM_WRITE, tag + 1, tag[0])) {
				DBG("bt_hci_soc_init - Failed to send dynamic VSCmd\n");
				ok = 0;
				break;
			}
		}
	}
	if (!bt_soc_nvm_vs_close_released_nvm()) {
		ok = 0;
		DBG("bt_hci_soc_init - bt_soc_nvm_vs_close_released_nvm failed\n");
	}
	return ok;
}

}  // namespace

const char *bt_soc_name(uint8_t type) { return type < soc_names.size() ? soc_names[type] : "BT_SOC_UNKNOWN"; }

bool bt_hci_soc_pfal_is_refclock_19P2MHz() { return bt_state.ref_clk_speed == 19200000; }

int bt_hci_soc_vs_getappversion()
{
	if (!bt_hci_soc_pfal_vs_sendcmd(HCI_VS_REQUEST, app_version_request, sizeof app_version_request))
		return 0;
	DBG("bt_hci_soc_vs_getappversion : Succeeded");
	return 1;
}

int bt_hci_soc_vs_gethwversion()
{
	if (!bt_hci_soc_pfal_vs_sendcmd(HCI_VS_REQUEST, hw_version_request, sizeof hw_version_request))
		return 0;
	DBG("bt_hci_soc_vs_gethwversion : Succeeded");
	return 1;
}

void bt_hci_soc_vs_handleappversion(const char *text, int length)
{
	// The event's text has no terminator of its own.
	char version[256] = {};
	std::memcpy(version, text, static_cast<size_t>(std::clamp(length, 0, 255)));
	const char *shown = version;
	while (*shown == ' ')
		++shown;
	DBG("ApplicationVersion: %s", shown);
	bt_state.bt_soc = BT_SOC_UNKNOWN;
	for (const soc_release &r : soc_releases) {
		if (std::strstr(version, r.text)) {
			bt_state.bt_soc = r.type;
			break;
		}
	}
	// 3.03.5 is only decided by the hardware register read; no hit is silent.
	if (bt_state.bt_soc != BT_SOC_4020BD_B0 && bt_state.bt_soc != BT_SOC_UNKNOWN)
		DBG("bt_soc_type : %s", bt_soc_name(bt_state.bt_soc));
}

int bt_hci_soc_init()
{
	bt_nvm_config &config = bt_state.nvm_config;
	DBG("bt_hci_soc_init : Started");
	bt_state.bt_soc = BT_SOC_NONE;
	config = bt_nvm_config{};

	int ok = bt_hci_soc_vs_getappversion();
	if (bt_state.bt_soc == BT_SOC_4020BD_B0)
		read_hw_version();
	if (bt_state.bt_soc == BT_SOC_R2B || bt_state.bt_soc == BT_SOC_R2C) {
		DBG("bt_hci_soc_init Failed %s Not supported", bt_state.bt_soc == BT_SOC_R2B ? "R2B" : "R2C");
		ok = 0;
	}
	if (ok && bt_state.bt_soc == BT_SOC_R3)
		ok = send_poke_table();

	config.refclock_type = 0;
	config.clock_sharing = 0;
	config.fixed_table = nullptr;
	config.custom_table = nullptr;

	if (ok) {
		const auto &a = default_bt_bd_addr;
		DBG("bt_hci_soc_init Failed to read BD Address from NV default to %02X:%02X:%02X:%02X:%02X:%02X\n", a[0], a[1],
		    a[2], a[3], a[4], a[5]);
		std::memcpy(config.bd_addr, a.data(), a.size());
		ok = bt_soc_nvm_vs_update_nvm_entries(bt_state.bt_soc, &config);
		if (!ok)
			DBG("bt_hci_soc_init - Not supported BT SOC, please update your BT hardware.\n");
	}
	if (ok && config.fixed_table && !send_tags(config.fixed_table, config.fixed_count)) {
		DBG("bt_hci_soc_init - Failed to send fixed VSCmd");
		ok = 0;
	}
	if (ok && config.custom_table && !send_tags(config.custom_table, config.custom_count)) {
		DBG("bt_hci_soc_init - Failed to send custom VSCmd");
		ok = 0;
	}
	if (ok && bt_state.bt_soc != BT_SOC_UNKNOWN)
		ok = send_dynamic_tags(&config);
	if (ok) {
		DBG("bt_hci_soc_init - NVM download completed, doing HCI Reset...\n");
		DBG("Send HCI Reset to take NVM update effect!\n");
		ok = bt_hci_soc_pfal_sendresetcmd();
	}
	DBG(ok ? "bt_hci_soc_init - Successful\n" : "bt_hci_soc_init - Failed\n");
	return ok;
}

}  // namespace bt
