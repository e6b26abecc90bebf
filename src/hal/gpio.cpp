#include "hal/gpio.h"

#include <fcntl.h>

#include "ftm/debug.h"
#include "ftm/handlers.h"
#include "platform/platform.h"

namespace hal {

std::atomic<int> fd_gpio{0};

namespace {

// Opens the device on first use; a failed open is tried again next time.
bool gpio_open()
{
	if (fd_gpio < 1)
		fd_gpio = plat::open("/dev/ftmgpio", O_RDWR);
	return fd_gpio >= 1;
}

// The checked operations: the ioctl must give 0, then the data step must
// move something. A read or write of 0 bytes is the device saying no.
int checked_read(const char *name, unsigned long op, uintptr_t arg, void *buffer, size_t n)
{
	if (!gpio_open() || plat::ioctl(fd_gpio, op, arg) != 0 || plat::read(fd_gpio, buffer, n) == 0) {
		DBG("[%s] read fail\n", name);
		return -1;
	}
	return 0;
}

int checked_write(const char *name, unsigned long op, uintptr_t arg, const void *buffer, size_t n)
{
	if (!gpio_open() || plat::ioctl(fd_gpio, op, arg) != 0 || plat::write(fd_gpio, buffer, n) == 0) {
		DBG("[%s] write fail\n", name);
		return -1;
	}
	return 0;
}

// The unchecked ones: only a missing device counts.
int send_byte(unsigned long op, uintptr_t arg, unsigned char value)
{
	if (!gpio_open())
		return 1;
	(void)plat::ioctl(fd_gpio, op, arg);
	(void)plat::write(fd_gpio, &value, 1);
	return 0;
}

}  // namespace

int gpio_pin_init(int pin, int direction)
{
	return send_byte(FTMGPIO_PIN_INIT, static_cast<uintptr_t>(pin), static_cast<unsigned char>(direction));
}

// Set and get expect a gpio_pin_init first, and never open the device.
int gpio_set_output(int pin, int value)
{
	if (fd_gpio < 1)
		return 1;
	unsigned char level = static_cast<unsigned char>(value);
	(void)plat::ioctl(fd_gpio, FTMGPIO_SET_OUTPUT, static_cast<uintptr_t>(pin));
	(void)plat::write(fd_gpio, &level, 1);
	return 0;
}

int gpio_get_input(int pin)
{
	if (fd_gpio < 1)
		return -1;
	unsigned char level = 0;
	(void)plat::ioctl(fd_gpio, FTMGPIO_GET_INPUT, static_cast<uintptr_t>(pin));
	if (plat::read(fd_gpio, &level, 1) == 0)
		return -1;
	if (level == '0')
		return 0;
	if (level == '1')
		return 1;
	return -1;
}

int power_off_test() { return send_byte(FTMGPIO_POWER_OFF, 1, 0); }

int Get_Hardware_Ver(unsigned char *buffer)
{
	return checked_read("Get_Hardware_Ver", FTMGPIO_HW_VER, 0, buffer, 4);
}

int put_modem_to_LPM()
{
	if (!gpio_open())
		return 1;
	(void)plat::ioctl(fd_gpio, FTMGPIO_MODEM_LPM, uintptr_t{0});
	return 0;
}

int Get_FTM_PID(unsigned char *buffer)
{
	return checked_read("Get_FTM_PID", FTMGPIO_GET_PID, 0, buffer, FTM_PID_READ_SIZE);
}

int Set_FTM_PID(const unsigned char *buffer)
{
	return checked_write("Set_FTM_PID", FTMGPIO_SET_PID, 0, buffer, FTM_PID_WRITE_SIZE);
}

int Get_FTM_TESTFLAG(unsigned char *buffer)
{
	return checked_read("Get_FTM_TESTFLAG", FTMGPIO_GET_TESTFLAG, 0, buffer, FTM_TESTFLAG_SIZE);
}

int Set_FTM_TESTFLAG(const unsigned char *buffer)
{
	return checked_write("Set_FTM_TESTFLAG", FTMGPIO_SET_TESTFLAG, 0, buffer, FTM_TESTFLAG_SIZE);
}

int MIC_Bias_set(int value) { return send_byte(FTMGPIO_MIC_BIAS, 1, static_cast<unsigned char>(value)); }

int Set_UART_Source_Clock_TCXO(int mode)
{
	if (!gpio_open() || plat::ioctl(fd_gpio, FTMGPIO_UART_CLOCK, uintptr_t{mode == 1 ? 1u : 0u}) != 0) {
		DBG("[Set_UART_Source_Clock_TCXO] ioctl fail\n");
		return -1;
	}
	if (mode == 1)
		DBG("[Set_UART_Source_Clock_TCXO] Set_UART_Source_Clock_TCXO OK. \n");
	else
		DBG("[Set_UART_Source_Clock_TCXO] Set_UART_Source_Clock_TCXO/4  OK. \n");
	return 0;
}

// Unlike the others, only a write that errors counts as failed here.
int Write_NV_single(int nv, int value)
{
	unsigned char byte = static_cast<unsigned char>(value);
	if (!gpio_open() || plat::ioctl(fd_gpio, FTMGPIO_WRITE_NV, static_cast<uintptr_t>(nv)) != 0 ||
	    plat::write(fd_gpio, &byte, 1) < 0) {
		DBG("[Write_NV_single] write fail\n");
		return -1;
	}
	return 0;
}

int Write_FUSE()
{
	if (!gpio_open() || plat::ioctl(fd_gpio, FTMGPIO_WRITE_FUSE, uintptr_t{0}) != 0) {
		DBG("[Write_FUSE] write fail\n");
		return -1;
	}
	return 0;
}

int read_FUSE(unsigned char *buffer) { return checked_read("read_FUSE", FTMGPIO_READ_FUSE, 0, buffer, 1); }

// Reads the audio jack pin, then drives it low and high: it is left an
// output at level 1.
int gpio_test()
{
	if (gpio_pin_init(GPIO_PIN_AUDIO_JACK, 0) == 0) {
		int level = gpio_get_input(GPIO_PIN_AUDIO_JACK);
		if (level == 1)
			DBG("AudioJack is pluged in!\n");
		else if (level == 0)
			DBG("AudioJack is pluged out!\n");
		else
			DBG("gpio_get_input Fail!\n");
	} else {
		DBG("gpio_pin_init failed!\n");
	}
	if (gpio_pin_init(GPIO_PIN_AUDIO_JACK, 1) == 0) {
		gpio_set_output(GPIO_PIN_AUDIO_JACK, 0);
		gpio_set_output(GPIO_PIN_AUDIO_JACK, 1);
	} else {
		DBG("gpio_pin_init failed!\n");
	}
	return 0;
}

}  // namespace hal

namespace ftm {

int at_gpio_test(tapp_record *)
{
	DBG("at_gpio_test!\n");
	hal::gpio_test();
	return 0;
}

}  // namespace ftm
