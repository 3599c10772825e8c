// Factory commands, one after another, on a phone that they change. A line each, with a number, a
// length and a text, as in "4018 3 ABC":
//
//   OPCODE LENGTH TEXT     a command: its `data_len`, its payload
//   <REQUEST LENGTH TEXT   what the modem or the system side answers from now on, and the length
//                          that it claims
//   #ITEM LENGTH TEXT      what a factory item holds
//   @FILE LENGTH TEXT      what one of kFiles holds
//
// With "*" in place of the first blank the text is repeated up to 2048 bytes, and no NUL follows
// it; with "~" the system side's answer travels without base64.
#include <vendor/qve/hardware/qvatcmd/1.0/IQvAtCmd.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <iterator>
#include <map>
#include <memory>
#include <new>
#include <string>
#include <string_view>

#include "benchmarks/empty_modem.h"
#include "benchmarks/fast_properties.h"
#include "fcx/background.h"
#include "fcx/command_table.h"
#include "fcx/factory_item_table.h"
#include "fcx/service_handler.h"
#include "fcx/single_binary.h"
#include "fuzz/bench_phone.h"
#include "fuzz/target.h"
#include "modem/link/requests.h"
#include "platform/factory_item_library.h"
#include "virtual_phone/hidl/services.h"
#include "virtual_phone/services/base64.h"

namespace {

namespace vp = virtual_phone;

using android::hardware::Return;
using android::hardware::Void;
using vendor::qve::hardware::qvatcmd::V1_0::IQvAtCmd;
using vendor::qve::hardware::qvatcmd::V1_0::QVATCMDRequest;
using vendor::qve::hardware::qvatcmd::V1_0::QVATCMDResponse;

constexpr uint8_t kUntouched = 0x55;
constexpr int32_t kUntouchedWord = 0x55555555;

/// What commands read, or write.
constexpr const char* kFiles[] = {"/mnt/vendor/persist-qv/agree_factory",
                                  "/mnt/vendor/persist-qv/startday/isValid",
                                  "/mnt/vendor/persist-qv/startday/date",
                                  "/mnt/vendor/persist-qv/camera/front_tof_cal",
                                  "/proc/cmdline",
                                  "/proc/meminfo",
                                  "/proc/mounts",
                                  "/vendor/etc/ap.ubid"};

struct Line {
  explicit Line(std::string_view rest) {
    number = take(rest);
    mark = rest.empty() ? ' ' : rest.front();
    rest.remove_prefix(std::min<size_t>(rest.size(), 1));
    length = take(rest);
    rest.remove_prefix(std::min<size_t>(rest.size(), 1));
    text = rest.substr(0, fuzz::kText);
    if (is_repeated()) {
      while (text.size() < fuzz::kText) text += text.empty() ? "o" : text;
      text.resize(fuzz::kText);
    }
  }
  bool is_repeated() const { return mark == '*'; }

  int32_t number = 0;
  char mark = ' ';
  int32_t length = 0;
  std::string text;

 private:
  static int32_t take(std::string_view& rest) {
    int32_t value = 0;
    const char* end = std::from_chars(rest.data(), rest.data() + rest.size(), value).ptr;
    rest.remove_prefix(static_cast<size_t>(end - rest.data()));
    return value;
  }
};

/// What the system side answers, by requests.
std::map<int32_t, QVATCMDResponse>& system_answers() {
  static std::map<int32_t, QVATCMDResponse> all;
  return all;
}

class SystemSide : public IQvAtCmd {
 public:
  Return<void> request(const QVATCMDRequest& request, request_cb give) override {
    give(system_answers()[request.opcode]);
    return Void();
  }
};

void set_answer(const Line& line) {
  const int32_t code = line.mark == '!' ? line.length : 0;
  bench::set_answer(line.number, line.text, line.length, code);
  const std::string travels = line.mark == '~' ? line.text : vp::to_base64(line.text);
  system_answers()[line.number] = {code, line.length, 0, travels};
}

void set_item(const Line& line) {
  const fcx::FactoryItem* item = fcx::find_factory_item(line.number);
  if (item == nullptr || line.text.empty()) return;
  const size_t length = std::min(item->length, line.text.size());
  fuzz::require(set_ftm_item(item->index, static_cast<int>(length), line.text.data()) == 0,
                "an item can be written");
}

void set_file(const Line& line) {
  const size_t index = static_cast<uint32_t>(line.number) % std::size(kFiles);
  fuzz::put_file(kFiles[index], line.text);
}

void check(const qvcmd_response& response, bool is_known) {
  const auto* bytes = reinterpret_cast<const uint8_t*>(&response);
  fuzz::require(is_known || std::all_of(bytes, bytes + sizeof response,
                                        [](uint8_t byte) { return byte == kUntouched; }),
                "an unknown opcode leaves the response untouched");
  fuzz::require(response.reserved == 0 || response.reserved == kUntouchedWord,
                "the reserved word is cleared or untouched");
  if (response.data_len == kUntouchedWord) return;
  const auto length = static_cast<size_t>(response.data_len);
  fuzz::require(response.data_len >= 0 && length <= sizeof response.data, "an answer fits");
  fuzz::require(length < 2 || length == sizeof response.data || response.data[length] == '\0',
                "an answer of several bytes ends with a NUL where there is room");
}

/// Sends a request in memory that ends where the caller's does.
void send(const Line& line) {
  const size_t ended = line.text.size() + (line.is_repeated() ? 0 : 1);
  const size_t counted = line.length > 0 ? static_cast<size_t>(line.length) : 0;
  const size_t size = std::min(std::max(ended, counted), QVCMD_DATA_SIZE);
  constexpr size_t kHead = offsetof(qvcmd_request, data);
  const auto memory = std::make_unique<char[]>(kHead + size);
  memcpy(memory.get(), &line.number, sizeof line.number);
  memcpy(memory.get() + offsetof(qvcmd_request, data_len), &line.length, sizeof line.length);
  line.text.copy(memory.get() + kHead, size);
  const auto response = std::make_unique<qvcmd_response>();
  memset(response.get(), kUntouched, sizeof *response);
  const int32_t returned =
      service_handler(reinterpret_cast<qvcmd_request*>(memory.get()), response.get());
  fcx::wait_for_background_work();
  fuzz::require(returned == 0, "the command entry returns 0");
  check(*response, fcx::find_command(line.number) != nullptr);
}

void start_anew() {
  static const android::sp<SystemSide> system_side(new (std::nothrow) SystemSide);
  vp::register_service(IQvAtCmd::descriptor, "atservice", [](vp::Phone&) { return system_side; });
  bench::reset_properties(
      {{"ro.vendor.qve.factoryversion", "QV100AT-00-V10a-OPEN-EU-JUN-01-2020+0"},
       {"ro.boot.vendor.qve.model.factory", "QV-100"}});
  bench::forget_answers();
  system_answers().clear();
  fuzz::empty_items();
  for (const char* file : kFiles) fuzz::put_file(file, "");
  fcx::reload_carrier_set_up();
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::need_phone();
  start_anew();
  fuzz::Input input(data, size);
  while (!input.rest().empty()) {
    const std::string text = input.line();
    const char kind = text.empty() ? '\0' : text.front();
    const bool is_command = strchr("<#@", kind) == nullptr || kind == '\0';
    const Line line(std::string_view(text).substr(is_command ? 0 : 1));
    if (is_command) send(line);
    if (kind == '<') set_answer(line);
    if (kind == '#') set_item(line);
    if (kind == '@') set_file(line);
  }
  return 0;
}
