// The engine against libjpeg-turbo on the same picture, in turn: both fed
// the same YCbCr planes (raw data in: no colour conversion on either side;
// the semi-planar to planar split and libjpeg-turbo's MCU padding happen
// before the timing). Accurate integer DCT, annex K tables, quality 90,
// H2V2. Shared by jpeg_bench (Google Benchmark, host) and jpeg_ratio (a
// plain main, so the phone's build has it too).
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <vector>

#include "jpeg_check.h"

namespace jpeg_compare {

using namespace jpeg_check;
namespace jc = jpeg_client;

struct picture {
	yuv_image img;
	planes split_planes;
};

inline picture make(uint32_t w, uint32_t h)
{
	picture p;
	p.img = make_picture(w, h, jpeg::YCBCRLP_H2V2, 42);
	p.split_planes = split(p.img);
	return p;
}

// libjpeg-turbo on raw planes, as the tests' reference encoder but with the
// padding done once beforehand. The last file stays until the next encode.
struct turbo_encoder {
	jpeg_compress_struct cinfo{};
	jpeg_error_mgr err{};
	std::vector<plane> pad;
	uint32_t mcus_y = 0;
	unsigned char *mem = nullptr;
	unsigned long size = 0;

	explicit turbo_encoder(const planes &p)
	{
		cinfo.err = jpeg_std_error(&err);
		jpeg_create_compress(&cinfo);
		uint32_t mcus_x = (p.c[0].w + 15) / 16;
		mcus_y = (p.c[0].h + 15) / 16;
		int samp[3] = {2, 1, 1};
		pad.resize(3);
		for (int k = 0; k < 3; k++) {
			pad[k].w = mcus_x * 8 * samp[k];
			pad[k].h = mcus_y * 8 * samp[k];
			pad[k].px.resize(size_t(pad[k].w) * pad[k].h);
			for (uint32_t y = 0; y < pad[k].h; y++)
				for (uint32_t x = 0; x < pad[k].w; x++)
					pad[k].px[size_t(y) * pad[k].w + x] = p.c[k].at(std::min(x, p.c[k].w - 1), std::min(y, p.c[k].h - 1));
		}
		cinfo.image_width = p.c[0].w;
		cinfo.image_height = p.c[0].h;
	}
	~turbo_encoder()
	{
		jpeg_destroy_compress(&cinfo);
		free(mem);
	}
	turbo_encoder(const turbo_encoder &) = delete;
	turbo_encoder &operator=(const turbo_encoder &) = delete;

	size_t encode()
	{
		free(mem);
		mem = nullptr;
		size = 0;
		jpeg_mem_dest(&cinfo, &mem, &size);
		cinfo.input_components = 3;
		cinfo.in_color_space = JCS_YCbCr;
		jpeg_set_defaults(&cinfo);
		jpeg_set_quality(&cinfo, 90, TRUE);
		cinfo.dct_method = JDCT_ISLOW;
		cinfo.raw_data_in = TRUE;
		cinfo.comp_info[0].h_samp_factor = cinfo.comp_info[0].v_samp_factor = 2;
		jpeg_start_compress(&cinfo, TRUE);
		for (uint32_t m = 0; m < mcus_y; m++) {
			JSAMPROW rows[3][16];
			JSAMPARRAY arrays[3];
			for (int k = 0; k < 3; k++) {
				int n = k ? 8 : 16;
				for (int r = 0; r < n; r++)
					rows[k][r] = pad[k].px.data() + (size_t(m) * n + r) * pad[k].w;
				arrays[k] = rows[k];
			}
			jpeg_write_raw_data(&cinfo, arrays, 16);
		}
		jpeg_finish_compress(&cinfo);
		return size;
	}
	std::vector<uint8_t> last() const { return {mem, mem + size}; }
};

inline std::vector<uint8_t> ours_encode(const yuv_image &img, jpeg::jpege_obj_handle enc)
{
	jc::options opt;
	opt.quality = 90;
	opt.encoder = enc;
	return jc::encode(img, opt).bytes;
}

// Process CPU time counts all threads (ours encodes on threads of its own)
// and is steadier than wall time on a loaded machine.
inline double cpu_now()
{
	timespec ts{};
	clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
	return double(ts.tv_sec) + double(ts.tv_nsec) * 1e-9;
}

struct totals {
	double wall = 0, cpu = 0;
};

// Rounds of one encode each, ours first; sums the times of each side.
class comparison {
public:
	explicit comparison(const picture &p) : p_(p), turbo_(p.split_planes) { jpeg::jpege_init(&enc_, jc::on_event); }
	~comparison() { jpeg::jpege_destroy(&enc_); }
	comparison(const comparison &) = delete;
	comparison &operator=(const comparison &) = delete;

	void round()
	{
		using clock = std::chrono::steady_clock;
		double c0 = cpu_now();
		auto t0 = clock::now();
		ours_ = ours_encode(p_.img, enc_);
		auto t1 = clock::now();
		double c1 = cpu_now();
		turbo_.encode();
		auto t2 = clock::now();
		double c2 = cpu_now();
		ours_t_.cpu += c1 - c0;
		theirs_t_.cpu += c2 - c1;
		ours_t_.wall += std::chrono::duration<double>(t1 - t0).count();
		theirs_t_.wall += std::chrono::duration<double>(t2 - t1).count();
		++rounds_;
	}
	// Forgets the times so far (after a warm-up round).
	void reset()
	{
		ours_t_ = theirs_t_ = {};
		rounds_ = 0;
	}

	int rounds() const { return rounds_; }
	const totals &ours() const { return ours_t_; }
	const totals &theirs() const { return theirs_t_; }
	const std::vector<uint8_t> &ours_file() const { return ours_; }
	std::vector<uint8_t> theirs_file() const { return turbo_.last(); }
	const planes &source() const { return p_.split_planes; }

private:
	const picture &p_;
	turbo_encoder turbo_;
	jpeg::jpege_obj_handle enc_ = nullptr;
	std::vector<uint8_t> ours_;
	totals ours_t_, theirs_t_;
	int rounds_ = 0;
};

// PSNR of a file against the source planes, luma and chroma together; 0 if
// it does not decode.
inline double file_psnr(const std::vector<uint8_t> &file, const planes &source)
{
	decoded d = decode(file);
	return d.ok ? psnr(d.p, source) : 0;
}

}  // namespace jpeg_compare
