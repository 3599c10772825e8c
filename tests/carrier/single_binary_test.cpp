// Carrier set-up at start-up, each test a story of one phone.
#include "fcx/single_binary.h"

#include <sys/stat.h>

#include "fcx/background.h"
#include "fcx/customisation.h"
#include "fcx/network_code.h"
#include "modem/link/requests.h"
#include "tests/carrier/fixture.h"
#include "virtual_phone/core/properties.h"
#include "virtual_phone/modem/sim.h"

namespace {

using fcx_test::CarrierTest;
using testing::Contains;
using testing::ElementsAre;
using testing::Not;
using testing::StartsWith;
using virtual_phone::Access;
using virtual_phone::Effect;
using virtual_phone::Part;
using virtual_phone::SimState;

namespace fs = std::filesystem;

constexpr char kKelpProp[] = "/mnt/vendor/persist-qv/kelp/kelp.prop";
constexpr char kPermProp[] = "/mnt/vendor/persist-qv/kelp/perm.prop";
constexpr char kFeatureProp[] = "/mnt/vendor/persist-qv/kelp/feature.prop";
constexpr char kStoredCodes[] = "/mnt/vendor/persist-qv/kelp/carrier_code.xml";

constexpr char kEmptyCode[] = R"("0","FFF,FFF,FFFFFFFF,FFFFFFFF,FF")";
constexpr char kDefaultIccid[] = "89000000000000000000";
constexpr char kCarrierCodes[] = R"(<?xml version="1.0"?>
<profiles date="2020-06-01">
  <profile iccid="" carrier_code_fast="NONE"/>
  <profile iccid="894920" carrier_code_fast="DTM" carrier_code_sub="DTM_B" country="DE"/>
  <profile iccid="8949" carrier_code_fast="LATER" country="DE"/>
  <profile iccid="8944" carrier_code_fast="VFB" carrier_code_sub="" country="GB"/>
</profiles>)";

class SetUp : public CarrierTest {
 protected:
  /// The decision as one line: first-mcc, first-mccmnc, first-boot, sim-changed.
  std::string decision() {
    return property("persist.vendor.qve.first-mcc") + " " +
           property("persist.vendor.qve.first-mccmnc") + " " +
           property("persist.vendor.qve.first-boot") + " " +
           property("persist.vendor.qve.sim-changed");
  }
  /// Operator, sub-operator and country of the SIM profile.
  std::string carrier() {
    return property("persist.vendor.qve.sim.operator") + " " +
           property("persist.vendor.qve.sim.operator.sub") + " " +
           property("persist.vendor.qve.sim.country");
  }

  void use_package(const std::string& root = "/oem/OP/EU") {
    set_build_property("ro.vendor.qve.kelp", "1");
    set_build_property("ro.vendor.qve.capp_tamra.rootdir", root);
    place(root + "/config/carrier_code.xml", kCarrierCodes);
  }
  void make_mtk() { set_build_property("ro.vendor.qve.chip.vendor", "mtk"); }
  void no_answer() { opcode_fault(fcx::request::read_sim, Effect::fail, 1); }
  void not_ready_for(int64_t not_yet_polls, const char* iccid) {
    virtual_phone::set_sim(phone(), {SimState::inserted, iccid, not_yet_polls});
  }
};

TEST_F(SetUp, OneMccNeedsNoSim) {
  set_network_code(kOneMcc);
  place(kKelpProp, "persist.vendor.qve.sim.operator DTM\n");
  no_answer();
  boot();
  EXPECT_EQ("(not set)", property("persist.vendor.qve.sim.operator")) << "no profile, no replay";
  EXPECT_EQ("310 310410 1 2", decision());
  EXPECT_EQ("310", property("persist.vendor.qve.mcc-list"));
  EXPECT_EQ(1U, polls()) << "nobody answers, and nothing is left to ask";
}

TEST_F(SetUp, SeveralMccsWaitForTheCallingCodeOfTheSim) {
  set_network_code(kTwoMccs);
  remove_sim();
  boot();
  EXPECT_EQ("FFF FFFFF 0 2", decision());
  EXPECT_EQ("262,234", property("persist.vendor.qve.mcc-list"));
  EXPECT_EQ(10U, polls()) << "5 seconds";

  insert_sim("89330000000000000010");  // of none of these countries
  boot();
  EXPECT_EQ("FFF FFFFF 0 1", decision());
  EXPECT_EQ("208", property("persist.vendor.qve.iccid-mcc"));

  insert_sim(kBritishIccid);
  boot();
  EXPECT_EQ("234 FFFFF 1 1", decision());

  insert_sim(kGermanIccid);  // what is settled stays
  boot();
  EXPECT_EQ("234 FFFFF 1 1", decision());
  EXPECT_EQ("262", property("persist.vendor.qve.iccid-mcc"));
}

TEST_F(SetUp, ASimIsTheSameOrHasChangedSinceTheStartBefore) {
  set_network_code(kOneMcc);
  insert_sim(kGermanIccid);
  boot();
  EXPECT_EQ("1", property("persist.vendor.qve.sim-changed"));
  EXPECT_EQ(kGermanIccid, property("persist.vendor.qve.iccid"));
  boot();
  EXPECT_EQ("0", property("persist.vendor.qve.sim-changed"));
  remove_sim();
  boot();
  EXPECT_EQ("2", property("persist.vendor.qve.sim-changed"));
  insert_sim(kBritishIccid);
  boot();
  EXPECT_EQ("1", property("persist.vendor.qve.sim-changed"));
}

TEST_F(SetUp, InTestModeTheSimAndTheNetworkCodeAreVirtual) {
  set_network_code(kOneMcc);
  insert_sim(kBritishIccid);
  set_property("persist.vendor.qve.kelp.test.enable", "1");
  set_property("persist.vendor.qve.kelp.test.iccid", kGermanIccid);
  set_property("persist.vendor.qve.service.flex.nt-mccmnc", "262010");
  boot();
  EXPECT_EQ("262", property("persist.vendor.qve.mcc-list"));
  EXPECT_EQ(kGermanIccid, property("persist.vendor.qve.iccid"));
  boot();
  EXPECT_EQ("1", property("persist.vendor.qve.sim-changed")) << "the same one too";
  set_property("persist.vendor.qve.service.flex.nt-mccmnc", "26201");  // one short
  boot();
  EXPECT_EQ("310", property("persist.vendor.qve.mcc-list"));
  EXPECT_THAT(log(), Contains("[QVE][SBP] LAOT MODE ENABLED! \n"));
  set_property("persist.vendor.qve.kelp.test.iccid", kDefaultIccid);
  boot();
  EXPECT_EQ("1", property("persist.vendor.qve.sim-changed")) << "and the one that is saved";
  set_property("persist.vendor.qve.iccid", kBritishIccid);
  remove_sim();
  boot();
  EXPECT_EQ("0", property("persist.vendor.qve.first-boot")) << "what was settled is open again";
  EXPECT_EQ(kDefaultIccid, property("persist.vendor.qve.iccid"));
}

TEST_F(SetUp, AFirstStartWithAProfileGetsTheDefaultsOfTheBuild) {
  set_build_property("ro.vendor.qve.kelp.default.operator", "DEF");
  set_build_property("ro.vendor.qve.kelp.default.iccid", "8999");
  set_build_property("ro.vendor.qve.kelp.default.country", "ZZ");
  set_build_property("ro.vendor.qve.capp_tamra.rootdir", "/oem/OP/EU");
  place("/oem/OP/EU/config/carrier_code.xml", kCarrierCodes);
  const struct {
    const char* product;
    const char* slots;
    const char* country;
    const char* second;
  } cases[] = {{"global_ca", "2", "(not set)", "(not set)"},
               {"global_com", "1", "ZZ", "(not set)"},
               {"global_com", "2", "ZZ", "DEF"}};
  for (const auto& [product, slots, country, second] : cases) {
    set_build_property("ro.product.name", product);
    set_build_property("ro.boot.vendor.qve.sim_num", slots);
    boot();
    EXPECT_EQ("DEF", property("persist.vendor.qve.sim.operator")) << product;
    EXPECT_EQ("8999", property("persist.vendor.qve.iccid"));
    EXPECT_EQ("8999", property("persist.vendor.qve.last-iccid"));
    EXPECT_EQ(country, property("persist.vendor.qve.sim.country")) << product;
    EXPECT_EQ(second, property("persist.vendor.qve.sim2.operator")) << slots;
  }
  EXPECT_EQ("ZZ", property("persist.vendor.qve.sim2.country"));
}

TEST_F(SetUp, ARewrittenNetworkCodeMakesTheNextStartAFirstOne) {
  set_network_code(kOneMcc);
  insert_sim(kGermanIccid);
  boot();
  EXPECT_EQ("310 310410 1 1", decision());
  char mccs[2048];
  sbpWriteNTCode(kTwoMccs, mccs);
  EXPECT_STREQ("262,234", mccs);
  EXPECT_EQ("1", property("persist.vendor.qve.ntcode-changed"));
  EXPECT_EQ(std::string(kTwoMccs).substr(0, 34), property("persist.vendor.qve.tavrin.ntcode"));
  EXPECT_EQ("262,234", property("persist.vendor.qve.mcc-list"));
  set_network_code(kTwoMccs);
  boot();
  EXPECT_EQ("262 FFFFF 1 0", decision());
  qve_parse_iccid(kBritishIccid);
  EXPECT_EQ("234 FFFFF 1 0", decision()) << "all of this start may settle it";

  sbpSetDefaultNTcode();
  EXPECT_EQ("3", property("persist.vendor.qve.ntcode-changed"));
  sbpWriteNTCode(kEmptyCode, mccs);
  EXPECT_EQ("3", property("persist.vendor.qve.ntcode-changed")) << "the same as before";
  boot();
  qve_parse_iccid(kGermanIccid);
  EXPECT_EQ("234 FFFFF 1 0", decision()) << "nothing was rewritten";
  sbpWriteNTCode(R"("02","262,01F,FFFFFFFF,FFFFFFFF,11","234,15F,FFFFFFFF,FFFFFFFF,21")", mccs);
  EXPECT_EQ(R"("02","262,01F,FFFFFFFF,FFFFFFFF,11")", property("persist.vendor.qve.tavrin.ntcode"));
  set_property("persist.vendor.qve.first-mccmnc", "23415");
  sbpWriteNTCode(kEmptyCode, mccs);
  no_answer();
  boot();
  EXPECT_EQ("FFF FFFFF 0 2", decision()) << "the code that was stored has no MCC";
  sbpWriteNTCode(kOneMcc, mccs);
  char stored[2048];
  EXPECT_EQ(0, get_ntcode(stored));
  EXPECT_STREQ(kOneMcc, stored);
  sbpSetDefaultMCCLists();
  EXPECT_EQ("", property("persist.vendor.qve.mcc-list"));
  EXPECT_EQ("", property("persist.vendor.qve.mccmnc-list"));
}

TEST_F(SetUp, WhatTheUserInterfaceConfirmedStands) {
  set_network_code(kTwoMccs);
  insert_sim(kGermanIccid);
  set_property("persist.vendor.qve.radio.first-mccmnc", "23415");
  boot();
  EXPECT_EQ("234 23415 1 1", decision());

  set_network_code(kOneMcc);
  set_property("persist.vendor.qve.first-boot", "0");
  boot();
  EXPECT_EQ("234 23415 1 0", decision());
  set_property("persist.vendor.qve.first-boot", "0");
  set_property("persist.vendor.qve.radio.first-mccmnc", "FFFFF");
  boot();
  EXPECT_EQ("310 310410 1 0", decision()) << "nothing is confirmed";
}

TEST_F(SetUp, AllOperatorsCompleteTheFirstStartWithoutAnMcc) {
  set_network_code(R"("1","FFF,FFF,FFFFFFFF,FFFFFFFF,FF")");
  no_answer();
  boot();
  EXPECT_EQ("FFF FFFFF 1 2", decision());
}

TEST_F(SetUp, WithoutANetworkCodeNothingIsDecided) {
  no_answer();
  boot();
  EXPECT_EQ("FFF (not set) 0 2", decision());
  EXPECT_EQ("", property("persist.vendor.qve.mcc-list"));
  EXPECT_EQ(10U, polls());
  EXPECT_THAT(log(), Contains("[QVE][SBP] DO Not have NT-CODE list!!"));
}

TEST_F(SetUp, ASimThatIsNotReadyIsAskedAgain) {
  set_network_code(kTwoMccs);
  not_ready_for(3, kGermanIccid);
  boot();
  EXPECT_EQ("262 FFFFF 1 1", decision());
  EXPECT_EQ(4U, polls());

  use_package();  // whose default carrier completes the first start before the SIM is ready
  set_property("persist.vendor.qve.first-boot", "0");
  boot();
  EXPECT_EQ("262 FFFFF 1 1", decision());
  EXPECT_EQ("DTM DTM_B DE", carrier());
}

TEST_F(SetUp, ASimThatCannotBeReadLeavesTheDefaults) {
  set_network_code(kTwoMccs);
  virtual_phone::set_sim(phone(), {SimState::error, "", 0});
  boot();
  EXPECT_EQ("FFF FFFFF 0 F", decision());
  EXPECT_EQ(10U, polls());
  const auto lines = log();
  EXPECT_EQ(10, std::count(lines.begin(), lines.end(), "[QVE][SBP] SIM READ ERROR!"));
  EXPECT_EQ(1, std::count(lines.begin(), lines.end(), "[QVE][SBP] SETUP default setting"))
      << "prepared once";
  no_answer();
  qve_single_binary_init();
  EXPECT_EQ("FFF FFFFF 0 F", decision()) << "what failed first counts";
  for (const bool has_answer : {false, true}) {
    if (has_answer) clear_faults();
    remove_sim();
    log();
    boot();
    EXPECT_EQ("FFF FFFFF 0 2", decision());
    const auto told = log();
    EXPECT_EQ(1, std::count(told.begin(), told.end(), "[QVE][SBP] SETUP default setting"));
  }
}

TEST_F(SetUp, OddContentOfASimStopsNothing) {
  set_network_code(kTwoMccs);
  for (const std::string& iccid :
       {std::string(), std::string("8"), std::string("89f"), std::string(20, 'f'),
        std::string("ABCDEFGHIJ"), std::string(2048, '9'), std::string("\x01\xFF\x80", 3)}) {
    insert_sim(iccid);
    boot();
    EXPECT_EQ("FFF FFFFF 0 1", decision()) << iccid;
    EXPECT_EQ(iccid.substr(0, 20), property("persist.vendor.qve.iccid"));
  }
}

TEST_F(SetUp, AMediaTekChipsetIsGivenFiveSecondsAndItsPaddingIsTakenOff) {
  make_mtk();
  set_network_code(kTwoMccs);
  insert_sim("8949200000000000001");  // 19 digits: published with an "f"
  boot();
  EXPECT_EQ("8949200000000000001", property("persist.vendor.qve.iccid"));
  EXPECT_EQ("262 FFFFF 1 1", decision());
  EXPECT_EQ(0U, polls()) << "the radio layer knows";
  const auto entry = entries();
  const auto at = [&](const char* message) {
    const auto found = std::find_if(entry.begin(), entry.end(),
                                    [&](const auto& each) { return each.message == message; });
    return found == entry.end() ? -1 : found->time_us;
  };
  EXPECT_GE(at("[QVE][SBP] qve_single_binary_init") - at("[QVE][SBP] Default Timer 25000000\n"),
            5'000'000);

  virtual_phone::set_sim(phone(), {SimState::error, "", 0});
  boot();
  EXPECT_EQ("2", property("persist.vendor.qve.sim-changed")) << "nothing is published";
  remove_sim();
  log();
  boot();
  EXPECT_EQ("2", property("persist.vendor.qve.sim-changed"));
  const auto told = log();
  EXPECT_EQ(40, std::count(told.begin(), told.end(), "[QVE][SBP] qve_single_binary_init"))
      << "20 of 25 seconds";
  insert_sim(std::string(20, 'f'));
  boot();
  EXPECT_EQ("f", property("persist.vendor.qve.iccid")) << "the first character stays";
  set_property("vendor.ril.iccid.sim1", "NODEF");
  set_property("vendor.ril.iccid.sim2", kGermanIccid);
  reload();
  qve_check_mtk_chipset();
  log();
  EXPECT_EQ(1, qve_single_binary_init()) << "an empty first slot hides the second";
  EXPECT_EQ("[QVE][SBP] ATCommand response problem", log().back());
}

TEST_F(SetUp, TheSimsProfileGivesItsCarrier) {
  use_package();
  set_network_code(kTwoMccs);
  remove_sim();
  boot();
  EXPECT_EQ("OPEN (not set) EU", carrier());

  insert_sim(kGermanIccid);
  boot();
  EXPECT_EQ("DTM DTM_B DE", carrier()) << "the first whose prefix fits";
  EXPECT_EQ("2020-06-01", property("persist.vendor.qve.carriercode.date"));
  EXPECT_EQ(
      "persist.vendor.qve.sim.operator DTM\n"
      "persist.vendor.qve.sim.country DE\n"
      "persist.vendor.qve.sim.operator.sub DTM_B\n",
      content(kKelpProp));
  EXPECT_EQ("DTM", content("/mnt/vendor/persist-qv/property/persist.vendor.qve.sim.operator"));

  fs::remove_all(file("/oem/OP/EU/config/carrier_code.xml"));
  place("/oem/OP/EU/config/carrier_code.xml", "<profiles/>");
  set_property("persist.vendor.qve.sim.operator", "lost");
  place(kKelpProp, content(kKelpProp) + "persist.vendor.qve.more two words\n");
  boot();
  EXPECT_EQ("two", property("persist.vendor.qve.more"));
  EXPECT_EQ("DTM DTM_B DE", carrier()) << "the same SIM: replayed, not parsed";

  place("/oem/OP/EU/config/carrier_code.xml", kCarrierCodes);
  insert_sim(kBritishIccid);
  boot();
  EXPECT_EQ("VFB VFB GB", carrier()) << "no sub-carrier: the carrier";
}

TEST_F(SetUp, ADeniedProfileLeavesTheDefaultCarrier) {
  use_package();
  set_network_code(kTwoMccs);
  insert_sim(kGermanIccid);
  for (const char* permission : {"1", "unknown"}) {
    set_property("persist.vendor.qve.sim.profile.permission", permission);
    boot();
    EXPECT_EQ("OPEN (not set) EU", carrier()) << permission;
    EXPECT_EQ("(none)", content(kKelpProp));
  }
  set_property("persist.vendor.qve.sim.profile.permission", "0");
  boot();
  EXPECT_EQ("DTM DTM_B DE", carrier());
}

TEST_F(SetUp, TheNewerCarrierCodesCount) {
  const auto codes = [](const char* date, const char* carrier) {
    return "<profiles date=\"" + std::string(date) +
           "\"><profile iccid=\"89\" carrier_code_fast=\"" + carrier + "\"/></profiles>";
  };
  const struct {
    const char* stored_date;
    const char* package_date;
    const char* winner;
  } cases[] = {
      {"2020-06-02", "2020-06-01", "STORED"},  {"2020-06-01", "2020-06-01", "PACKAGE"},
      {"2020-06-01", "2020-06-02", "PACKAGE"}, {"2020-06-020", "2020-06-01", "PACKAGE"},
      {"2020-06-02", "", "PACKAGE"},
  };
  set_network_code(kTwoMccs);
  insert_sim(kGermanIccid);
  for (const bool is_overlay : {false, true}) {
    if (is_overlay) make_overlay_product();
    const std::string root = is_overlay ? "/product/OP/EU" : "/oem/OP/EU";
    use_package(root);
    for (const auto& [stored_date, package_date, winner] : cases) {
      fcx_test::write_file(file(kStoredCodes), codes(stored_date, "STORED"));
      place(root + "/config/carrier_code.xml", codes(package_date, "PACKAGE"));
      set_property("persist.vendor.qve.first-boot", "0");
      boot();
      EXPECT_EQ(winner, property("persist.vendor.qve.sim.operator")) << stored_date << is_overlay;
      EXPECT_EQ(codes(stored_date, "STORED"), content(kStoredCodes)) << "it stays";
    }
  }
}

TEST_F(SetUp, AnOverlayProductDecidesAsAnyOther) {
  constexpr char kFeatures[] = R"(<features><carrier_property fast="DTM" sub="OTHER">
      <string name="persist.vendor.qve.volte" value="0"/></carrier_property>
    <carrier_property fast="DTM"><string name="persist.vendor.qve.volte" value="1"/>
      <string name="ro.com.google.clientidbase" value="android-dtm"/></carrier_property></features>)";
  constexpr char kPetNames[] = R"(<petnames><petname region="US" name="No"/>
    <petname country="EU" variant="DS" name="No"/><petname country="EU" tv="" name="Pet EU"/></petnames>)";
  std::vector<std::string> seen;
  for (const bool is_overlay : {false, true}) {
    if (is_overlay) make_overlay_product();
    const std::string root = is_overlay ? "/product/OP/EU" : "/oem/OP/EU";
    use_package(root);
    place(root + "/config/feature_code.xml", kFeatures);
    place(is_overlay ? "/system/etc/petname.xml" : "/oem/OP/petname.xml", kPetNames);
    set_network_code(kTwoMccs);
    insert_sim(kGermanIccid);
    for (const char* kept : {kKelpProp, kPermProp, kFeatureProp}) fs::remove(file(kept));
    for (const char* forgotten :
         {"first-boot", "iccid", "sim.operator", "sim.operator.sub", "sim.country", "petname"}) {
      set_property((std::string("persist.vendor.qve.") + forgotten).c_str(), "");
    }
    boot();
    seen.push_back(decision() + " " + carrier() + " " + property("persist.vendor.qve.petname") +
                   " " + property("persist.vendor.qve.volte") + " " +
                   property("ro.com.google.clientidbase") + "\n" + content(kFeatureProp) +
                   content(kPermProp) + content(kKelpProp));
    EXPECT_EQ("(none)", content(kStoredCodes)) << "the copy is gone";
  }
  EXPECT_THAT(seen[0], StartsWith("262 FFFFF 1 1 DTM DTM_B DE Pet EU 1 android-dtm\n"
                                  "persist.vendor.qve.volte=1\n"
                                  "ro.com.google.clientidbase=android-dtm\n"));
  EXPECT_EQ(seen[0], seen[1]);
}

TEST_F(SetUp, ClientIdentifiersComeFromTheNetworkCodeUntilACarrierHasItsOwn) {
  use_package();
  place("/oem/OP/EU/config/client_id.xml", R"(<client_ids>
    <client_id mccmnc="26201" subset="99"><string name="ro.com.google.clientidbase" value="no"/></client_id>
    <client_id mccmnc="23415"><string name="ro.com.google.clientidbase" value="later"/></client_id>
    <client_id mccmnc="26201" subset="11"><string name="ro.com.google.clientidbase" value="code"/></client_id>
    <client_id fast="VFB"><string name="ro.com.google.clientidbase" value="carrier"/></client_id>
    <client_id iccid="8944"><string name="ro.com.google.clientidbase" value="sim"/></client_id>
  </client_ids>)");
  set_network_code(kTwoMccs);
  insert_sim(kBritishIccid);
  boot();
  EXPECT_EQ("code", property("ro.com.google.clientidbase")) << "set once in a start";
  EXPECT_EQ("ro.com.google.clientidbase=carrier\n", content(kPermProp));
  boot();
  EXPECT_EQ("carrier", property("ro.com.google.clientidbase"));

  fs::remove(file(kPermProp));
  set_build_property("ro.vendor.qve.simbase", "1");
  boot();
  EXPECT_EQ("sim", property("ro.com.google.clientidbase"));
}

TEST_F(SetUp, WhereTheSimDecidesTheCountryTheFirstOneFixesIt) {
  set_build_property("ro.vendor.qve.simbase", "1");
  set_network_code(kTwoMccs);
  insert_sim(kBritishIccid);
  boot();
  EXPECT_EQ("GB", property("vendor.qve.sim_country"));
  EXPECT_EQ("1", property("vendor.qve.sim_country_changed"));
  EXPECT_EQ("GB", property("persist.vendor.qve.sim_country_fixed"));
  insert_sim(kGermanIccid);
  boot();
  EXPECT_EQ("GB", property("vendor.qve.sim_country"));
  remove_sim();
  boot();
  EXPECT_EQ("GB", property("vendor.qve.sim_country")) << "without a SIM too";
  set_property("persist.vendor.qve.sim_country_fixed", "yet_fixed");
  insert_sim("89330000000000000010");  // of a country that the table does not hold
  boot();
  EXPECT_EQ("EU", property("vendor.qve.sim_country"));
  set_build_property("ro.vendor.qve.simbase", "0");
  remove_sim();
  boot();
  EXPECT_EQ("(not set)", property("vendor.qve.sim_country")) << "no longer by the SIM";
}

TEST_F(SetUp, ACallingCodeWithoutACountrySettlesNothing) {
  set_network_code(kTwoMccs);
  set_property("persist.vendor.qve.iccid-mcc", "262");
  insert_sim("89888000000000000001");  // of no country
  boot();
  EXPECT_EQ("FFF FFFFF 0 1", decision());
  EXPECT_EQ("", property("persist.vendor.qve.iccid-mcc"));
}

TEST_F(SetUp, AFirstStartThatWasInterruptedBeginsAnew) {
  use_package();
  set_network_code(kTwoMccs);
  not_ready_for(1, kGermanIccid);
  EXPECT_EQ(1, qve_single_binary_init());
  EXPECT_EQ("FFF FFFFF 1 F", decision()) << "complete, but for the SIM";
  boot();  // the power was cut
  EXPECT_EQ("262 FFFFF 1 1", decision());
  EXPECT_EQ("0", property("persist.vendor.qve.sbp.unfinished"));
}

TEST_F(SetUp, AProfileThatCannotBeKeptIsTriedAgainAndNoneOfAnotherSimIsReplayed) {
  use_package();
  set_network_code(kTwoMccs);
  insert_sim(kGermanIccid);
  boot();
  insert_sim(kBritishIccid);
  for (const auto& [effect, value] : {std::pair{Effect::shorter, 10}, {Effect::fail, EROFS}}) {
    fault(Part::file, kKelpProp, effect, value);
    boot();
    EXPECT_EQ("VFB VFB GB", carrier());
    EXPECT_EQ("(none)", content(kKelpProp));
    EXPECT_EQ(kGermanIccid, property("persist.vendor.qve.last-iccid"));
    clear_faults();
  }
  boot();
  EXPECT_EQ(kBritishIccid, property("persist.vendor.qve.last-iccid"));
  EXPECT_THAT(content(kKelpProp), StartsWith("persist.vendor.qve.sim.operator VFB\n"));
}

TEST_F(SetUp, WhatCouldNotBeReadOrKeptIsTriedAgain) {
  constexpr char kFeatures[] = R"(<features><carrier_property fast="VFB">
    <string name="persist.vendor.qve.volte" value="1"/></carrier_property></features>)";
  constexpr char kIds[] = R"(<client_ids><client_id fast="VFB">
    <string name="ro.com.google.clientidbase" value="vfb"/></client_id></client_ids>)";
  set_network_code(kTwoMccs);
  for (const bool is_overlay : {false, true}) {
    if (is_overlay) make_overlay_product();
    const std::string root = is_overlay ? "/product/OP/EU" : "/oem/OP/EU";
    use_package(root);
    place(root + "/config/feature_code.xml", kFeatures);
    place(root + "/config/client_id.xml", kIds);
    for (const char* kept : {kPermProp, kFeatureProp}) fs::remove(file(kept));
    insert_sim(kGermanIccid);
    boot();
    insert_sim(kBritishIccid);
    // On an overlay its copy does not fit.
    const std::string codes = is_overlay ? kStoredCodes : root + "/config/carrier_code.xml";
    for (const std::string& lost : {codes, std::string(kFeatureProp)}) {
      fault(Part::file, lost, Effect::shorter, 20);
      boot();
      EXPECT_EQ(kGermanIccid, property("persist.vendor.qve.last-iccid")) << lost;
      clear_faults();
    }
    boot();
    EXPECT_EQ(kBritishIccid, property("persist.vendor.qve.last-iccid"));
    EXPECT_EQ("VFB VFB GB", carrier());
    EXPECT_EQ("persist.vendor.qve.volte=1\n", content(kFeatureProp));
  }
}

TEST_F(SetUp, APackageThatIsBrokenLeavesTheDefaults) {
  const std::string names(92, 'N');
  const std::pair<const char*, std::string> cases[] = {
      {"empty", ""},
      {"cut", std::string(kCarrierCodes, 200)},
      {"binary", std::string(kCarrierCodes, 60) + '\0' + "\xFF\xFE"},
      {"another root", "<features><profile iccid=\"89\" carrier_code_fast=\"X\"/></features>"},
      {"too long a name",
       "<profiles><profile iccid=\"89\" carrier_code_fast=\"" + names + "\"/></profiles>"},
      {"a line break",
       "<profiles><profile iccid=\"89\" carrier_code_fast=\"X&#10;persist.vendor.x "
       "Y\"/></profiles>"},
      {"an entity that is a file",
       "<!DOCTYPE p [<!ENTITY e SYSTEM \"/proc/version\">]><profiles><profile iccid=\"89\" "
       "carrier_code_fast=\"&e;\"/></profiles>"},
      {"entities of entities",
       "<!DOCTYPE p [<!ENTITY a \"" + std::string(9999, 'a') + "\"><!ENTITY b \"" +
           [] {
             std::string all;
             for (int i = 0; i < 999; ++i) all += "&a;";
             return all;
           }() +
           "\"><!ENTITY c \"&b;&b;&b;&b;&b;&b;&b;&b;&b;\">]><profiles><profile "
           "iccid=\"&c;\"/></profiles>"},
  };
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

TEST_F(SetUp, APipeInPlaceOfAFileStopsNothing) {
  set_network_code(kTwoMccs);
  insert_sim(kGermanIccid);
  for (const bool is_overlay : {false, true}) {
    if (is_overlay) make_overlay_product();
    use_package(is_overlay ? "/product/OP/EU" : "/oem/OP/EU");
    for (const char* path : {"/oem/OP/petname.xml", kKelpProp, kPermProp, kStoredCodes}) {
      fs::remove(file(path));
      ASSERT_EQ(0, mkfifo(file(path).c_str(), 0600));
    }
    set_property("persist.vendor.qve.first-boot", "0");
    boot();
    EXPECT_EQ("262 FFFFF 1 1", decision());
  }
}

TEST_F(SetUp, AnEncryptedStartRestoresTheCarrierAndThenWaitsForTheFramework) {
  use_package();
  set_network_code(kTwoMccs);
  insert_sim(kGermanIccid);
  boot();
  set_build_property("ro.crypto.state", "encrypted");
  set_build_property("ro.crypto.type", "block");
  set_build_property("vold.decrypt", "trigger_restart_min_framework");
  for (const char* name : {"sim.operator", "sim.operator.sub", "sim.country"}) {
    set_property((std::string("persist.vendor.qve.") + name).c_str(), "");  // not yet decrypted
  }
  log();
  boot();
  EXPECT_EQ("DTM DTM_B DE", carrier());
  const auto lines = log();
  EXPECT_THAT(lines, Contains("[QVE][SBP] Created  Single Binary ICCID thread..."));
  EXPECT_THAT(lines, Contains("[QVE][SBP] secure boot :  restored property "
                              "[persist.vendor.qve.sim.operator]: [DTM]\n"));
  EXPECT_THAT(lines, Not(Contains("[QVE][SBP] qve_single_binary_init")));
  EXPECT_THAT(lines, Contains("[QVE][SBP] restored property "
                              "[persist.vendor.qve.sim.operator]: [DTM]\n"));
  EXPECT_EQ(12, std::count(lines.begin(), lines.end(),
                           "[QVE][SBP] vold.decrypt: trigger_restart_min_framework\n"));
  EXPECT_EQ(1, std::count(lines.begin(), lines.end(),
                          "[QVE][SBP] Created  Single Binary ICCID thread..."));

  insert_sim(kBritishIccid);
  fault(Part::file, kKelpProp, Effect::fail, ENOSPC, Access::write);
  for (const char* name : {"sim.operator", "sim.operator.sub", "sim.country"}) {
    fault(Part::file, std::string("/mnt/vendor/persist-qv/property/persist.vendor.qve.") + name,
          Effect::fail, ENOSPC, Access::write);
  }
  boot();
  EXPECT_EQ("VFB VFB GB", carrier()) << "not what is left of the SIM before";
  clear_faults();

  // Now nobody permits its profile.
  for (const auto& [permission, restored] : {std::pair{"unknown", "DTM DTM_B DE"}, {"1", "  "}}) {
    set_property("persist.vendor.qve.sim.profile.permission", permission);
    fs::remove(file(kKelpProp));
    for (const char* name : {"sim.operator", "sim.operator.sub", "sim.country"}) {
      set_property((std::string("persist.vendor.qve.") + name).c_str(), "");
    }
    boot();
    EXPECT_EQ(restored, carrier()) << permission;
  }

  set_build_property("vold.decrypt", "trigger_restart_framework");
  boot();
  EXPECT_THAT(log(), Contains("[QVE][SBP] qve_single_binary_init"));
}

TEST_F(SetUp, AStartThatWaitsForThePasswordIsPutOff) {
  set_build_property("vold.decrypt", "trigger_restart_min_framework");
  boot();
  EXPECT_THAT(log(), ElementsAre("[QVE][SBP] Crypto status: , Crypto type: , Decrypt status: "
                                 "trigger_restart_min_framework\n",
                                 "[QVE][SBP] Waiting.. Start SBP thread during encryption\n"));
  set_build_property("vold.decrypt", "trigger_restart_min_framework.");
  boot();
  EXPECT_THAT(log(), Contains("[QVE][SBP] qve_single_binary_init")) << "that state only";
  set_build_property("vold.decrypt", "trigger_restart_min_framework");
  set_build_property("ro.crypto.state", "encrypted");
  set_build_property("ro.crypto.type", "file");
  boot();
  EXPECT_THAT(log(), Contains("[QVE][SBP] qve_single_binary_init")) << "files are never waited for";
}

TEST_F(SetUp, AUserBuildTellsNothingOnceItKnowsThatItIsOne) {
  use_package();
  set_network_code(kTwoMccs);
  insert_sim(kGermanIccid);
  for (const char* build : {"user", ""}) {  // what says nothing is one
    set_build_property("ro.build.type", build);
    log();
    boot();
    EXPECT_EQ("DTM DTM_B DE", carrier());
    std::vector<std::string> told = log();
    told.erase(std::remove_if(told.begin(), told.end(),
                              [](const auto& line) { return line.find("[SBP]") == line.npos; }),
               told.end());
    EXPECT_EQ("[QVE][SBP] qve_single_binary_init", told.back());
  }
}

TEST_F(SetUp, ACarrierThatTheNetworkCodeSettlesIsNoSims) {
  use_package();
  set_network_code(R"("2","100,10F,FFFFFFFF,FFFFFFFF,03","262,01F,FFFFFFFF,FFFFFFFF,11")");
  insert_sim(kGermanIccid);
  set_build_property("vold.decrypt", "trigger_restart_framework");
  boot();
  EXPECT_EQ(0, qve_secure_startup_read_iccid()) << "too late to restore anything";
  EXPECT_EQ("TMO (not set) EU", carrier());
  EXPECT_EQ("(none)", content(kKelpProp));
}

TEST_F(SetUp, ProfilesHaveAnotherRootThanTheProbeWhereNoneIsSet) {
  set_build_property("ro.vendor.qve.kelp", "1");
  place("/oem/OP/config/carrier_code.xml", "<profiles/>");
  place("/OP/config/carrier_code.xml", kCarrierCodes);
  insert_sim(kGermanIccid);
  boot();
  EXPECT_EQ("DTM DTM_B DE", carrier());
}

TEST_F(SetUp, TheCacheKeepsAPropertyInAFileOfItsName) {
  constexpr char kName[] = "persist.vendor.qve.sim.operator";
  constexpr char kFile[] = "/mnt/vendor/persist-qv/property/persist.vendor.qve.sim.operator";
  char value[92] = "untouched";
  EXPECT_EQ(1, qve_read_property_persist_cache(kName, value));
  EXPECT_STREQ("untouched", value);
  qve_write_property_persist_cache(kName, "DTM");
  EXPECT_EQ(0, qve_read_property_persist_cache(kName, value));
  EXPECT_STREQ("DTM", value);
  EXPECT_EQ("DTM", content(kFile));
  fcx_test::write_file(file(kFile), std::string(200, 'x'));
  EXPECT_EQ(0, qve_read_property_persist_cache(kName, value));
  EXPECT_EQ(std::string(91, 'x'), value);
  for (const char* name : {"", "../kelp/kelp.prop", "a/b"}) {
    qve_write_property_persist_cache(name, "no");
    EXPECT_EQ(1, qve_read_property_persist_cache(name, value)) << name;
  }
  log();
  fault(Part::file, kFile, Effect::shorter, 1, Access::write);
  qve_write_property_persist_cache(kName, "VFB");
  EXPECT_THAT(log(), ElementsAre(testing::AllOf(
                         StartsWith("[QVE][SBP] Unable to write cache property to temp file "
                                    "/mnt/vendor/persist-qv/property/.temp."),
                         testing::EndsWith(" errno: 28\n"))));
  fs::create_directory(file("/mnt/vendor/persist-qv/property/folder"));
  qve_write_property_persist_cache("folder", "VFB");
  EXPECT_THAT(log(), ElementsAre(StartsWith("[QVE][SBP] Unable to rename cache property file "
                                            "/mnt/vendor/persist-qv/property/.temp.")));
  EXPECT_EQ(1, qve_read_property_persist_cache("folder", value));
  EXPECT_EQ(std::string(200, 'x'), content(kFile)) << "what could not be replaced stays";
  EXPECT_EQ(2, std::distance(fs::directory_iterator(file("/mnt/vendor/persist-qv/property")), {}))
      << "no temporary file is left";
}

TEST_F(SetUp, WhatAPowerCutHasLeftOfTheCacheGoesWithTheNextStart) {
  constexpr char kCut[] = "/mnt/vendor/persist-qv/property/.temp.A1b2C3";
  constexpr char kKept[] = "/mnt/vendor/persist-qv/property/persist.vendor.qve.sim.operator";
  fcx_test::write_file(file(kCut), "DT");
  fcx_test::write_file(file(kKept), "DTM");
  boot();
  EXPECT_EQ("(none)", content(kCut));
  EXPECT_EQ("DTM", content(kKept));
}

TEST_F(SetUp, ABuyersNetworkCodeIsFoundByItsKey) {
  const std::string long_code(300, '1');
  place("/buyers", "A=\"1\",first\nB=\"1\",second\r\nB=\"1\",third\nC=" + long_code + "\n");
  const auto write_buyer = [&](const char* key) {
    const std::unique_ptr<FILE, int (*)(FILE*)> opened(fopen(file("/buyers").c_str(), "r"), fclose);
    const int result = sbpWriteBuyer(opened.get(), 77, key);
    char code[2048];
    EXPECT_EQ(0, get_ntcode(code));
    return std::to_string(result) + " " + code;
  };
  EXPECT_EQ("77 ", write_buyer("D"));
  EXPECT_EQ("77 \"1\",second\r", write_buyer("B")) << "a carriage return belongs to the code";
  EXPECT_EQ("77 " + std::string(125, '1'), write_buyer("C")) << "as far as a line is read";
  virtual_phone::set_fault(phone(), {0, Part::item, "421", Access::write, Effect::fail, -1, 1});
  EXPECT_EQ("1 \"1\",third", write_buyer("B")) << "the next line is tried";
  sbpSetOtpe();
  EXPECT_EQ("77 ", write_buyer("D"));
}

}  // namespace
