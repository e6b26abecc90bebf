// The phone's persistent identity on the line: product id, test flag area,
// single NV items, the fuse and the UART clock, all kept by /dev/ftmgpio.
// These handlers fail with -1, so a station reads "NOTSUPPORTED\n".
#include <array>
#include <cstdio>
#include <cstring>

#include "ftm/debug.h"
#include "ftm/ftm.h"
#include "ftm/handlers.h"
#include "hal/gpio.h"
#include "platform/platform.h"

namespace ftm {

namespace {

constexpr int PID_SIZE = 40;
constexpr int TESTFLAG_SIZE = 64;

// Data bytes and one XOR byte, all as hex digits; the device gets a
// cleared area of its full size behind the data.
int write_area(const tapp_record *record, int size, int (*set)(const unsigned char *), const char *ok_trace)
{
	std::array<uint8_t, hal::FTM_TESTFLAG_SIZE> buffer{};
	uint8_t computed = checksumNodata(record->params, size, buffer.data());
	if (buffer[static_cast<size_t>(size)] != computed)
		return -1;
	buffer[static_cast<size_t>(size)] = 0;
	int r = set(buffer.data());
	DBG("%s", ok_trace);
	DBG(r == 0 ? "Write successfully\n" : "Write failed\n");
	return r;
}

// The digits go straight to the port; the dispatcher's "OK\n" follows on
// the same line.
int read_area(int size, int (*get)(unsigned char *), const char *name, const char *fail_text)
{
	std::array<unsigned char, hal::FTM_PID_READ_SIZE> buffer{};
	int r = get(buffer.data());
	if (r != 0) {
		DBG("Read failed\n");
		write_response(loop.act_fd, fail_text);
		return r;
	}
	std::array<char, 2 * hal::FTM_PID_READ_SIZE + 1> text{};
	for (int i = 0; i < size; ++i)
		std::snprintf(&text[static_cast<size_t>(2 * i)], 3, "%02x", buffer[static_cast<size_t>(i)]);
	DBG("at read %s CRC=%d\n", name, checksum(text.data(), size));
	write_response(loop.act_fd, text.data());
	return 0;
}

// One digit of an NV field: letters and everything else count as c - 55.
int nv_digit(char c) { return (c >= '0' && c <= '9') ? c - '0' : c - 55; }

}  // namespace

int at_wpid_test(tapp_record *record)
{
	return write_area(record, PID_SIZE, hal::Set_FTM_PID, "\n*********at_wpid_test=OK\n");
}

int at_wtsflag_test(tapp_record *record)
{
	return write_area(record, TESTFLAG_SIZE, hal::Set_FTM_TESTFLAG, "\n*********at_wtsflag_test=OK\n");
}

int at_rpid_test(tapp_record *)
{
	return read_area(PID_SIZE, hal::Get_FTM_PID, "at_rpid_test", "Read Product ID Failed.\n");
}

int at_rtsflag_test(tapp_record *)
{
	return read_area(TESTFLAG_SIZE, hal::Get_FTM_TESTFLAG, "at_rtsflag_test",
	                 "Read test flag Failed.\n");
}

int at_UART3_BAUDR_460800(tapp_record *record)
{
	int r;
	if (record->params[0] == '1') {
		r = hal::Set_UART_Source_Clock_TCXO(1);
		DBG("\n*********at_UART3_BAUDR_460800=OK\n");
	} else {
		r = hal::Set_UART_Source_Clock_TCXO(0);
		DBG("\n*********at_UART3_BAUDR_460800 clean.\n");
	}
	DBG(r == 0 ? "at_UART3_BAUDR_460800 successfully\n" : "at_UART3_BAUDR_460800 failed\n");
	return r;
}

// Two fields of four characters: the item number, then the value, which
// is cut to 8 bits term by term.
int at_Write_NV_num_val(tapp_record *record)
{
	const char *p = record->params;
	int nv = nv_digit(p[0]) * 1000 + nv_digit(p[1]) * 100 + nv_digit(p[2]) * 10 + nv_digit(p[3]);
	uint8_t value = 0;
	value = static_cast<uint8_t>(value + static_cast<uint8_t>(nv_digit(p[4]) * 1000));
	value = static_cast<uint8_t>(value + static_cast<uint8_t>(nv_digit(p[5]) * 100));
	value = static_cast<uint8_t>(value + static_cast<uint8_t>(nv_digit(p[6]) * 10));
	value = static_cast<uint8_t>(value + static_cast<uint8_t>(nv_digit(p[7])));
	DBG("at_Write_NV_num_val, nv=%d, val=%d.\n", nv, value);
	int r = hal::Write_NV_single(nv, value);
	DBG(r == 0 ? "at_Write_NV_8029 successfully\n" : "at_Write_NV_8029 failed\n");
	return r;
}

int at_Write_FUSE(tapp_record *)
{
	DBG("at read FUSE test\n");
	(void)hal::Write_FUSE();
	return 0;
}

// On failure the text is left in result but the search goes on, so the
// station reads "NOTSUPPORTED\n".
int at_Read_FUSE(tapp_record *record)
{
	DBG("at read FUSE test\n");
	unsigned char value = 0;
	int r = hal::read_FUSE(&value);
	if (r == 0) {
		std::snprintf(record->result, RESULT_SIZE, "%d\n", value);
		return 0;
	}
	std::snprintf(record->result, RESULT_SIZE, "read FUSE failed\n");
	return r;
}

}  // namespace ftm
