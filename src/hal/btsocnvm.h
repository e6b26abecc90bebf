// The SoC's NVM: compiled tag commands chosen by silicon and options, and a
// text NVM parsed tag by tag through a per-silicon mask.
#pragma once

#include <array>
#include <cstdint>

#include "hal/bt_soc.h"

namespace bt {

// A tag command: [0] bytes behind it (length + 3), [1] 0x01 write tag,
// [2] tag number, [3] value length, [4..] value. Bytes 1 on are the vendor
// command's parameters.
constexpr uint8_t NVM_WRITE_TAG = 0x01;

constexpr uint32_t NVM_ERROR_NONE = 0;
constexpr uint32_t NVM_ERROR_TEXT = 1;
constexpr uint32_t NVM_ERROR_NO_MASK = 2;

// The parser, one for the process.
struct nvm_parser {
	const char *buf = nullptr;
	int32_t buf_len = 0;
	int32_t bt_soc_r_ind = 0;
	int nv_parser_state = 0;  // 1 while a released NVM is open
	char dest[16] = {};
	struct {
		int32_t tag_index = 0;
		int32_t tag_count = 0;
	} bt_soc_parser;
	uint32_t btsocnvm_parser_error = NVM_ERROR_NONE;  // stays set for the process
	std::array<uint8_t, 256> rel_nvm = {};
	std::array<uint8_t, 300> soc_tag = {};
};
extern nvm_parser nvm;

// The text NVM of the 4025 B1 at 32 MHz, NUL-terminated.
extern const char *const bt_soc_nvm_BTS4025_B1_32Mhz;

int bt_soc_nvm_vs_update_nvm_entries(uint8_t soc, bt_nvm_config *config);
int bt_soc_read_nvm_tags_from_header(uint8_t soc, uint32_t refclock_type);
int bt_soc_nvm_parse_supported(uint8_t soc, const bt_nvm_config *config);
int bt_soc_populate_rel_nvm(uint8_t soc, uint32_t refclock_type);
int bt_soc_nvm_vs_init_released_nvm(uint8_t soc, const bt_nvm_config *config);
int bt_soc_nvm_vs_get_next_released_nvm(const uint8_t **out, uint8_t *error);
int bt_soc_nvm_vs_close_released_nvm();
bool bt_soc_nvm_tag_to_be_sent_to_SoC(uint8_t tag);
void btsocnvmplatform_log_error(uint32_t code);

// Forgets the parser and the writable tag tables (for tests).
void reset_btsocnvm();

}  // namespace bt
