// Commands about what is kept in files.
#include "tests/phone_fixture.h"

namespace fcx_test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using virtual_phone::Access;
using virtual_phone::Effect;
using virtual_phone::Part;

class DeviceHandlers : public PhoneTest {};

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
  log();
  EXPECT_THAT(send(4295), Answers(0, kNoDay));
  EXPECT_EQ("get startday RETURN : startday is not initialized", log().back());
}

TEST_F(DeviceHandlers, StartdayAnswersErrorForEveryFailure) {
  EXPECT_THAT(send(4295), Answers(0, "ERROR")) << "no files yet";
  EXPECT_EQ("handle_set_get_startday fail", entries().back().message);
  for (const std::string& text :
       {std::string(kDay) + "0", std::string(kDay, 18), std::string(3000, '1')}) {
    EXPECT_THAT(send(4295, text), Answers(0, "ERROR")) << text;
  }
  EXPECT_FALSE(std::filesystem::exists(file(kValid)));

  send(4295, kDay);
  write_file(file(kDate), "2020/06/01");
  EXPECT_THAT(send(4295), Answers(0, "ERROR")) << "a date cut short";
  write_file(file(kDate), std::string(kDay) + "\n");
  EXPECT_THAT(send(4295), Answers(0, kDay)) << "the first 19 characters";
  write_file(file(kValid), "");
  EXPECT_THAT(send(4295), Answers(0, kDay)) << "anything but 0 is a valid day";
  std::filesystem::remove(file(kValid));
  EXPECT_THAT(send(4295), Answers(0, "ERROR"));
}

TEST_F(DeviceHandlers, AStartdayThatDoesNotFitLeavesTheOldOne) {
  send(4295, kDay);
  for (const char* full : {kValid, kDate}) {
    fault(Part::file, full, Effect::fail, ENOSPC, Access::write);
    EXPECT_THAT(send(4295, kNoDay), Answers(0, "ERROR")) << full;
    virtual_phone::clear_faults(phone());
    const std::string answer = data(send(4295));
    EXPECT_TRUE(answer == kDay || answer == kNoDay) << answer;
    send(4295, kDay);
  }
}

TEST_F(DeviceHandlers, AgreeFactoryIsOneTextFile) {
  EXPECT_THAT(send(4418), Answers(QVCMD_OK, "")) << "absent is no failure, on purpose";
  EXPECT_EQ("AGREE_FACTORY not exist = mnt/vendor/persist-qv/agree_factory\n", log().back());
  EXPECT_THAT(send(4419, "agreed, all of it"), Answers(QVCMD_OK, ""));
  EXPECT_EQ("agreed, all of it", read_file(file(kAgree)));
  EXPECT_THAT(send(4419, "agreed"), Answers(QVCMD_OK, ""));
  EXPECT_THAT(send(4418), Answers(QVCMD_OK, "agreed"));
  write_file(file(kAgree), std::string(5000, 'a'));
  EXPECT_THAT(send(4418), Answers(QVCMD_OK, std::string(2047, 'a')));
}

TEST_F(DeviceHandlers, AgreeFactoryDistinguishesOpeningFromTheRest) {
  send(4419, "old");
  fault(Part::file, kAgree, Effect::fail, ENOSPC, Access::write);
  EXPECT_THAT(send(4419, "new"), Answers(QVCMD_OK, "")) << "the opening decides, on purpose";
  EXPECT_THAT(log().back(), HasSubstr("No space left"));
  EXPECT_EQ("old", read_file(file(kAgree)));
  fault(Part::file, kAgree, Effect::fail, EIO, Access::read);
  EXPECT_THAT(send(4418), Answers(QVCMD_FAIL, ""));
  fault(Part::file, kAgree, Effect::fail, EACCES, Access::open);
  EXPECT_THAT(send(4419, "new"), Answers(QVCMD_FAIL, ""));
  EXPECT_THAT(send(4418), Answers(QVCMD_OK, ""));
  EXPECT_EQ("Cannot open path : mnt/vendor/persist-qv/agree_factory", log().back());
}

TEST_F(DeviceHandlers, AFaultCountsOnlyWhatItCanStrike) {
  virtual_phone::set_fault(phone(), {0, Part::file, kAgree, Access::any, Effect::shorter, 2, 1});
  send(4419, "old");
  EXPECT_FALSE(std::filesystem::exists(file(kAgree))) << "opening does not use it up";
  EXPECT_EQ(0U, virtual_phone::faults(phone()).size());
}

TEST_F(DeviceHandlers, ARelativePathIsTheDevicesAndNotTheProcesses) {
  std::filesystem::current_path(directory());
  send(4419, "agreed");
  EXPECT_TRUE(std::filesystem::exists(file(kAgree)));
  EXPECT_FALSE(std::filesystem::exists(directory() / "mnt"));
}

TEST_F(DeviceHandlers, RamSizeIsWhatTheKernelReports) {
  const struct {
    const char* memory;
    int32_t result;
    const char* answer;
  } cases[] = {
      {"MemTotal:        3809036 kB\nMemFree: 1 kB\n", QVCMD_OK, "3719"},
      {"MemTotal: 1024 kB\n", QVCMD_OK, "1"},
      {"MemTotal: none\n", QVCMD_FAIL, ""},
      {"MemTotal: -5 kB\n", QVCMD_FAIL, ""},
      {"MemFree: 5000 kB\n", QVCMD_FAIL, ""},
      {"MemTotal:", QVCMD_FAIL, ""},
      {"", QVCMD_FAIL, ""},
  };
  for (const auto& c : cases) {
    write_file(file("/proc/meminfo"), c.memory);
    EXPECT_THAT(send(4402), Answers(c.result, c.answer)) << c.memory;
  }
  std::filesystem::remove(file("/proc/meminfo"));
  EXPECT_THAT(send(4402), Answers(QVCMD_FAIL, ""));
}

}  // namespace
}  // namespace fcx_test
