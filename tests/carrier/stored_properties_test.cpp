// What cannot be kept at once.
#include "tests/carrier/fixture.h"

namespace fcx_test {
namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::StartsWith;

class StoredProperties : public CarrierTest {};

TEST_F(StoredProperties, AProfileThatCannotBeKeptIsTriedAgainAndNoneOfAnotherSimIsReplayed) {
  use_package();
  set_network_code(kTwoMccs);
  insert_sim(kGermanIccid);
  boot();
  insert_sim(kBritishIccid);
  for (const auto& [effect, value] : {std::pair{Effect::shorter, 10}, {Effect::fail, EROFS}}) {
    SCOPED_TRACE(value);
    fault(Part::file, kKelpProp, effect, value);
    boot();
    EXPECT_EQ("VFB VFB GB", carrier());
    EXPECT_EQ("(none)", content(kKelpProp));
    EXPECT_EQ("89000000000000000000", property("persist.vendor.qve.last-iccid"));
    clear_faults();
  }
  boot();
  EXPECT_EQ(kBritishIccid, property("persist.vendor.qve.last-iccid"));
  EXPECT_THAT(content(kKelpProp), StartsWith("persist.vendor.qve.sim.operator VFB\n"));
}

TEST_F(StoredProperties, WhatIsLeftOfTheSimBeforeIsNotRestored) {
  use_package();
  set_network_code(kTwoMccs);
  insert_sim(kGermanIccid);
  boot();
  set_build_property("ro.crypto.state", "encrypted");
  set_build_property("vold.decrypt", "trigger_restart_min_framework");
  insert_sim(kBritishIccid);
  fault(Part::file, kKelpProp, Effect::fail, ENOSPC, Access::write);
  const std::string cached = "/mnt/vendor/persist-qv/property/persist.vendor.qve.sim.";
  for (const char* name : {"operator", "operator.sub", "country"}) {
    fault(Part::file, cached + name, Effect::fail, ENOSPC, Access::write);
  }
  boot();
  EXPECT_EQ("VFB VFB GB", carrier());
}

TEST_F(StoredProperties, WhatIsListedIsSetAgainByTheSameStart) {
  use_package();
  set_network_code(kTwoMccs);
  insert_sim(kBritishIccid);
  fault(Part::property, "persist.vendor.qve.sim.country", Effect::fail, 0, Access::write, 2);
  boot();
  EXPECT_EQ("VFB VFB GB", carrier());
  EXPECT_EQ("89000000000000000000", property("persist.vendor.qve.last-iccid")) << "to be sure";
}

TEST_F(StoredProperties, ACarrierThatWasSetInPartIsWholeForASimWithoutAProfile) {
  use_package();
  set_network_code(kTwoMccs);
  insert_sim(kBritishIccid);
  boot();
  const std::string whole = carrier();
  insert_sim("8933100000000000033");  // of no carrier in the package
  const auto leave_in_part = [&](const char* carrier_set) {
    write_file(file(kKelpProp),
               "persist.vendor.qve.sim.operator VFB\n"
               "persist.vendor.qve.sim.country GB\n"
               "persist.vendor.qve.sim.operator.sub VFB\n");
    set_property("persist.vendor.qve.last-iccid", "89000000000000000000");
    set_property("persist.vendor.qve.sim.operator", carrier_set);
    set_property("persist.vendor.qve.sim.country", "DE");
    boot();
  };
  leave_in_part("VFB");
  EXPECT_EQ(whole, carrier());
  EXPECT_EQ("", content(kKelpProp));
  leave_in_part("DTM");
  EXPECT_EQ("DTM VFB DE", carrier()) << "another's stays as it is";
}

TEST_F(StoredProperties, TheCarrierOfAnEncryptedStartIsNotThatOfASimThatComesBack) {
  use_package();
  set_network_code(kTwoMccs);
  insert_sim(kGermanIccid);
  boot();
  const std::string german = carrier();
  set_build_property("ro.crypto.state", "encrypted");
  set_build_property("vold.decrypt", "trigger_restart_min_framework");
  insert_sim(kBritishIccid);
  boot();
  ASSERT_EQ("VFB VFB GB", carrier());
  EXPECT_EQ("89000000000000000000", property("persist.vendor.qve.last-iccid"));
  set_build_property("vold.decrypt", "trigger_restart_framework");
  insert_sim(kGermanIccid);
  boot();
  EXPECT_EQ(german, carrier());
}

TEST_F(StoredProperties, WhatCannotBeReplacedInTheCacheStays) {
  constexpr char kDirectory[] = "/mnt/vendor/persist-qv/property";
  const std::string path = kDirectory + std::string("/any");
  qve_write_property_persist_cache("any", "DTM");
  fault(Part::file, path, Effect::shorter, 1, Access::write);
  qve_write_property_persist_cache("any", "VFB");
  EXPECT_THAT(told(), AllOf(StartsWith("Unable to write cache property to temp file "
                                       "/mnt/vendor/persist-qv/property/.temp."),
                            EndsWith(" errno: 28\\n\n")));
  EXPECT_EQ("DTM", content(path.c_str()));
  fs::create_directory(file("/mnt/vendor/persist-qv/property/folder"));
  qve_write_property_persist_cache("folder", "VFB");
  EXPECT_THAT(told(), AllOf(StartsWith("Unable to rename cache property file "
                                       "/mnt/vendor/persist-qv/property/.temp."),
                            EndsWith(" to /mnt/vendor/persist-qv/property/folder\\n\n")));
  char value[92];
  EXPECT_EQ(1, qve_read_property_persist_cache("folder", value));
  EXPECT_EQ(2, std::distance(fs::directory_iterator(file(kDirectory)), {})) << "no temporary file";
}

}  // namespace
}  // namespace fcx_test
