// The DSP command records, byte for byte: defaults, bit layouts and the
// records of a preview on the ov5642 for an 800 x 480 display.
#include "cam_fixture.h"

#include "camera/vfe/vfe_tables.h"

namespace camtest {
namespace {

using namespace cam;
using sim::camera::Recorded;

std::vector<uint32_t> words(const std::vector<uint8_t> &bytes)
{
	std::vector<uint32_t> w(bytes.size() / 4);
	std::memcpy(w.data(), bytes.data(), w.size() * 4);
	return w;
}

template <size_t N>
std::vector<uint32_t> words(const vfe_rec<N> &r)
{
	return {r.w.begin(), r.w.end()};
}

TEST(VfeRecords, DefaultsAndTheirFields)
{
	EXPECT_EQ(words(VFE_DefaultStartCmd), (std::vector<uint32_t>{1, 0x20, 0x47, 0}));
	EXPECT_EQ(VFE_DefaultStartCmd.get(4, 2, 4), 8u);  // snapshotNumber
	EXPECT_EQ(VFE_DefaultStartCmd.get(8, 6, 1), 1u);  // chromaSubsampleEnable
	EXPECT_EQ(VFE_DefaultCAMIFCfgCmd.get(12, 0, 14), 1600u);  // frameConfigPixelsPerLine
	EXPECT_EQ(VFE_DefaultCAMIFCfgCmd.get(12, 14, 14), 1200u);
	EXPECT_EQ(VFE_DefaultCAMIFCfgCmd.get(16, 0, 14), 0x63Fu);
	EXPECT_EQ(VFE_DefaultFOV_CropCfgCmd.get(4, 0, 12), 0x3BFu);  // FOV_CropLastPixel
	EXPECT_EQ(VFE_DefaultFOV_CropCfgCmd.get(6, 0, 12), 0x280u);  // FOV_CropFirstPixel
	EXPECT_EQ(VFE_DefaultScaleOutput2CfgCmd.w[0], 1u);
	EXPECT_EQ(VFE_DefaultScaleOutput2CfgCmd.get(8, 0, 12), 0x634u);  // widthOfInputToY_MN_Scaler
	EXPECT_EQ(VFE_DefaultScaleOutput2CfgCmd.get(32, 0, 12), 0x140u);  // widthOfOutputOfY_Polyphase_Scaler
	EXPECT_EQ(VFE_DefaultAXIOutputCfgCmd.get(8, 0, 12), 0xF0u);  // out1YImageHeight
	// The width in words has its own 16 bits: 40 words of the default 320-pixel row.
	EXPECT_EQ(VFE_DefaultAXIOutputCfgCmd.get(10, 0, 10), 40u);   // out1YImageWidthIn64BitWords
	EXPECT_EQ(VFE_DefaultAXIOutputCfgCmd.get(12, 14, 12), 40u);  // out1YRowIncIn64bitIncs
	EXPECT_EQ(VFE_DefaultAXIOutputCfgCmd.get(12, 0, 2), 1u);     // out1YBurstLen
	EXPECT_EQ(VFE_DefaultY_GammaCfgCmd.w[0], 3u);
	EXPECT_EQ(VFE_DefaultRollOffCfgCmd.w[1], 0x2580320u);
}

// Every default record whole: its size, its command number and each word
// after it, typed from the DSP's record table; words not listed are zero.
// The gamma records' tables are their own test.
TEST(VfeRecords, EveryDefaultRecordWordForWord)
{
	struct row {
		const char *name;
		std::vector<uint32_t> got;
		size_t bytes;
		uint32_t number;
		std::vector<uint32_t> after;
		size_t checked = 0;  // words compared; 0: all
	};
	const uint32_t scale[] = {0xCA, 0x4AA0634, 0xF00140, 0x4AA0634, 0xF00140, 0, 0x4AA0634, 0xF00140};
	const std::vector<uint32_t> scale_words(std::begin(scale), std::end(scale));
	const row rows[] = {
	    {"Reset", words(VFE_DefaultResetCmd), 4, 0, {}},
	    {"Start", words(VFE_DefaultStartCmd), 16, 1, {0x20, 0x47, 0}},
	    {"Stop", words(VFE_DefaultStopCmd), 4, 2, {}},
	    {"Update", words(VFE_DefaultUpdateCmd), 4, 3, {}},
	    {"CAMIF", words(VFE_DefaultCAMIFCfgCmd), 36, 4, {0, 0, 0x12C0640, 0x63F, 0x4AF, 0xFFFFFFFF, 0, 0xFFFFFFF}},
	    {"ActiveRegion", words(VFE_DefaultActiveRegionCfgCmd), 12, 5, {0x63F, 0x4AF}},
	    {"Demosaic", words(VFE_DefaultDemosaicCfgCmd), 24, 6, {0x7F0030, 0x3FF, 0x3FF000F, 0xFFFFFF, 0xFFF}},
	    {"InputFormat", words(VFE_DefaultInputFormatCfgCmd), 16, 7, {2, 0x800080, 0x800080}},
	    {"OutputClamp", words(VFE_DefaultOutputClampCfgCmd), 12, 8, {0xFFFFFF, 0}},
	    {"ChromaSubsample", words(VFE_DefaultChromaSubsampleCfgCmd), 8, 9, {1}},
	    {"BlackLevel", words(VFE_DefaultBlackLevelCfgCmd), 20, 10, {}},
	    {"WhiteBalance", words(VFE_DefaultWhiteBalanceCfgCmd), 8, 11, {0x201A880}},
	    {"ColorProcessing", words(VFE_DefaultColorProcessingCfgCmd), 60, 12,
	     {0xF6C021C, 0xF78, 0x27E0EEE, 0xF9A, 0xF660FA4, 0x1F6, 1, 0x800080, 0x7AA07AA, 0x800080, 0x7D607D6, 0x800080,
	      0x96004D, 0x1D}},
	    {"AdaptiveFilter", words(VFE_DefaultAdaptiveFilterCfgCmd), 32, 13, {}},
	    {"FrameSkip", words(VFE_DefaultFrameSkipCfgCmd), 12, 14, {0x3FFFFFFF, 0x3FFFFFFF}},
	    {"FOV_Crop", words(VFE_DefaultFOV_CropCfgCmd), 12, 15, {0x28003BF, 0x1E002CF}},
	    {"StatsAutofocus", words(VFE_DefaultStatsAutofocusCfgCmd), 56, 16,
	     {0x1E, 0x190012C, 0x3200258, 0x3B221900, 0x7F665D44, 0xB3AA9188, 0xF7EED5CC, 0x1FFFDE, 0x1FFA3FF, 0xFF, 0, 0,
	      0}},
	    {"StatsWB_EXP", words(VFE_DefaultStatsWB_EXP_CfgCmd), 40, 17, {0x1E, 0xFF000000, 0x1010101, 0, 0, 0xFF, 0, 0, 0}},
	    {"StatsHistogram", words(VFE_DefaultStatsHistogramCfgCmd), 24, 18, {0xE, 0x190012C, 0x3200258, 0xFF, 0}},
	    {"Output1Ack", words(VFE_DefaultOutput1AckCmd), 12, 19, {0, 0}},
	    {"Output2Ack", words(VFE_DefaultOutput2AckCmd), 12, 20, {0, 0}},
	    {"StatsAutofocusAck", words(VFE_DefaultStatsAutofocusAckCmd), 8, 21, {0}},
	    {"StatsWB_EXP_Ack", words(VFE_DefaultStatsWB_EXP_AckCmd), 8, 22, {0}},
	    {"Epoch1Ack", words(VFE_DefaultEpoch1AckCmd), 4, 23, {}},
	    {"Epoch2Ack", words(VFE_DefaultEpoch2AckCmd), 4, 24, {}},
	    {"StatsWB_EXP_Update", words(VFE_DefaultStatsWB_EXP_UpdateCmd), 20, 31, {0xFF000000, 0x1010101, 0, 0}},
	    {"ScaleOutput1", words(VFE_DefaultScaleOutput1CfgCmd), 292, 0, scale_words},
	    {"ScaleOutput2", words(VFE_DefaultScaleOutput2CfgCmd), 292, 1, scale_words},
	    {"RGB_Gamma", words(VFE_DefaultRGB_GammaCfgCmd), 1032, 2, {1}, 2},
	    {"Y_Gamma", words(VFE_DefaultY_GammaCfgCmd), 1032, 3, {1}, 2},
	    {"RollOff", words(VFE_DefaultRollOffCfgCmd), 520, 4, {0x2580320}},
	};
	for (const row &r : rows) {
		SCOPED_TRACE(r.name);
		ASSERT_EQ(r.got.size() * 4, r.bytes);
		std::vector<uint32_t> want(r.bytes / 4, 0);
		want[0] = r.number;
		std::copy(r.after.begin(), r.after.end(), want.begin() + 1);
		size_t n = r.checked ? r.checked : want.size();
		EXPECT_EQ(std::vector<uint32_t>(r.got.begin(), r.got.begin() + n), std::vector<uint32_t>(want.begin(), want.begin() + n));
	}
}

TEST(VfeRecords, ScalerCoefficientTableIsAFilter)
{
	for (const auto &row : PolyphaseFilterCoeffs)
		for (size_t phase = 0; phase < 16; ++phase) {
			int sum = 0;
			for (size_t t = 0; t < 4; ++t) {
				auto v = static_cast<int16_t>(row[phase * 4 + t]);
				EXPECT_GE(v, -512);
				EXPECT_LT(v, 512);
				sum += v;
			}
			EXPECT_EQ(sum, 512);
		}
	// The identity row passes the sample itself at phase 0, as near as
	// ten signed bits allow.
	EXPECT_EQ(PolyphaseFilterCoeffs[16][1], 511u);
}

const Recorded *find(const std::vector<Recorded> &log, unsigned long request, uint16_t queue, uint32_t number)
{
	for (const Recorded &r : log)
		if (r.request == request && (request != MSM_CAM_IOCTL_VFE_COMMAND || (r.queue == queue && r.number == number)))
			return &r;
	return nullptr;
}

TEST_F(CamConf, PreviewRecordsOfTheOv5642)
{
	ASSERT_EQ(set_dimension(1280, 960, 800, 480), 1);
	start_preview();
	auto log = kernel().log();
	// The sensor's window is 1280 pixels of two bytes by 960 lines; an
	// 800-wide output needs no CAMIF subsampling.
	const Recorded *camif = find(log, MSM_CAM_IOCTL_VFE_COMMAND, 25, 4);
	ASSERT_NE(camif, nullptr);
	EXPECT_EQ(words(camif->bytes), (std::vector<uint32_t>{4, 0x2, 0, 2560 | 960u << 14, 2559, 959, 0xFFFFFFFF, 0,
							   0xFFFFFFF}));
	const Recorded *region = find(log, MSM_CAM_IOCTL_VFE_COMMAND, 25, 5);
	ASSERT_NE(region, nullptr);
	EXPECT_EQ(words(region->bytes), (std::vector<uint32_t>{5, 1279, 959}));
	const Recorded *format = find(log, MSM_CAM_IOCTL_VFE_COMMAND, 25, 7);
	ASSERT_NE(format, nullptr);
	EXPECT_EQ(words(format->bytes), (std::vector<uint32_t>{7, 6, 0x800080, 0x800080}));
	const Recorded *crop = find(log, MSM_CAM_IOCTL_VFE_COMMAND, 25, 15);
	ASSERT_NE(crop, nullptr);
	EXPECT_EQ(words(crop->bytes), (std::vector<uint32_t>{15, 1279, 959}));
	const Recorded *start = find(log, MSM_CAM_IOCTL_VFE_COMMAND, 25, 1);
	ASSERT_NE(start, nullptr);
	// Continuous mode; of the processing bits only chroma subsampling.
	EXPECT_EQ(words(start->bytes), (std::vector<uint32_t>{1, 0x20, 0x40, 0}));
	const Recorded *skip = find(log, MSM_CAM_IOCTL_VFE_COMMAND, 25, 14);
	ASSERT_NE(skip, nullptr);
	EXPECT_EQ(words(skip->bytes), (std::vector<uint32_t>{14, 0x3FFFFFFE, 0x3FFFFFFE}));

	// Output 2 scaler: 1280 x 960 to 800 x 480. Vertically the M/N scaler
	// halves; horizontally the polyphase scaler takes 1280 to 800, row 4.
	const Recorded *scaler = find(log, MSM_CAM_IOCTL_VFE_COMMAND, 26, 1);
	ASSERT_NE(scaler, nullptr);
	vfe_rec<292> s{};
	ASSERT_EQ(scaler->bytes.size(), 292u);
	std::memcpy(s.w.data(), scaler->bytes.data(), 292);
	EXPECT_EQ(s.get(4, 1, 1), 0u);  // horizMN_Y_ScalerEnable
	EXPECT_EQ(s.get(4, 2, 1), 1u);  // horizPolyphaseY_ScalerEnable
	EXPECT_EQ(s.get(4, 3, 1), 1u);  // vertMN_Y_ScalerEnable
	EXPECT_EQ(s.get(4, 4, 1), 0u);  // vertPolyphaseY_ScalerEnable
	EXPECT_EQ(s.get(8, 0, 12), 1280u);
	EXPECT_EQ(s.get(10, 0, 12), 960u);
	EXPECT_EQ(s.get(12, 0, 12), 1280u);
	EXPECT_EQ(s.get(14, 0, 12), 480u);
	EXPECT_EQ(s.get(28, 0, 12), 1280u);
	EXPECT_EQ(s.get(30, 0, 12), 480u);
	EXPECT_EQ(s.get(32, 0, 12), 800u);
	EXPECT_EQ(s.get(34, 0, 12), 480u);
	EXPECT_EQ(s.get(30, 15, 1), 1u);  // loadY_Polyphase_ScalerCoefs
	// Phase 0 of the horizontal table: row 4, packed as the VFE reads it.
	const auto &row = PolyphaseFilterCoeffs[4];
	uint32_t c0 = row[0] & 0x3FF, c1 = row[1] & 0x3FF, c2 = row[2] & 0x3FF, c3 = row[3] & 0x3FF;
	EXPECT_EQ(scaler->bytes[164], c0 >> 2);
	EXPECT_EQ(s.w[(164 + 4) / 4], c3 | c2 << 10 | c1 << 20 | (c0 & 3) << 30);

	// AXI: output 2 only, Y then CbCr at half height, 100 words a line.
	const Recorded *axi = find(log, MSM_CAM_IOCTL_AXI_CONFIG, 0, 0);
	ASSERT_NE(axi, nullptr);
	auto a = words(axi->bytes);
	ASSERT_EQ(a.size(), 42u);
	EXPECT_EQ(a[0], 1u);
	EXPECT_EQ(a[1] & 7, 1u);  // outputMode: output 2
	EXPECT_EQ(a[6], 480u | 100u << 16);
	EXPECT_EQ(a[7], 1u | 480u << 2 | 100u << 14);
	EXPECT_EQ(a[8], 240u | 100u << 16);
	EXPECT_EQ(a[9], 1u | 240u << 2 | 100u << 14);
}

// The AXI record with its output 2 Y block and output mode replaced.
std::vector<uint32_t> raw_axi(uint32_t words_a_line, uint32_t lines)
{
	auto want = words(VFE_DefaultAXIOutputCfgCmd);
	want[1] = 1;  // outputMode: output 2 alone
	want[6] = lines | words_a_line << 16;
	want[7] = 1u | lines << 2 | words_a_line << 14;  // burst length as the default
	return want;
}

TEST_F(CamConf, RawSnapshotAxiRecordOfTheOv5642)
{
	start_preview();
	stop_preview();
	kernel().clear_log();
	ASSERT_EQ(send(CAMERA_START_RAW_SNAPSHOT).status, 1);
	idle();
	auto log = kernel().log();
	const Recorded *axi = find(log, MSM_CAM_IOCTL_AXI_CONFIG, 0, 0);
	ASSERT_NE(axi, nullptr);
	EXPECT_EQ(axi->cmd_type, 6u);
	EXPECT_EQ(axi->queue, 27u);
	// The 2592 x 1944 window is 5184 bytes a line: 648 words, 8 bytes each.
	// Not the output size: only output 2's Y block changes.
	EXPECT_EQ(words(axi->bytes), raw_axi(648, 1944));

	// Raw type 1 packs 6 samples a word; the window stays the snapshot's.
	sensor_ctrl_t &s = cfgctrl.sensorCtrl;
	s.raw_output_type = 1;
	kernel().clear_log();
	EXPECT_GE(vfe_snapshot_raw_axi_init(&cfgctrl), 0);
	log = kernel().log();
	axi = find(log, MSM_CAM_IOCTL_AXI_CONFIG, 0, 0);
	ASSERT_NE(axi, nullptr);
	EXPECT_EQ(words(axi->bytes), raw_axi(864, 1944));
	// Any other type has no line length: nothing goes to the DSP.
	s.raw_output_type = 2;
	kernel().clear_log();
	EXPECT_LT(vfe_snapshot_raw_axi_init(&cfgctrl), 0);
	EXPECT_EQ(count_requests(kernel().log(), MSM_CAM_IOCTL_AXI_CONFIG), 0u);
	s.raw_output_type = 0;
}

TEST_F(CamConf, SnapshotCommandOrder)
{
	cam_ctrl_dimension_t d{};
	d.picture_width = 2592;
	d.picture_height = 1944;
	d.display_width = 800;
	d.display_height = 480;
	d.ui_thumbnail_width = 320;
	d.ui_thumbnail_height = 240;
	ASSERT_EQ(send_bytes(CAMERA_SET_PARM_DIMENSION, &d, sizeof d).status, 1);
	start_preview();
	stop_preview();
	kernel().clear_log();
	ASSERT_EQ(send(CAMERA_START_SNAPSHOT).status, 1);
	ASSERT_EQ(state(), CAMERA_STATE_SNAPSHOT_STOPPED);
	std::vector<std::string> order;
	for (const Recorded &r : kernel().log()) {
		if (r.request == MSM_CAM_IOCTL_SENSOR_CFG)
			order.push_back("sensor " + std::to_string(r.queue));
		else if (r.request == MSM_CAM_IOCTL_SNAPSHOT_BEGIN)
			order.push_back("begin");
		else if (r.request == MSM_CAM_IOCTL_AXI_CONFIG)
			order.push_back("axi " + std::to_string(r.cmd_type));
		else if (r.request == MSM_CAM_IOCTL_VFE_COMMAND)
			order.push_back(std::to_string(r.queue) + ":" + std::to_string(r.number));
	}
	// Up to the start: what follows are the picture's frames and updates.
	auto end = std::find(order.begin(), order.end(), "25:1");
	ASSERT_NE(end, order.end());
	std::vector<std::string> got(order.begin(), end + 1);
	std::vector<std::string> want = {"25:0", "sensor 1", "begin", "25:4", "25:5", "25:7", "25:15", "26:0",
					 "26:1", "25:8", "25:14", "25:9", "axi 2", "25:1"};
	EXPECT_EQ(got, want);
	// The start record asks for one picture.
	auto log = kernel().log();
	const Recorded *start = find(log, MSM_CAM_IOCTL_VFE_COMMAND, 25, 1);
	ASSERT_NE(start, nullptr);
	EXPECT_EQ(start->bytes[4] & 0x3E, 0x02 | 1 << 2);
	// Both outputs: the thumbnail on 1, the picture on 2.
	idle();
	EXPECT_EQ(cfgctrl.vfeCtrl.output1_width, 320u);
	EXPECT_EQ(cfgctrl.vfeCtrl.output2_width, 2576u);  // within the 2591-pixel window
}

TEST(VfeDriver, RecordsOfTheWrongSizeAreRefused)
{
	board_dir();
	reset_board();
	kernel().reset();
	int fd = plat::open("/dev/msm_camera0", O_RDWR);
	ASSERT_GE(fd, 0);
	std::array<uint32_t, 4> reset{0, 0, 0, 0};
	vfe_command_t command{25, 8, reset.data()};
	vfe_cfg_cmd_t cfg{0, 8, 0, &command};
	EXPECT_EQ(plat::ioctl(fd, MSM_CAM_IOCTL_VFE_COMMAND, &cfg), -1);
	command.length = 4;  // right size, but no VFE module loaded yet
	EXPECT_EQ(plat::ioctl(fd, MSM_CAM_IOCTL_VFE_COMMAND, &cfg), -1);
	command.queue = 30;
	EXPECT_EQ(plat::ioctl(fd, MSM_CAM_IOCTL_VFE_COMMAND, &cfg), -1);
	command.value = nullptr;
	EXPECT_EQ(plat::ioctl(fd, MSM_CAM_IOCTL_VFE_COMMAND, &cfg), -1);
	EXPECT_EQ(plat::ioctl(fd, MSM_CAM_IOCTL_VFE_COMMAND, uintptr_t{0}), -1);
	EXPECT_EQ(plat::ioctl(fd, 0x40046D99, uintptr_t{0}), -1);
	plat::close(fd);
}

}  // namespace
}  // namespace camtest
