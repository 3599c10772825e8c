// The command table: every opcode that the library knows, as data. The dispatcher, the fcx tool and
// docs/commands.md read the same rows. To add a command, see docs/architecture.md.
//
// Example:
//
//   #include <cstdio>
//
//   for (const fcx::Command& row : fcx::command_table()) {
//     printf("%d %s\n", row.opcode, row.summary);
//   }
//   const fcx::Command* csn = fcx::find_command(4018);
//   if (csn != nullptr && csn->answer != nullptr) puts(csn->answer);
#pragma once

#include <cstdint>

#include "fcx/table.h"

namespace fcx {

/// What a command takes from the request.
enum class Argument {
  none,             ///< nothing
  payload,          ///< the text in `data`, up to its NUL
  decimal,          ///< the text as a decimal number, cut to its low 8 bits; 0 when it is none
  request,          ///< the whole request
  payload_or_none,  ///< text writes, an empty payload reads
  selector,         ///< nothing; the row's own number says which of several values is meant
};

/// What the text that a command takes must be, where more is known than that it is text. The
/// library hands on what it is given; who types it can be told.
enum class Content {
  any,
  imei,  ///< 15 digits, the last one their check digit, which the modem checks
};

/// What the words of `result` mean, for people. All null: the command never sets `result`.
struct Results {
  const char* words[3];  ///< 0, 1 and 2; null for one that it never gives
  const char* other;  ///< what other words it gives, or that it leaves `result`; null for neither
};

/// Requests, sent one after another to a fresh phone, that show what a command does. Data is text,
/// or hex:BYTES.
struct Example {
  int32_t first_opcode;    ///< another command that comes first; 0 for none
  const char* first_data;  ///< its data
  const char* data[3];     ///< of the command's own requests; null for no further one
};

/// What is known of a command. Everything is constant, and owned by the library. How it is called
/// is the dispatcher's: fcx/service_handler.h.
struct Command {
  int32_t opcode;       ///< its number
  const char* handler;  ///< the function's name; null when there is none (pool only)
  const char* writer;   ///< the function for a non-empty payload where it is another one, else null
  Argument argument;    ///< what it takes of the request
  Content content;      ///< what that must be
  int32_t selector;     ///< for Argument::selector
  bool prepares_pool;   ///< the HIDL thread pool is prepared before the call
  const char* summary;  ///< what it does, for people
  const char* answer;   ///< what `data` has when it was done; null for nothing
  Results results;      ///< what the words of `result` mean
  Example example;      ///< what to send to see it work
};

#pragma GCC visibility push(default)

/// All rows, by ascending opcode.
Table<Command> command_table();

/// The row of `opcode`, or null when the opcode is unknown. A binary search; no lock is taken.
const Command* find_command(int32_t opcode);

#pragma GCC visibility pop

}  // namespace fcx
