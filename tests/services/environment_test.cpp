// What a start sets, the time, the processors' frequencies, and lists of codes.
#include <cstring>
#include <regex>

#include "fcx/system_control.h"
#include "tests/services/service_test.h"
#include "virtual_phone/core/properties.h"

namespace fcx_test {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using virtual_phone::Access;
using virtual_phone::Effect;
using virtual_phone::Part;

constexpr int kSuffixItem = 73;
constexpr char kSuffix[] = "ro.vendor.qve.suffix";

class Environment : public ServiceTest {
 protected:
  void set_frequency(int cpu, const char* name, std::string_view content) {
    set_node(path_of(cpu, name).c_str(), content);
  }
  static std::string path_of(int cpu, const char* name) {
    return "/sys/devices/system/cpu/cpu" + std::to_string(cpu) + "/cpufreq/scaling_" + name +
           "_freq";
  }
  /// What is appended to a text of "".
  std::string frequencies() {
    std::vector<char> out(2048);
    int length = -1;
    EXPECT_EQ(0, get_cpu_freq(out.data(), &length));
    EXPECT_EQ(strlen(out.data()), static_cast<size_t>(length));
    return out.data();
  }
};

TEST_F(Environment, FollowsTheBootMode) {
  const std::tuple<const char*, const char*, const char*, const char*> cases[] = {
      {"", "0", "0", "(not set)"},        {"unknown", "0", "0", "(not set)"},
      {"pif_56k", "0", "1", "(not set)"}, {"pif", "0", "1", "(not set)"},
      {"xqem", "0", "0", "(not set)"},    {"qe", "0", "0", "(not set)"},
      {"qem_130k", "1", "1", "1"}};
  for (const auto& [mode, qem, pif, crash] : cases) {
    set_build_property("ro.bootmode", mode);
    system_set_env_property();
    EXPECT_EQ(qem, property("vendor.qve.factory.qem")) << mode;
    EXPECT_EQ(pif, property("vendor.qve.factory.pif")) << mode;
    EXPECT_EQ(crash, property("persist.vendor.qve.service.crash.enable")) << mode;
  }
}

TEST_F(Environment, HasTheSuffixOnceAtAStart) {
  set_item(kSuffixItem, "AEUROPAEUROPAEUROP20");
  const std::string mode = "I Fcx: [QVE][FCX] bootmode: unknown \n";
  const std::vector<std::string> expected = {
      mode, "I Fcx: Get SUFFIX : AEUROPAEUROPAEUROP20",
      "I Fcx: [QVE][FCX] ro.vendor.qve.suffix : AEUROPAEUROPAEUROP20\n"};
  for (int start = 0; start < 2; ++start) {
    system_set_env_property();
    EXPECT_THAT(own_lines(), ElementsAreArray(expected)) << "set already is no failure";
    EXPECT_EQ("AEUROPAEUROPAEUROP20", property(kSuffix));
  }
  set_item(kSuffixItem, std::string("OTHER") + std::string(15, '\0'));
  system_set_env_property();
  EXPECT_THAT(own_lines(),
              ElementsAre(mode, "I Fcx: Get SUFFIX : OTHER",
                          "E Fcx: system_set_env_property: ro.vendor.qve.suffix cannot be set\n",
                          "I Fcx: [QVE][FCX] ro.vendor.qve.suffix : OTHER\n"));
  restart();
  item_fails(kSuffixItem);
  for (const char* name : {"vendor.qve.factory.qem", "vendor.qve.factory.pif"}) {
    fault(Part::property, name, Effect::fail, 0, Access::write);
  }
  system_set_env_property();
  EXPECT_EQ("(not set)", property(kSuffix));
  EXPECT_THAT(own_lines(),
              ElementsAre("E Fcx: system_set_env_property: vendor.qve.factory.qem cannot be set\n",
                          "E Fcx: system_set_env_property: vendor.qve.factory.pif cannot be set\n",
                          mode, "I Fcx: Get SUFFIX : ",
                          "E Fcx: system_set_env_property: item 73 cannot be read\n"));
}

TEST_F(Environment, TellsTheTime) {
  setenv("TZ", "KST-9", 1);
  tzset();
  const time_t before = time(nullptr) + 9 * 3600;
  show_current_time();
  const auto written = own_lines();
  ASSERT_EQ(1U, written.size());
  tm shown{};
  ASSERT_STREQ("\n",
               strptime(written[0].c_str(), "I Fcx: Current time is %Y/%m/%d %H:%M:%S", &shown));
  EXPECT_THAT(timegm(&shown) - before, testing::AllOf(testing::Ge(0), testing::Le(60)));
}

TEST_F(Environment, FrequenciesOfTheProcessorsThatAreOnline) {
  std::filesystem::remove_all(file("/sys/devices/system/cpu"));
  EXPECT_EQ("", frequencies());
  for (const int cpu : {0, 2, 7, 8}) {
    const std::string digit = std::to_string(cpu);
    set_frequency(cpu, "cur", digit + "00\n");
    set_frequency(cpu, "max", digit + "000\n");
    set_frequency(cpu, "min", digit + "\n");
  }
  EXPECT_EQ("0,000,0000,0,2,200,2000,2,7,700,7000,7", frequencies());
  EXPECT_THAT(own_lines(), testing::IsEmpty());
  char out[2048] = "before";
  int length = 0;
  get_cpu_freq(out, &length);
  EXPECT_STREQ("before0,000,0000,0,2,200,2000,2,7,700,7000,7", out);
  for (const int cpu : {0, 7}) std::filesystem::remove(file(path_of(cpu, "cur").c_str()));
  EXPECT_EQ(",2,200,2000,2", frequencies()) << "the first one, too";
  // Sizes, and what cannot be read.
  const char* start = "E Fcx: get_cpu_freq: ";
  const std::string error = " of processor 2: Input/output error\n";
  const std::string none = " of processor 2: No such file or directory\n";
  const struct {
    const char* name;
    Effect effect;
    int64_t value;
    Access access;
    const char* text;
    std::vector<std::string> lines;
  } cases[] = {{"cur", Effect::size, 4096, Access::seek, ",2,200,2000,2", {}},
               {"cur", Effect::size, 1, Access::seek, ",2,,2000,2", {}},
               {"cur", Effect::size, 0, Access::seek, "", {}},
               {"cur", Effect::fail, EIO, Access::open, "", {start + ("the frequency" + error)}},
               {"cur", Effect::fail, ENOENT, Access::open, "", {}},
               {"max", Effect::size, 0, Access::seek, ",2,200,,2", {}},
               {"max",
                Effect::fail,
                EIO,
                Access::read,
                ",2,200,,2",
                {start + ("the maximum frequency" + error)}},
               {"min",
                Effect::fail,
                ENOENT,
                Access::open,
                ",2,200,2000,",
                {start + ("the minimum frequency" + none)}}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name + std::string(virtual_phone::name_of(c.effect)) + std::to_string(c.value));
    fault(Part::file, path_of(2, c.name), c.effect, c.value, c.access);
    EXPECT_EQ(c.text, frequencies());
    EXPECT_THAT(own_lines(), ElementsAreArray(c.lines));
    clear_faults();
  }
  set_frequency(2, "cur", "123456789012345678901\n");
  EXPECT_EQ(",2,123456789012345678,2000,2", frequencies()) << "19 characters, without the last";
  memset(out, 'x', sizeof out);
  EXPECT_EQ(0, get_cpu_freq(out, &length));
  EXPECT_EQ(2047, length) << "no room";
  EXPECT_EQ(1, get_cpu_freq(nullptr, &length));
  EXPECT_EQ(1, get_cpu_freq(out, nullptr));
  EXPECT_THAT(own_lines(),
              ElementsAre("E Fcx: get_cpu_freq: no buffer\n", "E Fcx: get_cpu_freq: no buffer\n"));
}

TEST_F(Environment, CodesOfAList) {
  const std::tuple<std::string, const char*, int> cases[] = {
      {R"("mcc","310","311")", "310,311", 8},
      {R"("mcc","310")", "310", 4},
      {R"("a key, or label" : "310" , "311","262")", "310,311,262", 12},
      {R"("mcc")", "", 0},
      {"310,311", "", 0},
      {"", "", 0},
      {R"("mcc","310410","311")", "310,311", 8},
      {R"("mcc","31","311")", "31\",11", 7},
      {R"("mcc","3)", "3", 2},
      {R"("mcc",")", "", 1}};
  for (const auto& [list, codes, position] : cases) {
    SCOPED_TRACE(list);
    std::vector<char> in(list.c_str(), list.c_str() + list.size() + 1);
    std::vector<char> out(2048);
    EXPECT_EQ(position, get_mcc_list(in.data(), out.data()) - out.data());
    EXPECT_STREQ(codes, out.data());
  }
  std::string many = R"("mcc")";
  for (int i = 0; i < 600; ++i) many += R"(,"310")";
  std::vector<char> out(2048);
  EXPECT_EQ(2048, get_mcc_list(many.data(), out.data()) - out.data());
  EXPECT_EQ(2047U, strlen(out.data()));
  EXPECT_EQ(out.data(), get_mcc_list(nullptr, out.data()));
  EXPECT_EQ(nullptr, get_mcc_list(many.data(), nullptr));
  EXPECT_THAT(own_lines(),
              ElementsAre("E Fcx: get_mcc_list: no list\n", "E Fcx: get_mcc_list: no list\n"));
}

}  // namespace
}  // namespace fcx_test
