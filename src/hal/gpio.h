// /dev/ftmgpio: raw pins, product data, NV items, fuses and the power key.
// Each operation is an ioctl that selects it, then a read or write of its
// data on the same descriptor.
#pragma once

#include <atomic>

namespace hal {

// ioctl numbers: plain small integers, not encoded with direction or size.
constexpr unsigned long FTMGPIO_PIN_INIT = 1;
constexpr unsigned long FTMGPIO_SET_OUTPUT = 2;
constexpr unsigned long FTMGPIO_GET_INPUT = 3;
constexpr unsigned long FTMGPIO_POWER_OFF = 4;
constexpr unsigned long FTMGPIO_HW_VER = 5;
constexpr unsigned long FTMGPIO_MODEM_LPM = 6;
constexpr unsigned long FTMGPIO_GET_PID = 7;
constexpr unsigned long FTMGPIO_SET_PID = 8;
constexpr unsigned long FTMGPIO_GET_TESTFLAG = 9;
constexpr unsigned long FTMGPIO_SET_TESTFLAG = 10;
constexpr unsigned long FTMGPIO_MIC_BIAS = 11;
constexpr unsigned long FTMGPIO_UART_CLOCK = 12;
constexpr unsigned long FTMGPIO_WRITE_NV = 13;
constexpr unsigned long FTMGPIO_WRITE_FUSE = 18;
constexpr unsigned long FTMGPIO_READ_FUSE = 19;
constexpr unsigned long FTMGPIO_POWER_KEY = 20;

constexpr int GPIO_PIN_HALL = 29;
constexpr int GPIO_PIN_AUDIO_JACK = 40;
constexpr int GPIO_PIN_HOOK = 94;

constexpr int FTM_PID_WRITE_SIZE = 40;
constexpr int FTM_PID_READ_SIZE = 128;
constexpr int FTM_TESTFLAG_SIZE = 128;

// Shared by the loop and the power-key thread; below 1 means not open yet.
extern std::atomic<int> fd_gpio;

int gpio_pin_init(int pin, int direction);
int gpio_set_output(int pin, int value);
int gpio_get_input(int pin);
int power_off_test();
int Get_Hardware_Ver(unsigned char *buffer);  // 4 bytes
int put_modem_to_LPM();
int Get_FTM_PID(unsigned char *buffer);       // up to 128 bytes
int Set_FTM_PID(const unsigned char *buffer);  // 40 bytes
int Get_FTM_TESTFLAG(unsigned char *buffer);  // up to 128 bytes
int Set_FTM_TESTFLAG(const unsigned char *buffer);  // 128 bytes
int MIC_Bias_set(int value);
int Set_UART_Source_Clock_TCXO(int mode);
int Write_NV_single(int nv, int value);
int Write_FUSE();
int read_FUSE(unsigned char *buffer);  // 1 byte
int gpio_test();

}  // namespace hal
