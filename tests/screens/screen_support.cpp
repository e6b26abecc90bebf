#include "screen_support.h"

#include <cstdlib>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "station/png.h"

namespace screens_test {

void wait_taken(SimPhone &phone, int device)
{
	std::string fifo = phone.path("/dev/input/event" + std::to_string(device));
	int fd = ::open(fifo.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
	ASSERT_GE(fd, 0) << fifo;
	int pending = 1;
	for (int i = 0; i < 5000 && pending > 0; ++i) {
		if (::ioctl(fd, FIONREAD, &pending) != 0)
			break;
		if (pending > 0)
			::usleep(1000);
	}
	::close(fd);
	EXPECT_EQ(pending, 0) << "the daemon did not read " << fifo;
}

void key(SimPhone &phone, int code, int device)
{
	phone.press_key(code, device);
	wait_taken(phone, device);
	// The key step may read the device once more (to drain it): the next
	// event must wait until this step is over.
	settle(phone);
}

void touch(SimPhone &phone, int x, int y)
{
	phone.touch(x, y);
	wait_taken(phone, 1);
	settle(phone);
}

void settle(SimPhone &phone) { ASSERT_EQ(phone.ask("AT\n"), "OK\n"); }

void enter_fqc(SimPhone &phone)
{
	for (int i = 0; i < 5; ++i) {
		key(phone, 100);
		key(phone, 229);
	}
	settle(phone);
}

image panel(SimPhone &phone)
{
	std::string error;
	auto img = station::read_screen(phone.path(""), &error);
	EXPECT_TRUE(img.has_value()) << error;
	return img.value_or(image{});
}

int count(const image &img, rgb8 c, int x0, int y0, int x1, int y1)
{
	int n = 0;
	for (int y = std::max(y0, 0); y < std::min(y1, img.height); ++y)
		for (int x = std::max(x0, 0); x < std::min(x1, img.width); ++x)
			n += img.at(x, y) == c;
	return n;
}

::testing::AssertionResult matches_golden(const image &img, const std::string &name)
{
	std::string path = std::string(FTM_SOURCE_DIR) + "/tests/screens/golden/" + name + ".png";
	std::string error;
	if (std::getenv("FTM_UPDATE_GOLDEN")) {
		if (!station::write_png(path, img, &error))
			return ::testing::AssertionFailure() << error;
		return ::testing::AssertionSuccess() << "wrote " << path;
	}
	auto golden = station::read_png(path, &error);
	if (!golden)
		return ::testing::AssertionFailure() << error << " (FTM_UPDATE_GOLDEN=1 makes it)";
	std::string actual = ::testing::TempDir() + name + ".actual.png";
	if (golden->width != img.width || golden->height != img.height) {
		station::write_png(actual, img);
		return ::testing::AssertionFailure() << name << ": " << img.width << "x" << img.height << ", golden "
		                                     << golden->width << "x" << golden->height << "; see " << actual;
	}
	for (int y = 0; y < img.height; ++y)
		for (int x = 0; x < img.width; ++x)
			if (!(img.at(x, y) == golden->at(x, y))) {
				station::write_png(actual, img);
				return ::testing::AssertionFailure() << name << " differs first at (" << x << ", " << y
				                                     << "); see " << actual;
			}
	return ::testing::AssertionSuccess();
}

}  // namespace screens_test
