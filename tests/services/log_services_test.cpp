// The switches of the log services.
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

constexpr const char* kServices[] = {
    "persist.vendor.qve.service.kernel.enable", "persist.vendor.qve.service.power.enable",
    "persist.vendor.qve.service.main.enable",   "persist.vendor.qve.service.system.enable",
    "persist.vendor.qve.service.radio.enable",  "persist.vendor.qve.service.events.enable"};

class LogServices : public ServiceTest {};

TEST_F(LogServices, AreSetInTheirOrder) {
  EXPECT_THAT(std::vector<std::string>(std::begin(logservice), std::end(logservice)),
              ElementsAreArray(kServices));
  std::vector<std::string> set;
  virtual_phone::observe_properties([&](const auto& change) { set.push_back(change.name); });
  char value[] = "1";
  EXPECT_EQ(0, system_set_logservice(value));
  virtual_phone::observe_properties({});
  EXPECT_THAT(set, ElementsAreArray(kServices));
  for (const char* name : kServices) EXPECT_EQ("1", property(name));
  EXPECT_THAT(own_lines(), ElementsAre("I Fcx: system_set_logservice, onoff value is 1\n"));
  char off[] = "0";
  for (const auto& [refused, result] : {std::pair{0, 0}, {4, 0}, {5, -1}}) {
    fault(Part::property, kServices[refused], Effect::fail, 0, Access::write);
    EXPECT_EQ(result, system_set_logservice(off)) << "the last one's: " << refused;
    EXPECT_THAT(own_lines(), ElementsAre("I Fcx: system_set_logservice, onoff value is 0\n",
                                         std::string("E Fcx: system_set_logservice: ") +
                                             kServices[refused] + " cannot be set\n"));
    clear_faults();
  }
  EXPECT_EQ(-1, system_set_logservice(nullptr));
  EXPECT_THAT(own_lines(), ElementsAre("E Fcx: system_set_logservice: no value\n"));
}

TEST_F(LogServices, OneThatIsOnIsEnough) {
  EXPECT_EQ(0, system_get_logservice());
  for (const char* name : kServices) {
    for (const auto& [value, result] :
         {std::pair{"1", 1}, {"0", 0}, {"01", 0}, {"", 0}, {"off", 1}}) {
      set_property(name, value);
      own_lines();
      EXPECT_EQ(result, system_get_logservice()) << name << " " << value;
      EXPECT_THAT(own_lines(), ElementsAre(result == 1 ? "I Fcx: logservice is working\n"
                                                       : "I Fcx: logservice is not working\n"));
    }
    set_property(name, "0");
  }
}

TEST_F(LogServices, TheFactorysIsSwitchedOffAndItsLogsErased) {
  const char* name = "persist.vendor.qve.factory.log.enable";
  const char* line = "I Fcx: disabe factory logservice and erase /data/logger\n";
  set_property(name, "1");
  set_node("/data/logger/main", "log");
  EXPECT_EQ(0, system_factory_logservice_off());
  EXPECT_EQ("0", property(name));
  EXPECT_TRUE(std::filesystem::is_empty(file("/data/logger")));
  EXPECT_THAT(own_lines(), ElementsAre(line));
  fault(Part::property, name, Effect::fail, 0, Access::write);
  request_fault(1008, Effect::fail, 7);
  EXPECT_EQ(7, system_factory_logservice_off());
  EXPECT_THAT(own_lines(),
              ElementsAre(line,
                          "E Fcx: system_factory_logservice_off: "
                          "persist.vendor.qve.factory.log.enable cannot be set\n",
                          "E Fcx: system_factory_logservice_off: request 1008 failed with 7\n"));
}

}  // namespace
}  // namespace fcx_test
