// Commands about what is kept in files.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

#include "tests/phone_fixture.h"

namespace fcx_test {
namespace {

class DeviceHandlers : public PhoneTest {};

constexpr char kStartday[] = "/mnt/vendor/persist-qv/startday";
constexpr char kValid[] = "/mnt/vendor/persist-qv/startday/isValid";
constexpr char kDate[] = "/mnt/vendor/persist-qv/startday/date";
constexpr char kAgree[] = "/mnt/vendor/persist-qv/agree_factory";
constexpr char kNoDay[] = "0000/00/00 00:00:00";
constexpr char kDay[] = "2020/06/01 09:30:00";

TEST_F(DeviceHandlers, StartdayIsKeptInTwoFiles) {
  EXPECT_THAT(send_unclean(4295, kDay).result, kUntouched) << "never written, on purpose";
  EXPECT_EQ("1", read_file(file(kValid)));
  EXPECT_EQ(kDay, read_file(file(kDate)));
  EXPECT_THAT(send(4295), Answers(0, kDay));

  EXPECT_THAT(send(4295, kNoDay), Answers(0, "OK"));
  EXPECT_EQ("0", read_file(file(kValid)));
  lines();
  EXPECT_THAT(send(4295), Answers(0, kNoDay));
  EXPECT_EQ("I Diag_Lib: get startday RETURN : startday is not initialized", lines().back());
}

TEST_F(DeviceHandlers, StartdayAnswersErrorForEveryFailure) {
  EXPECT_THAT(send(4295), Answers(0, "ERROR")) << "no files yet";
  EXPECT_EQ("E Diag_Lib: handle_set_get_startday fail", lines().back());
  for (const std::string& text :
       {std::string(kDay) + "0", std::string(kDay, 18), std::string(3000, '1')}) {
    EXPECT_THAT(send(4295, text), Answers(0, "ERROR")) << text;
  }
  EXPECT_FALSE(fs::exists(file(kValid)));

  send(4295, kDay);
  write_file(file(kDate), "2020/06/01");
  EXPECT_THAT(send(4295), Answers(0, "ERROR")) << "a date cut short";
  write_file(file(kDate), std::string(kDay) + "\n");
  EXPECT_THAT(send(4295), Answers(0, kDay)) << "the first 19 characters";
  write_file(file(kValid), "");
  EXPECT_THAT(send(4295), Answers(0, kDay)) << "anything but 0 is a valid day";
  fs::remove(file(kValid));
  EXPECT_THAT(send(4295), Answers(0, "ERROR"));
}

TEST_F(DeviceHandlers, AStartdayThatCannotBeStoredLeavesBothFilesAsTheyWere) {
  // What is done to a file that is replaced, and to its directory.
  std::vector<std::pair<const char*, Access>> faults = {{kStartday, Access::sync_directory}};
  for (const char* path : {kValid, kDate}) {
    for (const Access access :
         {Access::open, Access::write, Access::sync, Access::chmod, Access::rename}) {
      faults.emplace_back(path, access);
    }
  }
  for (const bool is_set : {true, false}) {
    for (const auto& [path, access] : faults) {
      SCOPED_TRACE(path + std::string(" on ") + vp::name_of(access));
      if (!is_set && access == Access::chmod) continue;  // a new file has none to keep
      if (is_set) send(4295, kDay);
      fault(Part::file, path, Effect::fail, EIO, access);
      EXPECT_THAT(send(4295, is_set ? kNoDay : kDay), Answers(0, "ERROR"));
      clear_faults();
      EXPECT_THAT(send(4295), Answers(0, is_set ? kDay : "ERROR"));
      EXPECT_EQ(is_set ? 2 : 0, std::distance(fs::directory_iterator(file(kStartday)), {}))
          << "no file is left over";
      for (const char* each : {kValid, kDate}) fs::remove(file(each));
    }
  }
}

TEST_F(DeviceHandlers, AgreeFactoryIsOneTextFile) {
  fs::current_path(directory());
  EXPECT_THAT(send(4418), Answers(QVCMD_OK, "")) << "absent is no failure, on purpose";
  EXPECT_EQ("I Diag_Lib: AGREE_FACTORY not exist = mnt/vendor/persist-qv/agree_factory\n",
            lines().back());
  EXPECT_THAT(send(4419, "agreed, all of it"), Answers(QVCMD_OK, ""));
  EXPECT_EQ("agreed, all of it", read_file(file(kAgree)));
  EXPECT_FALSE(fs::exists(directory() / "mnt"))
      << "a relative path is the device's and not the process's";
  // A replaced file keeps its access.
  fs::permissions(file(kAgree), fs::perms(0640));
  EXPECT_THAT(send(4419, "agreed"), Answers(QVCMD_OK, ""));
  EXPECT_THAT(send(4418), Answers(QVCMD_OK, "agreed"));
  EXPECT_EQ(fs::perms(0640), fs::status(file(kAgree)).permissions());
  write_file(file(kAgree), std::string(5000, 'a'));
  EXPECT_THAT(send(4418), Answers(QVCMD_OK, std::string(2047, 'a')));
}

TEST_F(DeviceHandlers, AgreeFactoryIsDoneWhenTheFileItselfCanBeOpened) {
  send(4419, "old");
  lines();
  const std::pair<Access, int> cases[] = {
      {Access::write, ENOSPC}, {Access::sync, EIO}, {Access::chmod, EPERM}, {Access::rename, EIO}};
  for (const auto& [access, error] : cases) {
    fault(Part::file, kAgree, Effect::fail, error, access);
    EXPECT_THAT(send(4419, "new"), Answers(QVCMD_OK, "")) << "the opening decides, on purpose";
    EXPECT_THAT(lines(), ElementsAre("I Diag_Lib: service_handler: opcode = 4419\n",
                                     "E Diag_Lib: handle_write_agree_factory: "
                                     "mnt/vendor/persist-qv/agree_factory: " +
                                         std::string(strerror(error)) + "\n"));
    EXPECT_EQ("old", read_file(file(kAgree))) << vp::name_of(access);
    clear_faults();
  }
  fault(Part::file, kAgree, Effect::fail, EIO, Access::read);
  EXPECT_THAT(send(4418), Answers(QVCMD_FAIL, ""));
}

TEST_F(DeviceHandlers, TemporariesAreTheirMakersAndFollowNoLink) {
  const fs::path directory = file(kAgree).parent_path();
  const fs::path outside = this->directory() / "outside";
  write_file(outside, "untouched");
  fs::create_symlink(outside, directory / ".temp.000000");
  write_file(directory / ".temp.111111", "left by a process that was killed");
  ASSERT_EQ(0, mkfifo((directory / ".temp.222222").c_str(), 0666));
  write_file(directory / ".temp.333333", "being written");
  const int living = open((directory / ".temp.333333").c_str(), O_RDONLY);
  ASSERT_EQ(0, flock(living, LOCK_EX));
  write_file(directory / ".temp.of.others", "none of ours");
  write_file(directory / "agree_factory.tmp", "nobody's");
  fs::permissions(directory / "agree_factory.tmp", fs::perms::owner_read);
  send(4419, "agreed");
  EXPECT_EQ("agreed", read_file(file(kAgree)));
  EXPECT_EQ("untouched", read_file(outside));
  std::vector<std::string> left;
  for (const auto& each : fs::directory_iterator(directory)) {
    if (!each.is_directory()) left.push_back(each.path().filename());
  }
  EXPECT_THAT(left, testing::UnorderedElementsAre("agree_factory", "agree_factory.tmp",
                                                  ".temp.333333", ".temp.of.others"));
  close(living);
}

TEST_F(DeviceHandlers, NothingWaitsForAPipeInAFilesPlace) {
  const char* tof = "/mnt/vendor/persist-qv/camera/front_tof_cal";
  const std::tuple<const char*, int32_t, const char*, int32_t, const char*> cases[] = {
      {kValid, 4295, "", 0, "ERROR"},
      {kDate, 4295, kDay, 0, "ERROR"},
      {kAgree, 4418, "", QVCMD_OK, ""},
      {kAgree, 4419, "text", QVCMD_FAIL, ""},
      {"/proc/meminfo", 4402, "", QVCMD_FAIL, ""},
      {tof, 4231, "[FRONT_TOF]1", -1, ""},
      {tof, 4230, "[FRONT_TOF_CHECK]", QVCMD_FAIL, ""}};
  for (const auto& [path, opcode, text, result, answer] : cases) {
    fs::remove(file(path));
    ASSERT_EQ(0, mkfifo(file(path).c_str(), 0666));
    EXPECT_THAT(send(opcode, text), Answers(result, answer)) << path;
    fs::remove(file(path));
  }
}

TEST_F(DeviceHandlers, RamSizeIsWhatTheKernelReports) {
  const std::tuple<const char*, int32_t, const char*> cases[] = {
      {"MemTotal:        3809036 kB\nMemFree: 1 kB\n", QVCMD_OK, "3719"},
      {"MemTotal: 1024 kB\n", QVCMD_OK, "1"},
      {"MemTotal: none\n", QVCMD_FAIL, ""},
      {"MemTotal: 1023 kB\n", QVCMD_FAIL, ""},
      {"MemTotal: -5000 kB\n", QVCMD_FAIL, ""},
      {"MemFree: 5000 kB\n", QVCMD_FAIL, ""},
      {"MemTotal:", QVCMD_FAIL, ""},
      {"", QVCMD_FAIL, ""}};
  for (const auto& [memory, result, answer] : cases) {
    write_file(file("/proc/meminfo"), memory);
    lines();
    EXPECT_THAT(send(4402), Answers(result, answer)) << memory;
    EXPECT_EQ(result == QVCMD_OK ? 1U : 2U, lines().size()) << memory;
  }
}

}  // namespace
}  // namespace fcx_test
