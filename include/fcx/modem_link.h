// The command link: the one way to the modem and to the system side. A request has a number and up
// to 2048 bytes; the number picks the route:
//
//   0 to 993       the direct interface to the modem
//   1000 to 4414   the AT-command service of the system side ("atservice")
//
// Each route makes one exchange at a time, whoever asks; the two go on beside each other. Any
// thread may ask. A call returns when the other side has answered or given up: there is no time
// limit here. modem/link/requests.def names the numbers that this library uses. Nothing here
// throws.
//
// Example:
//
//   #include <cstdio>
//
//   char answer[2048];
//   int length = 0;
//   const int code = request_to_system(160, nullptr, 0, answer, &length, nullptr);
//   if (code == 2) puts("the modem does not know request 160");
//   if (code == 0) printf("%.*s\n", length, answer);  // no NUL comes with it
#pragma once

namespace vendor::qve::hardware::qvatcmd::V1_0 {
struct QVATCMDResponse;
}

#pragma GCC visibility push(default)

/// Opens the direct interface and remembers whether that worked. request_to_system() does it by
/// itself, and again with every direct request for as long as it has not worked. Once it has, only
/// this function opens the interface again.
/// @return what dmi_init() returned: 0 when the modem can be reached
int init_modem_interface();

/// Sends one request and waits for its answer.
/// @param number      of the request: 0 to 993 or 1000 to 4414
/// @param payload     what is sent, or null for nothing
/// @param payload_len its bytes; below 1 for nothing, above 2048 cut to 2048
/// @param out_data    2048 bytes that receive the answer, or null. Text has no NUL after it.
/// @param out_len     receives the answer's bytes, 0 to 2048, or null
/// @param out_status  receives the answer's status word, whose meaning is the request's, or null
/// @return 0 with an answer
///         1 when the exchange failed, or the AT-command service is not there
///         2 for a number without a route, and when the modem does not know the request
///         any number, 1 and 2 too, as the AT-command service's own result. That of 1011 and of
///         1012 is ignored, on purpose: they return 0 wherever the service is there.
///
/// When it is not 0, `*out_len` becomes -1 if `out_data` and `out_len` are both given, and nothing
/// else is written. A missing service writes nothing at all.
int request_to_system(int number, void* payload, int payload_len, void* out_data, int* out_len,
                      int* out_status);

/// Takes the AT-command service's answer for the request that is under way. The service calls it
/// before its method returns; at most 4096 characters of base64 are decoded.
void response_from_system(const ::vendor::qve::hardware::qvatcmd::V1_0::QVATCMDResponse& response);

/// Writes bytes as base64: the standard alphabet with "=" padding, and a NUL.
/// @param in  `len` bytes; none when `len` is below 1, or `in` null
/// @param out room for 4 characters for each 3 bytes begun, and the NUL; null is written nothing
/// @return the characters written, without the NUL
int base64_encode(char* in, int len, char* out);

/// Reads base64 up to its NUL. Characters outside the alphabet are skipped, "=" too.
/// @param out receives at most `cap` bytes, without a NUL
/// @return the bytes written; 0, with nothing written, for a null pointer and a `cap` below 1
int base64_decode(char* in, unsigned char* out, int cap);

/// Sends data of any length to the modem, in pieces of 255 bytes. A shorter piece is the end for
/// the modem; where the length is a multiple of 255 (0 too) an empty piece follows, on purpose.
/// @param len bytes in `data`
/// @return 0; 1 when `len` is negative or `data` null with a length; else the code of the request
///         that failed, with which the transfer ends
int send_modem_data(char* data, int len);

/// Receives data of up to 2048 bytes from the modem, in pieces that end with one of fewer than 255.
/// One thread at a time makes such transfers, in either direction: the modem has one of them.
/// @param buf 2048 bytes
/// @param len is added to, never set: the caller sets it to 0 first
/// @return 0; 1 when nothing came and `*len` is 0, when the modem sends more than 2048 bytes, or
///         for a null pointer; else the code of the request that failed. What came before a failure
///         is in `buf` and in `*len`.
int receive_modem_data(char* buf, int* len);

/// Sends one request whose data must be there and whose answer must fit.
/// @param req     `req_len` bytes, 0 to 2048
/// @param rsp     2048 bytes that receive the answer; untouched when the request failed
/// @param rsp_len receives its bytes; -1 when the request failed, but for a missing service, which
///                leaves it as it was
/// @return 0; -1 for a null pointer or a `req_len` outside 0 to 2048, with nothing sent or written;
///         1 when the request failed, or when the other side claims an answer of more than 2048 or
///         fewer than 0 bytes: what fits of it is then in `rsp`, and its length in `*rsp_len`
int get_qve_data_from_modem(int number, void* req, int req_len, void* rsp, int* rsp_len);

#pragma GCC visibility pop
