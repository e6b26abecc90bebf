// The command table and the dispatcher of plain and framed commands.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "ftm/tapp.h"

namespace ftm {

using cmd_handler = int (*)(tapp_record *record);

struct cmd_entry {
	uint32_t id;               // TAPP identifier; 0x888 for rows with no framed form
	const char *keyword;       // matched as a prefix of the AT text
	cmd_handler tapp_handler;  // may be null
	cmd_handler at_handler;    // never null
	const char *description;
};

constexpr size_t CMD_TABLE_ROWS = 54;
extern const std::array<cmd_entry, CMD_TABLE_ROWS> cmd_table;

constexpr size_t COMMAND_SIZE = 4096;  // one read from a port
// The answer text. The original's 280 bytes overflow on long results; this
// one holds any answer a 512-byte result can make, so no byte is lost.
constexpr size_t ANSWER_SIZE = 2 * RESULT_SIZE + 96;

// Results of search_tapp_and_execute_cmd.
constexpr int TAPP_FOUND = 0;
constexpr int TAPP_NOT_FOUND = 1;
constexpr int TAPP_NO_HANDLER = -1;  // the row has no framed handler: nothing is sent

// Decodes one received buffer, runs its handler and leaves the answer text
// (empty when nothing is to be sent). buffer must hold length bytes and be
// followed by at least COMMAND_SLACK zero bytes.
constexpr size_t COMMAND_SLACK = 512;
int check_tapp_command(char *buffer, size_t length, char *answer, size_t answer_size);

int search_at_and_execute_cmd(const char *text, tapp_record *record);
int search_tapp_and_execute_cmd(uint32_t id, tapp_record *record);

}  // namespace ftm
