// What the modem and the system side do for single commands.
#include <algorithm>

#include "common/log.h"
#include "fcx/device_functions.h"
#include "modem/link/command_link.h"
#include "modem/link/requests.h"

namespace {

namespace request = fcx::request;

constexpr size_t kLongestText = 2047;
constexpr size_t kLongestMode = 15;

/// Hands an answer on, with a NUL after it.
int copy_out(std::string_view bytes, char* out, size_t longest) {
  const size_t length = bytes.copy(out, longest);
  out[length] = '\0';
  return static_cast<int>(length);
}

/// Asks for a text of at most 2047 characters. @return the link's code; -1 without a place for it
int ask_for_text(int number, char* out) {
  if (out == nullptr) return -1;
  fcx::ModemAnswer answer;
  const int code = fcx::ask(number, {}, answer);
  if (code == 0) copy_out(answer.bytes(), out, kLongestText);
  return code;
}

/// Sends bytes and hands on what is answered, with its length.
/// @return the link's code; -1 without something to send or a place for the answer
int exchange(int number, const char* bytes, int length, char* out, int* out_len) {
  if (bytes == nullptr || out == nullptr || out_len == nullptr) return -1;
  fcx::ModemAnswer answer;
  answer.record() = {};  // what a failed request does not fill is no answer
  const int code = fcx::ask(number, {bytes, static_cast<size_t>(std::max(length, 0))}, answer);
  *out_len = copy_out(answer.bytes(), out, kLongestText);
  return code;
}

}  // namespace

int get_qve_test_script_mode(char* text, int* length) {
  if (text == nullptr || length == nullptr) return -1;
  fcx::ModemAnswer answer;
  const int code = fcx::ask(request::test_script_mode, {}, answer);
  if (code == 0) *length = copy_out(answer.text(), text, kLongestMode);
  return code;
}

int qve_issim_req(char* out, int* out_len) {
  return exchange(request::is_sim, "", 0, out, out_len);
}

int qve_virtual_sim_set(const char* text, int length, char* out, int* out_len) {
  return exchange(request::set_virtual_sim, text, length, out, out_len);
}

int qve_is_virtual_sim(char* out) { return ask_for_text(request::is_virtual_sim, out); }

int qve_satpc_req(int writes, const char* bytes, int length, char* out, int* out_len) {
  return exchange(writes != 0 ? request::write_satpc : request::read_satpc, bytes, length, out,
                  out_len);
}

int qve_cal_data_check(char* out) { return ask_for_text(request::check_rf_cal, out); }

int rf_device_check_for_mmw(char* out) { return ask_for_text(request::check_mmw, out); }

int get_rf_4g_error_handle_5g(char* out) { return ask_for_text(request::get_4g_error_5g, out); }

int set_rf_4g_error_handle_5g(int value) {
  const auto byte = static_cast<char>(value);
  fcx::ModemAnswer answer;
  return fcx::ask(request::set_4g_error_5g, {&byte, 1}, answer);
}

int qve_mbn_deactivation() {
  fcx::ModemAnswer answer;
  const int code = fcx::ask(request::deactivate_mbn, {}, answer);
  if (code == 0 && answer.starts_with("1")) return 0;
  DOMAIN_ERROR("qve_mbn_deactivation: not done, the link's code is %d\n", code);
  return 1;
}
