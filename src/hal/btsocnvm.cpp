// The text NVM parser: tags are read one at a time from the text, and a mask
// per silicon decides which of them go to the SoC.
#include "hal/btsocnvm.h"

#include <cctype>
#include <cstdlib>
#include <cstring>

#include "ftm/debug.h"

namespace bt {

nvm_parser nvm;

void reset_nvm_tables();  // btsocnvm_tags.cpp

void reset_btsocnvm()
{
	nvm = nvm_parser{};
	reset_nvm_tables();
}

namespace {

struct tag_range {
	uint8_t first;
	uint8_t last;
};

struct soc_mask {
	uint8_t soc;
	std::array<tag_range, 12> tags;  // unused rows are {0, 0}
	std::array<tag_range, 2> tags_19p2MHz;
};

// The tags of the text NVM that each silicon may take.
constexpr std::array<soc_mask, 6> rel_nvm_masks = {{
	{BT_SOC_R3, {{{28, 28}, {32, 32}, {36, 36}, {39, 42}, {62, 65}, {83, 94}, {99, 99}}}, {}},
	{BT_SOC_4020BD_B0, {{{28, 28}, {36, 36}, {39, 42}, {99, 105}, {109, 114}, {116, 116}, {119, 119}}}, {{{115, 115}}}},
	{BT_SOC_4020BD_B1,
	 {{{28, 28}, {32, 32}, {36, 36}, {39, 42}, {72, 72}, {99, 99}, {103, 105}, {109, 114}, {116, 116}, {119, 119}}},
	 {{{115, 115}}}},
	{BT_SOC_4021_B1, {{{28, 28}, {32, 32}, {36, 36}, {39, 42}, {72, 72}, {99, 99}, {107, 116}, {119, 119}}},
	 {{{105, 106}}}},
	{BT_SOC_4025_B0, {{{28, 28}, {32, 32}, {36, 36}, {39, 39}, {41, 41}, {62, 62}, {99, 99}, {116, 116}, {119, 121},
	                   {123, 123}}},
	 {}},
	{BT_SOC_4025_B1,
	 {{{28, 28}, {36, 36}, {40, 41}, {95, 95}, {99, 99}, {111, 116}, {119, 121}, {123, 123}, {126, 126}}}, {}},
}};

void set_error(uint32_t code)
{
	nvm.btsocnvm_parser_error = code;
	btsocnvmplatform_log_error(code);
}

int bt_soc_nvm_getnext_n_char(char *out, int n)
{
	if (nvm.btsocnvm_parser_error != NVM_ERROR_NONE || nvm.bt_soc_r_ind + n > nvm.buf_len)
		return 0;
	std::memcpy(out, nvm.buf + nvm.bt_soc_r_ind, static_cast<size_t>(n));
	nvm.bt_soc_r_ind += n;
	return 1;
}

// Stops at the end of the text too: a text without a final semicolon would
// otherwise keep it reading nothing for ever.
void bt_soc_nvm_skip_line()
{
	char c = 0;
	while (bt_soc_nvm_getnext_n_char(&c, 1) && c != ';') {
	}
}

int bt_soc_nvm_getnext_number()
{
	int digits = 0;
	char c = 0;
	while (bt_soc_nvm_getnext_n_char(&c, 1) && std::isdigit(static_cast<unsigned char>(c))) {
		if (digits == 4) {
			set_error(NVM_ERROR_TEXT);
			return 0;
		}
		nvm.dest[digits++] = c;
	}
	nvm.dest[digits] = '\0';
	return nvm.btsocnvm_parser_error ? 0 : std::atoi(nvm.dest);
}

int bt_soc_nvm_xtoi(char c)
{
	return c < ':' ? c - 0x30 : std::tolower(static_cast<unsigned char>(c)) - 87;
}

uint8_t bt_soc_nvm_getnext_hexnumber()
{
	// Two digits and a separator that is not looked at.
	if (!bt_soc_nvm_getnext_n_char(nvm.dest, 3) || !std::isxdigit(static_cast<unsigned char>(nvm.dest[0])) ||
	    !std::isxdigit(static_cast<unsigned char>(nvm.dest[1]))) {
		if (nvm.btsocnvm_parser_error == NVM_ERROR_NONE)
			set_error(NVM_ERROR_TEXT);
		return 0;
	}
	return static_cast<uint8_t>(bt_soc_nvm_xtoi(nvm.dest[0]) * 16 + bt_soc_nvm_xtoi(nvm.dest[1]));
}

// Finds "[Tag]" and reads the tag count behind "Num = ".
void find_tag_count()
{
	char c = 0;
	while (bt_soc_nvm_getnext_n_char(&c, 1)) {
		if (c == '#') {
			bt_soc_nvm_skip_line();
		} else if (c == '[') {
			nvm.dest[0] = c;
			if (!bt_soc_nvm_getnext_n_char(nvm.dest + 1, 4))
				return;
			bt_soc_nvm_skip_line();
			if (std::memcmp(nvm.dest, "[Tag]", 5) == 0) {
				char skip[6];
				bt_soc_nvm_getnext_n_char(skip, 6);  // "Num = "
				nvm.bt_soc_parser.tag_count = bt_soc_nvm_getnext_number();
				bt_soc_nvm_skip_line();
				return;
			}
		}
	}
}

// One "[TagN]" block; hands out soc_tag when the mask lets the tag through.
int bt_soc_nvm_vs_extract_nvm(const uint8_t **out, uint8_t *error)
{
	++nvm.bt_soc_parser.tag_index;
	*error = static_cast<uint8_t>(nvm.btsocnvm_parser_error);
	if (nvm.bt_soc_parser.tag_index > nvm.bt_soc_parser.tag_count || nvm.nv_parser_state != 1 ||
	    nvm.btsocnvm_parser_error != NVM_ERROR_NONE)
		return 0;
	char skip[16];
	bt_soc_nvm_skip_line();
	bt_soc_nvm_skip_line();
	bt_soc_nvm_getnext_n_char(skip, 9);  // "TagNum = "
	auto number = static_cast<uint8_t>(bt_soc_nvm_getnext_number());
	bt_soc_nvm_skip_line();
	if (!bt_soc_nvm_tag_to_be_sent_to_SoC(number)) {
		*out = nullptr;
		bt_soc_nvm_skip_line();
		bt_soc_nvm_skip_line();
		return nvm.btsocnvm_parser_error == NVM_ERROR_NONE;
	}
	bt_soc_nvm_getnext_n_char(skip, 12);  // "TagLength = "
	auto length = static_cast<uint8_t>(bt_soc_nvm_getnext_number());
	bt_soc_nvm_skip_line();
	bt_soc_nvm_getnext_n_char(skip, 11);  // "TagValue = "
	nvm.soc_tag[0] = static_cast<uint8_t>(length + 3);
	nvm.soc_tag[1] = NVM_WRITE_TAG;
	nvm.soc_tag[2] = number;
	nvm.soc_tag[3] = length;
	for (int i = 0; i < length; ++i)  // at most 4 + 255 of the 300 bytes
		nvm.soc_tag[static_cast<size_t>(4 + i)] = bt_soc_nvm_getnext_hexnumber();
	bt_soc_nvm_skip_line();
	if (nvm.btsocnvm_parser_error != NVM_ERROR_NONE)
		return 0;
	*out = nvm.soc_tag.data();
	return 1;
}

}  // namespace

void btsocnvmplatform_log_error(uint32_t code) { DBG("NVM File Error %d", static_cast<int>(code)); }

bool bt_soc_nvm_tag_to_be_sent_to_SoC(uint8_t tag) { return nvm.rel_nvm[tag] == 1; }

int bt_soc_populate_rel_nvm(uint8_t soc, uint32_t refclock_type)
{
	nvm.rel_nvm.fill(0);
	for (const soc_mask &mask : rel_nvm_masks) {
		if (mask.soc != soc)
			continue;
		auto set = [](const tag_range &r) {
			for (int tag = r.first; r.first != 0 && tag <= r.last; ++tag)
				nvm.rel_nvm[static_cast<size_t>(tag)] = 1;
		};
		for (const tag_range &r : mask.tags)
			set(r);
		if (refclock_type == 1)
			for (const tag_range &r : mask.tags_19p2MHz)
				set(r);
		return 1;
	}
	set_error(NVM_ERROR_NO_MASK);
	return 0;
}

int bt_soc_nvm_parse_supported(uint8_t soc, const bt_nvm_config *config)
{
	if (!config)
		return 0;
	return bt_soc_populate_rel_nvm(soc, config->refclock_type);
}

int bt_soc_read_nvm_tags_from_header(uint8_t soc, uint32_t refclock_type)
{
	if (soc != BT_SOC_4025_B1)
		return 0;
	// No 19.2 MHz text exists: the buffer then stays as it was.
	if (refclock_type != 1) {
		nvm.buf = bt_soc_nvm_BTS4025_B1_32Mhz;
		DBG("buf=%x\n", static_cast<unsigned char>(nvm.buf[0]));
		DBG("buf=%x\n", static_cast<unsigned char>(nvm.buf[1]));
	}
	nvm.buf_len = nvm.buf ? static_cast<int32_t>(std::strlen(nvm.buf)) : 0;
	return nvm.buf_len == 1 ? 0 : 1;
}

int bt_soc_nvm_vs_init_released_nvm(uint8_t soc, const bt_nvm_config *config)
{
	nvm.bt_soc_parser.tag_index = 0;
	nvm.bt_soc_parser.tag_count = 0;
	nvm.bt_soc_r_ind = 0;
	if (nvm.nv_parser_state == 1 || nvm.btsocnvm_parser_error != NVM_ERROR_NONE || !config)
		return 0;
	if (!bt_soc_nvm_parse_supported(soc, config))
		return 0;
	find_tag_count();
	if (nvm.btsocnvm_parser_error != NVM_ERROR_NONE) {
		btsocnvmplatform_log_error(nvm.btsocnvm_parser_error);
		nvm.nv_parser_state = 0;
		return 0;
	}
	nvm.nv_parser_state = 1;
	return 1;
}

// Each extract moves the tag index on, so the loop ends by the tag count.
int bt_soc_nvm_vs_get_next_released_nvm(const uint8_t **out, uint8_t *error)
{
	*out = nullptr;
	if (nvm.nv_parser_state != 1 || nvm.btsocnvm_parser_error != NVM_ERROR_NONE)
		return 0;
	while (bt_soc_nvm_vs_extract_nvm(out, error))
		if (*out)
			return 1;
	return 0;
}

int bt_soc_nvm_vs_close_released_nvm()
{
	nvm.nv_parser_state = 0;
	nvm.bt_soc_r_ind = 0;
	return 1;
}

}  // namespace bt
