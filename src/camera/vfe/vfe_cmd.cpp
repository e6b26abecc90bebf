// The default contents of the VFE command records.
#include "camera/vfe/vfe_cmd.h"

#include <initializer_list>

namespace cam {

vfe_cmd_block_t vfe_cmd_block;

namespace {

template <size_t N>
constexpr vfe_rec<N> rec(std::initializer_list<uint32_t> words)
{
	vfe_rec<N> r{};
	size_t i = 0;
	for (uint32_t word : words)
		if (i < r.w.size())
			r.w[i++] = word;
	return r;
}

// The default gamma: a straight line over the 1024 entries.
template <size_t N>
constexpr vfe_rec<N> gamma_rec(uint32_t number)
{
	vfe_rec<N> r{};
	r.w[0] = number;
	r.w[1] = 1;
	for (size_t i = 0; i < 1024; ++i)
		r.w[2 + i / 4] |= static_cast<uint32_t>(i * 255 / 1023) << (8 * (i % 4));
	return r;
}

constexpr std::initializer_list<uint32_t> scale_defaults = {
	0xCA, 0x4AA0634, 0xF00140, 0x4AA0634, 0xF00140, 0, 0x4AA0634, 0xF00140};

template <size_t N>
constexpr vfe_rec<N> scale_rec(uint32_t number)
{
	vfe_rec<N> r{};
	r.w[0] = number;
	size_t i = 1;
	for (uint32_t word : scale_defaults)
		r.w[i++] = word;
	return r;
}

}  // namespace

const vfe_rec<4> VFE_DefaultResetCmd = rec<4>({VFE_CMD_RESET});
const vfe_rec<16> VFE_DefaultStartCmd = rec<16>({VFE_CMD_START, 0x20, 0x47, 0});
const vfe_rec<4> VFE_DefaultStopCmd = rec<4>({VFE_CMD_STOP});
const vfe_rec<4> VFE_DefaultUpdateCmd = rec<4>({VFE_CMD_UPDATE});
const vfe_rec<36> VFE_DefaultCAMIFCfgCmd =
    rec<36>({VFE_CMD_CAMIF_CFG, 0, 0, 0x12C0640, 0x63F, 0x4AF, 0xFFFFFFFF, 0, 0xFFFFFFF});
const vfe_rec<12> VFE_DefaultActiveRegionCfgCmd = rec<12>({VFE_CMD_ACTIVE_REGION_CFG, 0x63F, 0x4AF});
const vfe_rec<24> VFE_DefaultDemosaicCfgCmd =
    rec<24>({VFE_CMD_DEMOSAIC_CFG, 0x7F0030, 0x3FF, 0x3FF000F, 0xFFFFFF, 0xFFF});
const vfe_rec<16> VFE_DefaultInputFormatCfgCmd = rec<16>({VFE_CMD_INPUT_FORMAT_CFG, 2, 0x800080, 0x800080});
const vfe_rec<12> VFE_DefaultOutputClampCfgCmd = rec<12>({VFE_CMD_OUTPUT_CLAMP_CFG, 0xFFFFFF, 0});
const vfe_rec<8> VFE_DefaultChromaSubsampleCfgCmd = rec<8>({VFE_CMD_CHROMA_SUBSAMPLE_CFG, 1});
const vfe_rec<20> VFE_DefaultBlackLevelCfgCmd = rec<20>({VFE_CMD_BLACK_LEVEL_CFG});
const vfe_rec<8> VFE_DefaultWhiteBalanceCfgCmd = rec<8>({VFE_CMD_WHITE_BALANCE_CFG, 0x201A880});
const vfe_rec<60> VFE_DefaultColorProcessingCfgCmd =
    rec<60>({VFE_CMD_COLOR_PROCESSING_CFG, 0xF6C021C, 0xF78, 0x27E0EEE, 0xF9A, 0xF660FA4, 0x1F6, 1, 0x800080,
	     0x7AA07AA, 0x800080, 0x7D607D6, 0x800080, 0x96004D, 0x1D});
const vfe_rec<32> VFE_DefaultAdaptiveFilterCfgCmd = rec<32>({VFE_CMD_ADAPTIVE_FILTER_CFG});
const vfe_rec<12> VFE_DefaultFrameSkipCfgCmd = rec<12>({VFE_CMD_FRAME_SKIP_CFG, 0x3FFFFFFF, 0x3FFFFFFF});
const vfe_rec<12> VFE_DefaultFOV_CropCfgCmd = rec<12>({VFE_CMD_FOV_CROP_CFG, 0x28003BF, 0x1E002CF});
const vfe_rec<56> VFE_DefaultStatsAutofocusCfgCmd =
    rec<56>({VFE_CMD_STATS_AF_CFG, 0x1E, 0x190012C, 0x3200258, 0x3B221900, 0x7F665D44, 0xB3AA9188, 0xF7EED5CC,
	     0x1FFFDE, 0x1FFA3FF, 0xFF, 0, 0, 0});
const vfe_rec<40> VFE_DefaultStatsWB_EXP_CfgCmd =
    rec<40>({VFE_CMD_STATS_WB_EXP_CFG, 0x1E, 0xFF000000, 0x1010101, 0, 0, 0xFF, 0, 0, 0});
const vfe_rec<24> VFE_DefaultStatsHistogramCfgCmd =
    rec<24>({VFE_CMD_STATS_HIST_CFG, 0xE, 0x190012C, 0x3200258, 0xFF, 0});
const vfe_rec<12> VFE_DefaultOutput1AckCmd = rec<12>({VFE_CMD_OUTPUT1_ACK, 0, 0});
const vfe_rec<12> VFE_DefaultOutput2AckCmd = rec<12>({VFE_CMD_OUTPUT2_ACK, 0, 0});
const vfe_rec<8> VFE_DefaultStatsAutofocusAckCmd = rec<8>({VFE_CMD_STATS_AF_ACK, 0});
const vfe_rec<8> VFE_DefaultStatsWB_EXP_AckCmd = rec<8>({VFE_CMD_STATS_WB_EXP_ACK, 0});
const vfe_rec<4> VFE_DefaultEpoch1AckCmd = rec<4>({VFE_CMD_EPOCH1_ACK});
const vfe_rec<4> VFE_DefaultEpoch2AckCmd = rec<4>({VFE_CMD_EPOCH2_ACK});
const vfe_rec<20> VFE_DefaultStatsWB_EXP_UpdateCmd =
    rec<20>({VFE_CMD_STATS_WB_EXP_UPDATE, 0xFF000000, 0x1010101, 0, 0});
const vfe_rec<292> VFE_DefaultScaleOutput1CfgCmd = scale_rec<292>(VFE_CMD_SCALE_OUTPUT1_CFG);
const vfe_rec<292> VFE_DefaultScaleOutput2CfgCmd = scale_rec<292>(VFE_CMD_SCALE_OUTPUT2_CFG);
const vfe_rec<1032> VFE_DefaultRGB_GammaCfgCmd = gamma_rec<1032>(VFE_CMD_RGB_GAMMA_CFG);
const vfe_rec<1032> VFE_DefaultY_GammaCfgCmd = gamma_rec<1032>(VFE_CMD_Y_GAMMA_CFG);
const vfe_rec<520> VFE_DefaultRollOffCfgCmd = rec<520>({VFE_CMD_ROLL_OFF_CFG, 0x2580320});
const vfe_rec<72> VFE_DefaultAXIInputCfgCmd =
    rec<72>({0, 0, 0x780064, 0x320191, 0xE078064, 0x14831040, 0x7B, 0x14831040, 0x7B});
const vfe_rec<168> VFE_DefaultAXIOutputCfgCmd = rec<168>(
    {1, 0, 0x2800F0, 0xA03C1, 0x280078, 0xA01E1, 0x2800F0, 0xA03C1, 0x280078, 0xA01E1});

size_t vfe_record_size(uint16_t queue, uint32_t number)
{
	static constexpr std::array<uint16_t, 32> cmd_queue = {
	    4, 16, 4, 4, 36, 12, 24, 16, 12, 8, 20, 8, 60, 32, 12, 12,
	    56, 40, 24, 12, 12, 8, 8, 4, 4, 0, 0, 0, 0, 0, 0, 20};
	switch (queue) {
	case VFE_QUEUE_CMD:
		return number < cmd_queue.size() ? cmd_queue[number] : 0;
	case VFE_QUEUE_SCALER:
		return number <= 1 ? 292 : 0;
	case VFE_QUEUE_TABLE:
		if (number == VFE_CMD_RGB_GAMMA_CFG || number == VFE_CMD_Y_GAMMA_CFG)
			return 1032;
		if (number == VFE_CMD_ROLL_OFF_CFG)
			return 520;
		return number == 1 ? 168 : 0;  // the AXI output record, whose header is 1
	default:
		return 0;
	}
}

}  // namespace cam
