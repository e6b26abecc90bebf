#include "hal/battery.h"

#include "ftm/debug.h"
#include "ftm/graphics.h"
#include "ftm/handlers.h"
#include "hal/fqc_text.h"
#include "hal/hal.h"
#include "platform/platform.h"

namespace hal {

int battery_test(int n)
{
	int fd = -1;
	int r = get_battery_fd(&fd);
	if (r != 0) {
		DBG("Open file faild\n");
		return r;
	}
	if (n >= BATTERY_IOCTL_COUNT) {
		DBG("Unknow ioctl command\n");
		return 1;
	}
	battery_value data = 0;
	int ret = plat::ioctl(fd, BATTERY_IOCTL_BASE + static_cast<unsigned long>(n), &data);
	if (n == BATTERY_ID) {
		DBG("ret = %02x, \n", ret);
		DBG("data = %02x, \n", data);
	}
	if (ret != 0) {
		switch (ret) {
		case BATTERY_ERR_COPY: DBG("Transfer data from kernel error\n"); break;
		case BATTERY_ERR_COMMAND: DBG("Unknow command\n"); break;
		case BATTERY_ERR_READ: DBG("Get battery information failed\n"); break;
		default: break;
		}
		return 1;
	}
	return data;
}

void fqc_battery_test()
{
	ftm::lcd_clear();
	int id = battery_test(BATTERY_ID);
	if (id == 1)
		ftm::draw_str(FQC_TEXT_X, fqc_line_y(0), FQC_TEXT_R, FQC_TEXT_G, FQC_TEXT_B, FQC_TEXT_SCALE,
		              "Get Battery ID : Failed");
	else
		ftm::draw_str(FQC_TEXT_X, fqc_line_y(0), FQC_TEXT_R, FQC_TEXT_G, FQC_TEXT_B, FQC_TEXT_SCALE,
		              "Get Battery ID : 0x%2x", id);
	plat::sleep(2);
	int mv = battery_test(BATTERY_VOLTAGE);
	// The millivolts print without leading zeros: 3070 shows as 3.70 V.
	if (mv > 3000 && mv < 4500)
		ftm::draw_str(FQC_TEXT_X, fqc_line_y(1), FQC_TEXT_R, FQC_TEXT_G, FQC_TEXT_B, FQC_TEXT_SCALE,
		              "Get Battery VOL: %d.%d V", mv / 1000, mv % 1000);
	else
		ftm::draw_str(FQC_TEXT_X, fqc_line_y(1), FQC_TEXT_R, FQC_TEXT_G, FQC_TEXT_B, FQC_TEXT_SCALE,
		              "Get Battery VOL: Failed");
	plat::sleep(2);
}

}  // namespace hal

namespace ftm {

int at_battery_ID_test(tapp_record *)
{
	int id = hal::battery_test(hal::BATTERY_ID);
	DBG("BID = %02x, \n", id);
	return 0;
}

}  // namespace ftm
