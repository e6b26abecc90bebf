// The NVM tags: table choice by silicon and options, the text NVM, and its
// parser on good and bad text.
#include <gtest/gtest.h>
#include <regex>
#include <string>
#include <vector>

#include "hal/btsocnvm.h"
#include "unit_board.h"

namespace {

using Bytes = std::vector<uint8_t>;

Bytes record(const uint8_t *tag) { return tag ? Bytes(tag, tag + tag[0] + 1) : Bytes{}; }

class Nvm : public ::testing::Test {
protected:
	void SetUp() override
	{
		bt_test::unit_board();
		bt::reset_bt_globals();
		std::copy(bt::default_bt_bd_addr.begin(), bt::default_bt_bd_addr.end(), config_.bd_addr);
	}
	void TearDown() override { bt::reset_bt_globals(); }

	// Every tag the parser hands out for a type over text.
	std::vector<Bytes> parse(uint8_t soc, const std::string &text)
	{
		text_ = text;
		bt::nvm.buf = text_.c_str();
		bt::nvm.buf_len = static_cast<int32_t>(text_.size());
		std::vector<Bytes> out;
		if (!bt::bt_soc_nvm_vs_init_released_nvm(soc, &config_))
			return out;
		const uint8_t *tag = nullptr;
		uint8_t error = 0;
		while (bt::bt_soc_nvm_vs_get_next_released_nvm(&tag, &error) && tag)
			out.push_back(record(tag));
		bt::bt_soc_nvm_vs_close_released_nvm();
		return out;
	}
	std::vector<int> numbers(const std::vector<Bytes> &tags)
	{
		std::vector<int> out;
		for (const Bytes &t : tags)
			out.push_back(t[2]);
		return out;
	}
	// The custom slots as tag numbers, 0 for an empty slot.
	std::vector<int> custom()
	{
		std::vector<int> out;
		for (int i = 0; i < config_.custom_count; ++i)
			out.push_back(config_.custom_table[i] ? config_.custom_table[i][2] : 0);
		return out;
	}
	const uint8_t *custom_tag(int number)
	{
		for (int i = 0; i < config_.custom_count; ++i)
			if (config_.custom_table[i] && config_.custom_table[i][2] == number)
				return config_.custom_table[i];
		return nullptr;
	}

	bt::bt_nvm_config config_{};
	std::string text_;
};

std::string one_tag(const std::string &num, const std::string &len, const std::string &value)
{
	return " ;[Tag] ;Num = 1 ; ;[Tag0] ;TagNum = " + num + " ;TagLength = " + len + " ;TagValue = " + value + " ;";
}

TEST_F(Nvm, TheTextOfThe4025B1YieldsItsSeventeenTagsInFileOrder)
{
	std::string text = bt::bt_soc_nvm_BTS4025_B1_32Mhz;
	EXPECT_EQ(text.size(), 7284u);
	ASSERT_EQ(bt::bt_soc_read_nvm_tags_from_header(bt::BT_SOC_4025_B1, 0), 1);
	EXPECT_EQ(bt::nvm.buf_len, 7284);
	std::vector<Bytes> tags = parse(bt::BT_SOC_4025_B1, text);
	EXPECT_EQ(numbers(tags), (std::vector<int>{28, 36, 40, 41, 95, 99, 111, 112, 113, 114, 115, 116, 119, 120, 121,
	                                            123, 126}));
	ASSERT_EQ(tags.size(), 17u);
	for (const Bytes &t : tags) {
		EXPECT_EQ(t[0], static_cast<uint8_t>(t[3] + 3));
		EXPECT_EQ(t[1], bt::NVM_WRITE_TAG);
	}
	EXPECT_EQ(tags[0], (Bytes{18, 1, 28, 15, 0x00, 0x10, 0x00, 0x00, 0x2C, 0x01, 0x01, 0x00, 0x00, 0xF0, 0x00, 0x00,
	                          0xFF, 0xFF, 0x00}));
	EXPECT_EQ(tags[2], (Bytes{21, 1, 40, 18, 0x32, 0x05, 0x07, 0x0D, 0xE2, 0x11, 0x43, 0x13, 0x1C, 0x0C, 0x17, 0x10,
	                          0x59, 0x13, 0x8D, 0x04, 0x3D, 0x08}));
	EXPECT_EQ(tags[12][0], 251);  // tag 119, the largest
	EXPECT_EQ(tags[12].size(), 252u);
	EXPECT_EQ(Bytes(tags[6].begin() + 8, tags[6].begin() + 12), (Bytes{0, 0, 0, 0}));  // a patch's zero bytes
}

TEST_F(Nvm, MasksPickTheTagsOfEachSiliconAndClock)
{
	std::string text = bt::bt_soc_nvm_BTS4025_B1_32Mhz;
	EXPECT_EQ(numbers(parse(bt::BT_SOC_4025_B0, text)),
	          (std::vector<int>{28, 32, 36, 39, 41, 99, 116, 119, 120, 121, 123}));
	std::vector<int> b0 = numbers(parse(bt::BT_SOC_4020BD_B0, text));
	EXPECT_EQ(std::count(b0.begin(), b0.end(), 115), 0);
	config_.refclock_type = 1;
	b0 = numbers(parse(bt::BT_SOC_4020BD_B0, text));
	EXPECT_EQ(std::count(b0.begin(), b0.end(), 115), 1);
	std::vector<int> b4021 = numbers(parse(bt::BT_SOC_4021_B1, text));
	EXPECT_EQ(std::count(b4021.begin(), b4021.end(), 105), 1);
	EXPECT_EQ(std::count(b4021.begin(), b4021.end(), 106), 1);
}

TEST_F(Nvm, OnlyThe4025B1At32MHzHasAText)
{
	EXPECT_EQ(bt::bt_soc_read_nvm_tags_from_header(bt::BT_SOC_4025_B0, 0), 0);
	EXPECT_EQ(bt::bt_soc_read_nvm_tags_from_header(bt::BT_SOC_NONE, 0), 0);
	// 19.2 MHz: no text exists and the buffer stays as it was (none yet).
	EXPECT_EQ(bt::bt_soc_read_nvm_tags_from_header(bt::BT_SOC_4025_B1, 1), 1);
	EXPECT_EQ(bt::nvm.buf, nullptr);
	EXPECT_EQ(bt::nvm.buf_len, 0);
}

TEST_F(Nvm, SiliconWithoutAMaskIsAnErrorThatStays)
{
	EXPECT_TRUE(parse(bt::BT_SOC_4025_A0, bt::bt_soc_nvm_BTS4025_B1_32Mhz).empty());
	EXPECT_EQ(bt::nvm.btsocnvm_parser_error, bt::NVM_ERROR_NO_MASK);
	EXPECT_TRUE(parse(bt::BT_SOC_4025_B1, bt::bt_soc_nvm_BTS4025_B1_32Mhz).empty());
	EXPECT_EQ(bt::bt_soc_nvm_vs_init_released_nvm(bt::BT_SOC_4025_B1, nullptr), 0);
}

TEST_F(Nvm, BadHexPairEndsTheIterationAndLaterOpensAreRefused)
{
	std::string text = one_tag("28", "3", "01 0G 02 ");
	EXPECT_TRUE(parse(bt::BT_SOC_4025_B1, text).empty());
	EXPECT_EQ(bt::nvm.btsocnvm_parser_error, bt::NVM_ERROR_TEXT);
	EXPECT_EQ(bt::bt_soc_nvm_vs_init_released_nvm(bt::BT_SOC_4025_B1, &config_), 0);
}

TEST_F(Nvm, TagNumberOfFiveDigitsIsAnErrorAndFourAreTruncatedToAByte)
{
	EXPECT_TRUE(parse(bt::BT_SOC_4025_B1, one_tag("12345", "1", "0D ")).empty());
	EXPECT_EQ(bt::nvm.btsocnvm_parser_error, bt::NVM_ERROR_TEXT);

	bt::reset_bt_globals();
	// 1060 is 0x424: its low byte 36 is a tag the 4025 B1 takes.
	EXPECT_EQ(parse(bt::BT_SOC_4025_B1, one_tag("1060", "1", "0D ")), (std::vector<Bytes>{{4, 1, 36, 1, 0x0D}}));
}

TEST_F(Nvm, TextWithoutFinalSemicolonEnds)
{
	std::string text = one_tag("99", "1", "0D ");
	text.pop_back();
	text += "trailing words and no end";
	EXPECT_EQ(parse(bt::BT_SOC_4025_B1, text), (std::vector<Bytes>{{4, 1, 99, 1, 0x0D}}));
	// A count larger than the text holds ends at the text's end.
	EXPECT_EQ(parse(bt::BT_SOC_4025_B1, " ;[Tag] ;Num = 9999 ; ;"), std::vector<Bytes>{});
	// A value list cut short by the end of the text is an error, not a read past it.
	bt::reset_bt_globals();
	EXPECT_TRUE(parse(bt::BT_SOC_4025_B1, " ;[Tag] ;Num = 1 ; ;[Tag0] ;TagNum = 99 ;TagLength = 255 ;TagValue = 0D ")
	                .empty());
}

TEST_F(Nvm, LongestTagFitsItsRecord)
{
	std::string values;
	for (int i = 0; i < 255; ++i)
		values += "AB ";
	std::vector<Bytes> tags = parse(bt::BT_SOC_4025_B1, one_tag("119", "255", values));
	ASSERT_EQ(tags.size(), 1u);
	EXPECT_EQ(tags[0][0], 2);  // 255 + 3 wraps in its one byte
	EXPECT_EQ(bt::nvm.soc_tag[258], 0xAB);
	EXPECT_EQ(bt::nvm.soc_tag[259], 0x00);
}

TEST_F(Nvm, FixedAndCustomTablesPerSilicon)
{
	struct Row {
		uint8_t soc;
		int fixed, custom;
	};
	for (Row r : {Row{2, 16, 3}, Row{4, 18, 7}, Row{5, 18, 5}, Row{7, 15, 5}, Row{8, 29, 8}, Row{9, 20, 5},
	              Row{10, 14, 7}, Row{11, 19, 4}, Row{255, 19, 4}}) {
		bt::bt_nvm_config c{};
		EXPECT_EQ(bt::bt_soc_nvm_vs_update_nvm_entries(r.soc, &c), 1) << int(r.soc);
		EXPECT_EQ(c.fixed_count, r.fixed) << int(r.soc);
		EXPECT_EQ(c.custom_count, r.custom) << int(r.soc);
		EXPECT_EQ(c.fixed_table[0][2], 2);  // the address first, then tags 4 and 5
		EXPECT_EQ(c.fixed_table[1][2], 4);
		EXPECT_EQ(c.fixed_table[2][2], 5);
	}
	for (uint8_t refused : {0, 1, 3, 6}) {
		bt::bt_nvm_config c{};
		EXPECT_EQ(bt::bt_soc_nvm_vs_update_nvm_entries(refused, &c), 0);
		EXPECT_EQ(c.fixed_table, nullptr);
	}
	EXPECT_EQ(bt::bt_soc_nvm_vs_update_nvm_entries(10, nullptr), 0);
}

TEST_F(Nvm, AddressGoesIntoTag2AtEachChoice)
{
	ASSERT_EQ(bt::bt_soc_nvm_vs_update_nvm_entries(bt::BT_SOC_4025_B1, &config_), 1);
	EXPECT_EQ(record(config_.fixed_table[0]), (Bytes{0x09, 0x01, 0x02, 0x06, 0x34, 0x12, 0x78, 0x56, 0xBC, 0x9A}));
	config_.bd_addr[0] = 0x77;
	bt::bt_soc_nvm_vs_update_nvm_entries(bt::BT_SOC_R3, &config_);
	EXPECT_EQ(config_.fixed_table[0][4], 0x77);
}

TEST_F(Nvm, The4025B1CustomSlotsFollowClockAndVersionAndKeepTheir20Form)
{
	ASSERT_EQ(bt::bt_soc_nvm_vs_update_nvm_entries(bt::BT_SOC_4025_B1, &config_), 1);
	EXPECT_EQ(custom(), (std::vector<int>{6, 32, 37, 38, 0, 0, 97}));
	EXPECT_EQ(record(custom_tag(32)), (Bytes{5, 1, 32, 2, 0x05, 0x0D}));
	EXPECT_EQ(record(custom_tag(6)), (Bytes{11, 1, 6, 8, 0xFF, 0xFE, 0x8F, 0xFE, 0x9B, 0xFF, 0x59, 0x83}));
	EXPECT_EQ(record(custom_tag(97)), (Bytes{5, 1, 97, 2, 0x00, 0xFF}));

	config_.refclock_type = 1;
	config_.bt_2_1_unsupported = 1;
	config_.clock_sharing = 1;
	config_.soc_logging = 1;
	bt::bt_soc_nvm_vs_update_nvm_entries(bt::BT_SOC_4025_B1, &config_);
	EXPECT_EQ(custom(), (std::vector<int>{6, 32, 37, 38, 72, 78, 97}));
	EXPECT_EQ(record(custom_tag(32)), (Bytes{5, 1, 32, 2, 0x06, 0x47}));
	EXPECT_EQ(record(custom_tag(78)), (Bytes{5, 1, 78, 2, 0x03, 0x03}));
	EXPECT_EQ(record(custom_tag(38)), (Bytes{7, 1, 38, 4, 0x02, 0x00, 0x2C, 0x01}));
	EXPECT_EQ(record(custom_tag(97)), (Bytes{5, 1, 97, 2, 0x00, 0x01}));
	EXPECT_EQ(custom_tag(37)[4 + 18], 0x02);  // clock sharing, 4025 form
	EXPECT_EQ(custom_tag(37)[4 + 6], 0x1D);

	// Back to the 2.1 form: the slots of 72 and 78 are never cleared.
	config_ = bt::bt_nvm_config{};
	bt::bt_soc_nvm_vs_update_nvm_entries(bt::BT_SOC_4025_B1, &config_);
	EXPECT_EQ(custom(), (std::vector<int>{6, 32, 37, 38, 72, 78, 97}));
	EXPECT_EQ(record(custom_tag(32)), (Bytes{5, 1, 32, 2, 0x05, 0x0D}));
}

TEST_F(Nvm, OtherSiliconsCustomSlots)
{
	bt::bt_soc_nvm_vs_update_nvm_entries(bt::BT_SOC_4025_A0, &config_);
	EXPECT_EQ(custom(), (std::vector<int>{32, 37, 0, 41, 97, 99, 0, 0}));  // no logging slot
	EXPECT_EQ(record(custom_tag(99)), (Bytes{4, 1, 99, 1, 0x0D}));
	config_.refclock_type = 1;
	bt::bt_soc_nvm_vs_update_nvm_entries(bt::BT_SOC_4025_A0, &config_);
	EXPECT_EQ(custom(), (std::vector<int>{32, 37, 0, 41, 97, 99, 114, 115}));
	EXPECT_EQ(record(custom_tag(99)), (Bytes{4, 1, 99, 1, 0x07}));

	config_ = bt::bt_nvm_config{};
	bt::bt_soc_nvm_vs_update_nvm_entries(bt::BT_SOC_R3, &config_);
	EXPECT_EQ(custom(), (std::vector<int>{37, 38, 97}));
	EXPECT_EQ(custom_tag(37)[4 + 6], 0x01);  // not the 4025 form
	bt::bt_soc_nvm_vs_update_nvm_entries(bt::BT_SOC_4020BD_B0, &config_);
	EXPECT_EQ(custom(), (std::vector<int>{6, 0, 37, 38, 72, 78, 97}));
	EXPECT_EQ(record(custom_tag(6)), (Bytes{11, 1, 6, 8, 0xFF, 0xFE, 0x8F, 0x7E, 0x98, 0x1F, 0x59, 0x83}));
	EXPECT_EQ(custom_tag(72)[0], 68);
	bt::bt_soc_nvm_vs_update_nvm_entries(bt::BT_SOC_UNKNOWN, &config_);
	EXPECT_EQ(custom(), (std::vector<int>{37, 38, 97, 99}));
}

}  // namespace

namespace {

// The text NVM's tags as number/length, in file order, and each value
// carrying as many two-digit bytes as its length says.
TEST(NvmText, EveryTagNumberLengthAndValueOfTheText)
{
	const std::vector<std::pair<int, int>> want = {
	    {2, 6},     {6, 8},    {17, 7},   {27, 1},   {28, 15},  {32, 2},   {36, 35},  {37, 22},  {39, 4},  {40, 18},
	    {41, 22},   {42, 10},  {78, 2},   {95, 11},  {99, 1},   {100, 135}, {101, 71}, {102, 107}, {103, 67}, {104, 51},
	    {105, 63},  {106, 43}, {107, 67}, {108, 55}, {109, 95}, {110, 67}, {111, 103}, {112, 15}, {113, 19}, {114, 55},
	    {115, 15},  {116, 16}, {119, 248}, {120, 30}, {121, 62}, {123, 157}, {126, 26},
	};
	const std::string text = bt::bt_soc_nvm_BTS4025_B1_32Mhz;
	EXPECT_TRUE(text.starts_with(" ;[General] ;Signature = windows ;FormatVersion = 1.0 ;"));
	EXPECT_NE(text.find("[Tag] ;Num = 37 ; ;"), std::string::npos);
	const std::regex tag("\\[Tag(\\d+)\\] ;TagNum = (\\d+) ;TagLength = (\\d+) ;TagValue = ((?:[0-9A-F]{2} )*) ;");
	std::vector<std::pair<int, int>> got;
	for (auto m = std::sregex_iterator(text.begin(), text.end(), tag); m != std::sregex_iterator(); ++m) {
		EXPECT_EQ(std::stoi((*m)[1]), static_cast<int>(got.size()));
		int len = std::stoi((*m)[3]);
		got.emplace_back(std::stoi((*m)[2]), len);
		EXPECT_EQ((*m)[4].length(), static_cast<size_t>(3 * len)) << "tag " << (*m)[2];
	}
	EXPECT_EQ(got, want);
	EXPECT_TRUE(text.ends_with(" ;"));
}

// Each silicon's fixed table as tag numbers in sending order: the address,
// tags 4 and 5, then its own.
TEST(NvmTables, EveryFixedTableInSendingOrder)
{
	bt_test::unit_board();
	const std::vector<int> head = {2, 4, 5};
	const std::vector<int> common = {17, 27, 44, 45, 46, 53, 55, 57, 70, 71, 76, 95};
	auto join = [&](std::vector<int> tail) {
		std::vector<int> all = head;
		all.insert(all.end(), tail.begin(), tail.end());
		return all;
	};
	auto with_common = [&](std::vector<int> before, std::vector<int> after) {
		before.insert(before.end(), common.begin(), common.end());
		before.insert(before.end(), after.begin(), after.end());
		return join(before);
	};
	const std::vector<std::pair<uint8_t, std::vector<int>>> tables = {
	    {2, with_common({6}, {})},
	    {4, with_common({}, {106, 107, 108})},
	    {5, with_common({}, {106, 107, 108})},
	    {7, with_common({}, {})},
	    {8, join({6, 17, 27, 28, 36, 39, 40, 44, 45, 46, 53, 55, 57, 70, 71, 72, 78, 95, 107, 108, 111, 112, 113, 116,
	              119, 123})},
	    {9, join({17, 27, 40, 44, 45, 46, 53, 55, 57, 70, 71, 72, 95, 112, 113, 114, 115})},
	    {10, join({17, 27, 39, 44, 45, 46, 53, 55, 57, 70, 71})},
	    {11, join({6, 17, 27, 28, 44, 45, 46, 53, 55, 57, 70, 71, 76, 78, 95, 116})},
	    {255, join({6, 17, 27, 28, 44, 45, 46, 53, 55, 57, 70, 71, 76, 78, 95, 116})},
	};
	for (const auto &[soc, want] : tables) {
		bt::bt_nvm_config c{};
		ASSERT_EQ(bt::bt_soc_nvm_vs_update_nvm_entries(soc, &c), 1) << int(soc);
		std::vector<int> got;
		for (int i = 0; i < c.fixed_count; ++i) {
			const uint8_t *t = c.fixed_table[i];
			got.push_back(t[2]);
			EXPECT_EQ(t[0], t[3] + 3) << int(soc) << " tag " << int(t[2]);
			EXPECT_EQ(t[1], bt::NVM_WRITE_TAG);
		}
		EXPECT_EQ(got, want) << "silicon " << int(soc);
	}
	bt::reset_bt_globals();
}

}  // namespace
