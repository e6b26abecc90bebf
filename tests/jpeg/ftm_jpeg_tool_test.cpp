// The ftm-jpeg tool end to end, checked by libjpeg-turbo's djpeg (no
// warning) and by exiftool (tags and thumbnail read back).
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <sys/wait.h>

#include "jpeg_check.h"
#include "support/sim_phone.h"

namespace fs = std::filesystem;
using namespace jpeg_check;

namespace {

struct run_result {
	int status;
	std::string out;
};

run_result sh(const std::string &cmd)
{
	run_result r{-1, {}};
	FILE *p = popen((cmd + " 2>&1").c_str(), "r");
	if (!p)
		return r;
	char buf[4096];
	size_t n;
	while ((n = fread(buf, 1, sizeof buf, p)) > 0)
		r.out.append(buf, n);
	r.status = pclose(p);
	return r;
}

bool have(const char *tool) { return sh(std::string("command -v ") + tool).status == 0; }

struct workdir {
	fs::path dir;
	workdir()
	{
		char tmpl[] = "/tmp/ftm-jpeg-test-XXXXXX";
		dir = mkdtemp(tmpl);
	}
	~workdir() { fs::remove_all(dir); }
	std::string path(const char *name) const { return (dir / name).string(); }
};

void write_raw(const std::string &path, const yuv_image &img)
{
	std::ofstream f(path, std::ios::binary);
	f.write(reinterpret_cast<const char *>(img.luma.data()), std::streamsize(img.luma.size()));
	f.write(reinterpret_cast<const char *>(img.chroma.data()), std::streamsize(img.chroma.size()));
}

const std::string tool = testing_support::program_command("ftm-jpeg");

}  // namespace

TEST(FtmJpegTool, DjpegAndExiftoolReadWhatWeWrite)
{
	if (!have("djpeg") || !have("exiftool"))
		GTEST_SKIP() << "djpeg or exiftool missing: run scripts/setup.sh";
	workdir w;
	struct job {
		const char *format, *order;
		uint32_t fmt, rotation, restart;
	};
	for (job j : {job{"h2v2", "crcb", 0, 0, 0}, job{"h2v1", "cbcr", 3, 90, 4}, job{"h1v2", "crcb", 4, 180, 1},
	              job{"h1v1", "cbcr", 7, 270, 7}}) {
		SCOPED_TRACE(j.format);
		yuv_image img = make_picture(211, 143, j.fmt, 11);
		write_raw(w.path("in.yuv"), img);
		std::ostringstream cmd;
		cmd << tool << " -s 211x143 -f " << j.format << " -c " << j.order << " -q 85 -r " << j.rotation << " -i "
		    << j.restart << " -t 64x48 " << w.path("in.yuv") << " " << w.path("out.jpg");
		run_result enc = sh(cmd.str());
		ASSERT_EQ(enc.status, 0) << enc.out;

		run_result dj = sh("djpeg -outfile " + w.path("out.ppm") + " " + w.path("out.jpg"));
		EXPECT_EQ(dj.status, 0);
		EXPECT_EQ(dj.out, "");  // not a single warning
		std::ifstream ppm(w.path("out.ppm"));
		std::string magic;
		uint32_t pw = 0, ph = 0;
		ppm >> magic >> pw >> ph;
		EXPECT_EQ(magic, "P6");
		bool turned = j.rotation % 180 != 0;
		EXPECT_EQ(pw, turned ? 143u : 211u);
		EXPECT_EQ(ph, turned ? 211u : 143u);

		run_result ex = sh("exiftool -s -s -s -Make -Model -ExifImageWidth -InteropIndex -ThumbnailLength " +
		                   w.path("out.jpg"));
		EXPECT_EQ(ex.status, 0);
		std::istringstream lines(ex.out);
		std::string make, model, width, interop, tn_len;
		std::getline(lines, make);
		std::getline(lines, model);
		std::getline(lines, width);
		std::getline(lines, interop);
		std::getline(lines, tn_len);
		EXPECT_EQ(make, "SOC-AA");
		EXPECT_EQ(model, "CAM-AA");
		EXPECT_EQ(width, turned ? "143" : "211");
		EXPECT_EQ(interop.substr(0, 3), "R98");
		EXPECT_GT(atoi(tn_len.c_str()), 100);
		run_result warn = sh("exiftool -validate -warning -a -s -s -s " + w.path("out.jpg"));
		EXPECT_EQ(warn.out.find("Error"), std::string::npos) << warn.out;

		run_result tn = sh("exiftool -b -ThumbnailImage " + w.path("out.jpg") + " > " + w.path("tn.jpg") +
		                   " && djpeg -outfile /dev/null " + w.path("tn.jpg"));
		EXPECT_EQ(tn.status, 0);
		EXPECT_EQ(tn.out, "");
	}
}

TEST(FtmJpegTool, RefusesBadArgumentsAndShortFiles)
{
	workdir w;
	yuv_image img = make_picture(16, 16, 0);
	write_raw(w.path("in.yuv"), img);
	const std::string files = " " + w.path("in.yuv") + " " + w.path("o.jpg");
	// Each bad argument is named, with exit status 2, before any encoding.
	const struct {
		std::string args, names;
	} bad[] = {
		{files, "--size is required"},
		{"-s 16x16 -f h3v3" + files, "--format: h3v3"},
		{"-s 16x16 -c rgb" + files, "--chroma: rgb"},
		{"-s 16x16 -q 0" + files, "--quality: Value 0"},
		{"-s 16x16 -q 101" + files, "--quality: Value 101"},
		{"-s 16x16 -q high" + files, "--quality"},
		{"-s 16x16 -r 45" + files, "--rotation: 45"},
		{"-s 16x16 -r 360" + files, "--rotation: 360"},
		{"-s 0x16" + files, "--size: '0x16'"},
		{"-s 16x-4" + files, "--size: '16x-4'"},
		{"-s 16by16" + files, "--size: '16by16'"},
		{"-s 16x16 -t 8x" + files, "--thumbnail: '8x'"},
		{"-s 16x16 -i 65536" + files, "--restart: Value 65536"},
		{"-s 16x16 -i -1" + files, "--restart"},
		{"-s 16x16 -e gpu" + files, "--engine: gpu"},
		{"-s 16x16 -x" + files, "not expected: -x"},
		{"-s 16x16 " + w.path("in.yuv"), "output is required"},
	};
	for (const auto &b : bad) {
		run_result r = sh(tool + " " + b.args);
		EXPECT_EQ(WEXITSTATUS(r.status), 2) << b.args << ": " << r.out;
		EXPECT_NE(r.out.find(b.names), std::string::npos) << b.args << ": " << r.out;
		EXPECT_EQ(r.out.find("jpege_start"), std::string::npos) << r.out;
	}
	EXPECT_FALSE(fs::exists(w.path("o.jpg")));
	run_result short_file = sh(tool + " -s 16x17" + files);
	EXPECT_EQ(WEXITSTATUS(short_file.status), 1) << short_file.out;
	EXPECT_NE(short_file.out.find("holds 384 bytes, 16x17 needs"), std::string::npos) << short_file.out;
	// The edges of each range are taken.
	for (const char *edge : {"-q 1 -r 270 -i 65535", "-q 100 -r 90 -i 0 -e sw -f h2v2 -c cbcr -j"}) {
		run_result ok = sh(tool + " -s 16x16 " + edge + files);
		EXPECT_EQ(ok.status, 0) << edge << ": " << ok.out;
	}
}

TEST(FtmJpegTool, HelpIsAUsageRequest)
{
	for (const char *flag : {"-h", "--help"}) {
		run_result r = sh(tool + " " + flag);
		EXPECT_EQ(WEXITSTATUS(r.status), 0) << flag;
		EXPECT_NE(r.out.find("Usage: ftm-jpeg [OPTIONS] input output"), std::string::npos) << r.out;
		for (const char *option : {"-s,--size", "-f,--format", "-c,--chroma", "-q,--quality", "-r,--rotation",
		                           "-i,--restart", "-t,--thumbnail", "-j,--jfif", "-e,--engine"})
			EXPECT_NE(r.out.find(option), std::string::npos) << option;
	}
}
