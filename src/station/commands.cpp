#include "station/commands.h"

#include <array>

#include "station/tapp_frame.h"

namespace station {

namespace {

constexpr Command line(std::string_view name, std::string_view text, std::string_view help, Arg arg = Arg::none,
                       Reply reply = Reply::final_line)
{
	return {name, Form::line, text, 0, 0, {}, arg, reply, help};
}

constexpr Command bb(std::string_view name, uint8_t access, uint16_t func, std::string_view params,
                     std::string_view help, Arg arg = Arg::none, Reply reply = Reply::final_line)
{
	return {name, Form::bb, {}, access, func, params, arg, reply, help};
}

constexpr Command bt(std::string_view name, uint8_t cmd, std::string_view help, Arg arg = Arg::none)
{
	return {name, Form::bt, {}, 0, cmd, {}, arg, Reply::final_line, help};
}

constexpr Command wifi(std::string_view name, uint8_t cmd, std::string_view help)
{
	return {name, Form::wifi, {}, 0, cmd, {}, Arg::hex, Reply::final_line, help};
}

// Every row of the daemon's command table, in its order, in the forms a
// station uses: plain lines first, then the frames that reach the row.
constexpr auto kCommands = std::to_array<Command>({
    line("ftm diag", "AT+FTM", "calibration pass-through to the modem, until ~AT+FTM~"),
    line("ftm no diag", "~AT+FTM~", "leave diag mode"),
    line("board test", "ATBT", "answers BT"),
    line("alive", "AT+ALIVE", "is the daemon there"),
    line("lcd white", "AT+LCD=W", "LCD pattern: white"),
    line("lcd black", "AT+LCD=BB", "LCD pattern: black"),
    line("lcd hbar", "AT+LCD=HB", "LCD pattern: horizontal bars"),
    line("lcd vbar", "AT+LCD=VB", "LCD pattern: vertical bars"),
    line("lcd reset", "AT+LCD=RESET", "LCD: back to the version screen"),
    line("lcd rgb", "AT+LCD=RGB", "LCD pattern: red, green, blue"),
    line("lcd red", "AT+LCD=R", "LCD pattern: red"),
    line("lcd green", "AT+LCD=G", "LCD pattern: green"),
    line("lcd blue", "AT+LCD=B", "LCD pattern: blue"),
    line("lcd tone", "AT+LCD=T", "LCD pattern: tone"),
    line("lcd help", "AT+LCD=HELP", "LCD usage, on the phone's own output"),
    bb("tapp lcd", 1, 0x8, "", "LCD pattern by frame: PATTERN SPARE (2 bytes)", Arg::hex),
    line("debug on", "AT+DEBUG=ON", "trace to the active port"),
    line("debug fon", "AT+DEBUG=FON", "trace to the other port"),
    line("debug off", "AT+DEBUG=OFF", "trace to the kernel log only"),
    line("quit", "AT+QUIT", "a shell on the port, until it exits"),
    line("mmc transfer", "AT+MMCT", "memory card transfer test"),
    bb("tapp mmc transfer", 1, 0x8001, "", "memory card transfer test by frame"),
    line("mmc present", "AT+MMCEX", "memory card presence"),
    bb("tapp mmc present", 1, 0x8004, "", "memory card presence by frame"),
    line("camera preview", "AT+DSCP", "camera preview (no-op)"),
    line("camera capture", "AT+DSCC", "camera capture"),
    line("camera retrieve", "AT+DSCR", "the captured picture, YUV422", Arg::none, Reply::stream),
    line("camera close", "AT+DSCE", "camera close"),
    line("vibrator on", "AT+VIB=1", "vibrator on"),
    line("vibrator off", "AT+VIB=0", "vibrator off"),
    bb("tapp vibrator on", 1, 0x4, "01", "vibrator on by frame"),
    bb("tapp vibrator off", 1, 0x4, "00", "vibrator off by frame"),
    line("adc battery", "AT+ADC=BATTERY", "battery voltage channel"),
    bb("tapp adc", 1, 0x7, "", "ADC channels by frame: MASK (1 byte)", Arg::hex),
    line("charge", "AT+CHARGE=", "charging at 1000, 500 or 100 mA", Arg::text),
    line("nocharge", "AT+NOCHARGE", "charging off"),
    line("backlight on", "AT+BL=ON", "LCD backlight on"),
    line("backlight off", "AT+BL=OFF", "LCD backlight off"),
    bb("tapp backlight on", 1, 0x1, "0001", "LCD backlight on by frame"),
    bb("tapp backlight off", 1, 0x1, "0000", "LCD backlight off by frame"),
    line("accessory", "AT+ACCESSORY=", "accessory: 0, 1, or 6 (hook switch)", Arg::text),
    bb("tapp hall", 1, 0x15, "00", "hall sensor pin"),
    bb("tapp audio jack", 1, 0x15, "01", "audio jack pin"),
    bb("tapp light", 1, 0x15, "02", "light sensor value"),
    bb("tapp fpc", 1, 0x15, "03", "FPC test"),
    bb("tapp tflash", 1, 0x15, "04", "T-flash test"),
    bb("tapp gsensor", 1, 0x15, "05", "acceleration within bounds"),
    bb("tapp hookswitch", 1, 0x15, "06", "hook switch pin"),
    line("keypad on", "AT+KEYPAD=1", "report key presses"),
    line("keypad off", "AT+KEYPAD=0", "stop reporting key presses"),
    bb("tapp keypad on", 0, 0x9, "0100", "report key presses, headset bias on"),
    bb("tapp keypad off", 0, 0x9, "0000", "stop key reports, headset bias off"),
    line("touch", "AT%TPNTEST=", "touch panel test: 1,1 cap  1,2 coordinates  1,3 and 1,4 keys  1,0 end",
         Arg::text),
    line("ecompass id", "AT+ECOMPASS=1", "compass chip id"),
    line("ecompass temp", "AT+ECOMPASS=2", "compass temperature"),
    bb("tapp ecompass id", 1, 0x23, "00", "compass chip id by frame"),
    bb("tapp ecompass temp", 1, 0x23, "01", "compass temperature by frame"),
    line("light sensor on", "AT+LIGHTSENSOR=1", "light sensor on"),
    line("light sensor off", "AT+LIGHTSENSOR=0", "light sensor off"),
    line("interrupt light", "AT+RECINTERRUPT=0", "light sensor read and judged"),
    line("interrupt proximity", "AT+RECINTERRUPT=1", "proximity sensor read and judged"),
    line("gpio", "AT+GPIO", "audio jack pin round trip"),
    line("version", "AT%V", "version text"),
    line("keypad backlight on", "AT+KBL=ON", "keypad backlight on"),
    line("keypad backlight off", "AT+KBL=OFF", "keypad backlight off"),
    bb("tapp keypad backlight on", 1, 0x2, "0001", "keypad backlight on by frame"),
    bb("tapp keypad backlight off", 1, 0x2, "0000", "keypad backlight off by frame"),
    line("led", "AT+LED=", "LED: one hex byte, index in the high nibble, on in bit 0", Arg::text),
    bb("tapp led", 1, 0x1D, "", "LED by frame: ON INDEX (2 bytes)", Arg::hex),
    line("battery id", "AT+BIC", "battery id"),
    line("deep sleep", "AT*DEEPSLEEP", "suspend the board"),
    line("proximity on", "AT+PROXIMITY=1", "proximity sensor on"),
    line("proximity off", "AT+PROXIMITY=0", "proximity sensor off"),
    bb("tapp proximity", 1, 0x2C, "00", "proximity sensor by frame"),
    wifi("wifi power", 0x00, "Wi-Fi power state: 1 byte"),
    wifi("wifi mac", 0x20, "Wi-Fi MAC address: 1 byte"),
    wifi("wifi channel", 0x01, "Wi-Fi channel: OP [CHANNEL(2)]"),
    wifi("wifi rate", 0x02, "Wi-Fi data rate: OP [RATE(2)]"),
    wifi("wifi txpower", 0x03, "Wi-Fi tx power: OP [POWER(2)]"),
    wifi("wifi txmode", 0x04, "Wi-Fi tx mode: ON MODE(2)"),
    wifi("wifi fer", 0x10, "Wi-Fi frame error rate: 0 start, 1 report"),
    line("bt", "AT+BT", "Bluetooth plain entry (traces only)"),
    bt("bt active", 0x01, "Bluetooth SoC bring-up"),
    bt("bt hci", 0x00, "a raw HCI packet; answers the first event", Arg::hex),
    line("log on", "AT+LOG=ON", "start the kernel log copier"),
    line("log off", "AT+LOG=OFF", "stop the kernel log copier"),
    line("rtc", "AT+RTC=", "RTC: 0 read, 1 write", Arg::text),
    bb("tapp rtc read", 0, 0x12, "", "RTC read by frame: TIME(6) ALARM(6), BCD, FF absent", Arg::hex),
    bb("tapp rtc write", 1, 0x12, "", "RTC write by frame: TIME(6) ALARM(6), BCD, FF absent", Arg::hex),
    line("power cycle", "AT*POWERCYCLE", "power the board off"),
    line("flash led on", "AT+FLASHLED=1", "flash LED on"),
    line("flash led off", "AT+FLASHLED=0", "flash LED off"),
    line("wpid", "AT+WPID=", "write the product id: 82 hex digits", Arg::text),
    line("rpid", "AT+RPID", "read the product id"),
    line("wtf", "AT+WTF=", "write the test flags: 130 hex digits", Arg::text),
    line("rtf", "AT+RTF", "read the test flags"),
    line("baud", "AT+BAUD=", "UART3 rate: 1 for 460800", Arg::text),
    line("nv", "AT+NV=", "write an NV item: 8 digits", Arg::text),
    line("dump log", "AT+DUMPLOG", "the daemon's log file", Arg::none, Reply::stream),
    line("delete log", "AT+DUMPLOG=X", "delete the daemon's log file"),
    bb("tapp dump log", 1, 0x9016, "", "the daemon's log file by frame", Arg::none, Reply::stream),
    line("sd size", "SD GETSIZE", "memory card size"),
    bb("tapp sd size", 1, 0x9017, "", "memory card size by frame"),
    line("write fuse", "AT+WFUSE", "write the fuse"),
    line("read fuse", "AT+RFUSE", "read the fuse"),
});

bool is_space(char c) { return c == ' ' || c == '\t'; }

std::string_view trim(std::string_view s)
{
	while (!s.empty() && (is_space(s.front()) || s.front() == '\n' || s.front() == '\r'))
		s.remove_prefix(1);
	while (!s.empty() && (is_space(s.back()) || s.back() == '\n' || s.back() == '\r'))
		s.remove_suffix(1);
	return s;
}

// "name" starts text as whole words, matched ignoring runs of blanks.
bool starts_with_words(std::string_view text, std::string_view name, size_t *used)
{
	size_t t = 0, n = 0;
	while (n < name.size()) {
		if (t >= text.size())
			return false;
		if (name[n] == ' ') {
			if (!is_space(text[t]))
				return false;
			while (t < text.size() && is_space(text[t]))
				++t;
			++n;
			continue;
		}
		if (text[t] != name[n])
			return false;
		++t;
		++n;
	}
	if (t < text.size() && !is_space(text[t]))
		return false;
	*used = t;
	return true;
}

bool fail(std::string *error, std::string what)
{
	if (error)
		*error = std::move(what);
	return false;
}

}  // namespace

std::span<const Command> commands() { return kCommands; }

std::optional<Request> build_request(std::string_view text, std::string *error)
{
	text = trim(text);
	const Command *best = nullptr;
	size_t used = 0;
	for (const Command &c : kCommands) {
		size_t n = 0;
		if (starts_with_words(text, c.name, &n) && (!best || c.name.size() > best->name.size())) {
			best = &c;
			used = n;
		}
	}
	if (!best) {
		// Offer the names that share the first word: "vibrator" -> on, off.
		std::string_view first = text.substr(0, text.find_first_of(" \t"));
		std::string near;
		for (const Command &c : kCommands)
			if (!first.empty() && c.name.substr(0, c.name.find(' ')) == first)
				near += (near.empty() ? "" : ", ") + std::string(c.name);
		fail(error, "unknown command '" + std::string(text) + "'" + (near.empty() ? "" : " (known: " + near + ")"));
		return std::nullopt;
	}
	std::string_view args = trim(text.substr(used));
	if (best->arg == Arg::none && !args.empty()) {
		fail(error, "'" + std::string(best->name) + "' takes no arguments");
		return std::nullopt;
	}
	if (best->arg == Arg::text && args.empty()) {
		fail(error, "'" + std::string(best->name) + "' needs an argument: " + std::string(best->help));
		return std::nullopt;
	}
	Request r;
	r.command = best;
	r.reply = best->reply;
	if (best->form == Form::line) {
		r.text = std::string(best->line) + std::string(args) + "\n";
		return r;
	}
	auto fixed = from_hex(best->params);
	auto extra = from_hex(args);
	if (!extra) {
		fail(error, "'" + std::string(args) + "' is not hexadecimal bytes");
		return std::nullopt;
	}
	std::vector<uint8_t> params = *fixed;
	params.insert(params.end(), extra->begin(), extra->end());
	// A frame may be at most 140 bytes behind its length field.
	if (params.size() > 128) {
		fail(error, "too many parameter bytes for one frame");
		return std::nullopt;
	}
	switch (best->form) {
	case Form::bb:
		r.text = bb_frame(best->access, best->id, params);
		break;
	case Form::bt:
		r.text = bt_frame(static_cast<uint8_t>(best->id), params);
		break;
	case Form::wifi:
		r.text = wifi_frame(static_cast<uint8_t>(best->id), params);
		break;
	case Form::line:
		break;
	}
	return r;
}

}  // namespace station
