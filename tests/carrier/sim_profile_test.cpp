// The SIM auto profile, and what the package has for its carrier: features and client identifiers.
#include "tests/carrier/fixture.h"

namespace {

class SimProfile : public fcx_test::CarrierTest {};

TEST_F(SimProfile, GivesItsCarrier) {
  use_package();
  set_network_code(kTwoMccs);
  remove_sim();
  boot();
  EXPECT_EQ("OPEN (not set) EU", carrier());

  insert_sim(kGermanIccid);
  boot();
  EXPECT_EQ("DTM DTM_B DE", carrier()) << "the first whose prefix fits";
  EXPECT_EQ(
      "persist.vendor.qve.sim.operator DTM\n"
      "persist.vendor.qve.sim.country DE\n"
      "persist.vendor.qve.sim.operator.sub DTM_B\n",
      content(kKelpProp));

  place("/oem/OP/EU/config/carrier_code.xml", "<profiles/>");
  set_all("sim.operator=lost");
  place(kKelpProp, content(kKelpProp) + "persist.vendor.qve.more two words\n");
  boot();
  EXPECT_EQ("two", property("persist.vendor.qve.more"));
  EXPECT_EQ("DTM DTM_B DE", carrier()) << "the same SIM: replayed, not parsed";

  place("/oem/OP/EU/config/carrier_code.xml", kCarrierCodes);
  place(kPermProp, "");
  insert_sim(kBritishIccid);
  EXPECT_EQ(rows("~carriercode.date=2020-06-01 | No iccid, Continue | "
                 "found matched carrier code : [89441500000000000023]: [VFB] | Not found matched "
                 "carrier code sub, so input fast carrier into sub carrier. "
                 "[89441500000000000023]: [VFB] | ~sim.operator=VFB | ~sim.country=GB | "
                 "~sim.operator.sub=VFB | ~last-iccid=89441500000000000023"),
            part(boot_story(), "~carriercode.date", "searchMcc"));
  insert_sim("89330000000000000010");  // which no profile is for
  boot();
  EXPECT_EQ("VFB VFB GB", carrier());
  EXPECT_EQ("", content(kKelpProp));
}

TEST_F(SimProfile, TheNewerCarrierCodesCount) {
  const auto codes = [](const char* date, const char* carrier) {
    return "<profiles date=\"" + std::string(date) +
           "\"><profile iccid=\"89\" carrier_code_fast=\"" + carrier + "\"/></profiles>";
  };
  const char* const cases[][3] = {{"2020-06-02", "2020-06-01", "STORED"},
                                  {"2020-06-01", "2020-06-01", "PACKAGE"},
                                  {"2020-06-01", "2020-06-02", "PACKAGE"},
                                  {"2020-06-020", "2020-06-01", "PACKAGE"},
                                  {"2020-06-02", "", "PACKAGE"}};
  set_network_code(kTwoMccs);
  insert_sim(kGermanIccid);
  use_package();
  for (const auto& [stored_date, package_date, winner] : cases) {
    fcx_test::write_file(file(kStoredCodes), codes(stored_date, "STORED"));
    place("/oem/OP/EU/config/carrier_code.xml", codes(package_date, "PACKAGE"));
    set_property("persist.vendor.qve.first-boot", "0");
    boot();
    SCOPED_TRACE(stored_date + std::string(" ") + package_date);
    EXPECT_EQ(winner, property("persist.vendor.qve.sim.operator"));
    EXPECT_EQ(codes(stored_date, "STORED"), content(kStoredCodes)) << "it stays";
  }
}

TEST_F(SimProfile, ClientIdentifiersComeFromTheNetworkCodeUntilACarrierHasItsOwn) {
  use_package();
  place("/oem/OP/EU/config/client_id.xml", R"(<client_ids>
    <client_id mccmnc="26201" subset="99"><string name="ro.com.google.clientidbase" value="no"/></client_id>
    <client_id mccmnc="23415"><string name="persist.vendor.qve.later" value="no"/></client_id>
    <client_id mccmnc="26201" subset="11"><string name="ro.com.google.clientidbase" value="code"/></client_id>
    <client_id fast="VFB" sub="OTHER"><string name="ro.com.google.clientidbase" value="no"/></client_id>
    <client_id fast="VFB"><string name="ro.com.google.clientidbase" value="carrier"/></client_id>
    <client_id iccid="8944"><string name="ro.com.google.clientidbase" value="sim"/></client_id>
  </client_ids>)");
  set_network_code(kTwoMccs);
  insert_sim(kBritishIccid);
  boot();
  EXPECT_EQ("code", property("ro.com.google.clientidbase")) << "set once in a start";
  EXPECT_EQ("(not set)", property("persist.vendor.qve.later")) << "the first entry's only";
  EXPECT_EQ("ro.com.google.clientidbase=carrier\n", content(kPermProp));
  boot();
  EXPECT_EQ("carrier", property("ro.com.google.clientidbase"));

  std::filesystem::remove(file(kPermProp));
  set_build_property("ro.vendor.qve.simbase", "1");
  boot();
  EXPECT_EQ("sim", property("ro.com.google.clientidbase"));
}

TEST_F(SimProfile, ADeniedProfileLeavesTheDefaultCarrier) {
  use_package();
  set_network_code(kTwoMccs);
  insert_sim(kGermanIccid);
  for (const char* permission : {"1", "unknown"}) {
    set_property("persist.vendor.qve.sim.profile.permission", permission);
    boot();
    EXPECT_EQ("OPEN (not set) EU", carrier()) << permission;
    EXPECT_EQ("(none)", content(kKelpProp)) << permission;
  }
  set_property("persist.vendor.qve.sim.profile.permission", "0");
  boot();
  EXPECT_EQ("DTM DTM_B DE", carrier());
}

TEST_F(SimProfile, GivesTheFeaturesOfItsCarrier) {
  constexpr char kFeatures[] = R"(<features><carrier_property fast="DTM" sub="OTHER">
      <string name="persist.vendor.qve.volte" value="0"/></carrier_property>
    <carrier_property fast="DTM"><string name="persist.vendor.qve.volte" value="1"/>
      <string name="ro.com.google.clientidbase" value="dtm"/></carrier_property></features>)";
  set_network_code(kTwoMccs);
  insert_sim(kGermanIccid);
  use_package();
  place("/oem/OP/EU/config/feature_code.xml", kFeatures);
  const std::string story = boot_story();
  EXPECT_EQ(1, count(story,
                     "write permanet props: [ro.com.google.clientidbase]: [dtm]\\n | "
                     "/mnt/vendor/persist-qv/kelp/perm.prop already exists. | "
                     "~last-iccid=89492000000000000017"));
  EXPECT_EQ(rows("=ro.com.google.clientidbase=dtm | ~volte=1"), part(story, "=ro.com.google"));
  EXPECT_EQ("persist.vendor.qve.volte=1\n", content(kFeatureProp));
  EXPECT_EQ("ro.com.google.clientidbase=dtm\n", content(kPermProp));
}

TEST_F(SimProfile, HasAnotherRootThanTheProbeWhereNoneIsSet) {
  set_build_property("ro.vendor.qve.kelp", "1");
  place("/oem/OP/config/carrier_code.xml", "<profiles/>");
  insert_sim(kGermanIccid);
  EXPECT_THAT(boot_story(), testing::HasSubstr("\ncarrier_code.xml does not exist\n"));
  place("/OP/config/carrier_code.xml", kCarrierCodes);
  place("/OP/config/feature_code.xml", R"(<f><carrier_property fast="DTM"/></f>)");
  set_all("last-iccid=");
  boot();
  EXPECT_EQ("DTM DTM_B DE", carrier());
  EXPECT_EQ("(none)", content(kFeatureProp)) << "the probe has not seen it";
}

TEST_F(SimProfile, ACarrierThatTheNetworkCodeSettlesIsNoSims) {
  use_package();
  set_network_code(R"("2","100,10F,FFFFFFFF,FFFFFFFF,03","262,01F,FFFFFFFF,FFFFFFFF,11")");
  insert_sim(kGermanIccid);
  boot();
  EXPECT_EQ("TMO (not set) EU", carrier());
  EXPECT_EQ("(none)", content(kKelpProp));
}

TEST_F(SimProfile, APackageThatIsBrokenLeavesTheDefaults) {
  const auto profile = [](const std::string& carrier) {
    return R"(<profiles><profile iccid="89" carrier_code_fast=")" + carrier + "\"/></profiles>";
  };
  std::string many;
  for (int i = 0; i < 999; ++i) many += "&a;";
  const std::pair<const char*, std::string> cases[] = {
      {"cut", std::string(kCarrierCodes, 200)},
      {"binary", std::string(kCarrierCodes, 60) + '\0' + "\xFF\xFE"},
      {"another root", "<features><profile iccid=\"89\" carrier_code_fast=\"X\"/></features>"},
      {"too long a name", profile(std::string(92, 'N'))},
      {"a line break", profile("X&#10;persist.vendor.x Y")},
      {"an entity that is a file",
       "<!DOCTYPE p [<!ENTITY e SYSTEM \"/proc/version\">]>" + profile("&e;")},
      {"entities of entities", "<!DOCTYPE p [<!ENTITY a \"" + std::string(9999, 'a') +
                                   "\"><!ENTITY b \"" + many + "\"><!ENTITY c \"" +
                                   "&b;&b;&b;&b;&b;&b;&b;&b;&b;\">]>" + profile("&c;")}};
  use_package();
  set_network_code(kTwoMccs);
  insert_sim(kGermanIccid);
  for (const auto& [name, text] : cases) {
    for (const char* xml : {"carrier_code", "feature_code", "client_id"}) {
      place(std::string("/oem/OP/EU/config/") + xml + ".xml", text);
    }
    place("/oem/OP/petname.xml", text);
    set_property("persist.vendor.qve.first-boot", "0");
    boot();
    EXPECT_EQ("262 FFFFF 1 1", decision()) << name;
    EXPECT_EQ("OPEN (not set) EU", carrier()) << name;
  }
}

}  // namespace
