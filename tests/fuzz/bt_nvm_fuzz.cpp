// A text NVM of the Bluetooth SoC: the tag count, then each released tag
// through a silicon's mask, as the bring-up downloads them. The first byte
// picks the silicon and the reference clock.
#include <cstdint>
#include <string>

#include "hal/btsocnvm.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
	using namespace bt;
	if (size < 1)
		return 0;
	static constexpr uint8_t socs[] = {BT_SOC_R3,      BT_SOC_4020BD_B0, BT_SOC_4020BD_B1,
	                                   BT_SOC_4021_B1, BT_SOC_4025_B0,   BT_SOC_4025_B1};
	uint8_t soc = socs[data[0] % sizeof socs];
	bt_nvm_config config{};
	config.refclock_type = (data[0] & 0x80) ? 1 : 2;
	std::string text(reinterpret_cast<const char *>(data + 1), size - 1);

	reset_btsocnvm();
	nvm.buf = text.c_str();
	nvm.buf_len = static_cast<int32_t>(std::char_traits<char>::length(nvm.buf));
	if (bt_soc_nvm_vs_init_released_nvm(soc, &config)) {
		const uint8_t *tag = nullptr;
		uint8_t error = 0;
		// Each call moves the tag index on: the count bounds the loop.
		while (bt_soc_nvm_vs_get_next_released_nvm(&tag, &error)) {
		}
		bt_soc_nvm_vs_close_released_nvm();
	}
	reset_btsocnvm();
	return 0;
}
