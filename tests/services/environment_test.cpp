// Log services, what a start sets, the time, the processors' frequencies, and lists of codes.
#include <array>
#include <cstring>

#include "fcx/system_control.h"
#include "tests/story_test.h"
#include "virtual_phone/core/properties.h"

namespace fcx_test {
namespace {

class Environment : public StoryTest {};

TEST_F(Environment, LogServicesAreSixPropertiesInTheirOrder) {
  std::vector<std::string> services, set;
  for (const char* part : {"kernel", "power", "main", "system", "radio", "events"}) {
    services.push_back(std::string("persist.vendor.qve.service.") + part + ".enable");
  }
  EXPECT_EQ(services, std::vector<std::string>(std::begin(logservice), std::end(logservice)));
  virtual_phone::observe_properties([&](const auto& change) { set.push_back(change.name); });
  char value[] = "1";
  EXPECT_EQ(0, system_set_logservice(value));
  virtual_phone::observe_properties({});
  EXPECT_EQ(services, set);
  let("on", "I system_set_logservice, onoff value is 1\n");
  for (const std::string& service : services) {
    let("name", service);
    let("result", service == services[5] ? "-1" : "0");
    TELL("system_set_logservice", system_set_logservice(value), R"(
-> $on => $name=1
$name!write -> $on|E @: $name cannot be set\n => result=$result
)");
    TELL("system_get_logservice", system_get_logservice(), R"(
$name=1 -> I logservice is working\n => result=1
$name=off -> I logservice is working\n => result=1
$name=01 -> I logservice is not working\n
$name= -> I logservice is not working\n
)");
  }
  TELL("system_set_logservice", system_set_logservice(nullptr), "-> E @: no value\\n => result=-1");
  TELL("system_factory_logservice_off", system_factory_logservice_off(), R"(
let off = I disabe factory logservice and erase /data/logger\n
let name = persist.vendor.qve.factory.log.enable
$name=1; /data/logger/main=log -> $off => $name=0; /data/logger/main=; asked=1008
$name!write; 1008!7 -> $off|E @: $name cannot be set\n|E @: request 1008 failed with 7\n => result=7
)");
}

TEST_F(Environment, AStartFollowsTheBootModeAndTheSuffix) {
  TELL("system_set_env_property", system_set_env_property(), R"(
let qem = vendor.qve.factory.qem
let crash = persist.vendor.qve.service.crash.enable
let none = |I Get SUFFIX : |I [QVE][FCX] ro.vendor.qve.suffix : \n
bootmode= -> I [QVE][FCX] bootmode:  \n$none => $qem=0; pif=0; $crash=(not set)
bootmode=unknown -> I [QVE][FCX] bootmode: unknown \n$none => $qem=0; pif=0; $crash=(not set)
bootmode=pif_56k -> I [QVE][FCX] bootmode: pif_56k \n$none => $qem=0; pif=1; $crash=(not set)
bootmode=pif -> I [QVE][FCX] bootmode: pif \n$none => $qem=0; pif=1
bootmode=xqem -> I [QVE][FCX] bootmode: xqem \n$none => $qem=0; pif=0
bootmode=qe -> I [QVE][FCX] bootmode: qe \n$none => $qem=0; pif=0
bootmode=qem_130k -> I [QVE][FCX] bootmode: qem_130k \n$none => $qem=1; pif=1; $crash=1
let suffix = AEUROPAEUROPAEUROP20
let begin = I [QVE][FCX] bootmode: unknown \n|I Get SUFFIX :
item 73=$suffix -> $begin $suffix|I [QVE][FCX] ro.vendor.qve.suffix : $suffix\n
  => ro.vendor.qve.suffix=$suffix
item 73=AE; ro.vendor.qve.suffix=AE -> $begin AE|I [QVE][FCX] ro.vendor.qve.suffix : AE\n
item 73=AE; ro.vendor.qve.suffix=AS -> $begin AE|E @: ro.vendor.qve.suffix cannot be set\n|
  I [QVE][FCX] ro.vendor.qve.suffix : AE\n => ro.vendor.qve.suffix=AS
item 73!; $qem!write; pif!write -> E @: $qem cannot be set\n|
  E @: vendor.qve.factory.pif cannot be set\n|$begin |E @: item 73 cannot be read\n
  => ro.vendor.qve.suffix=(not set)
)");
}

TEST_F(Environment, TellsTheLocalTime) {
  setenv("TZ", "KST-9", 1);
  tzset();
  const time_t before = time(nullptr) + 9 * 3600;
  show_current_time();
  tm shown{};
  ASSERT_STREQ("\n", strptime(told().c_str(), "I Current time is %Y/%m/%d %H:%M:%S", &shown));
  EXPECT_THAT(timegm(&shown) - before, testing::AllOf(testing::Ge(0), testing::Le(60)));
}

TEST_F(Environment, FrequenciesOfTheProcessorsThatAreOnline) {
  int length = 0;
  TELL("get_cpu_freq", get_cpu_freq(memory(), &length), R"(
let cpu = /sys/devices/system/cpu/cpu
let cur = cpufreq/scaling_cur_freq
let max = cpufreq/scaling_max_freq
let min = cpufreq/scaling_min_freq
let two = ${cpu}2/$cur=200\n; ${cpu}2/$max=2000\n; ${cpu}2/$min=2\n
let given = -/sys/devices/system/cpu; ${cpu}0/$cur=000\n; ${cpu}0/$max=0000\n; ${cpu}0/$min=0\n; $two
$given -> => out=before0,000,0000,0,2,200,2000,2
$given; ${cpu}7/$cur=7\n; ${cpu}8/$cur=8\n -> E @: the maximum frequency of processor 7:
  No such file or directory\n|E @: the minimum frequency of processor 7: No such file or directory\n
  => out=before0,000,0000,0,2,200,2000,2,7,7,,
-/sys/devices/system/cpu; $two -> => out=before,2,200,2000,2
-/sys/devices/system/cpu -> => out=before
$given; ${cpu}2/$cur!size 4096 -> => out=before0,000,0000,0,2,200,2000,2
$given; ${cpu}2/$cur!size 1 -> => out=before0,000,0000,0,2,,2000,2
$given; ${cpu}2/$cur!size 0 -> => out=before0,000,0000,0
$given; ${cpu}2/$cur!open 2 -> => out=before0,000,0000,0
$given; ${cpu}2/$cur!open 5 -> E @: the frequency of processor 2: Input/output error\n
  => out=before0,000,0000,0
$given; ${cpu}2/$max!size 0 -> => out=before0,000,0000,0,2,200,,2
$given; ${cpu}2/$max!read 5 -> E @: the maximum frequency of processor 2: Input/output error\n
  => out=before0,000,0000,0,2,200,,2
$given; ${cpu}2/$cur=123456789012345678901\n -> => out=before0,000,0000,0,2,123456789012345678,2000,2
)");
  EXPECT_EQ(out.find('\0'), static_cast<size_t>(length));
  std::string full(2048, 'x');
  EXPECT_EQ(0, get_cpu_freq(full.data(), &length));
  EXPECT_EQ(2047, length) << "no room";
  full = "before" + std::string(1, '\0') + std::string(2041, 'x');
  give("/sys/devices/system/cpu/cpu0/cpufreq/scaling_cur_freq=1\n");
  EXPECT_EQ(0, get_cpu_freq(full.data(), &length));
  EXPECT_EQ(strlen(full.c_str()), static_cast<size_t>(length)) << "what stood behind it is none";
  EXPECT_EQ(1, get_cpu_freq(nullptr, &length));
  EXPECT_EQ(1, get_cpu_freq(full.data(), nullptr));
  EXPECT_EQ("E get_cpu_freq: no buffer\n|E get_cpu_freq: no buffer\n", told());
}

TEST_F(Environment, CodesOfAList) {
  std::string many = R"("mcc")", codes;
  for (int i = 0; i < 600; ++i) many += R"(,"310")";
  while (codes.size() < 2047) codes += "310,";
  const std::tuple<std::string, std::string, int> cases[] = {
      {R"("mcc","310","311")", "310,311", 8},
      {R"("mcc","310")", "310", 4},
      {R"("a key, or label" : "310" , "311","262")", "310,311,262", 12},
      {R"("mcc")", "", 0},
      {"310,311", "", 0},
      {"", "", 0},
      {R"("mcc","310410","311")", "310,311", 8},
      {R"("mcc","31","311")", "31\",11", 7},
      {R"("mcc","3)", "3", 2},
      {R"("mcc",")", "", 1},
      {many, codes.substr(0, 2047), 2048}};
  for (const auto& [list, text, position] : cases) {
    std::vector<char> in(list.c_str(), list.c_str() + list.size() + 1), found(2048);
    EXPECT_EQ(position, get_mcc_list(in.data(), found.data()) - found.data()) << list;
    EXPECT_EQ(text, found.data()) << list;
  }
  EXPECT_EQ(codes.data(), get_mcc_list(nullptr, codes.data()));
  EXPECT_EQ(nullptr, get_mcc_list(codes.data(), nullptr));
  EXPECT_EQ("E get_mcc_list: no list\n|E get_mcc_list: no list\n", told());
}

}  // namespace
}  // namespace fcx_test
