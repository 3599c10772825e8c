// The network-code list: the text by which the device knows its carriers, kept as a factory item of
// its own. What stands in it is the carrier set-up's.
//
// Example:
//
//   #include <cstdio>
//
//   const char code[] = "\"1\",\"310,410,FFFFFFFF,FFFFFFFF,01\"";
//   if (set_ntcode(code, sizeof code - 1) != 0) return;  // the old list stays
//   char list[2048 + 1] = {};                            // one more: for the NUL
//   if (get_ntcode(list) == 0) puts(list);
#pragma once

#pragma GCC visibility push(default)

/// Reads the list.
/// @param out 2048 bytes; text that is shorter is followed by zero bytes
/// @return 0, or -1 when it cannot be read or `out` is null (nothing is then written)
int get_ntcode(char* out);

/// Stores a list in place of the one before.
/// @param ntcode its text
/// @param length the text's bytes, 0 to 2048
/// @return 0, or -1 when it cannot be stored, is null, or has another length
int set_ntcode(const char* ntcode, int length);

#pragma GCC visibility pop
