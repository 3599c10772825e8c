// Faults: which are refused, which accesses they strike, and when.
#include <android-base/unique_fd.h>
#include <cutils/android_reboot.h>
#include <cutils/properties.h>
#include <fcntl.h>
#include <hardware_legacy/power.h>
#include <selinux/android.h>
#include <vendor/qve/hardware/filehandle/1.0/IFileHandle.h>
#include <vendor/qve/hardware/qvatcmd/1.0/IQvAtCmd.h>

#include <cerrno>
#include <functional>

#include "fcx/modem_link.h"
#include "fcx/usb_mode.h"
#include "platform/device_home.h"
#include "platform/factory_item_library.h"
#include "platform/modem_interface.h"
#include "platform/unified_sysfs.h"
#include "tests/phone_fixture.h"
#include "virtual_phone/faults/accesses.h"

namespace fcx_test {
namespace {

using Operation = fcx::FileOperation;
using vendor::qve::hardware::filehandle::V1_0::IFileHandle;
using vendor::qve::hardware::qvatcmd::V1_0::IQvAtCmd;
using vp::Fault;

constexpr std::pair<Operation, Access> kOfAFile[] = {
    {Operation::open, Access::open},     {Operation::read, Access::read},
    {Operation::write, Access::write},   {Operation::sync, Access::sync},
    {Operation::rename, Access::rename}, {Operation::sync_directory, Access::sync_directory},
    {Operation::remove, Access::remove}, {Operation::stat, Access::stat},
    {Operation::chmod, Access::chmod},   {Operation::chown, Access::chown},
    {Operation::mkdir, Access::mkdir},   {Operation::seek, Access::seek},
    {Operation::close, Access::close},   {Operation::ioctl, Access::ioctl},
    {Operation::mmap, Access::mmap}};

class Faults : public PhoneTest {
 protected:
  int64_t set(Part part, const char* target, Access access, Effect effect, int64_t value,
              std::optional<int64_t> times = std::nullopt, int64_t after = 1) {
    return vp::set_fault(phone(), {0, part, target, access, effect, value, times, after});
  }
  void expect_refused(const Fault& fault, const char* why) {
    EXPECT_THAT([&] { vp::set_fault(phone(), fault); }, ThrowsMessage<Refused>(HasSubstr(why)))
        << vp::name_of(fault.part) << " " << fault.target << " " << vp::name_of(fault.access) << " "
        << vp::name_of(fault.effect) << " " << fault.value;
  }
  static int read_item() {
    char byte = 0;
    return get_ftm_item(9, 1, &byte);
  }
  static fcx::FileFault met_by(const char* path, Operation operation) {
    const fcx::FileAccess access{path, operation};
    const fcx::FileFault fault = fcx::platform_file_begins(access);
    fcx::platform_file_ends(access, fault.error);
    return fault;
  }
  static int error_of(Operation operation) { return met_by("/a//./b", operation).error; }
  /// What an access of each kind comes to: item, property, file, request, thread, service.
  static std::vector<int> all_accesses() {
    qvcmd_request request{209, 0, {}};
    qvcmd_response response{};
    return {read_item(),
            property_set("vendor.a", "1"),
            error_of(Operation::read),
            request_to_modem_via_dmi(&request, &response),
            fcx::platform_thread_fault(fcx::LibraryThread::reboot),
            acquire_wake_lock(1, "a")};
  }
};

TEST_F(Faults, ThatCannotStrikeAreRefused) {
  constexpr auto kAny = Access::any;
  const std::pair<Fault, const char*> cases[] = {
      {{0, Part::item, "9", Access::open, Effect::fail, -1, {}}, "read or write, not on open"},
      {{0, Part::item, "9", Access::write, Effect::shorter, 4, {}}, "on read, not on write"},
      {{0, Part::item, "09", kAny, Effect::late, 1, {}}, "no item's number"},
      {{0, Part::item, "9", kAny, Effect::refuse, 0, {}}, "no item fault \"refuse\""},
      {{0, Part::item, "9", kAny, Effect::fail, -1, 0}, "at least once"},
      {{0, Part::item, "9", kAny, Effect::fail, -1, {}, 0}, "first access"},
      {{0, Part::property, "a b", kAny, Effect::fail, 0, {}}, "no property name"},
      {{0, Part::file, "proc/meminfo", kAny, Effect::fail, EIO, {}}, "begins with /"},
      {{0, Part::file, "/a/../b", kAny, Effect::fail, EIO, {}}, "no \"..\""},
      {{0, Part::file, "/a", Access::call, Effect::fail, EIO, {}}, "ioctl or mmap, not on call"},
      {{0, Part::request, "100", kAny, Effect::refuse, 0, {}}, "nothing to refuse"},
      {{0, Part::request, "116", Access::read, Effect::fail, 1, {}}, "on any access, not on read"},
      {{0, Part::request, "116", kAny, Effect::fail, 0, {}}, "the code 0"},
      {{0, Part::file, "/a", Access::read, Effect::size, 1, {}}, "on seek, not on read"},
      {{0, Part::thread, "set_up", kAny, Effect::fail, 1, {}}, "starts no thread \"set_up\""},
      {{0, Part::service, "dmi", Access::write, Effect::dies, 0, {}}, "on call, not on write"},
      {{0, Part::service, "modem", kAny, Effect::dies, 0, {}},
       "Services: dmi, diag, atservice, filehandle, reboot, wakelock, restorecon"},
      {{0, Part::service, "reboot", kAny, Effect::dies, 0, {}}, "cannot break off"},
      {{0, Part::service, "wakelock", kAny, Effect::dies, 0, {}}, "cannot break off"},
      {{0, Part::service, "dmi", Access::find, Effect::late, 1, {}}, "nobody waits for \"dmi\""},
      {{0, Part::service, "atservice", Access::find, Effect::dies, 0, {}}, "on call, not on find"},
      {{0, Part::command, "read_imei", kAny, Effect::fail, 0, {}}, "\"read_imei\" is no opcode"},
      {{0, Part::command, "4294", Access::read, Effect::fail, 0, {}},
       "on request, item, property, file or service, not on read"},
      {{0, Part::command, "4294", kAny, Effect::late, 1, {}}, "no command fault \"late\""}};
  for (const auto& [fault, why] : cases) expect_refused(fault, why);
  for (const auto& [request, why] :
       {std::pair("100", "the modem does not know request 100: it has no answer"),
        {"1000", "the system side does not know request 1000: it has no answer"}}) {
    for (const Effect effect : {Effect::status, Effect::empty, Effect::shorter, Effect::longer,
                                Effect::length, Effect::garbage}) {
      expect_refused({0, Part::request, request, kAny, effect, 1, {}}, why);
    }
  }
  for (const char* item : {"-1", "4096"}) {
    expect_refused({0, Part::item, item, kAny, Effect::late, 1, {}}, "items are 0 to 4095");
  }
  for (const char* request : {"-1", "0116", "994", "999", "4415", "99999999999"}) {
    expect_refused({0, Part::request, request, kAny, Effect::late, 1, {}},
                   "0 to 993 go to the modem, 1000 to 4414 to the system side");
  }
  for (const auto& [operation, access] : kOfAFile) {
    if (access == Access::read || access == Access::write) continue;
    expect_refused({0, Part::file, "/a", access, Effect::shorter, 1, {}}, "read or write, not on");
  }
  EXPECT_THAT(vp::faults(phone()), testing::IsEmpty());
}

TEST_F(Faults, MayStandOnBothSidesOfEachLimit) {
  for (const char* item : {"0", "4095"}) set(Part::item, item, Access::any, Effect::late, 1);
  // Also on what nobody answers or sends: the link carries it.
  for (const char* request : {"0", "993", "1000", "4414"}) {
    set(Part::request, request, Access::any, Effect::late, 1);
    set(Part::request, request, Access::any, Effect::fail, 1);
  }
  for (const char* request : {"117", "4063"})
    set(Part::request, request, Access::any, Effect::empty, 0);
  set(Part::request, "1000", Access::any, Effect::refuse, 0);
  const std::tuple<Part, const char*, Effect, int64_t, int64_t, const char*> cases[] = {
      {Part::item, "9", Effect::fail, INT32_MIN, -1, "a negative code"},
      {Part::item, "9", Effect::returns, 1, INT32_MAX, "a positive number"},
      {Part::item, "9", Effect::late, 1, 3'600'000, "milliseconds, 1 to 3600000, not "},
      {Part::item, "9", Effect::shorter, 0, INT32_MAX, "a number of bytes"},
      {Part::file, "/a", Effect::fail, 1, 133, "the number of an error"},
      {Part::thread, "cable_wait", Effect::fail, 1, 133, "the number of an error"},
      {Part::request, "117", Effect::fail, INT32_MIN, INT32_MAX, "of 32 bits"},
      {Part::request, "117", Effect::length, INT32_MIN, INT32_MAX, "of 32 bits"},
      {Part::request, "117", Effect::longer, 1, 65536, "a number of bytes"},
      {Part::request, "117", Effect::garbage, 0, 255, "a byte"}};
  for (const auto& [part, target, effect, lowest, highest, what] : cases) {
    for (const int64_t value : {lowest, highest}) set(part, target, Access::any, effect, value);
    for (const int64_t value : {lowest - 1, highest + 1}) {
      expect_refused({0, part, target, Access::any, effect, value, {}}, what);
    }
  }
}

TEST_F(Faults, OnAFileStrikeTheirAccessOnly) {
  for (const auto& [operation, access] : kOfAFile) {
    set(Part::file, "/a/b", access, Effect::fail, EIO);
    for (const auto& [asked, each] : kOfAFile) {
      EXPECT_EQ(each == access ? EIO : 0, error_of(asked))
          << vp::name_of(access) << ", asked for " << vp::name_of(each);
    }
    EXPECT_EQ(0, met_by("/a", operation).error) << "the directory is another";
    clear_faults();
  }
  set(Part::file, "/a/b", Access::any, Effect::fail, EACCES);
  for (const auto& [asked, each] : kOfAFile) {
    EXPECT_EQ(EACCES, error_of(asked)) << vp::name_of(each);
  }
  clear_faults();
  set(Part::file, "/a/b", Access::any, Effect::shorter, 3, 2);
  for (const auto& [asked, each] : kOfAFile) {
    const bool moves = each == Access::read || each == Access::write;
    EXPECT_EQ(moves ? 3 : SIZE_MAX, met_by("/a/b", asked).limit) << vp::name_of(each);
  }
  EXPECT_THAT(vp::faults(phone()), testing::IsEmpty()) << "used up by the two";
}

TEST_F(Faults, MayBeginWithALaterAccess) {
  const auto five_reads = [] {
    std::vector<int> codes;
    for (int i = 0; i < 5; ++i) {
      codes.push_back(read_item());
      EXPECT_EQ(0, set_ftm_item(9, 1, "a")) << "counts for none of them";
    }
    return codes;
  };
  set(Part::item, "9", Access::read, Effect::fail, -3, 1, 3);
  EXPECT_THAT(five_reads(), ElementsAre(0, 0, -3, 0, 0));
  set(Part::item, "9", Access::read, Effect::fail, -4, {}, 4);
  EXPECT_THAT(five_reads(), ElementsAre(0, 0, 0, -4, -4));
  clear_faults();
  // Each is counted on its own, also by accesses that another strikes, and in other processes.
  set(Part::item, "9", Access::read, Effect::fail, -1, 3);
  set(Part::item, "9", Access::read, Effect::late, 1, 1, 3);
  set(Part::item, "9", Access::read, Effect::fail, -4, 1, 5);
  vp::Phone other(directory());
  EXPECT_TRUE(vp::strike(other, Part::item, "9", Access::read).has_value());
  EXPECT_THAT(five_reads(), ElementsAre(-1, -1, 0, -4, 0));
  EXPECT_THAT(vp::faults(phone()), testing::IsEmpty()) << "the third read was late";
}

TEST_F(Faults, OfAServiceAreMetAtItsLookupOrAtACall) {
  const auto at = IQvAtCmd::getService("atservice");
  const auto files = IFileHandle::getService("default");
  const std::tuple<const char*, std::function<bool()>, std::function<bool()>> cases[] = {
      {"dmi", [] { return dmi_init() == 0; },
       [] { return request_to_system(209, nullptr, 0, nullptr, nullptr, nullptr) == 0; }},
      {"atservice", [] { return IQvAtCmd::getService("atservice") != nullptr; },
       [&] {
         return at->request({4063, 0, ""}, [](const auto&) {}).isOk();
       }},
      {"filehandle", [] { return IFileHandle::getService("default") != nullptr; },
       [&] { return files->readFile("/a", [](const auto&, auto) {}).isOk(); }}};
  for (const auto& [service, is_found, answers] : cases) {
    SCOPED_TRACE(service);
    for (const Effect effect : {Effect::dies, Effect::absent}) {
      service_fault(service, effect);
      EXPECT_EQ(effect == Effect::dies, is_found());
      EXPECT_FALSE(answers()) << vp::name_of(effect) << ", for who found it before";
      clear_faults();
    }
    fault(Part::service, service, Effect::late, 60'000);
    const int64_t before = vp::now_us();
    EXPECT_TRUE(is_found() && vp::now_us() - before < 60'000'000);
    EXPECT_TRUE(answers() && vp::now_us() - before >= 60'000'000) << "on the phone's clock";
    clear_faults();
    if (service == "dmi"s) continue;
    fault(Part::service, service, Effect::late, 60'000, Access::find, 2);
    for (const int64_t waited : {60'000'000, 60'000'000, 0}) {
      const int64_t slept = vp::slept_us();
      EXPECT_TRUE(is_found());
      EXPECT_EQ(waited, vp::slept_us() - slept) << "each lookup, until it is up";
    }
  }
  fault(Part::service, "atservice", Effect::late, 60'000, Access::find);
  EXPECT_EQ(nullptr, IQvAtCmd::tryGetService("atservice")) << "which does not wait";
  EXPECT_NE(nullptr, IQvAtCmd::tryGetService("atservice"));
}

TEST_F(Faults, OnACommandLetItsAccessesFailInTheirWay) {
  ASSERT_EQ(0, dmi_init());
  using Codes = std::vector<int>;
  const Codes healthy(6);
  const std::pair<Access, Codes> cases[] = {
      {Access::any, {-1, -1, 5, -1, 0, -1}},   {Access::item, {-1, 0, 0, 0, 0, 0}},
      {Access::property, {0, -1, 0, 0, 0, 0}}, {Access::file, {0, 0, 5, 0, 0, 0}},
      {Access::request, {0, 0, 0, 1, 0, 0}},   {Access::service, {0, 0, 0, -1, 0, -1}}};
  for (const auto& [kind, codes] : cases) {
    set(Part::command, "4294", kind, Effect::fail, 0);
    EXPECT_EQ(healthy, all_accesses()) << "while none runs";
    for (const auto& [opcode, expected] : {std::pair(4294, codes), {4293, healthy}}) {
      const vp::RunningCommand running(opcode);
      std::thread([&expected = expected] { EXPECT_EQ(expected, all_accesses()); }).join();
    }
    clear_faults();
  }
}

TEST_F(Faults, OnACommandStrikeWholeRuns) {
  const auto five_runs = [] {
    std::vector<int> sums;
    for (int i = 0; i < 5; ++i) {
      vp::RunningCommand(4294);  // a run that accesses nothing
      EXPECT_EQ(0, property_set("vendor.a", "1")) << "while none runs";
      const vp::RunningCommand running(4294);
      sums.push_back(read_item());
      sums.back() += property_set("vendor.a", "1");
    }
    return sums;
  };
  set(Part::command, "4294", Access::any, Effect::fail, 0, 1);
  EXPECT_THAT(five_runs(), ElementsAre(-2, 0, 0, 0, 0));
  set(Part::command, "4294", Access::any, Effect::fail, 0, 2, 3);
  EXPECT_THAT(five_runs(), ElementsAre(0, 0, -2, -2, 0));
  set(Part::command, "4294", Access::request, Effect::fail, 0, 1);
  set(Part::command, "4294", Access::property, Effect::fail, 0, {}, 4);
  EXPECT_THAT(five_runs(), ElementsAre(0, 0, 0, -1, -1));
  EXPECT_THAT(vp::faults(phone()), SizeIs(2)) << "no run has made a request";
  clear_faults();
  set(Part::item, "9", Access::any, Effect::fail, -7, 2);
  set(Part::command, "4294", Access::any, Effect::fail, 0, 1);
  EXPECT_THAT(five_runs(), ElementsAre(-8, -7, 0, 0, 0)) << "the oldest strikes first";
}

TEST_F(Faults, OnACommandStrikeWhatItLeavesOnAThread) {
  set(Part::command, "4294", Access::property, Effect::fail, 0);
  const vp::RunningCommand running(4294);
  EXPECT_EQ(0, usb_path_change(nullptr));
  fcx::wait_for_background_work();
  EXPECT_EQ("(not set)", property("vendor.qve.usb.adb_skip_auth"));
}

TEST_F(Faults, OfRebootAndWakeLockLeaveNoTrace) {
  const std::pair<const char*, int (*)()> calls[] = {
      {"reboot", [] { return android_reboot(ANDROID_RB_POWEROFF, 0, nullptr); }},
      {"wakelock", [] { return acquire_wake_lock(PARTIAL_WAKE_LOCK, "a"); }},
      {"wakelock", [] { return release_wake_lock("a"); }},
      {"restorecon", [] { return selinux_android_restorecon("/data", 0); }}};
  set_property("vendor.a", "1");
  for (const auto& [service, call] : calls) {
    service_fault(service, Effect::absent);
    EXPECT_EQ(-1, call()) << service;
    clear_faults();
  }
  EXPECT_THAT(events(), testing::IsEmpty());
  EXPECT_EQ("1", property("vendor.a"));
  for (const auto& [service, call] : calls) {
    fault(Part::service, service, Effect::late, 60'000);
    const int64_t before = vp::now_us();
    EXPECT_EQ(0, call()) << service;
    EXPECT_GE(vp::now_us() - before, 60'000'000);
  }
}

/// Each access of files in one line when it has ended: its number, what it came to, and what of it
/// is a fault's, or a change.
class Told : public vp::AccessObserver {
 public:
  Told() { vp::observe_accesses(this); }
  ~Told() override { vp::observe_accesses(nullptr); }
  std::optional<Fault> begins(const vp::PlatformAccess&) override { return std::nullopt; }
  void ended(size_t, const vp::PlatformAccess& access) override {
    lines += vp::name_of(access.access) + (" " + std::to_string(access.size)) + ": " +
             std::to_string(access.result) + (access.struck ? ", struck" : "") +
             (access.is_change ? ", changes\n" : "\n");
  }
  std::string lines;
};

TEST_F(Faults, AreToldOfWithTheAccessThatTheyStrike) {
  write_file(file("/data/a"), "a");
  write_file(file("/sys/a"), "a");
  const std::string path = file("/data/a");
  const android::base::unique_fd open_one(open(path.c_str(), O_WRONLY | O_CLOEXEC));
  const auto does = [](const fcx::FileAccess& access, int error = 0) {
    const fcx::FileFault fault = fcx::platform_file_begins(access);
    fcx::platform_file_ends(access, fault.error != 0 ? fault.error : error);
  };
  const auto renames = [&] {
    does({"/data/a", Operation::rename, path.c_str(), -1, 0, {}, "/data/b", "/nowhere"});
  };
  set(Part::file, "/data/b", Access::rename, Effect::fail, EIO, 1);
  set(Part::file, "/data/a", Access::write, Effect::shorter, 1, 2, 2);
  const std::tuple<const char*, std::function<void()>, std::string> cases[] = {
      {"a node that is only read",
       [] {
         char text[4];
         EXPECT_EQ(1, unified_sysfs_read("/sys/a", text, sizeof text));
       },
       "open 0: 0\nread -1: 0\n"},
      {"a mode of nothing",
       [&] {
         does({"/data/a", Operation::chmod, path.c_str()});
       },
       "chmod 0: 0\n"},
      {"a rename, by its new name", renames, "rename -1: 5, struck\n"},
      {"a write that fails of itself",
       [&] {
         does({"/data/a", Operation::write, nullptr, open_one.get()}, ENOSPC);
       },
       "write -1: 28, changes\n"},
      {"a write that is cut",
       [&] {
         does({"/data/a", Operation::write, nullptr, open_one.get()}, ENOSPC);
       },
       "write -1: 28, struck, changes\n"},
      {"an unlink that fails",
       [&] {
         does({"/data/a", Operation::remove, path.c_str()}, EACCES);
       },
       "remove -1: 13\n"},
  };
  for (const auto& [what, work, expected] : cases) {
    const Told told;
    work();
    EXPECT_EQ(expected, told.lines) << what;
  }
}

}  // namespace
}  // namespace fcx_test
