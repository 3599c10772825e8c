// How the device was started, and what is attached to it.
#include <array>

#include "fcx/system_control.h"
#include "tests/story_test.h"

namespace fcx_test {
namespace {

class BootChecks : public StoryTest {};

TEST_F(BootChecks, PropertiesNodesAndFilesCountByWhatTheyBeginWith) {
  TELL("system_check_fboot", system_check_fboot(), R"(
vendor.qve.boot_completed=1 -> I [QVE][FCX] Bootcomplete : 1\n => result=1
vendor.qve.boot_completed=10 -> I [QVE][FCX] Bootcomplete : 1\n => result=1
vendor.qve.boot_completed=0 ->
vendor.qve.boot_completed= ->
)");
  TELL("system_get_pif_status", system_get_pif_status(),
       "pif=1 -> I PIF cable is connected => result=1\npif=0 ->\npif= ->");
  TELL("system_check_pif_bootmode", system_check_pif_bootmode(), R"(
bootmode=pif -> => result=1
bootmode=pif_56k -> => result=1
bootmode=pi ->
bootmode=xpif ->
bootmode= ->
)");
  TELL("normal_mode_check", normal_mode_check(), R"(
let rkf = ro.boot.vendor.qve.rkf
bootstart=1; $rkf=x -> I ro.vendor.qve.mid.bootstart [1] => result=1
bootstart=0; $rkf=0 -> I ro.boot.vendor.qve.rkf [0] => result=1
bootstart=0 -> I None ro.boot.vendor.qve.rkf
$rkf= -> I None ro.boot.vendor.qve.rkf
)");
  TELL("system_get_battery_status", system_get_battery_status(), R"(
battery=1\n -> => result=1
battery=0\n ->
battery=\s1 ->
battery= ->
battery!read -> E @: /proc/qve_power/battery/present cannot be read\n
-battery -> E @: /proc/qve_power/battery/present cannot be read\n
)");
  TELL("get_sleep_mode", get_sleep_mode(), R"(
brightness=0\n -> => result=1
brightness=05 -> => result=1
brightness=10 ->
brightness= ->
brightness=0; brightness!read -> E @: /proc/qve_power/lcd/brightness cannot be read\n
)");
  TELL("is_op_image_support", is_op_image_support(), R"(
->
/oem/OP= -> => result=1
/oem/OP/_COMMON/op.ubid= -> => result=1
/oem/OP=; /oem/OP!open 13 -> E @: /oem/OP: Permission denied\n
)");
}

TEST_F(BootChecks, NamesAndTheBuildDate) {
  let("longest", std::string(91, 'M'));
  TELL("system_get_model_name", system_get_model_name(nullptr), "-> E @: no buffer\\n");
  TELL("system_get_model_name", system_get_model_name(memory()), R"(
let read = [QVE][FCX] ro.boot.vendor.qve.model.factory read
factory_model=AB-CD; model_name=NAME -> I $read OK => out=AB-CD; result=1
factory_model=$longest -> I $read OK => out=$longest; result=1
factory_model=; model_name=NA-ME -> E $read error => out=NA-ME; result=5
factory_model=; model_name= -> E $read error => out=
)");
  TELL("system_get_factory_model_name", system_get_factory_model_name(nullptr),
       "-> E @: no buffer\\n");
  TELL("system_get_factory_model_name", system_get_factory_model_name(memory()), R"(
let name = I [QVE][FCX] factory model name :\s
factory_model=AB-CD -> ${name}ABCD\n => out=ABCD; result=5
factory_model=AB-CD-EF -> ${name}ABCD-EF\n => out=ABCD-EF; result=8
factory_model=-AB -> ${name}AB\n => out=AB; result=3
factory_model=AB- -> ${name}AB\n => out=AB; result=3
factory_model=- -> $name\n => out=; result=1
factory_model=ABCD; model_name=NA-ME -> ${name}before\n => out=before; result=4
factory_model=; model_name=NA-ME -> ${name}before\n => out=before; result=5
factory_model=; model_name= -> ${name}before\n => out=before
)");
  TELL("system_get_build_date", system_get_build_date(nullptr), "-> E @: no buffer\\n");
  TELL("system_get_build_date", system_get_build_date(memory()), R"(
-> => out=Mon Jun  1 09:00:00 KST 2020; result=28
ro.build.date= -> => out=
)");
  // What the caller has there may have no end.
  give("factory_model=A");
  std::string full(256, 'x');
  EXPECT_EQ(1, system_get_factory_model_name(full.data()));
  EXPECT_EQ("I [QVE][FCX] factory model name : " + full.substr(1) + "\n", told());
}

}  // namespace
}  // namespace fcx_test
