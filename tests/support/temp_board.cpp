#include "support/temp_board.h"

#include <cstdlib>
#include <unistd.h>
#include <vector>

#include "platform/platform.h"
#include "station/board.h"

namespace testing_support {

const std::string &use_temp_board(const std::map<std::string, std::string> &values)
{
	static const std::string root = [&values] {
		const char *base = std::getenv("TMPDIR");
		std::string templ = std::string(base && *base ? base : "/tmp") + "/ftm-unit-XXXXXX";
		std::vector<char> buf(templ.begin(), templ.end());
		buf.push_back('\0');
		std::string dir = ::mkdtemp(buf.data()) ? buf.data() : "/tmp";
		station::init_board(dir);
		for (const auto &[key, value] : values)
			station::set_board_value(dir, key, value);
		::setenv("FTM_BOARD", dir.c_str(), 1);
		plat::init();
		// Removed when the test binary ends.
		static struct Cleanup {
			std::string dir;
			~Cleanup()
			{
				std::string cmd = "rm -rf '" + dir + "'";
				int r = std::system(cmd.c_str());
				(void)r;
			}
		} cleanup{dir};
		return dir;
	}();
	return root;
}

}  // namespace testing_support
