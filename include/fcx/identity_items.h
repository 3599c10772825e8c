// What the modem keeps of the device's identity: IMEI, MEID, pseudo-ESN, product identifiers and
// the short factory records named by four letters. Items travel as byte strings, as the caller
// gives them and as the modem answers them; text has no NUL after it.
//
// The common form:
//
//   write_qve_ITEM(data, len, answer, answer_len)     `len` bytes of `data` are sent, 0 to 2048
//   read_qve_ITEM(request, len, answer, answer_len)   `request` is sent, with `len` normally 0
//
//   answer      2048 bytes that receive the acknowledgement or the item
//   answer_len  receives its bytes, or null
//
// They return 1 without sending anything when a pointer that they need is null (`answer` and the
// first one, unless said otherwise), and what request_to_system() returns in all other cases: 0
// with an answer, which may be the modem's error text. When a request fails, `*answer_len` becomes
// -1 if `answer` is given too, and `answer` is untouched. A null pointer leaves both untouched.
// Each waits until the modem answers; any thread may call, and waits for its turn.
//
// Example:
//
//   #include <cstdio>
//
//   char nothing[1] = {};
//   char imei[2048];
//   int length = 0;
//   if (read_qve_imei(117, nothing, 0, imei, &length) != 0) return;  // the request failed
//   if (fcx::is_modem_error_text(imei, length)) return;              // but an error text came
//   printf("%.*s\n", length, imei);
#pragma once

#pragma GCC visibility push(default)

namespace fcx {

/// Whether an answer is the modem's error text and no identity: the functions below, and the
/// commands that read an identity, return such a text as an answer, on purpose.
///
/// An error text begins with the item's name and " READ ERROR", " WRITE ERROR" or " ERROR", as
/// "IMEI READ ERROR :(", "SUFFIX READ ERROR" and "NO SIM ERROR" do, or with "CHECK DIGIT ERROR" or
/// "NOT YET". What follows counts for nothing. No identity begins so: digits, and the texts that
/// the factory writes, have neither the name of their own item nor a blank after it. The single
/// byte 0xFF, with which the modem refuses a product identifier, counts as one; a record may begin
/// so.
/// @param answer `length` bytes, read up to a NUL; null is no error text
/// @param length bytes of the answer; 0 or less is no answer, and so no error text
/// @return false also for an acknowledgement, as "IMEI WRITE OK"
bool is_modem_error_text(const char* answer, int length);

}  // namespace fcx

/// Requests 101, 102: the IMPL record. The read answers '1' when the flag is set, or "IMPL READ
/// ERROR".
unsigned int write_qve_impl(char* data, short len, char* answer, int* answer_len);
unsigned int read_qve_impl(char* request, short len, char* answer, int* answer_len);

/// Requests 105, 106: the IDDE record. When the modem answers a write with "IDDE OK", what hangs on
/// the identity is reset, in this order: the default Bluetooth address, a serial number of as many
/// zeros as the old one has characters (one, when it has none), an empty network-code list, the
/// property "persist.vendor.qve.mcc-list" as "0", imei_check_on_boot(), sbpSetDefaultMCCLists(),
/// sbpSetDefaultNTcode(). When the Bluetooth address cannot be stored, the reset ends there and the
/// write returns 1, with the modem's "IDDE OK" in `answer`. What else of it fails is logged.
unsigned int write_qve_idde(char* data, short len, char* answer, int* answer_len);
unsigned int read_qve_idde(char* request, short len, char* answer, int* answer_len);

/// Requests 108, 109: the FUSG record; read as IMPL, "FUSG READ ERROR".
unsigned int write_qve_fusg(char* data, short len, char* answer, int* answer_len);
unsigned int read_qve_fusg(char* request, short len, char* answer, int* answer_len);

/// Requests 114, 115: the second product identifier.
unsigned int write_qve_pid2(char* data, short len, char* answer, int* answer_len);
unsigned int read_qve_pid2(char* request, short len, char* answer, int* answer_len);

/// Writes an IMEI. The modem checks the digit itself: it answers "IMEI WRITE OK", "IMEI WRITE
/// ERROR" or "CHECK DIGIT ERROR", all with the return value 0.
/// @param number 116 for the IMEI. Only with it, and only after "IMEI WRITE OK", factory item 13
///               receives the first 20 bytes of `data`, too. That it could not is logged, and made
///               up for by imei_check_on_boot().
/// @param len    bytes of `data`; a negative one counts as 0
unsigned int write_qve_imei(int number, char* data, short len, char* answer, int* answer_len);

/// Reads an IMEI.
/// @param number 117, 119 or 121 for the first, second or third SIM slot. The modem answers the 15
///               digits, or "IMEI READ ERROR :(" with the return value 0.
unsigned int read_qve_imei(int number, char* request, short len, char* answer, int* answer_len);

/// Reads the network-code list that the modem keeps: requests 154 and 127, then a bulk transfer.
/// One thread at a time: the modem has one such transfer.
/// @param request    not null, and not sent, as `len` is not
/// @param answer     2048 bytes
/// @param answer_len receives the length of the answer to 127, normally 0, plus that of the list;
///                   2048 at most
/// @return 0; the code of the request that failed, with -1 in `*answer_len` and, in `answer`, what
///         154 was answered where 127 failed, normally nothing; or the code of
///         receive_modem_data(), with what came before it in `answer` and `*answer_len`
unsigned int read_qve_ntcode(char* request, short len, char* answer, int* answer_len);

/// Requests 128, 129: the model suffix.
unsigned int write_qve_suffix(char* data, short len, char* answer, int* answer_len);
unsigned int read_qve_suffix(char* request, short len, char* answer, int* answer_len);

/// Requests 148, 149, 150: the GDEN flag and the GDEN record.
unsigned int write_qve_gden_flag(char* data, short len, char* answer, int* answer_len);
unsigned int write_qve_gden(char* data, short len, char* answer, int* answer_len);
unsigned int read_qve_gden(char* request, short len, char* answer, int* answer_len);

/// Request 151: the EFSA record, which can only be written.
unsigned int write_qve_efsa(char* data, short len, char* answer, int* answer_len);

/// Requests 152, 153: the RGRV record.
unsigned int write_qve_rgrv(char* data, short len, char* answer, int* answer_len);
unsigned int read_qve_rgrv(char* request, short len, char* answer, int* answer_len);

/// Requests 157, 158: the MEID and the pseudo-ESN. Only `answer` is needed.
unsigned int read_qve_meid(char* answer, int* answer_len);
unsigned int read_qve_pesn(char* answer, int* answer_len);

/// Requests 203, 202: the product identifier as the modem has it. The write needs only `data`, the
/// read only `answer`.
unsigned int write_qve_pid(char* data, short len, char* answer, int* answer_len);
unsigned int read_qve_pid(char* request, short len, char* answer, int* answer_len);

/// Writes the product identifier to the modem and, unless the modem failed, to factory item 4: also
/// when the modem does not support it.
/// @param pid NUL-terminated text, sent up to 2048 bytes, of which the item keeps 30
/// @return 0; 2 when only the item has it; 1 when the modem failed, the item could not be stored,
///         or `pid` is null
int write_pid(char* pid);

/// Reads the product identifier from the modem or, when the modem does not support it, from factory
/// item 4.
/// @param out 2048 bytes; text that is shorter is followed by a NUL. Untouched when 1 is returned
/// @return 0 from the modem; 2 from the item, on purpose; 1 when there is none, or `out` is null
int read_pid(char* out);

/// Computes an IMEI's check digit (Luhn, over the digits 0 to 13) and writes it to position 14.
/// Null does nothing.
/// @param imei NUL-terminated, in memory of at least 15 bytes. Nothing else of it changes, and no
///             terminator is written. One of more than 15 characters ends the process.
/// @param len  how many of the characters are digits; 14 or more for a sound result
void make_imei_chksum(char* imei, int len);

/// Copies what the modem answers for its IMEI to factory item 13, or for its MEID to factory item
/// 207, unless the item begins with it: 20 bytes at most, of any content. An empty answer changes
/// nothing; neither does a read that fails, which is logged, as is "IMEI READ ERROR :(" in place of
/// an IMEI. An item that cannot be read is written; that it cannot be written is logged.
void imei_check_on_boot();
void meid_check_on_boot();

#pragma GCC visibility pop
