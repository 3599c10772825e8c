// The Bluetooth device address: six bytes, kept as factory item 8, first byte first. As text it is
// twelve hexadecimal digits, two for each byte.
//
// An AT command's answer is NUL-terminated text. The buffer for it has at least 64 bytes, of which
// the first four are cleared before the text is written; a null one is answered nothing.
//
// Nothing is kept between calls, and nothing locked: of two that store an address at a time either
// may be last.
//
// Example:
//
//   #include <cstdio>
//
//   uint8_t address[6];
//   char digits[13];
//   if (bt_addr_ascii_to_hexa("02FC0A123456", address) != 0) return;  // no address
//   if (bt_addr_write(address) != 0) return;                          // not stored
//   if (handle_testmode_bt_read_request(digits) == 0) puts(digits);
#pragma once

#include <cstdint>

#pragma GCC visibility push(default)

/// Turns text into an address.
/// @param text its first twelve characters are read, of either case; null is read as empty
/// @param out  6 bytes, cleared first; what was converted before an invalid character stays there
/// @return 0; 1 at the first character that is no digit, which is logged (the end of a shorter
///         text is one), and for a null `out`
int bt_addr_ascii_to_hexa(const char* text, uint8_t* out);

/// Turns an address into text.
/// @param bytes 6 bytes
/// @param out   13 bytes that receive twelve upper-case digits and a NUL
/// @return 0 always; a null pointer writes nothing
int bt_addr_hexa_to_ascii(const uint8_t* bytes, char* out);

/// Reads the stored address. Six bytes FF are one, on purpose.
/// @param out 6 bytes, untouched on failure
/// @return 0; 1 for a null pointer, when the item store returned anything but 0, and for six bytes
///         00, which is logged
int bt_addr_read(uint8_t* out);

/// Stores an address.
/// @param bytes 6 bytes
/// @return 0; 1 for a null pointer, or when the item store returned anything but 0
int bt_addr_write(const uint8_t* bytes);

/// Answers "AT%BTAD?": the stored address as twelve digits, or the default one when there is none
/// or it cannot be read, of which only the log tells. The default is the maker's IEEE company
/// identifier, which the build gives, and "000000".
/// @return 0 always
int handle_atcmd_btad_query(char* answer);

/// Answers "AT%BTAD=?": how an address is given, in one line with its newline.
/// @return 0
int handle_atcmd_btad_range(char* answer);

/// Carries out "AT%BTAD=": stores the address, then answers "BLUETOOTH ADDRESS WRITE OK".
/// @param params      as many NUL-terminated texts as `param_count` says, each with one digit as
///                    its first character; a null one has none
/// @param param_count 12
/// @return 0; 1 for another count, for what is no digit, and when the address cannot be stored, all
///         of which is logged and leaves `answer` as it was
int handle_atcmd_btad_assign(char** params, int param_count, char* answer);

/// Writes an answer.
/// @param text NUL-terminated, of which the buffer has room for all; with null it is only cleared
/// @return `code`, as it is
int bt_resp(int code, char* answer, const char* text);

/// Stores the address that a text gives.
/// @return 0; 1 when the text is no address or cannot be stored
int handle_testmode_bt_write_request(const char* text);

/// Reads the stored address as text.
/// @param buf 13 bytes that receive twelve digits and a NUL; untouched on failure
/// @return 0; 1 for a null pointer, and where bt_addr_read() fails
int handle_testmode_bt_read_request(char* buf);

#pragma GCC visibility pop
