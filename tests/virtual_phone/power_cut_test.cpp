// What a power cut leaves of files: of what was done to them, and of what commands have answered.
#include "virtual_phone/power/power_cut.h"

#include <android-base/unique_fd.h>
#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <functional>
#include <map>
#include <sstream>

#include "fcx/device_functions.h"
#include "fcx/factory_items.h"
#include "fcx/log_collection.h"
#include "fcx/modem_efs.h"
#include "fcx/modem_power.h"
#include "fcx/single_binary.h"
#include "fcx/system_control.h"
#include "platform/device_home.h"
#include "tests/phone_fixture.h"
#include "virtual_phone/core/sd_card.h"
#include "virtual_phone/power/unflushed.h"

namespace fcx_test {
namespace {

using Operation = fcx::FileOperation;
using vp::Unflushed;

/// "n3" of "nnn", where somebody would have to count.
std::string counted(const std::string& text) {
  std::string shown;
  for (size_t at = 0, end = 0; at < text.size(); at = end) {
    end = std::min(text.find_first_not_of(text[at], at), text.size());
    shown += end - at < 10 ? text.substr(at, end - at) : text[at] + std::to_string(end - at);
  }
  return shown;
}

class PowerCutOfFiles : public PhoneTest {
 protected:
  /// With a directory d where steps speak of one.
  void make_fresh(const std::string& steps) {
    vp::note_tree_flushed(phone(), "root");
    fs::remove_all(file("/data/t"));
    fs::create_directories(file("/data/t"));
    write_file(file("/data/t/a"), "old");
    if (steps.find(" d") != std::string::npos) {
      fs::create_directory(file("/data/t/d"));
      write_file(file("/data/t/d/x"), "x");
    }
    fs::create_symlink("a", file("/data/t/l"));
    fs::create_symlink("b", file("/data/t/n"));
  }

  /// Does to files of /data/t what the text says, as the library's own functions do.
  void play(const std::string& steps) {
    std::istringstream lines(steps);
    for (std::string line; std::getline(lines, line, ',');) {
      std::istringstream words(line);
      std::string verb, name, other;
      words >> verb >> name >> other;
      EXPECT_EQ(0, step(verb, name, other)) << line;
    }
    open_.clear();
  }

  /// Files and directories of /data/t that are no links.
  std::string left() {
    std::map<std::string, std::string> found;
    for (const auto& entry : fs::recursive_directory_iterator(file("/data/t"))) {
      const std::string path = entry.path().lexically_relative(file("/data/t"));
      if (entry.is_symlink()) continue;
      found[path] = entry.is_directory() ? "/" : "=" + counted(read_file(entry.path()));
    }
    std::string text;
    for (const auto& [path, content] : found) text += (text.empty() ? "" : " ") + path + content;
    return text;
  }

  void make_unflushed(const char* path) {
    EXPECT_EQ(0, fcx::platform_shell(("printf new >" + std::string(path)).c_str()));
  }
  void make_unflushed_efs() {
    char path[] = "/new";
    char text[] = "new";
    EXPECT_EQ(0, efs_init());
    const int fd = efs_open(path, O_WRONLY | O_CREAT, 0644);
    EXPECT_EQ(3, efs_write(fd, text, 3));
    EXPECT_EQ(0, efs_close(fd));
  }
  std::string content(const char* path) {
    return fs::is_regular_file(file(path)) ? read_file(file(path)) : "(none)";
  }
  std::string efs() {
    const fs::path new_one = directory() / vp::kEfsName / "new";
    return fs::exists(new_one) ? read_file(new_one) : "(none)";
  }

 private:
  int step(const std::string& verb, const std::string& name, const std::string& other) {
    if (verb == "all") return fcx::platform_sync(), 0;
    if (verb == "hold") return open_file(name, O_WRONLY), 0;
    if (verb == "put") return write_to(open_[name], other);
    if (verb == "write" || verb == "append") {
      open_file(name, O_WRONLY | O_CREAT | (verb == "write" ? O_TRUNC : O_APPEND));
      return write_to(open_[name], other);
    }
    if (verb == "sync") {
      open_file(name, O_RDONLY);
      return on_open(Operation::sync, open_[name], [](int fd) { return fcx::platform_flush(fd); });
    }
    const std::string path = file("/data/t/") / name;
    const std::string new_path = file("/data/t/") / other;
    const auto does = [&](Operation operation, int (*work)(const char*)) {
      return told({name.c_str(), operation, path.c_str()}, [&] { return work(path.c_str()); });
    };
    if (verb == "remove") return does(Operation::remove, unlink);
    if (verb == "rmdir") return does(Operation::remove, rmdir);
    if (verb == "mkdir")
      return does(Operation::mkdir, [](const char* each) { return mkdir(each, 0750); });
    if (verb == "syncdir") {
      return does(Operation::sync_directory, [](const char* directory) {
        return fcx::platform_flush(
            android::base::unique_fd(open(directory, O_RDONLY | O_DIRECTORY)).get());
      });
    }
    return told(
        {name.c_str(), Operation::rename, path.c_str(), -1, 0, {}, other.c_str(), new_path.c_str()},
        [&] { return rename(path.c_str(), new_path.c_str()); });
  }

  template <typename Work>
  static int told(const fcx::FileAccess& access, Work work) {
    EXPECT_EQ(0, fcx::platform_file_begins(access).error);
    const int error = work() == 0 ? 0 : errno;
    fcx::platform_file_ends(access, error);
    return error;
  }
  template <typename Work>
  static int on_open(Operation operation, int fd, Work work) {
    return told({"", operation, nullptr, fd}, [&] { return work(fd); });
  }
  void open_file(const std::string& name, int flags) {
    const std::string path = file("/data/t/") / name;
    EXPECT_EQ(0, told({name.c_str(), Operation::open, path.c_str(), -1, flags}, [&] {
                open_[name].reset(open(path.c_str(), flags | O_CLOEXEC, 0644));
                return open_[name].ok() ? 0 : -1;
              }));
  }
  /// A letter with a number stands for so many of them.
  static int write_to(int fd, const std::string& text) {
    const bool is_count = text.size() > 1 && isdigit(text[1]) != 0;
    const std::string all = is_count ? std::string(std::stoul(text.substr(1)), text[0]) : text;
    return on_open(Operation::write, fd, [&](int to) {
      return write(to, all.data(), all.size()) == static_cast<ssize_t>(all.size()) ? 0 : -1;
    });
  }

  std::map<std::string, android::base::unique_fd> open_;
};

TEST_F(PowerCutOfFiles, LeavesOfFilesWhatWasFlushed) {
  struct Case {
    const char* steps;
    const char* dropped;
    const char* torn;  ///< null: as it was
  };
  constexpr Case kCases[] = {
      {"write a new", "a=old", "a=old"},
      {"write a new, sync a", "a=new", nullptr},
      {"write a one, sync a, write a two", "a=one", "a=one"},
      {"write a n5000", "a=old", "a=n4096"},
      {"append a n4093", "a=old", "a=old"},
      {"append a n4094", "a=old", "a=oldn4093"},
      {"write a n5000, sync a, write a m100", "a=n5000", "a=n5000"},
      {"write b new", "a=old", "a=old b="},
      {"write b new, sync b", "a=old", nullptr},
      {"write b new, syncdir .", "a=old b=", "a=old b="},
      {"write b new, sync b, syncdir .", "a=old b=new", nullptr},
      {"write b new, all", "a=old b=new", nullptr},
      {"write l new", "a=old", "a=old"},
      {"write l new, sync a", "a=new", nullptr},
      {"write n new", "a=old", "a=old b="},
      {"write n new, sync b, syncdir .", "a=old b=new", nullptr},
      {"write t new, sync t, rename t a", "a=old", nullptr},
      {"write t new, rename t a, syncdir .", "a=", "a="},
      {"write t new, sync t, rename t a, syncdir .", "a=new", nullptr},
      {"write a other, write t new, sync t, rename t a", "a=old", nullptr},
      {"write t new, sync t, write d/x y, rename t d/x, syncdir .", "a=old d/ d/x=x", nullptr},
      {"remove a", "a=old", nullptr},
      {"remove a, syncdir .", "", nullptr},
      {"write a new, remove a", "a=old", nullptr},
      {"remove a, write a new, sync a", "a=old", nullptr},
      {"remove a, write a new, sync a, syncdir .", "a=new", nullptr},
      {"remove a, write a new, syncdir .", "a=", "a="},
      {"rename a b", "a=old", nullptr},
      {"rename a b, write b new", "a=old", "b=old"},
      {"rename a b, write b new, sync b", "a=new", nullptr},
      {"rename a b, write b new, remove b", "a=old", nullptr},
      {"rename a b, write b new, write t 1, sync t, rename t b", "a=old", nullptr},
      {"hold a, rename a b, put a new, syncdir .", "b=old", "b=old"},
      {"hold a, remove a, put a new", "a=old", nullptr},
      {"rename d e", "a=old d/ d/x=x", nullptr},
      {"rename d e, syncdir .", "a=old e/ e/x=x", nullptr},
      {"rename d e, write e/x y", "a=old d/ d/x=x", "a=old e/ e/x=x"},
      {"rename d e, write e/y new, sync e/y, syncdir e", "a=old d/ d/x=x d/y=new", nullptr},
      {"rename d e, rename e f, mkdir d, write d/z z", "a=old d/ d/x=x", "a=old d/ d/z= f/ f/x=x"},
      {"rename d/x x, rename d e, remove x", "a=old d/ d/x=x", nullptr},
      {"remove d/x, rmdir d", "a=old d/ d/x=x", nullptr},
      {"remove d/x, rmdir d, write d new", "a=old d/ d/x=x", "a=old d="},
      {"remove d/x, rmdir d, syncdir .", "a=old", nullptr},
      {"mkdir m, write m/y new, sync m/y, syncdir m", "a=old", nullptr},
      {"mkdir m, write m/y new, sync m/y, syncdir m, syncdir .", "a=old m/ m/y=new", nullptr},
  };
  for (const Case& each : kCases) {
    for (const Unflushed unflushed : {Unflushed::dropped, Unflushed::torn, Unflushed::kept}) {
      SCOPED_TRACE(each.steps + std::string(", ") + vp::name_of(unflushed));
      make_fresh(each.steps);
      play(each.steps);
      const std::string before = left();
      const bool tears = unflushed == Unflushed::torn && each.torn != nullptr;
      const std::string expected = unflushed == Unflushed::dropped ? each.dropped
                                   : tears                         ? each.torn
                                                                   : before;
      const bool has_lost = !vp::cut_power(phone(), unflushed).empty();
      EXPECT_EQ(expected, left());
      EXPECT_EQ(expected != before, has_lost);
      EXPECT_THAT(vp::unflushed_files(phone()), IsEmpty());
      EXPECT_THAT(vp::cut_power(phone(), Unflushed::dropped), IsEmpty());
      EXPECT_TRUE(fs::is_empty(directory() / vp::kUnflushedName));
    }
  }
}

TEST_F(PowerCutOfFiles, WhatAKilledProcessHasBegunToKeepIsNoFileOfThePhone) {
  make_fresh("");
  play("write a new, sync a");
  constexpr char kSequence[] = "SELECT seq FROM sqlite_sequence WHERE name = 'unflushed'";
  const auto last = [&] {
    const std::lock_guard lock(phone().mutex());
    vp::Query query = phone().fleeting().query(kSequence);
    return query.step() ? query.number(0) : 0;
  }();
  for (int64_t id = last + 1; id < last + 4; ++id) {
    fs::create_hard_link(file("/data/t/a"), directory() / vp::kUnflushedName / std::to_string(id));
  }
  play("write b other");
  EXPECT_EQ("a=new b=other", left());
  vp::cut_power(phone(), Unflushed::dropped);
  EXPECT_EQ("a=new", left());
}

TEST_F(PowerCutOfFiles, WhatOthersDoToFilesIsFlushed) {
  const std::tuple<const char*, const char*, std::function<void()>, std::string> cases[] = {
      {"a node of the kernel", "/sys/a", [] {}, "new"},
      {"an orderly end", "/data/a", [&] { restart(); }, "new"},
      {"a factory reset", "/data/a",
       [&] {
         set_property("persist.vendor.qve.factory.reset", "1");
         restart();
         write_file(file("/data/a"), "hand");
       },
       "hand"},
      {"a card that is taken out", "/storage/6A3F-11E2/a",
       [&] {
         vp::remove_card(phone());
         vp::insert_card(phone());
       },
       "new"},
      {"logs that the system side erases", "/data/logger/a",
       [&] {
         logsave_erase();
         write_file(file("/data/logger/a"), "hand");
       },
       "hand"},
      {"whoever makes all durable", "/data/c", [&] { vp::make_durable(phone()); }, "new"},
      {"and nobody", "/data/b", [] {}, "(none)"}};
  vp::insert_card(phone());
  fs::remove_all(directory() / vp::kUnflushedName);
  for (const auto& [who, path, does, expected] : cases) {
    fs::create_directories(file(path).parent_path());
    make_unflushed(path);
    does();
    vp::cut_power(phone(), Unflushed::dropped);
    EXPECT_EQ(expected, content(path)) << who;
  }
  EXPECT_EQ("power_cut: what was not flushed is dropped", events().back());
}

TEST_F(PowerCutOfFiles, IsOfThePhoneWhateverProcessHasWritten) {
  // Opened a second time, behind a link.
  const fs::path link = directory().string() + ".link";
  fs::create_directory_symlink(directory(), link);
  const std::string steps = "write a new, hold d/x";
  make_fresh(steps);
  play(steps);
  EXPECT_EQ(0, fcx::platform_shell("printf y >>/data/t/d/x"));
  make_unflushed("/data/t/s");
  make_unflushed_efs();
  vp::Phone other(link);
  fs::remove(link);
  std::string lost;
  for (const vp::UnflushedFile& each : vp::unflushed_files(phone())) {
    lost += each.path + (each.data ? " data" : "") + (each.name ? " name" : "") + "\n";
  }
  EXPECT_EQ("efs:/new data name\n/data/t/a data\n/data/t/d/x data\n/data/t/s data name\n", lost);
  fs::create_directory_symlink(directory(), link);
  lost.clear();
  for (const vp::LostFile& each : vp::cut_power(other, Unflushed::dropped)) {
    lost += each.path + " " + vp::name_of(each.became) + " " +
            std::to_string(each.bytes.value_or(0)) + "\n";
  }
  fs::remove(link);
  EXPECT_EQ("efs:/new gone 0\n/data/t/a content 3\n/data/t/d/x content 1\n/data/t/s gone 0\n",
            lost);
  EXPECT_EQ("a=old d/ d/x=x", left());
}

TEST_F(PowerCutOfFiles, TakesNothingBackThatWasAnswered) {
  constexpr char kStartday[] = "/mnt/vendor/persist-qv/startday/";
  constexpr char kAgree[] = "/mnt/vendor/persist-qv/agree_factory";
  constexpr char kOffset[] = "/data/auto_touch_offset";
  const auto number = [](int result) { return std::to_string(result); };
  std::array<char, 4096> piece{};
  for (const char* folder : {"/data/t", "/data/touch"}) fs::create_directories(file(folder));
  const auto stays_on = [&] { service_fault("reboot", Effect::absent); };
  struct Case {
    const char* what;
    std::function<std::string()> asks;
    const char* answer;
    std::function<std::string()> finds;
    const char* found;
  };
  const Case cases[] = {
      {"write_agree_factory", [&] { return number(send(4419, "agreed").result); }, "0",
       [&] { return content(kAgree); }, "agreed"},
      {"set_factory_status",
       [&] {
         write_file(file(kAgree), "agreed");
         return number(set_factory_status(3));
       },
       "0", [&] { return content(kAgree); }, "(none)"},
      {"set_startday", [&] { return data(send(4295, "2020/06/01 09:30:00")); }, "OK",
       [&] {
         return content((kStartday + "date"s).c_str()) + content((kStartday + "isValid"s).c_str());
       },
       "2020/06/01 09:30:001"},
      {"tof_cal_write", [&] { return number(tof_cal_write("12")); }, "0",
       [&] { return number(tof_cal_file_check()); }, "0"},
      {"qve_write_property_persist_cache",
       [&] { return qve_write_property_persist_cache("persist.a", "1"), ""; }, "",
       [&] { return content("/mnt/vendor/persist-qv/property/persist.a"); }, "1"},
      {"scan_auto_touch_result: a piece",
       [&] {
         write_file(file("/data/touch/touch_self_test.txt"), std::string(600, 'w') + " end");
         return number(scan_auto_touch_result(piece.data()));
       },
       "0", [&] { return content(kOffset); }, "600"},
      {"scan_auto_touch_result: the last piece",
       [&] {
         write_file(file(kOffset), "600");
         return number(scan_auto_touch_result(piece.data()));
       },
       "0", [&] { return content(kOffset); }, "(none)"},
      {"logsave",
       [&] {
         write_file(file("/data/vendor/factory/dbdump/a"), "1");
         return number(logsave("/data/vendor/factory/logsave/"));
       },
       "0", [&] { return content("/data/vendor/factory/logsave.zip").substr(0, 2); }, "PK"},
      {"logsave_erase",
       [&] {
         write_file(file("/data/vendor/factory/logsave.zip"), "PK");
         return logsave_erase(), "";
       },
       "", [&] { return content("/data/vendor/factory/logsave.zip"); }, "(none)"},
      {"restart_with_reason",
       [&] {
         stays_on();
         make_unflushed("/data/t/1");
         char reason[] = "a";
         return number(restart_with_reason(reason));
       },
       "0", [&] { return content("/data/t/1"); }, "new"},
      {"system_poweroff",
       [&] {
         stays_on();
         make_unflushed("/data/t/2");
         make_unflushed_efs();
         const std::string result = number(system_poweroff());
         fcx::wait_for_background_work();
         return result;
       },
       "0", [&] { return content("/data/t/2") + efs(); }, "newnew"},
      {"system_poweroff_ship_mode",
       [&] {
         stays_on();
         make_unflushed_efs();
         return number(system_poweroff_ship_mode());
       },
       "0", [&] { return efs(); }, "new"},
      {"start_sdcard_download, without a restart",
       [&] {
         request_fault(request::sync_efs, Effect::fail, 1);
         make_unflushed("/data/t/3");
         return number(send_unclean(4266, "/a").result == kUntouched);
       },
       "1", [&] { return content("/data/t/3"); }, "new"},
      {"nv_factoryitem_sync: an NV item",
       [&] {
         vp::set_nv_item(phone(), 453, {NvState::active, "\1"});
         make_unflushed_efs();
         return number(system_nvwrite_ftm_mode());
       },
       "0", [&] { return efs(); }, "new"},
      {"qve_reset_modem",
       [&] {
         make_unflushed_efs();
         const std::string result = number(static_cast<int>(qve_reset_modem()));
         fcx::wait_for_background_work();
         return result;
       },
       "0", [&] { return efs(); }, "new"},
      {"efs alone", [&] { return make_unflushed_efs(), ""; }, "", [&] { return efs(); }, "(none)"},
      {"system_efs_sync",
       [&] {
         make_unflushed_efs();
         return number(system_efs_sync());
       },
       "0", [&] { return efs(); }, "new"},
  };
  for (const Case& each : cases) {
    SCOPED_TRACE(each.what);
    fs::remove(directory() / vp::kEfsName / "new");
    EXPECT_EQ(each.answer, each.asks());
    clear_faults();
    vp::cut_power(phone(), Unflushed::dropped);
    EXPECT_EQ(each.found, each.finds());
  }
}

}  // namespace
}  // namespace fcx_test
