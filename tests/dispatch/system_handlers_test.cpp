// Commands that end in a restart, and the power key's.
#include "fcx/background.h"
#include "tests/dispatch/command_test.h"
#include "virtual_phone/core/properties.h"

namespace fcx_test {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using virtual_phone::Access;
using virtual_phone::Effect;
using virtual_phone::Part;

constexpr int kFactoryStatus = 2;
constexpr int kQem = 3;
constexpr int kDownloadPath = 90;
constexpr int kSyncEfs = 200;
constexpr char kBootStatus[] = "persist.vendor.qve.bootstatus";

class SystemHandlers : public CommandTest {
 protected:
  /// Sends a command, after whose restart nothing of an earlier one is left to see.
  qvcmd_response send(int32_t opcode, std::string_view payload) {
    seen_ = events().size();
    lines();
    const qvcmd_response response = CommandTest::send(opcode, payload);
    fcx::wait_for_background_work();
    return response;
  }
  /// The reason of the restart that the last command led to, or "".
  std::string reason() {
    constexpr std::string_view kReboot = "reboot: restart, reason ";
    const auto all = events();
    return all.size() == seen_ ? "" : all[seen_].substr(kReboot.size());
  }
  std::vector<std::string> handler_lines() {
    std::vector<std::string> found;
    for (const std::string& line : lines()) {
      if (line.find(" Diag_Lib: ") == 1 && line.find("service_handler") == std::string::npos) {
        found.push_back(line);
      }
    }
    return found;
  }
  int flag(int number) { return item(number, 1)[0]; }

 private:
  size_t seen_ = 0;
};

TEST_F(SystemHandlers, TheDeviceTestRestartsAPhoneWhoseStatusItChanges) {
  const auto changed = [](int before, int ret) {
    return std::vector<std::string>{
        "I Diag_Lib: handle_devicetest_start frst = " + std::to_string(before) + "\n",
        "I Diag_Lib: handle_devicetest_start change frst 6, ret = " + std::to_string(ret) + "\n"};
  };
  const std::string failed = "E Diag_Lib: handle_devicetest_start: failed with -1\n";
  auto failed_and_changed = changed(2, 0);
  failed_and_changed.insert(failed_and_changed.begin(), failed);
  const struct {
    const char* argument;
    char status;
    std::vector<int> failing;  ///< items
    int result;
    const char* reason;
    int qem;
    int status_after;
    std::vector<std::string> lines;
  } cases[] = {{"1", 2, {}, 0, "fcx", 1, 6, changed(2, 0)},
               {"1", 6, {}, 0, "fcx", 1, 6, {}},
               {"257", 2, {}, 0, "fcx", 1, 6, changed(2, 0)},
               {"0", 2, {}, 0, "fcx", 0, 6, changed(2, 0)},
               {"", 2, {}, 0, "fcx", 0, 6, changed(2, 0)},
               {"2", 6, {}, 1, "", 0, 6, {}},
               {"1", 6, {kQem}, 1, "", 0, 6, {failed}},
               {"1", 2, {kQem}, 0, "fcx", 0, 6, failed_and_changed},
               {"1", 2, {kFactoryStatus}, 1, "", 1, 2, changed(-1, -1)}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.argument + std::to_string(c.status));
    set_item(kQem, std::string_view("\0", 1));
    set_item(kFactoryStatus, std::string_view(&c.status, 1));
    for (const int number : c.failing) item_fails(number);
    EXPECT_THAT(send(4004, c.argument), Answers(c.result, ""));
    EXPECT_THAT(handler_lines(), ElementsAreArray(c.lines));
    clear_faults();
    EXPECT_EQ(c.reason, reason());
    EXPECT_EQ(c.qem, flag(kQem));
    EXPECT_EQ(c.status_after, flag(kFactoryStatus));
  }
}

TEST_F(SystemHandlers, TheAutomaticTestNeedsItsFlag) {
  const struct {
    const char* argument;
    bool fails;
    int result;
    const char* reason;
  } cases[] = {{"1", false, 0, "aat_write"}, {"257", false, 0, "aat_write"},
               {"1", true, 1, ""},           {"0", false, 1, ""},
               {"", false, 1, ""},           {"2", false, 1, ""}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.argument);
    set_item(kQem, std::string_view("\0", 1));
    if (c.fails) item_fails(kQem);
    EXPECT_THAT(send(4180, c.argument), Answers(c.result, ""));
    clear_faults();
    EXPECT_EQ(c.reason, reason());
    EXPECT_EQ(c.result == 0 ? 1 : 0, flag(kQem));
  }
}

TEST_F(SystemHandlers, ARestartThatFailsTakesTheFlagBackAndIsNotReported) {
  for (const int32_t opcode : {4004, 4180}) {
    request_fault(kSyncEfs, Effect::refuse);
    EXPECT_THAT(send(opcode, "1"), Answers(0, "")) << opcode;
    EXPECT_EQ(0, flag(kQem));
    EXPECT_EQ("", reason());
    // The second write fails.
    virtual_phone::set_fault(phone(), {0, Part::item, std::to_string(kQem), Access::write,
                                       Effect::fail, -1, std::nullopt, 2});
    EXPECT_THAT(send(opcode, "1"), Answers(0, ""));
    EXPECT_EQ(std::string("E Diag_Lib: handle_") +
                  (opcode == 4004 ? "devicetest_start" : "aat_write_start") + ": failed with -1\n",
              lines().back());
    EXPECT_EQ(1, flag(kQem));
    clear_faults();
  }
}

TEST_F(SystemHandlers, TheBootStatusIsSetForARestartAndTakenBack) {
  for (const auto& [argument, status] :
       {std::pair{"3", "3"}, {"257", "1"}, {"-1", "255"}, {"", "0"}}) {
    EXPECT_THAT(send(4007, argument), Answers(0, ""));
    EXPECT_EQ(status, property(kBootStatus)) << argument;
    EXPECT_EQ("fcx", reason());
  }
  request_fault(kSyncEfs, Effect::refuse);
  std::vector<std::string> set;
  virtual_phone::observe_properties([&](const auto& change) { set.push_back(change.after); });
  EXPECT_THAT(send(4007, "5"), Answers(1, ""));
  virtual_phone::observe_properties({});
  EXPECT_THAT(set, ElementsAre("5", "0"));
  EXPECT_EQ("", reason());
  clear_faults();
  fault(Part::property, kBootStatus, Effect::fail, 0, Access::write);
  EXPECT_THAT(send(4007, "5"), Answers(0, ""));
  EXPECT_EQ("fcx", reason()) << "without the status, which is logged";
  EXPECT_EQ("0", property(kBootStatus));
}

TEST_F(SystemHandlers, ADownloadIsNotedAndBegins) {
  const std::string longest(512, 'p');
  for (const std::string& path : {std::string("/sdcard/image"), longest + "q", std::string()}) {
    EXPECT_THAT(send_unclean(4266, path), IsUntouched());
    fcx::wait_for_background_work();
    EXPECT_EQ(path.substr(0, 512), item(kDownloadPath, 512).c_str());
    EXPECT_EQ("1", property(kBootStatus));
  }
  const char* noted = "E Diag_Lib: start_sdcard_download: item 90 cannot be written\n";
  const std::tuple<const char*, std::function<void()>, const char*> cases[] = {
      {"item", [&] { item_fails(kDownloadPath); }, noted},
      {"status", [&] { fault(Part::property, kBootStatus, Effect::fail, 0, Access::write); },
       "E Fcx: set_bootstatus: persist.vendor.qve.bootstatus cannot be set\n"}};
  for (const auto& [what, fails, line] : cases) {
    fails();
    send(4266, "/sdcard/other");
    EXPECT_THAT(lines(), testing::Contains(line));
    EXPECT_EQ("dload", reason()) << what;
    clear_faults();
  }
  request_fault(kSyncEfs, Effect::refuse);
  EXPECT_THAT(send_unclean(4266, "/sdcard/image"), IsUntouched());
  EXPECT_EQ("/sdcard/image", item_text(kDownloadPath));
}

TEST_F(SystemHandlers, ThePowerKeyResetsOrDoesNot) {
  for (const auto& [payload, sent] :
       {std::pair{"0", '\0'}, {"1", '\1'}, {"01", '\0'}, {"", '\1'}, {"\xFF", '\1'}}) {
    requests();
    EXPECT_THAT(send(4040, payload), Answers(0, ""));
    EXPECT_EQ(std::string(1, sent), requests().back().payload);
  }
  request_fault(610, Effect::refuse);
  EXPECT_THAT(send(4040, "1"), Answers(1, ""));
}

}  // namespace
}  // namespace fcx_test
