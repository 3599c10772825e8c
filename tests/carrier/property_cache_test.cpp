// The persistent property cache: a file for each property.
#include "tests/carrier/fixture.h"

namespace {

class PropertyCache : public fcx_test::CarrierTest {};

TEST_F(PropertyCache, KeepsAPropertyInAFileOfItsName) {
  constexpr char kName[] = "persist.vendor.qve.sim.operator";
  constexpr char kFile[] = "/mnt/vendor/persist-qv/property/persist.vendor.qve.sim.operator";
  char value[92] = "untouched";
  EXPECT_EQ(1, qve_read_property_persist_cache(kName, value));
  EXPECT_STREQ("untouched", value);
  qve_write_property_persist_cache(kName, "DTM");
  EXPECT_EQ(0, qve_read_property_persist_cache(kName, value));
  EXPECT_STREQ("DTM", value);
  EXPECT_EQ("DTM", content(kFile));
  qve_write_property_persist_cache(kName, std::string(92, 'y').c_str());
  EXPECT_EQ(std::string(91, 'y'), content(kFile));
  fcx_test::write_file(file(kFile), std::string(200, 'x'));
  EXPECT_EQ(0, qve_read_property_persist_cache(kName, value));
  EXPECT_EQ(std::string(91, 'x'), value);
  for (const char* name : {"", "../kelp/kelp.prop", "a/b"}) {
    qve_write_property_persist_cache(name, "no");
    EXPECT_EQ(1, qve_read_property_persist_cache(name, value)) << name;
  }
}

TEST_F(PropertyCache, WhatAPowerCutHasLeftGoesWithTheNextStart) {
  constexpr char kCut[] = "/mnt/vendor/persist-qv/property/.temp.A1b2C3";
  constexpr char kKept[] = "/mnt/vendor/persist-qv/property/persist.vendor.qve.sim.operator";
  fcx_test::write_file(file(kCut), "DT");
  fcx_test::write_file(file(kKept), "DTM");
  boot();
  EXPECT_EQ("(none)", content(kCut));
  EXPECT_EQ("DTM", content(kKept));
}

}  // namespace
