// The engine against libjpeg-turbo without Google Benchmark, so that the
// phone's build (run under qemu-arm) has the comparison too. One line per
// picture: times of each side (CPU of the process, and wall), their ratio,
// both sizes and both PSNRs against the source.
//   jpeg_ratio [rounds]      rounds per picture after one warm-up, default 5
// Exits 1 if a file does not decode; the times decide nothing.
#include <cstdio>
#include <cstdlib>

#include "jpeg_compare.h"

int main(int argc, char **argv)
{
	using namespace jpeg_compare;
	int rounds = argc > 1 ? std::atoi(argv[1]) : 5;
	if (rounds < 1 || rounds > 1000) {
		std::fprintf(stderr, "usage: jpeg_ratio [rounds 1..1000]\n");
		return 2;
	}
	std::printf("%-11s %12s %12s %10s %12s %12s %10s %9s %9s %9s\n", "picture", "ours_cpu_ms", "turbo_cpu_ms",
	            "cpu_ratio", "ours_ms", "turbo_ms", "ratio", "ours_B", "turbo_B", "psnr_dB");
	std::fflush(stdout);
	bool decoded = true;
	const uint32_t sizes[][2] = {{640, 480}, {2592, 1944}};
	for (const auto &s : sizes) {
		picture p = make(s[0], s[1]);
		comparison c(p);
		c.round();  // warm-up: first touches of memory (and an emulator's translation)
		c.reset();
		for (int i = 0; i < rounds; i++)
			c.round();
		double n = c.rounds();
		double ours_psnr = file_psnr(c.ours_file(), c.source());
		double theirs_psnr = file_psnr(c.theirs_file(), c.source());
		decoded = decoded && ours_psnr > 0 && theirs_psnr > 0;
		char name[24];
		std::snprintf(name, sizeof name, "%ux%u", s[0], s[1]);
		std::printf("%-11s %12.2f %12.2f %10.3f %12.2f %12.2f %10.3f %9zu %9zu %4.2f/%4.2f\n", name,
		            c.ours().cpu / n * 1e3, c.theirs().cpu / n * 1e3, c.ours().cpu / c.theirs().cpu,
		            c.ours().wall / n * 1e3, c.theirs().wall / n * 1e3, c.ours().wall / c.theirs().wall,
		            c.ours_file().size(), c.theirs_file().size(), ours_psnr, theirs_psnr);
		std::fflush(stdout);  // a line as soon as it is known: an emulated run is long
	}
	if (!decoded)
		std::fprintf(stderr, "jpeg_ratio: a file does not decode\n");
	return decoded ? 0 : 1;
}
