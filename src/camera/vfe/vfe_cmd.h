// The VFE's command records: fixed little-endian records with the command
// number in the first word, one static instance of each.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

namespace cam {

static_assert(std::endian::native == std::endian::little, "records are laid out little endian");

enum : uint16_t { VFE_QUEUE_CMD = 25, VFE_QUEUE_SCALER = 26, VFE_QUEUE_TABLE = 27 };

enum : uint32_t {
	VFE_CMD_RESET = 0,
	VFE_CMD_START = 1,
	VFE_CMD_STOP = 2,
	VFE_CMD_UPDATE = 3,
	VFE_CMD_CAMIF_CFG = 4,
	VFE_CMD_ACTIVE_REGION_CFG = 5,
	VFE_CMD_DEMOSAIC_CFG = 6,
	VFE_CMD_INPUT_FORMAT_CFG = 7,
	VFE_CMD_OUTPUT_CLAMP_CFG = 8,
	VFE_CMD_CHROMA_SUBSAMPLE_CFG = 9,
	VFE_CMD_BLACK_LEVEL_CFG = 10,
	VFE_CMD_WHITE_BALANCE_CFG = 11,
	VFE_CMD_COLOR_PROCESSING_CFG = 12,
	VFE_CMD_ADAPTIVE_FILTER_CFG = 13,
	VFE_CMD_FRAME_SKIP_CFG = 14,
	VFE_CMD_FOV_CROP_CFG = 15,
	VFE_CMD_STATS_AF_CFG = 16,
	VFE_CMD_STATS_WB_EXP_CFG = 17,
	VFE_CMD_STATS_HIST_CFG = 18,
	VFE_CMD_OUTPUT1_ACK = 19,
	VFE_CMD_OUTPUT2_ACK = 20,
	VFE_CMD_STATS_AF_ACK = 21,
	VFE_CMD_STATS_WB_EXP_ACK = 22,
	VFE_CMD_EPOCH1_ACK = 23,
	VFE_CMD_EPOCH2_ACK = 24,
	VFE_CMD_SYNC_TIMER = 25,  // needs no update, like the update itself
	VFE_CMD_STATS_WB_EXP_UPDATE = 31,
	// Scaler queue.
	VFE_CMD_SCALE_OUTPUT1_CFG = 0,
	VFE_CMD_SCALE_OUTPUT2_CFG = 1,
	// Table queue.
	VFE_CMD_RGB_GAMMA_CFG = 2,
	VFE_CMD_Y_GAMMA_CFG = 3,
	VFE_CMD_ROLL_OFF_CFG = 4,
};

// Record of N bytes. Fields are addressed as the hardware documents them:
// a byte offset, a first bit within it and a width, never across a word.
template <size_t N>
struct vfe_rec {
	static_assert(N % 4 == 0);
	static constexpr size_t bytes = N;
	std::array<uint32_t, N / 4> w{};

	constexpr uint32_t get(size_t off, unsigned bit, unsigned width) const
	{
		size_t abs = off * 8 + bit;
		uint32_t mask = width >= 32 ? 0xFFFFFFFFu : ((1u << width) - 1);
		return (w[abs / 32] >> (abs % 32)) & mask;
	}
	constexpr void set(size_t off, unsigned bit, unsigned width, uint32_t value)
	{
		size_t abs = off * 8 + bit;
		unsigned shift = abs % 32;
		uint32_t mask = width >= 32 ? 0xFFFFFFFFu : ((1u << width) - 1);
		uint32_t &word = w[abs / 32];
		word = (word & ~(mask << shift)) | ((value & mask) << shift);
	}
	void *data() { return w.data(); }
	const void *data() const { return w.data(); }
	uint32_t number() const { return w[0]; }
};

// A signed value as a field of that width holds it, two's complement.
constexpr uint32_t vfe_field(int32_t v, unsigned width) { return static_cast<uint32_t>(v) & ((1u << width) - 1); }

// Roll-off record: the centre, 12 bits in 16 each; then 32 rows of the
// squared radius and, for r, g and b, a word of the slope towards the next
// ring (bits 0 to 18) and the Q10 gain (bits 19 to 31).
constexpr size_t VFE_ROLLOFF_CX_AT = 4, VFE_ROLLOFF_CY_AT = 6, VFE_ROLLOFF_ROWS_AT = 8, VFE_ROLLOFF_ROW_BYTES = 16;
// Adaptive filter record: sharp mode, the Q of the matrix, the lower and
// upper edge thresholds, a byte each; nine 16-bit coefficients row by row.
constexpr size_t VFE_ASF_MODE_AT = 4, VFE_ASF_Q_AT = 5, VFE_ASF_THRESHOLD_AT = 6, VFE_ASF_COEF_AT = 8;

// Every record, in the order of the static block.
struct vfe_cmd_block_t {
	vfe_rec<24> VFE_DemosaicCfgCmd;
	vfe_rec<36> VFE_CAMIFCfgCmd;
	vfe_rec<16> VFE_InputFormatCfgCmd;
	vfe_rec<12> VFE_ActiveRegionCfgCmd;
	vfe_rec<12> VFE_FOV_CropCfgCmd;
	vfe_rec<292> VFE_ScaleOutput1CfgCmd;
	vfe_rec<292> VFE_ScaleOutput2CfgCmd;
	vfe_rec<12> VFE_OutputClampCfgCmd;
	vfe_rec<60> VFE_ColorProcessingCfgCmd;
	vfe_rec<60> VFE_ColorProcessingCfgCmd2;  // the record of a colour effect
	vfe_rec<12> VFE_FrameSkipCfgCmd;
	vfe_rec<8> VFE_ChromaSubsampleCfgCmd;
	vfe_rec<8> VFE_WhiteBalanceCfgCmd;
	vfe_rec<72> VFE_AXIInputCfgCmd;
	vfe_rec<168> VFE_AXIOutputCfgCmd;
	vfe_rec<20> VFE_BlackLevelCfgCmd;
	vfe_rec<20> VFE_BlackLevelCfgCmdCopy;
	vfe_rec<32> VFE_AdaptiveFilterCfgCmd;
	vfe_rec<520> VFE_RollOffCfgCmd;
	vfe_rec<8> VFE_StatsAutofocusAckCmd;
	vfe_rec<8> VFE_StatsWB_EXP_AckCmd;
	vfe_rec<4> VFE_UpdateCmd;
	vfe_rec<16> VFE_StartCmd;
	vfe_rec<40> VFE_StatsWB_EXP_CfgCmd;
	vfe_rec<20> VFE_StatsWB_EXP_UpdateCmd;
	vfe_rec<40> VFE_StatsWB_EXP_Work;
	vfe_rec<56> VFE_StatsAutofocusCfgCmd;
	vfe_rec<1032> VFE_RGB_GammaCfgCmd;
	vfe_rec<1032> VFE_Y_GammaCfgCmd;
	vfe_rec<4> VFE_ResetCmd;
	vfe_rec<4> VFE_StopCmd;
	vfe_rec<16> VFE_StartCmdSpare;
};

// The one static block; queued commands point into it.
extern vfe_cmd_block_t vfe_cmd_block;

// The default records.
extern const vfe_rec<4> VFE_DefaultResetCmd;
extern const vfe_rec<16> VFE_DefaultStartCmd;
extern const vfe_rec<4> VFE_DefaultStopCmd;
extern const vfe_rec<4> VFE_DefaultUpdateCmd;
extern const vfe_rec<36> VFE_DefaultCAMIFCfgCmd;
extern const vfe_rec<12> VFE_DefaultActiveRegionCfgCmd;
extern const vfe_rec<24> VFE_DefaultDemosaicCfgCmd;
extern const vfe_rec<16> VFE_DefaultInputFormatCfgCmd;
extern const vfe_rec<12> VFE_DefaultOutputClampCfgCmd;
extern const vfe_rec<8> VFE_DefaultChromaSubsampleCfgCmd;
extern const vfe_rec<20> VFE_DefaultBlackLevelCfgCmd;
extern const vfe_rec<8> VFE_DefaultWhiteBalanceCfgCmd;
extern const vfe_rec<60> VFE_DefaultColorProcessingCfgCmd;
extern const vfe_rec<32> VFE_DefaultAdaptiveFilterCfgCmd;
extern const vfe_rec<12> VFE_DefaultFrameSkipCfgCmd;
extern const vfe_rec<12> VFE_DefaultFOV_CropCfgCmd;
extern const vfe_rec<56> VFE_DefaultStatsAutofocusCfgCmd;
extern const vfe_rec<40> VFE_DefaultStatsWB_EXP_CfgCmd;
extern const vfe_rec<24> VFE_DefaultStatsHistogramCfgCmd;
extern const vfe_rec<12> VFE_DefaultOutput1AckCmd;
extern const vfe_rec<12> VFE_DefaultOutput2AckCmd;
extern const vfe_rec<8> VFE_DefaultStatsAutofocusAckCmd;
extern const vfe_rec<8> VFE_DefaultStatsWB_EXP_AckCmd;
extern const vfe_rec<4> VFE_DefaultEpoch1AckCmd;
extern const vfe_rec<4> VFE_DefaultEpoch2AckCmd;
extern const vfe_rec<20> VFE_DefaultStatsWB_EXP_UpdateCmd;
extern const vfe_rec<292> VFE_DefaultScaleOutput1CfgCmd;
extern const vfe_rec<292> VFE_DefaultScaleOutput2CfgCmd;
extern const vfe_rec<1032> VFE_DefaultRGB_GammaCfgCmd;
extern const vfe_rec<1032> VFE_DefaultY_GammaCfgCmd;
extern const vfe_rec<520> VFE_DefaultRollOffCfgCmd;
extern const vfe_rec<72> VFE_DefaultAXIInputCfgCmd;
extern const vfe_rec<168> VFE_DefaultAXIOutputCfgCmd;

// The size the DSP expects of a record, by queue and number; 0 if unknown.
// The simulated DSP checks what it is given against this.
size_t vfe_record_size(uint16_t queue, uint32_t number);

}  // namespace cam
