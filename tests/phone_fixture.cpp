#include "tests/phone_fixture.h"

#include <unistd.h>

#include <cstring>
#include <fstream>
#include <sstream>

#include "fcx/factory_items.h"
#include "fcx/modem_link.h"
#include "fcx/service_handler.h"
#include "fcx/single_binary.h"
#include "virtual_phone/core/events.h"

namespace fcx_test {

namespace {

/// In memory where that can be had: every write of a phone is flushed.
fs::path temporary_directory() {
  constexpr char kMemory[] = "/dev/shm";
  return access(kMemory, W_OK) == 0 ? kMemory : fs::temp_directory_path();
}

}  // namespace

PhoneTest::PhoneTest()
    : directory_(temporary_directory() / ("fcx-test-" + std::to_string(getpid()))) {
  vp::set_clock(vp::Clock::fast);
  vp::create(directory_, "blank", true);
  vp::select(directory_);
  fcx::reload_carrier_set_up();
  EXPECT_EQ(0, init_factory_item());
  static bool is_first = true;
  if (!std::exchange(is_first, false)) close_modem_interface();
  vp::observe_log([this](const vp::LogEntry& entry) { entries_.push_back(entry); });
}

PhoneTest::~PhoneTest() {
  vp::observe_log({});
  std::error_code ignored;
  fs::remove_all(directory_, ignored);
}

void PhoneTest::close_modem_interface() {
  service_fault("dmi", vp::Effect::absent);
  EXPECT_EQ(-1, init_modem_interface());
  clear_faults();
  fs::resize_file(phone().log_file(), 0);
}

qvcmd_response PhoneTest::send_over(qvcmd_response response, int32_t opcode,
                                    std::string_view payload) {
  qvcmd_request request{opcode, static_cast<int32_t>(payload.size()), {}};
  payload.copy(request.data, sizeof request.data);
  EXPECT_EQ(0, service_handler(&request, &response));
  fcx::wait_for_background_work();
  return response;
}

qvcmd_response PhoneTest::send_unclean(int32_t opcode, std::string_view payload) {
  qvcmd_response response;
  memset(&response, static_cast<char>(kUntouched), sizeof response);
  return send_over(response, opcode, payload);
}

void PhoneTest::fault(Part part, std::string target, Effect effect, int64_t value, Access access,
                      std::optional<int64_t> times, int64_t after) {
  vp::set_fault(phone(), {0, part, std::move(target), access, effect, value, times, after});
}

std::vector<vp::ModemRequest> PhoneTest::requests() {
  std::vector<vp::ModemRequest> found = vp::modem_requests(phone(), last_request_);
  if (!found.empty()) last_request_ = found.back().id;
  return found;
}

std::vector<std::string> PhoneTest::events() {
  std::vector<std::string> found;
  for (const vp::Event& event : vp::events(phone()))
    found.push_back(event.kind + ": " + event.detail);
  return found;
}

void PhoneTest::restart() {
  vp::restart(phone(), "test");
  fcx::reload_carrier_set_up();
}

void PhoneTest::set_build_property(const char* name, std::string_view value) {
  vp::set_build_property(phone(), name, value);
}

std::vector<std::string> PhoneTest::lines() {
  constexpr int kSystemBuffer = 3;
  constexpr std::string_view kPriorities = "??VDIWEF";
  constexpr std::string_view kPhonesOwn = "VirtualPhone";
  std::vector<std::string> found;
  for (const vp::LogEntry& entry : entries()) {
    if (entry.tag == kPhonesOwn) continue;
    EXPECT_EQ(kSystemBuffer, entry.buffer) << entry.message;
    const char priority = kPriorities[static_cast<size_t>(entry.priority)];
    found.push_back(priority + (" " + entry.tag) + ": " + entry.message);
  }
  return found;
}

std::string data(const qvcmd_response& response) {
  return {response.data, static_cast<size_t>(response.data_len)};
}

std::string read_file(const fs::path& file) {
  std::ostringstream content;
  content << std::ifstream(file, std::ios::binary).rdbuf();
  return content.str();
}

void write_file(const fs::path& file, std::string_view content) {
  std::ofstream(file, std::ios::binary) << content;
}

}  // namespace fcx_test
