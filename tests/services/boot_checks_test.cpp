// How the device was started, and what is attached to it.
#include "fcx/system_control.h"
#include "tests/services/service_test.h"

namespace fcx_test {
namespace {

using testing::ElementsAreArray;
using testing::IsEmpty;
using virtual_phone::Access;
using virtual_phone::Effect;
using virtual_phone::Part;

constexpr char kBootstartProperty[] = "ro.vendor.qve.mid.bootstart";
constexpr char kRkf[] = "ro.boot.vendor.qve.rkf";
constexpr char kFactoryModel[] = "ro.boot.vendor.qve.model.factory";
constexpr char kModelName[] = "ro.boot.vendor.qve.model.name";
constexpr char kOperatorImage[] = "/oem/OP";

using Lines = std::vector<std::string>;

class BootChecks : public ServiceTest {};

TEST_F(BootChecks, PropertiesCountByTheirFirstCharacters) {
  const struct {
    int (*check)();
    const char* property;
    const char* value;
    int result;
    Lines lines;
  } cases[] = {
      {system_check_fboot,
       "vendor.qve.boot_completed",
       "1",
       1,
       {"I Fcx: [QVE][FCX] Bootcomplete : 1\n"}},
      {system_check_fboot,
       "vendor.qve.boot_completed",
       "10",
       1,
       {"I Fcx: [QVE][FCX] Bootcomplete : 1\n"}},
      {system_check_fboot, "vendor.qve.boot_completed", "0", 0, {}},
      {system_check_fboot, "vendor.qve.boot_completed", "", 0, {}},
      {system_get_pif_status, "vendor.qve.factory.pif", "1", 1, {"I Fcx: PIF cable is connected"}},
      {system_get_pif_status, "vendor.qve.factory.pif", "0", 0, {}},
      {system_get_pif_status, "vendor.qve.factory.pif", "", 0, {}},
      {system_check_pif_bootmode, "ro.bootmode", "pif", 1, {}},
      {system_check_pif_bootmode, "ro.bootmode", "pif_56k", 1, {}},
      {system_check_pif_bootmode, "ro.bootmode", "pi", 0, {}},
      {system_check_pif_bootmode, "ro.bootmode", "xpif", 0, {}},
      {system_check_pif_bootmode, "ro.bootmode", "", 0, {}},
      {normal_mode_check, kBootstartProperty, "1", 1, {kBootstart}},
      {normal_mode_check, kBootstartProperty, "0", 0, {kNoRkf}},
      {normal_mode_check, kBootstartProperty, "", 0, {kNoRkf}},
      {normal_mode_check, kRkf, "0", 1, {"I Fcx: ro.boot.vendor.qve.rkf [0]"}},
      {normal_mode_check, kRkf, "", 0, {kNoRkf}}};
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.property) + " " + c.value);
    set_build_property(kBootstartProperty, "0");
    set_build_property(c.property, c.value);
    EXPECT_EQ(c.result, c.check());
    EXPECT_THAT(own_lines(), ElementsAreArray(c.lines));
  }
}

TEST_F(BootChecks, NodesCountByTheirFirstCharacter) {
  const struct {
    int (*check)();
    const char* function;
    const char* path;
    char yes;
  } checks[] = {{system_get_battery_status, "system_get_battery_status", kBattery, '1'},
                {get_sleep_mode, "get_sleep_mode", kBrightness, '0'}};
  for (const auto& c : checks) {
    for (const char* content : {"1", "0", "1\n", "0\n", "", " 1", " 0", "10", "05", "x"}) {
      set_node(c.path, content);
      EXPECT_EQ(content[0] == c.yes ? 1 : 0, c.check()) << c.function << content;
    }
    EXPECT_THAT(own_lines(), IsEmpty());
    set_node(c.path, std::string(1, c.yes));
    for (const Access access : {Access::open, Access::read}) {
      fault(Part::file, c.path, Effect::fail, EIO, access);
      EXPECT_EQ(0, c.check()) << c.function;
      EXPECT_EQ(std::string("E Fcx: ") + c.function + ": " + c.path + " cannot be read\n",
                own_lines().back());
      clear_faults();
    }
  }
}

TEST_F(BootChecks, AnOperatorImageIsThereWhenItCanBeOpened) {
  EXPECT_EQ(0, is_op_image_support());
  set_node(kOperatorImage, "");
  EXPECT_EQ(1, is_op_image_support());
  fault(Part::file, kOperatorImage, Effect::fail, ENOENT, Access::open);
  EXPECT_EQ(0, is_op_image_support());
  EXPECT_THAT(own_lines(), IsEmpty());
  fault(Part::file, kOperatorImage, Effect::fail, EACCES, Access::open);
  clear_faults();
  fault(Part::file, kOperatorImage, Effect::fail, EACCES, Access::open);
  EXPECT_EQ(0, is_op_image_support());
  EXPECT_EQ("E Fcx: is_op_image_support: /oem/OP: Permission denied\n", own_lines().back());
  clear_faults();
  std::filesystem::remove(file(kOperatorImage));
  std::filesystem::create_directory(file(kOperatorImage));
  EXPECT_EQ(1, is_op_image_support()) << "a folder, too";
}

TEST_F(BootChecks, ModelsComeFromTwoProperties) {
  const std::string longest(91, 'M');
  const struct {
    std::string factory, name;
    int model_result;
    std::string model;
    int factory_result;
    std::string factory_model;  ///< "before": untouched
  } cases[] = {{"AB-CD", "NAME", 1, "AB-CD", 5, "ABCD"},
               {"AB-CD-EF", "", 1, "AB-CD-EF", 8, "ABCD-EF"},
               {"-AB", "", 1, "-AB", 3, "AB"},
               {"AB-", "", 1, "AB-", 3, "AB"},
               {"-", "", 1, "-", 1, ""},
               {"ABCD", "NA-ME", 1, "ABCD", 4, "before"},
               {"", "NA-ME", 5, "NA-ME", 5, "before"},
               {"", "", 0, "", 0, "before"},
               {longest, "", 1, longest, 91, "before"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.factory + "/" + c.name);
    set_build_property(kFactoryModel, c.factory);
    set_build_property(kModelName, c.name);
    char model[92];
    EXPECT_EQ(c.model_result, system_get_model_name(model));
    EXPECT_EQ(c.model, model);
    char factory_model[256] = "before";
    EXPECT_EQ(c.factory_result, system_get_factory_model_name(factory_model));
    EXPECT_EQ(c.factory_model, factory_model);
    EXPECT_THAT(
        own_lines(),
        testing::ElementsAre(std::string(c.factory.empty() ? "E" : "I") + " Fcx: [QVE][FCX] " +
                                 kFactoryModel + " read " + (c.factory.empty() ? "error" : "OK"),
                             "I Fcx: [QVE][FCX] factory model name : " + c.factory_model + "\n"));
  }
  // The caller's text may be of any length, and have no end.
  set_build_property(kFactoryModel, "ABCD");
  char full[256];
  memset(full, 'x', sizeof full);
  EXPECT_EQ(4, system_get_factory_model_name(full));
  EXPECT_EQ("I Fcx: [QVE][FCX] factory model name : " + std::string(255, 'x') + "\n",
            own_lines().back());
}

TEST_F(BootChecks, TheBuildDateIsAProperty) {
  char date[92];
  EXPECT_EQ(28, system_get_build_date(date));
  EXPECT_STREQ("Mon Jun  1 09:00:00 KST 2020", date);
  set_build_property("ro.build.date", "");
  EXPECT_EQ(0, system_get_build_date(date));
  EXPECT_STREQ("", date);
  EXPECT_THAT(own_lines(), IsEmpty());
  for (const auto& [function, name] :
       {std::pair{system_get_build_date, "system_get_build_date"},
        {system_get_model_name, "system_get_model_name"},
        {system_get_factory_model_name, "system_get_factory_model_name"}}) {
    EXPECT_EQ(0, function(nullptr));
    EXPECT_EQ(std::string("E Fcx: ") + name + ": no buffer\n", own_lines().back());
  }
}

}  // namespace
}  // namespace fcx_test
