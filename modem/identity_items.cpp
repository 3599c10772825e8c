#include "fcx/identity_items.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>

#include "common/company_oui.h"
#include "common/log.h"
#include "common/properties.h"
#include "common/text.h"
#include "fcx/bt_address.h"
#include "fcx/device_functions.h"
#include "fcx/factory_items.h"
#include "fcx/modem_link.h"
#include "fcx/network_code.h"
#include "fcx/single_binary.h"
#include "modem/link/command_link.h"
#include "modem/link/requests.h"

namespace {

constexpr std::string_view kImeiWritten = "IMEI WRITE OK";
constexpr std::string_view kImeiReadError = "IMEI READ ERROR :(";
constexpr std::string_view kIddeWritten = "IDDE OK";

/// What the modem names in an error text, how it goes on, and the texts that have another form.
constexpr std::string_view kNamed[] = {"IMEI", "IMPL",   "IDDE", "FUSG",   "PID",
                                       "PID2", "SUFFIX", "GDEN", "EFSA",   "RGRV",
                                       "MEID", "PESN",   "TYPE", "NTCODE", "NO SIM"};
constexpr std::string_view kFailed[] = {" READ ERROR", " WRITE ERROR", " ERROR"};
constexpr std::string_view kOtherErrors[] = {"CHECK DIGIT ERROR", "NOT YET"};
/// The whole answer by which the modem refuses a product identifier. A record may begin so.
constexpr std::string_view kRefused = "\xFF";

constexpr char kMccListProperty[] = "persist.vendor.qve.mcc-list";

/// Which pointers a function cannot do without.
enum class Needs { data_and_answer, data, answer };

/// Sends `len` bytes and hands the answer on. @return 1 without what is needed, else the link's
/// code
template <Needs needs>
unsigned int hand_on(int opcode, char* data, short len, char* answer, int* answer_len) {
  if (needs != Needs::answer && data == nullptr) return QVCMD_FAIL;
  if (needs != Needs::data && answer == nullptr) return QVCMD_FAIL;
  return static_cast<unsigned int>(
      request_to_system(opcode, data, len, answer, answer_len, nullptr));
}

/// Whether an answer of `length` bytes (negative: there is none) begins so.
bool begins_with(const char* answer, int length, std::string_view start) {
  return length >= static_cast<int>(start.size()) &&
         std::string_view(answer, start.size()) == start;
}

/// Stores the modem's answer in a factory item, if it is not what the item holds already.
template <int index>
void mirror(std::string_view answer) {
  constexpr const fcx::FactoryItem& item = fcx::factory_item<index>();
  fcx::TextBuffer<item.length> held;
  static_cast<void>(fcx::read_item(item, held.data(), held.capacity()));  // unreadable: differs
  answer = answer.substr(0, item.length);
  if (std::string_view(held.data(), answer.size()) == answer) return;
  if (fcx::write_item(item, answer) < 0) DOMAIN_ERROR("item %d cannot be written\n", index);
}

/// Stores as many zeros as the serial number has characters, at least one.
void reset_serial_number() {
  constexpr std::string_view kZeros = "000000000000";
  constexpr size_t kLongest = fcx::factory_item<fcx::item::serial_number>().length;
  static_assert(kZeros.size() == kLongest);
  fcx::TextBuffer<kLongest> serial;
  if (qve_factory_serial_number_read(serial.data()) != 0) {
    DOMAIN_ERROR("item %d cannot be read\n", fcx::item::serial_number);
  }
  const size_t length = std::max<size_t>(serial.view().size(), 1);
  const fcx::TextBuffer<kLongest> zeros(kZeros.substr(0, length));
  if (qve_factory_serial_number_write(zeros.c_str()) != 0) {
    DOMAIN_ERROR("item %d cannot be written\n", fcx::item::serial_number);
  }
}

/// Resets what hangs on the identity. @return 0, or 1 when the Bluetooth address cannot be stored
int reset_dependent_identity() {
  if (handle_testmode_bt_write_request(fcx::kDefaultBtAddress) == 1) {
    DOMAIN_ERROR("item %d cannot be written\n", fcx::item::bt_address);
    return QVCMD_FAIL;
  }
  reset_serial_number();
  if (set_ntcode("", 0) != 0) DOMAIN_ERROR("the network-code list cannot be emptied\n");
  if (!fcx::write_property(kMccListProperty, "0").ok()) {
    DOMAIN_ERROR("%s cannot be set\n", kMccListProperty);
  }
  imei_check_on_boot();
  sbpSetDefaultMCCLists();
  sbpSetDefaultNTcode();
  return 0;
}

}  // namespace

bool fcx::is_modem_error_text(const char* answer, int length) {
  if (answer == nullptr || length <= 0) return false;
  const std::string_view text = bounded_text(answer, static_cast<size_t>(length));
  const auto begins = [](std::string_view longer, std::string_view start) {
    return longer.substr(0, start.size()) == start;
  };
  if (text == kRefused) return true;
  for (const std::string_view error : kOtherErrors) {
    if (begins(text, error)) return true;
  }
  for (const std::string_view name : kNamed) {
    if (!begins(text, name)) continue;
    for (const std::string_view failed : kFailed) {
      if (begins(text.substr(name.size()), failed)) return true;
    }
  }
  return false;
}

// The items that are sent and answered as they are, a line each.
#define FCX_HAND_ON(function, needs, name)                                           \
  unsigned int function(char* data, short len, char* answer, int* answer_len) {      \
    return hand_on<Needs::needs>(fcx::request::name, data, len, answer, answer_len); \
  }

// clang-format off
FCX_HAND_ON(write_qve_impl,      data_and_answer, write_impl)
FCX_HAND_ON(read_qve_impl,       data_and_answer, read_impl)
FCX_HAND_ON(read_qve_idde,       data_and_answer, read_idde)
FCX_HAND_ON(write_qve_fusg,      data_and_answer, write_fusg)
FCX_HAND_ON(read_qve_fusg,       data_and_answer, read_fusg)
FCX_HAND_ON(write_qve_pid2,      data_and_answer, write_pid2)
FCX_HAND_ON(read_qve_pid2,       data_and_answer, read_pid2)
FCX_HAND_ON(write_qve_suffix,    data_and_answer, write_suffix)
FCX_HAND_ON(read_qve_suffix,     data_and_answer, read_suffix)
FCX_HAND_ON(write_qve_gden_flag, data_and_answer, write_gden_flag)
FCX_HAND_ON(write_qve_gden,      data_and_answer, write_gden)
FCX_HAND_ON(read_qve_gden,       data_and_answer, read_gden)
FCX_HAND_ON(write_qve_efsa,      data_and_answer, write_efsa)
FCX_HAND_ON(write_qve_rgrv,      data_and_answer, write_rgrv)
FCX_HAND_ON(read_qve_rgrv,       data_and_answer, read_rgrv)
FCX_HAND_ON(write_qve_pid,       data,            write_pid)
FCX_HAND_ON(read_qve_pid,        answer,          read_pid)
// clang-format on
#undef FCX_HAND_ON

unsigned int read_qve_meid(char* answer, int* answer_len) {
  return hand_on<Needs::answer>(fcx::request::read_meid, nullptr, 0, answer, answer_len);
}

unsigned int read_qve_pesn(char* answer, int* answer_len) {
  return hand_on<Needs::answer>(fcx::request::read_pesn, nullptr, 0, answer, answer_len);
}

unsigned int write_qve_imei(int number, char* data, short len, char* answer, int* answer_len) {
  if (data == nullptr || answer == nullptr) return QVCMD_FAIL;
  // Kept before it is sent: the caller may have the answer written over it.
  std::array<char, fcx::factory_item<fcx::item::imei>().length> sent{};
  const std::string_view imei(data, static_cast<size_t>(std::max<short>(len, 0)));
  imei.copy(sent.data(), sent.size());
  int length = 0;
  int& answered = answer_len != nullptr ? *answer_len : length;
  const unsigned int code = hand_on<Needs::data_and_answer>(number, data, len, answer, &answered);
  if (code != 0) {
    DOMAIN_INFO("Cannot get response. Return error:%d\n", static_cast<int>(code));
    return code;
  }
  if (number != fcx::request::write_imei || !begins_with(answer, answered, kImeiWritten)) return 0;
  DOMAIN_INFO("**SET FTM_ITEM - IMEI**\n");
  if (fcx::write_item(fcx::factory_item<fcx::item::imei>(), {sent.data(), sent.size()}) < 0) {
    DOMAIN_ERROR("item %d cannot be written\n", fcx::item::imei);
  }
  return 0;
}

unsigned int read_qve_imei(int number, char* request, short len, char* answer, int* answer_len) {
  if (request == nullptr || answer == nullptr) return QVCMD_FAIL;
  DOMAIN_INFO("[PERSO]: id= %d", number);
  return hand_on<Needs::data_and_answer>(number, request, len, answer, answer_len);
}

unsigned int write_qve_idde(char* data, short len, char* answer, int* answer_len) {
  if (data == nullptr || answer == nullptr) return QVCMD_FAIL;
  int length = 0;
  int& answered = answer_len != nullptr ? *answer_len : length;
  const unsigned int code =
      hand_on<Needs::data_and_answer>(fcx::request::write_idde, data, len, answer, &answered);
  const fcx::TextBuffer<QVCMD_DATA_SIZE> shown(
      {answer, code == 0 ? static_cast<size_t>(answered) : 0});
  DOMAIN_INFO("IDDE response: %s size:%d\n", shown.c_str(), answered);
  if (code != 0 || !begins_with(answer, answered, kIddeWritten)) return code;
  return reset_dependent_identity() == 0 ? code : QVCMD_FAIL;
}

unsigned int read_qve_ntcode(char* request, short, char* answer, int* answer_len) {
  if (request == nullptr || answer == nullptr) return QVCMD_FAIL;
  int length = 0;
  int* received = answer_len != nullptr ? answer_len : &length;
  for (const int opcode : {fcx::request::begin_bulk, fcx::request::read_ntcode}) {
    const int code = request_to_system(opcode, nullptr, 0, answer, received, nullptr);
    if (code == 0) continue;
    DOMAIN_INFO("request_to_system. Return error:%d\n", code);
    return static_cast<unsigned int>(code);
  }
  // Adds to the length of the last answer, which is empty as a rule.
  const int code = receive_modem_data(answer, received);
  *received = std::min(*received, static_cast<int>(QVCMD_DATA_SIZE));
  if (code != 0) DOMAIN_INFO("receive_modem_data. Return error:%d\n", code);
  return static_cast<unsigned int>(code);
}

int write_pid(char* pid) {
  if (pid == nullptr) return QVCMD_FAIL;
  fcx::ModemAnswer dropped;
  const int code = fcx::ask(fcx::request::write_pid, pid, dropped);
  if (code == QVCMD_FAIL) {
    DOMAIN_INFO("Cannot get response. Return error:%d\n", code);
    return code;
  }
  DOMAIN_INFO("[NV]write_pid ret=%d, & Deault save to FTM", code);
  if (set_pid(pid) == 0) return code;
  DOMAIN_ERROR("Cannot set pid in FTM.\n");
  return QVCMD_FAIL;
}

int read_pid(char* out) {
  if (out == nullptr) return QVCMD_FAIL;
  int length = 0;
  const int code = request_to_system(fcx::request::read_pid, nullptr, 0, out, &length, nullptr);
  if (code == 0) {
    if (length < static_cast<int>(QVCMD_DATA_SIZE)) out[length] = '\0';
    return 0;
  }
  if (code == fcx::kNotSupported) {
    DOMAIN_INFO("read_pid: NOT SUPPORTED");
    fcx::TextBuffer<fcx::factory_item<fcx::item::pid>().length> pid;
    if (get_pid(pid.data()) != 0) {
      DOMAIN_ERROR("Cannot get pid in FTM.\n");
      return QVCMD_FAIL;
    }
    length = static_cast<int>(pid.view().size());
    memcpy(out, pid.c_str(), pid.view().size() + 1);
  }
  // After a successful fallback, too, on purpose: 2 tells the caller where the answer is from.
  DOMAIN_ERROR("Cannot get response. Return error:%d,rsp_len=%d\n", code, length);
  return code;
}

void make_imei_chksum(char* imei, int len) {
  constexpr size_t kBody = 14;  // digits; the check digit follows
  constexpr size_t kLongest = 15;
  if (imei == nullptr) return;
  std::array<uint8_t, kLongest + 1> digits{};
  const std::string_view text(imei);
  LOG_ALWAYS_FATAL_IF(text.size() > kLongest, "an IMEI of %zu characters", text.size());
  memcpy(digits.data(), text.data(), text.size());
  const auto given = static_cast<size_t>(std::clamp(len, 0, static_cast<int>(digits.size())));
  for (size_t i = 0; i < given; ++i) digits[i] = static_cast<uint8_t>(digits[i] - '0');
  unsigned sum = 0;
  for (size_t i = 0; i < kBody; ++i) {
    const unsigned digit = digits[i];
    const bool is_doubled = i % 2 == 1;
    sum += !is_doubled ? digit : digit >= 5 ? 2 * digit - 9 : 2 * digit;
  }
  const unsigned rest = sum % 10;
  imei[kBody] = static_cast<char>(rest == 0 ? '0' : '0' + (10 - rest));
}

void imei_check_on_boot() {
  fcx::ModemAnswer answer;
  int code = fcx::ask(fcx::request::read_imei, {}, answer);
  // That error text is no IMEI; any other answer is taken as it is, on purpose.
  if (code == 0 && answer.starts_with(kImeiReadError)) code = QVCMD_FAIL;
  if (code != 0) {
    DOMAIN_INFO("Cannot get imei from nv. %d\n", code);
    return;
  }
  mirror<fcx::item::imei>(answer.bytes());
}

void meid_check_on_boot() {
  fcx::ModemAnswer answer;
  if (const int code = fcx::ask(fcx::request::read_meid, {}, answer); code != 0) {
    DOMAIN_INFO("Cannot get meid from nv. %d\n", code);
    return;
  }
  mirror<fcx::item::meid>(answer.bytes());
}
