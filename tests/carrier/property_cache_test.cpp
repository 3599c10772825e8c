// The persistent property cache: a file for each property.
#include "fcx/single_binary.h"
#include "tests/carrier/fixture.h"

namespace {

using fcx_test::CarrierTest;
using testing::AllOf;
using testing::EndsWith;
using testing::StartsWith;
using virtual_phone::Access;
using virtual_phone::Effect;
using virtual_phone::Part;

namespace fs = std::filesystem;

class PropertyCache : public CarrierTest {};

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
  EXPECT_EQ("", told());
  fault(Part::file, kFile, Effect::shorter, 1, Access::write);
  qve_write_property_persist_cache(kName, "VFB");
  EXPECT_THAT(told(), AllOf(StartsWith("Unable to write cache property to temp file "
                                       "/mnt/vendor/persist-qv/property/.temp."),
                            EndsWith(" errno: 28\\n\n")));
  fs::create_directory(file("/mnt/vendor/persist-qv/property/folder"));
  qve_write_property_persist_cache("folder", "VFB");
  EXPECT_THAT(told(), AllOf(StartsWith("Unable to rename cache property file "
                                       "/mnt/vendor/persist-qv/property/.temp."),
                            EndsWith(" to /mnt/vendor/persist-qv/property/folder\\n\n")));
  EXPECT_EQ(1, qve_read_property_persist_cache("folder", value));
  EXPECT_EQ(std::string(200, 'x'), content(kFile)) << "what could not be replaced stays";
  EXPECT_EQ(2, std::distance(fs::directory_iterator(file("/mnt/vendor/persist-qv/property")), {}))
      << "no temporary file is left";
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
