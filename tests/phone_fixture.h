// A fresh virtual phone for each test, where nothing was written, and what happened to it.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "fcx/background.h"
#include "fcx/factory_item_table.h"
#include "fcx/qvcmd.h"
#include "modem/link/requests.h"
#include "virtual_phone/core/clock.h"
#include "virtual_phone/core/item_store.h"
#include "virtual_phone/core/log_buffer.h"
#include "virtual_phone/core/phone.h"
#include "virtual_phone/core/properties.h"
#include "virtual_phone/faults/faults.h"
#include "virtual_phone/modem/modem.h"
#include "virtual_phone/modem/sim.h"

namespace fcx_test {

namespace fs = std::filesystem;
namespace item = fcx::item;
namespace request = fcx::request;
namespace vp = virtual_phone;

using std::string_literals::operator""s;
using std::string_view_literals::operator""sv;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::ThrowsMessage;
using vp::Access;
using vp::Effect;
using vp::NvState;
using vp::Part;
using vp::Refused;

/// Its check digit is right.
constexpr char kImei[] = "490154203237518";

/// What a caller's record looks like before the call, to see what a command leaves alone.
constexpr int32_t kUntouched = 0x55555555;

class PhoneTest : public testing::Test {
 protected:
  PhoneTest();
  ~PhoneTest() override;

  vp::Phone& phone() { return vp::selected(); }
  const fs::path& directory() const { return directory_; }
  /// Where a device file lies.
  fs::path file(const char* device_path) { return phone().root() + device_path; }

  /// Sends a command with a cleared response, as the daemon does. It is over when what it left to a
  /// thread is: some restart the phone.
  qvcmd_response send(int32_t opcode, std::string_view payload = {}) {
    return send_over({}, opcode, payload);
  }
  /// Sends one with a response full of kUntouched's bytes.
  qvcmd_response send_unclean(int32_t opcode, std::string_view payload = {});

  std::string item(int number, size_t length) { return vp::read_items(phone(), number, length); }
  /// The item's text up to its first zero byte.
  std::string item_text(int number) { return item(number, vp::kItemBlock).c_str(); }
  void set_item(int number, std::string_view bytes) { vp::write_item(phone(), number, bytes); }
  /// The same as `fcx fault` does: as often as `times` says, from the `after`th access on.
  void fault(Part part, std::string target, Effect effect, int64_t value = -1,
             Access access = Access::any, std::optional<int64_t> times = {}, int64_t after = 1);
  void request_fault(int number, Effect effect, int64_t value = 0) {
    fault(Part::request, std::to_string(number), effect, value);
  }
  void service_fault(const char* service, Effect effect) {
    fault(Part::service, service, effect, 0);
  }
  void clear_faults() { vp::clear_faults(phone()); }
  void item_fails(int number) { fault(Part::item, std::to_string(number), Effect::fail); }

  std::string property(const char* name) {
    return vp::get_property(phone(), name).value_or("(not set)");
  }
  void set_property(const char* name, std::string_view value) {
    vp::set_property(phone(), name, value);
  }
  /// A value that the modem, or the system side, keeps.
  std::string modem(const char* name) { return vp::modem_value(phone(), name).value_or("(none)"); }
  void set_modem(const char* name, std::string_view value) {
    vp::set_modem_value(phone(), name, value);
  }
  /// What was asked of the modem and the system side since the last call.
  std::vector<vp::ModemRequest> requests();
  std::vector<std::string> events();

  /// Puts a SIM in, whatever its ICCID, that so many polls find not yet ready.
  void insert_sim(std::string_view iccid, int64_t not_yet_polls = 0) {
    vp::set_sim(phone(), {vp::SimState::inserted, std::string(iccid), not_yet_polls});
  }
  void remove_sim() { vp::set_sim(phone(), {}); }
  /// Switches the phone off and on; carrier set-up knows nothing afterwards.
  void restart();
  /// Sets a property of the image: at once, and again with every restart.
  void set_build_property(const char* name, std::string_view value);

  /// The lines that the library wrote since the last call, letter for letter, with priority and tag
  /// in front: "I Fcx: message". All are from the system buffer.
  std::vector<std::string> lines();
  /// The same with everything about them.
  std::vector<vp::LogEntry> entries() { return std::exchange(entries_, {}); }

 private:
  static qvcmd_response send_over(qvcmd_response response, int32_t opcode,
                                  std::string_view payload);
  /// The library finds the modem's interface as the first test of a process does.
  void close_modem_interface();

  fs::path directory_;
  std::vector<vp::LogEntry> entries_;
  int64_t last_request_ = 0;
};

/// Whether another thread makes `condition` true. Gives up after a long while.
template <typename Condition>
bool eventually(Condition condition) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::yield();
  }
  return true;
}

/// The answer's bytes.
std::string data(const qvcmd_response& response);

std::string read_file(const fs::path& file);
void write_file(const fs::path& file, std::string_view content);

MATCHER_P2(Answers, result, text, "") {
  *result_listener << "result " << arg.result << ", data \"" << data(arg) << "\"";
  return arg.result == result && data(arg) == std::string_view(text);
}

/// A response that a command has not touched.
MATCHER(IsUntouched, "") {
  return std::string(sizeof arg, static_cast<char>(kUntouched)) ==
         std::string_view(reinterpret_cast<const char*>(&arg), sizeof arg);
}

}  // namespace fcx_test
