// The memory card tests on the board's simulated card: present, absent,
// full, failing, unformatted, without a partition table.
#include <gtest/gtest.h>

#include "station/tapp_frame.h"
#include "support/sim_phone.h"

namespace {

using testing_support::SimPhone;

const std::string kSizeOk = "Error Message=Non\r\nAPI status=ok\r\nSize=";
const std::string kNoCard = "Error Message=no sd card\r\nAPI status=error\r\nSize=-1\r\nOK\n";
const std::string kNodeMissing = "SD GPIO 18 is detected  but /dev/block/mmcblk0 was not established.\n";

SimPhone::Setup card(const std::string &state, std::map<std::string, std::string> more = {})
{
	more["mmc.card"] = state;
	return {.board = more};
}

int framed_byte(SimPhone &phone, uint16_t id)
{
	auto a = station::decode_answer(phone.ask(station::bb_frame(1, id, {})));
	return a && a->checksum_ok && a->result.size() == 1 ? a->result[0] : -1;
}

bool mounted(SimPhone &phone) { return phone.file("/var/mounts").find(" /sdcard") != std::string::npos; }

TEST(Mmc, PresentCardPassesAndKeepsItsTestFile)
{
	SimPhone phone;
	EXPECT_EQ(phone.ask("AT+MMCEX\n"), "00OK\n");
	EXPECT_EQ(phone.ask("AT+MMCT\n"), "01OK\n");
	// The file stays on the card, which is no longer mounted.
	EXPECT_EQ(phone.file("/var/card/ftm_test_mmc_transfer"), "0123456789");
	EXPECT_FALSE(mounted(phone));
	EXPECT_EQ(phone.ask("SD GETSIZE\n"), kSizeOk + "2\r\nOK\n");
	EXPECT_EQ(framed_byte(phone, 0x8004), 0x00);
	EXPECT_EQ(framed_byte(phone, 0x8001), 0x01);
	// Traced under the name of the test, not of the helper that measures.
	EXPECT_NE(phone.file("/data/ftm.log").find("mmc_transfer_test() - SD=/sdcard,blksize=4096,nb of blk=486400,total size=1945600K"),
	          std::string::npos);
}

TEST(Mmc, AbsentCard)
{
	SimPhone phone(card("absent"));
	EXPECT_EQ(phone.ask("AT+MMCEX\n"), "01OK\n");
	EXPECT_EQ(phone.ask("AT+MMCT\n"), "00OK\n");
	EXPECT_EQ(phone.ask("SD GETSIZE\n"), kNoCard);
	EXPECT_EQ(framed_byte(phone, 0x8004), 0x01);
	EXPECT_EQ(framed_byte(phone, 0x8001), 0x00);
	EXPECT_FALSE(mounted(phone));
}

TEST(Mmc, FullCardFailsAtTheWrite)
{
	SimPhone phone(card("full"));
	EXPECT_EQ(phone.ask("AT+MMCEX\n"), "00OK\n");
	EXPECT_EQ(phone.ask("AT+MMCT\n"), "00OK\n");
	EXPECT_NE(phone.file("/data/ftm.log").find("error: No space left on device"), std::string::npos);
	EXPECT_EQ(phone.ask("SD GETSIZE\n"), kNoCard);
	EXPECT_FALSE(mounted(phone));
}

TEST(Mmc, CardThatStopsAnsweringFailsTheReadBack)
{
	SimPhone phone(card("failing"));
	EXPECT_EQ(phone.ask("AT+MMCT\n"), "00OK\n");
	EXPECT_NE(phone.file("/data/ftm.log").find("tx failed"), std::string::npos);
	EXPECT_FALSE(mounted(phone));
	// The daemon carries on, and a good card passes again.
	phone.set_board("mmc.card", "present");
	EXPECT_EQ(phone.ask("AT+MMCT\n"), "01OK\n");
}

TEST(Mmc, UnformattedCardFailsBothMountsAndRemovesTheMountPoint)
{
	SimPhone phone(card("unformatted"));
	EXPECT_EQ(phone.ask("AT+MMCEX\n"), "00OK\n");
	EXPECT_EQ(phone.ask("AT+MMCT\n"), "00OK\n");
	std::string log = phone.file("/data/ftm.log");
	EXPECT_NE(log.find("unable to mount /dev/block/mmcblk0p1"), std::string::npos);
	EXPECT_NE(log.find("unable to mount /dev/block/mmcblk0\n"), std::string::npos);
	struct stat st{};
	EXPECT_NE(::stat(phone.path("/sdcard").c_str(), &st), 0);
}

TEST(Mmc, CardWithoutPartitionTableMountsByTheSecondAttempt)
{
	SimPhone phone(card("present", {{"mmc.partition", "0"}}));
	EXPECT_EQ(phone.ask("AT+MMCT\n"), "01OK\n");
	EXPECT_NE(phone.file("/data/ftm.log").find("unable to mount /dev/block/mmcblk0p1"), std::string::npos);
	EXPECT_EQ(phone.file("/var/card/ftm_test_mmc_transfer"), "0123456789");
}

TEST(Mmc, SizeRoundsUpToWholeGigabytes)
{
	SimPhone phone(card("present", {{"mmc.size_mb", "1024"}}));
	EXPECT_EQ(phone.ask("SD GETSIZE\n"), kSizeOk + "1\r\nOK\n");
	phone.set_board("mmc.size_mb", "1025");
	EXPECT_EQ(phone.ask("SD GETSIZE\n"), kSizeOk + "2\r\nOK\n");
	phone.set_board("mmc.size_mb", "7800");
	phone.set_board("mmc.block_size", "512");
	EXPECT_EQ(phone.ask("SD GETSIZE\n"), kSizeOk + "8\r\nOK\n");
}

TEST(Mmc, StatfsFailureAfterAGoodTransferReadsAsNoCard)
{
	SimPhone phone(card("present", {{"mmc.statfs_fail", "1"}}));
	EXPECT_EQ(phone.ask("AT+MMCT\n"), "01OK\n");
	EXPECT_EQ(phone.ask("SD GETSIZE\n"), kNoCard);
}

TEST(Mmc, FramedSizeCarriesTheTextAnswer)
{
	SimPhone phone;
	std::string answer = phone.ask(station::bb_frame(1, 0x9017, {}));
	EXPECT_EQ(answer.rfind("*TAPP=060040000100" + kSizeOk + "2\r\n", 0), 0u) << answer;
	EXPECT_TRUE(answer.ends_with("\nOK\n"));
}

// The pin reports a card whose block device never appears: four waits of
// two seconds (time.scale 0.01 makes them 20 ms), then the message on the
// port ahead of the answer.
TEST(Mmc, PinWithoutNodeWaitsThenReports)
{
	SimPhone phone(card("absent", {{"gpio.pin.18", "0"}, {"time.scale", "0.01"}}));
	// The version screen at start-up has opened the GPIO device, so the pin is read.
	EXPECT_EQ(phone.ask("AT+MMCEX\n"), kNodeMissing + "02OK\n");
	std::string framed = phone.ask(station::bb_frame(1, 0x8004, {}));
	EXPECT_EQ(framed.rfind(kNodeMissing, 0), 0u);
	auto a = station::decode_answer(framed);
	ASSERT_TRUE(a && a->result.size() == 1);
	EXPECT_EQ(a->result[0], 0x02);
	EXPECT_EQ(phone.ask("AT+MMCT\n"), kNodeMissing + "00OK\n");
	// The card's own state decides the pin when the board does not pin it.
	phone.set_board("gpio.pin.18", "");
	EXPECT_EQ(phone.ask("AT+MMCEX\n"), "01OK\n");
}

}  // namespace
