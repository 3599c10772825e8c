// The bench's services of the system side, called through HIDL as the library calls them.
#include <cutils/properties.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vendor/qve/hardware/filehandle/1.0/IFileHandle.h>
#include <vendor/qve/hardware/qvatcmd/1.0/IQvAtCmd.h>

#include <atomic>
#include <cstdlib>
#include <functional>

#include "fcx/customisation.h"
#include "fcx/modem_link.h"
#include "fcx/single_binary.h"
#include "platform/factory_item_library.h"
#include "platform/features.h"
#include "tests/phone_fixture.h"
#include "virtual_phone/services/base64.h"

namespace fcx_test {
namespace {

using com::qve::config::Features2;
using vendor::qve::hardware::filehandle::V1_0::Error;
using vendor::qve::hardware::filehandle::V1_0::IFileHandle;
using vendor::qve::hardware::qvatcmd::V1_0::IQvAtCmd;
using vendor::qve::hardware::qvatcmd::V1_0::QVATCMDRequest;

class VirtualAtService : public PhoneTest {
 protected:
  /// "RESULT LENGTH TEXT" of the answer to a call.
  std::string call(const QVATCMDRequest& request) {
    std::string answer = "none";
    const auto called = IQvAtCmd::getService("atservice")->request(request, [&](const auto& given) {
      answer = std::to_string(given.result) + " " + std::to_string(given.data_len) + " " +
               std::string(given.data);
    });
    EXPECT_EQ(called.isOk(), answer != "none");
    return answer;
  }
  std::string answer(int32_t number, std::string_view payload = {}) {
    return call({number, static_cast<int32_t>(payload.size()), vp::to_base64(payload)});
  }
};

TEST_F(VirtualAtService, AnswersWhatItKnows) {
  EXPECT_EQ("0 0 ", answer(4063));
  EXPECT_EQ("0 0 ", answer(4063, "QV-200"));
  EXPECT_EQ("0 6 UVYtMjAw", answer(4063));
  EXPECT_EQ("0 0 ", answer(4063, std::string(255, 'm')));
  EXPECT_EQ("1 0 ", answer(4063, std::string(256, 'm')));
  EXPECT_EQ("2 0 ", answer(1000));
  EXPECT_EQ("2 0 ", answer(117)) << "the modem's, and none of its own";

  EXPECT_EQ("0 0 ", answer(1653));
  EXPECT_EQ("0", read_file(file("/proc/qve_power/lcd/brightness")));
  EXPECT_EQ("0 0 ", answer(1654));
  EXPECT_EQ("183", read_file(file("/proc/qve_power/lcd/brightness")));
  for (const int32_t number : {1900, 1901, 1902, 1903}) EXPECT_EQ("0 0 ", answer(number));
  fs::remove(file("/proc/qve_power/lcd/brightness"));
  EXPECT_EQ("1 0 ", answer(1653)) << "there is no such node";
  ASSERT_EQ(0, mkfifo(file("/proc/qve_power/lcd/brightness").c_str(), 0600));
  EXPECT_EQ("1 0 ", answer(1653)) << "and nobody waits for its reader";
  EXPECT_THAT(events(), ElementsAre("sleep: 0", "wake_up: 183", "omadm: 1", "omadm: 2", "omadm: 3",
                                    "omadm: other"));
}

TEST_F(VirtualAtService, SavesAndErasesTheLogs) {
  fs::create_directories(file("/data/logger/modem"));
  write_file(file("/data/logger/modem/trace"), "t");
  answer(1000);
  EXPECT_EQ("0 0 ", answer(1006, "0601_0900"));
  const auto saved = file("/data/vendor/factory/logsave/0601_0900");
  EXPECT_EQ("t", read_file(saved / "modem/trace"));
  EXPECT_TRUE(fs::exists(saved / "system.log"));
  EXPECT_EQ("0 0 ", answer(1006, "0601_0900")) << "once more into the same folder";
  for (const char* date : {"", ".", "..", "a/b", "/", "x..y"}) {
    EXPECT_EQ("1 0 ", answer(1006, date)) << date;
  }
  EXPECT_EQ("0 0 ", answer(1008));
  EXPECT_TRUE(fs::is_empty(file("/data/logger")));
  EXPECT_TRUE(fs::exists(saved / "modem/trace"));
  fs::remove(file("/data/logger"));
  EXPECT_EQ("0 0 ", answer(1008));

  // No link is followed, neither to erase nor to write.
  const fs::path outside = file("/outside");
  fs::create_directory(outside);
  write_file(outside / "file", "untouched");
  fs::create_directory_symlink(outside, file("/data/logger"));
  EXPECT_EQ("0 0 ", answer(1008));
  fs::remove(saved / "system.log");
  fs::create_symlink(outside / "file", saved / "system.log");
  EXPECT_EQ("0 0 ", answer(1006, "0601_0900"));
  EXPECT_EQ("untouched", read_file(outside / "file"));
  fs::remove_all(saved.parent_path());
  fs::create_directory_symlink(outside, saved.parent_path());
  EXPECT_EQ("1 0 ", answer(1006, "0601_0900"));
  EXPECT_EQ(1, std::distance(fs::directory_iterator(outside), {}));
}

TEST_F(VirtualAtService, RequestsThatDoNotSayWhatTheyCarryFail) {
  const QVATCMDRequest requests[] = {{4063, 2, "Zm9v"},
                                     {4063, 4, "Zm9v"},
                                     {4063, -1, ""},
                                     {4063, 2049, vp::to_base64(std::string(2049, 'x'))}};
  for (const QVATCMDRequest& request : requests) {
    EXPECT_EQ("1 0 ", call(request)) << request.data_len << " " << request.data.c_str();
  }
  for (const char* text : {"Z", "Zg", "Zg=", "Z===", "====", "Zg==Zg==", "Zm9\n", "Zm9#"}) {
    EXPECT_EQ(std::nullopt, vp::from_base64(text)) << text;
  }
  EXPECT_EQ("1 0 ", call({4063, 3, "Zm9#"}));
  EXPECT_EQ("(none)", modem("model_name"));
}

TEST_F(VirtualAtService, ItsRequestsAreRecordedWithoutBase64AndSpoiltWithIt) {
  answer(4063, "abc");
  request_fault(4063, Effect::status, 5);
  answer(4063);
  clear_faults();
  for (const auto& [effect, spoilt] :
       {std::pair(Effect::refuse, "1 0 "), {Effect::garbage, "0 3 ###"}}) {
    request_fault(4063, effect);
    EXPECT_EQ(spoilt, answer(4063));
    clear_faults();
  }
  service_fault("atservice", Effect::dies);
  EXPECT_EQ("none", answer(4063));
  const auto sent = requests();
  ASSERT_THAT(sent, SizeIs(5));
  EXPECT_EQ("abc", sent[0].payload);
  EXPECT_EQ("abc", sent[1].answer);
  EXPECT_EQ(3, sent[1].answer_length);
  EXPECT_EQ(5, sent[1].status);
  EXPECT_EQ(-1, sent[4].code);
}

/// The file-handle service, which alone sees the overlay, and who says that the product has one.
class VirtualOverlay : public PhoneTest {
 protected:
  /// A file in the phone's tree of that name.
  void place(const char* tree, const std::string& path, std::string_view content) {
    const fs::path target = directory() / tree / path.substr(1);
    fs::create_directories(target.parent_path());
    write_file(target, content);
  }

  static std::string error_text(Error error) {
    return "!" + std::to_string(static_cast<int>(error));
  }
  /// What the service says of a file: its contents, or the error.
  static std::string read(const std::string& path) {
    std::string said = "dead";
    const auto service = IFileHandle::getService("default");
    const auto called = service->readFile(path, [&](const auto& contents, Error error) {
      said = (error == Error::NONE ? "" : error_text(error)) + std::string(contents);
    });
    EXPECT_TRUE(called.isOk());
    return said;
  }
};

TEST_F(VirtualOverlay, WhatLiesOverTheTreeIsReadFirst) {
  const std::string bytes("\0\xFF\r\n<", 5);
  place("overlay", "/product/OP/a.xml", bytes);
  place("root", "/product/OP/a.xml", "below");
  place("root", "/product/OP/b.xml", "only below");
  EXPECT_EQ(bytes, read("/product/OP/a.xml"));
  EXPECT_EQ("only below", read("/product/OP/b.xml"));
}

TEST_F(VirtualOverlay, OnlySystemAndProductTreesAreRead) {
  for (const char* path : {"/system/etc/a", "/product/a", "/mnt/product/OP/a", "/oem/OP/a",
                           "/mnt/vendor/product/a", "/data/a", "/productx/a"}) {
    place("overlay", path, path);
  }
  write_file(directory() / "overlay/outside", "o");
  const std::pair<std::string, const char*> allowed[] = {
      {"/system/etc/a", "/system/etc/a"},
      {"/mnt/product/OP/a", "/mnt/product/OP/a"},
      {"//product/./x/..//a", "/product/a"},
      {"/../../product/a", "/product/a"},
      {std::string("/product/a\0/b", 13), "/product/a"}};
  for (const auto& [path, said] : allowed) EXPECT_EQ(said, read(path)) << path;
  for (const char* path : {"/oem/OP/a", "/mnt/vendor/product/a", "/data/a", "/productx/a", "",
                           "/product/../data/a", "/product/../outside", "product/a", "/product"}) {
    EXPECT_EQ(error_text(Error::DENIED), read(path)) << path;
  }
  for (const char* path : {"/product/b", "/product/a/b", "/product/../../product/b"}) {
    EXPECT_EQ(error_text(Error::NOT_FOUND), read(path)) << path;
  }
  EXPECT_EQ(error_text(Error::IO), read("/mnt/product/OP"));
}

TEST_F(VirtualOverlay, AnAnswerHasFourMebibytesAtMost) {
  constexpr size_t kLargest = 4 << 20;
  place("overlay", "/product/large", std::string(kLargest, 'l'));
  EXPECT_EQ(kLargest, read("/product/large").size());
  fs::resize_file(directory() / "overlay/product/large", kLargest + 1);
  EXPECT_EQ(error_text(Error::TOO_LARGE), read("/product/large"));
  ASSERT_EQ(0, mkfifo((directory() / "overlay/product/pipe").c_str(), 0600));
  EXPECT_EQ(error_text(Error::IO), read("/product/pipe")) << "and does not wait for a writer";
}

TEST_F(VirtualOverlay, ItsFilesFailAsTheFaultsSay) {
  place("overlay", "/product/a", "abcdef");
  const std::tuple<Access, Effect, int64_t, std::string> cases[] = {
      {Access::open, Effect::fail, ENOENT, error_text(Error::NOT_FOUND)},
      {Access::read, Effect::fail, EIO, error_text(Error::IO)},
      {Access::any, Effect::shorter, 4, error_text(Error::IO)},
      {Access::any, Effect::shorter, 7, "abcdef"},
      {Access::write, Effect::fail, EIO, "abcdef"}};
  for (const auto& [access, effect, value, said] : cases) {
    fault(vp::Part::file, "/product/a", effect, value, access);
    EXPECT_EQ(said, read("/product/x/../a")) << vp::name_of(effect) << value;
    clear_faults();
  }
}

TEST_F(VirtualOverlay, TheProductSaysWhetherItHasOne) {
  const std::pair<const char*, std::optional<bool>> cases[] = {
      {"true", true},         {"1", true},           {"false", false},  {"0", false},
      {"TRUE", std::nullopt}, {"yes", std::nullopt}, {"", std::nullopt}};
  for (const auto& [value, has_one] : cases) {
    set_build_property("ro.vendor.qve.product.overlayfs", value);
    EXPECT_EQ(has_one, Features2::product_overlayfs()) << value;
    restart();
    EXPECT_EQ(has_one.value_or(false), e_is_overlayfs) << "as the library finds it";
  }
}

/// While a service is not up yet, only who looks it up waits, and a set-up pass holds its own
/// mutex.
TEST_F(VirtualOverlay, WhoLooksUpALateServiceHoldsNobodyElseUp) {
  set_build_property("ro.vendor.qve.product.overlayfs", "true");
  restart();
  place("overlay", "/product/a", "abc");
  const auto asks = [](int number) {
    EXPECT_EQ(0, request_to_system(number, nullptr, 0, nullptr, nullptr, nullptr)) << number;
  };
  const auto reads = [] { EXPECT_EQ("abc", get_halData_from_file("/product/a")); };
  const std::pair<const char*, std::function<void()>> waiters[] = {
      {"atservice", [&] { asks(request::model_name); }},
      {"filehandle", reads},
      {"filehandle", [] { EXPECT_EQ(1, qve_single_binary_init()); }}};
  for (const auto& [service, wait] : waiters) {
    fault(vp::Part::service, service, Effect::late, 60'000, Access::find, 1);
    vp::set_clock(vp::Clock::stopped);
    std::atomic<int> done = 0;
    std::thread waiter([&, &wait = wait] { wait(), ++done; });
    EXPECT_TRUE(eventually([&] { return vp::faults(phone()).empty(); })) << "it looks it up";
    std::thread others([&] {
      for (const int number : {request::read_imei, request::model_name}) asks(number);
      reads();
      EXPECT_EQ(0, property_set("vendor.a", "1") + set_ftm_item(9, 1, "a"));
      ++done;
    });
    EXPECT_TRUE(eventually([&] { return done == 1; })) << service << ": the others go on";
    vp::set_clock(vp::Clock::fast);
    waiter.join();
    others.join();
    EXPECT_EQ(2, done);
  }
}

/// As the library asks while it is being loaded: a process that has selected no phone.
TEST(VirtualOverlayAtLoad, TheDefaultPhoneIsOnlyLookedAt) {
  ASSERT_EQ(nullptr, vp::selected_so_far()) << "each test is a process of its own";
  const fs::path home = fs::temp_directory_path() / ("fcx-load-" + std::to_string(getpid()));
  const fs::path phone = home / "a?b#c%41";
  const auto files = [&] { return std::distance(fs::recursive_directory_iterator(home), {}); };
  const auto ask = [&] {
    const auto before = files();
    testing::internal::CaptureStderr();
    const auto has_overlay = Features2::product_overlayfs();
    EXPECT_EQ("", testing::internal::GetCapturedStderr());
    EXPECT_EQ(nullptr, vp::selected_so_far());
    EXPECT_EQ(before, files()) << "nothing is made";
    return has_overlay;
  };
  fs::create_directories(home);
  ASSERT_EQ(0, setenv("FCX_PHONE", phone.c_str(), 1));
  EXPECT_EQ(std::nullopt, ask());
  vp::create(phone, "blank", false);
  EXPECT_EQ(std::nullopt, ask()) << "a product that does not say";
  {
    vp::Phone other(phone);
    vp::set_property(other, "ro.vendor.qve.product.overlayfs", "true");
    EXPECT_EQ(true, ask()) << "what another program has written just now";
  }
  const fs::path file = phone / vp::kDatabaseName;
  vp::Database(file, vp::Database::Survives::kill)
      .execute("DROP TABLE sim; DROP TABLE sim_run; PRAGMA user_version=2");
  EXPECT_EQ(true, ask());
  {
    auto database = vp::Database::to_look_at(file);
    vp::Query version = database.query("PRAGMA user_version");
    EXPECT_TRUE(version.step() && version.number(0) == 2) << "none is raised";
  }
  write_file(file, "no database");
  EXPECT_EQ(std::nullopt, ask());
  for (const char* name : {"FCX_PHONE", "XDG_STATE_HOME", "HOME"}) unsetenv(name);
  EXPECT_EQ(std::nullopt, ask()) << "nobody says where a phone would be";
  fs::remove_all(home);
}

}  // namespace
}  // namespace fcx_test
