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

#include "fcx/qvcmd.h"
#include "virtual_phone/core/log_buffer.h"
#include "virtual_phone/core/phone.h"
#include "virtual_phone/faults/faults.h"
#include "virtual_phone/modem/modem.h"

namespace fcx_test {

/// What a caller's record looks like before the call, to see what a command leaves alone.
constexpr int32_t kUntouched = 0x55555555;

class PhoneTest : public testing::Test {
 protected:
  PhoneTest();
  ~PhoneTest() override;

  virtual_phone::Phone& phone() { return virtual_phone::selected(); }
  const std::filesystem::path& directory() const { return directory_; }
  /// Where a device file lies.
  std::filesystem::path file(const char* device_path) { return phone().root() + device_path; }

  /// Sends a command with a cleared response, as the daemon does.
  qvcmd_response send(int32_t opcode, std::string_view payload = {});
  /// Sends one with a response full of kUntouched's bytes.
  qvcmd_response send_unclean(int32_t opcode, std::string_view payload = {});

  std::string item(int number, size_t length);
  /// The item's text up to its first zero byte.
  std::string item_text(int number);
  void set_item(int number, std::string_view bytes);
  void fault(virtual_phone::Part part, std::string target, virtual_phone::Effect effect,
             int64_t value = -1, virtual_phone::Access access = virtual_phone::Access::any);
  void request_fault(int number, virtual_phone::Effect effect, int64_t value = 0) {
    fault(virtual_phone::Part::request, std::to_string(number), effect, value);
  }
  void service_fault(const char* service, virtual_phone::Effect effect) {
    fault(virtual_phone::Part::service, service, effect, 0);
  }
  void clear_faults() { virtual_phone::clear_faults(phone()); }
  void item_fails(int number) {
    fault(virtual_phone::Part::item, std::to_string(number), virtual_phone::Effect::fail);
  }

  std::string property(const char* name);
  void set_property(const char* name, std::string_view value);
  /// A value that the modem, or the system side, keeps.
  std::string modem(const char* name);
  void set_modem(const char* name, std::string_view value);
  /// What was asked of the modem and the system side since the last call.
  std::vector<virtual_phone::ModemRequest> requests();
  std::vector<std::string> events();

  /// Puts a SIM in, whatever its ICCID.
  void insert_sim(std::string_view iccid);
  void remove_sim();
  /// Switches the phone off and on; carrier set-up knows nothing afterwards.
  void restart();
  /// Sets a property of the image: at once, and again with every restart.
  void set_build_property(const char* name, std::string_view value);

  /// The lines that the library wrote since the last call, letter for letter, with priority and tag
  /// in front: "I Fcx: message". All are from the system buffer.
  std::vector<std::string> lines();
  /// The same with everything about them.
  std::vector<virtual_phone::LogEntry> entries();

 private:
  /// The library finds the modem's interface as the first test of a process does.
  void close_modem_interface();

  std::filesystem::path directory_;
  std::vector<virtual_phone::LogEntry> entries_;
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

std::string read_file(const std::filesystem::path& file);
void write_file(const std::filesystem::path& file, std::string_view content);

MATCHER_P2(Answers, result, text, "") {
  *result_listener << "result " << arg.result << ", data \"" << data(arg) << "\"";
  return arg.result == result && data(arg) == std::string_view(text);
}

/// A response that a command has not touched.
MATCHER(IsUntouched, "") {
  return std::all_of(reinterpret_cast<const char*>(&arg),
                     reinterpret_cast<const char*>(&arg) + sizeof arg,
                     [](char byte) { return byte == static_cast<char>(kUntouched); });
}

}  // namespace fcx_test
