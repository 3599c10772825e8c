// A phone with the nodes of power and display, and what the services log on it.
#pragma once

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/phone_fixture.h"
#include "virtual_phone/core/database.h"

namespace fcx_test {

constexpr char kBrightness[] = "/proc/qve_power/lcd/brightness";
constexpr char kBattery[] = "/proc/qve_power/battery/present";
constexpr char kVoltage[] = "/proc/qve_power/adc/usb_in";
constexpr char kRedLed[] = "/proc/qve_power/key_led/red_brightness";
constexpr char kFcxStatus[] = "/sys/kernel/fcx_mid/fcx_status";
constexpr char kAutosleep[] = "/sys/power/autosleep";
constexpr char kUsbState[] = "/sys/class/android_usb/android0/state";

// What a lit display logs, and the cable's state, where that is not what a test is about.
constexpr char kNoRkf[] = "I Fcx: None ro.boot.vendor.qve.rkf";
constexpr char kBootstart[] = "I Fcx: ro.vendor.qve.mid.bootstart [1]";

class ServiceTest : public PhoneTest {
 protected:
  ServiceTest() {
    set_node(kBrightness, "120\n");
    set_node(kBattery, "1\n");
    set_node(kVoltage, "5000000\n");
    set_node(kRedLed, "0\n");
    set_node(kFcxStatus, "0\n");
    set_node(kAutosleep, "off\n");
  }

  void set_node(const char* path, std::string_view content) {
    std::filesystem::create_directories(file(path).parent_path());
    write_file(file(path), content);
  }
  std::string node(const char* path) { return read_file(file(path)); }

  /// The lines since the last call, but for those of the modem link and of the USB state.
  std::vector<std::string> own_lines() {
    constexpr const char* kOthers[] = {"[COMMON_INTERFACE]", "[DMI]",
                                       "[QVATCMD]",          "[init_modem_interface]",
                                       "Response Status",    "Cannot get response",
                                       "USB State:",         "The value returned"};
    std::vector<std::string> found = lines();
    const auto is_others = [&](const std::string& line) {
      return std::any_of(std::begin(kOthers), std::end(kOthers), [&](const char* start) {
        return line.rfind(std::string("I Fcx: ") + start, 0) == 0;
      });
    };
    found.erase(std::remove_if(found.begin(), found.end(), is_others), found.end());
    return found;
  }

  /// The same without `other`, the lines of another thread, which must be among them in that order.
  std::vector<std::string> own_lines_but(const std::vector<std::string>& other) {
    std::vector<std::string> rest;
    size_t next = 0;
    for (const std::string& line : own_lines()) {
      next < other.size() && line == other[next] ? static_cast<void>(++next) : rest.push_back(line);
    }
    EXPECT_EQ(other.size(), next) << "the other thread's lines; the next one is missing";
    return rest;
  }

  /// The numbers of the requests since the last call.
  std::vector<int> asked() {
    std::vector<int> numbers;
    for (const auto& request : requests()) numbers.push_back(request.number);
    return numbers;
  }

  /// Lets the platform refuse what it would note as an event of this kind.
  void refuse(const std::string& kind) {
    using virtual_phone::Database;
    const std::string trigger = "CREATE TRIGGER refuse BEFORE INSERT ON event WHEN NEW.kind = '" +
                                kind + "' BEGIN SELECT RAISE(ABORT, 'refused'); END";
    Database(directory() / virtual_phone::kDatabaseName, Database::Survives::kill)
        .execute(trigger.c_str());
  }
};

}  // namespace fcx_test
