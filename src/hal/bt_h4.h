// The Bluetooth SoC's UART: power, port set-up and H4 packets in and out.
// Every call blocks on the command loop's thread until the SoC answered or
// a wait timed out.
#pragma once

#include <cstddef>
#include <cstdint>

namespace bt {

// Kernel termios as TCGETS/TCSETS move it (the phone's and the PC's agree).
struct kernel_termios {
	uint32_t c_iflag;
	uint32_t c_oflag;
	uint32_t c_cflag;
	uint32_t c_lflag;
	uint8_t c_line;
	uint8_t c_cc[19];
};
static_assert(sizeof(kernel_termios) == 36);

constexpr unsigned long BT_TCGETS = 0x5401;
constexpr unsigned long BT_TCSETS = 0x5402;
constexpr unsigned long BT_TCFLSH = 0x540B;
constexpr uintptr_t BT_TCIOFLUSH = 2;

// Raw mode as the port wants it: these bits cleared...
constexpr uint32_t BT_IFLAG_RAW_CLEAR = 0x5EB;  // IGNBRK BRKINT PARMRK ISTRIP INLCR IGNCR ICRNL IXON
constexpr uint32_t BT_OFLAG_OPOST = 0x1;
constexpr uint32_t BT_LFLAG_RAW_CLEAR = 0x804B;  // ECHO ECHONL ICANON ISIG IEXTEN
constexpr uint32_t BT_CFLAG_CSIZE = 0x30;
constexpr uint32_t BT_CFLAG_PARENB = 0x100;
constexpr uint32_t BT_CFLAG_CS8 = 0x30;
// ...and hardware flow control with the modem lines ignored, from the first byte.
constexpr uint32_t BT_CFLAG_CRTSCTS_CLOCAL = 0x80000800;
constexpr uint32_t BT_CFLAG_CBAUD = 0x100F;

// H4 packet buffers: an event of 3 + 255 bytes or a command of 4 + 255.
constexpr size_t BT_PACKET_SIZE = 260;
constexpr int BT_READ_TIMEOUT_US = 500000;  // per wait, not per read

// termios speed code of a rate in bit/s, 0 if the rate is not known.
uint32_t convert_baud(uint32_t rate);

int bt_hci_pfal_init_uart(const char *path, int unused1, int unused2);
int bt_hci_soc_pfal_changebaudrate(uint32_t rate);

int bt_hci_soc_nwrite(const uint8_t *buffer, int count);
int bt_hci_soc_nread(uint8_t *buffer, int count);
// Reads one whole event into buffer (BT_PACKET_SIZE bytes): 1, else 0.
int bt_hci_soc_get_event(uint8_t *buffer);

}  // namespace bt
