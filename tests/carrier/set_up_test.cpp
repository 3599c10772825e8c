// The set-up decision, step by step: what the network code, the user interface, the test mode and
// earlier starts decide, and what the SIM adds.
#include "tests/carrier/fixture.h"

namespace {

class SetUp : public fcx_test::CarrierTest {};

TEST_F(SetUp, TheNetworkCodeDecidesWhatItCan) {
  // Name; network code; what earlier starts and the user interface left; what is told between the
  // lists and the SIM.
  const char* const cases[][4] = {
      {"several MCCs", kTwoMccs, "first-boot=10",
       "MCC-list: 262,234, length: 7 | 2 More MCC-lists | ~first-mcc=FFF | ~first-mccmnc=FFFFF"},
      {"several, and a carrier", kTwoMccs, "sim.operator=DTM",
       "MCC-list: 262,234, length: 7 | 2 More MCC-lists | ~first-mcc=FFF | ~first-mccmnc=FFFFF | "
       "~first-boot=1"},
      {"all operators", R"("1","FFF,FFF,FFFFFFFF,FFFFFFFF,FF")", "",
       "MCC-list: FFF, length: 3 | 2 More MCC-lists | ~first-mcc=FFF | ~first-mccmnc=FFFFF | "
       "~first-boot=1"},
      {"none", "", "", "MCC-list: , length: 0 | DO Not have NT-CODE list!! | ~mcc-list="},
      {"settled by an earlier start", kTwoMccs, "first-boot=1", ""},
      {"rewritten since", kOneMcc, "first-boot=1 ntcode-changed=1",
       "NTCODE changed status | ~first-boot=0 | ~first-mcc=FFF | ~first-mccmnc=FFFFF | "
       "MCC-list: 310, length: 3 | Only one MCC-list | ~first-mcc=310 | ~first-mccmnc=310410 | "
       "~first-boot=1"},
      {"set to the default", kOneMcc, "first-boot=1 ntcode-changed=3", ""},
      {"confirmed, one MCC", kOneMcc, "radio.first-mccmnc=23415",
       "CUST confirmed UI mccmnc: 23415 | ~first-boot=1 | ~first-mccmnc=23415 | ~first-mcc=234 | "
       "MCC-list: 310, length: 3 | Only one MCC-list"},
      {"confirmed, several", kTwoMccs, "radio.first-mccmnc=23415",
       "CUST confirmed UI mccmnc: 23415 | ~first-boot=1 | ~first-mccmnc=23415 | ~first-mcc=234 | "
       "MCC-list: 262,234, length: 7 | 2 More MCC-lists"},
      {"confirmed too little", kTwoMccs, "first-boot=1 radio.first-mccmnc=2341", ""},
      {"nothing confirmed", kTwoMccs, "first-boot=1 radio.first-mccmnc=FFFFF", ""}};
  no_answer();
  for (const auto& [name, code, left, told] : cases) {
    set_network_code(code);
    set_all("first-boot= ntcode-changed= sim.operator= radio.first-mccmnc=");
    set_all(left);
    const std::string steps = part(boot_story(), "NTCODE MCC", "Saved ICCID");
    EXPECT_EQ(rows(told), rows(steps.substr(steps.find('\n') + 1))) << name;
  }
}

TEST_F(SetUp, OneMccNeedsNoSim) {
  set_network_code(kOneMcc);
  place(kKelpProp, "persist.vendor.qve.sim.operator DTM\n");
  no_answer();
  EXPECT_EQ(rows("Cannot get response. Return error:1 | Set to default about SIM property | "
                 "~sim-changed=2 | 1st Boot is completed with NT Code MCC | ~first-boot=1"),
            part(boot_story(), "Cannot get response. Return"))
      << "nobody answers, and nothing is left to ask, nor, without a profile, to replay";
}

TEST_F(SetUp, SeveralMccsWaitForTheCallingCodeOfTheSim) {
  set_network_code(kTwoMccs);
  const char* const cases[][3] = {
      {"89330000000000000010", "FFF FFFFF 0 1", "208"},  // of none of these countries
      {"89888000000000000001", "FFF FFFFF 0 1", ""},     // of no country
      {kBritishIccid, "234 FFFFF 1 1", "234"},
      {kGermanIccid, "234 FFFFF 1 1", "262"},  // what is settled stays
      {kGermanIccid, "234 FFFFF 1 0", "262"}};
  for (const auto& [iccid, decided, mcc] : cases) {
    insert_sim(iccid);
    boot();
    EXPECT_EQ(decided, decision()) << iccid;
    EXPECT_EQ(mcc, property("persist.vendor.qve.iccid-mcc")) << iccid;
  }
  set_all("ntcode-changed=1");
  boot();
  qve_parse_iccid(kBritishIccid);
  EXPECT_EQ("234 FFFFF 1 0", decision()) << "all of a start may settle a rewritten code";
  set_all("ntcode-changed=0 radio.first-mccmnc=26201");
  boot();
  qve_parse_iccid(kBritishIccid);
  EXPECT_EQ("262 26201 1 0", decision()) << "what the user interface confirmed stands";
}

TEST_F(SetUp, InTestModeTheSimAndTheNetworkCodeAreVirtual) {
  set_network_code(kOneMcc);
  insert_sim(kBritishIccid);
  set_all("first-boot=1 kelp.test.enable=1 service.flex.nt-mccmnc=262010 kelp.test.iccid=" +
          std::string(kGermanIccid));
  std::string story = boot_story();
  EXPECT_EQ(rows("LAOT MODE ENABLED! \\n | ~first-boot=0 | ~iccid=89000000000000000000 | "
                 "~sim-changed=F | ~mcc-list=262"),
            part(story, "LAOT", "NTCODE MCC"));
  EXPECT_EQ(rows("virtual ICCID : 89492000000000000017 | SIM CHANGED! | ~sim-changed=1 | "
                 "~iccid=89492000000000000017"),
            part(story, "virtual ICCID", "searchMcc"));
  set_all("service.flex.nt-mccmnc=26201 kelp.test.iccid=" + std::string(kDefaultIccid));
  story = boot_story();
  EXPECT_EQ("NTCODE MCC: 310, MCCMNC: 310410\n", part(story, "NTCODE MCC", "Saved ICCID"))
      << "one character short";
  EXPECT_EQ(rows("virtual ICCID : 89000000000000000000 | ~sim-changed=1 | "
                 "~iccid=89000000000000000000"),
            part(story, "virtual ICCID", "searchMcc"))
      << "the same one counts as changed too";
  set_all("kelp.test.iccid=");
  insert_sim(kBritishIccid, 1);
  restart();
  EXPECT_EQ(1, qve_single_binary_init());
  set_all("kelp.test.enable=0");
  EXPECT_EQ("virtual ICCID : 89441500000000000023\n",
            part(story_of(qve_single_binary_init), "virtual ICCID", "SIM CHANGED!"))
      << "for the whole of a start, and with the SIM's own where no other is set";
}

TEST_F(SetUp, AFirstStartWithAProfileGetsTheDefaultsOfTheBuild) {
  set_build_property("ro.vendor.qve.kelp.default.operator", "DEF");
  set_build_property("ro.vendor.qve.kelp.default.iccid", "8999");
  set_build_property("ro.vendor.qve.kelp.default.country", "ZZ");
  place("/oem/OP/config/carrier_code.xml", kCarrierCodes);
  const char* const cases[][3] = {
      {"global_ca", "2", ""},
      {"global_com", "1", "~sim.country=ZZ"},
      {"global_com", "2", "~sim.country=ZZ | ~sim2.operator=DEF | ~sim2.country=ZZ"}};
  for (const auto& [product, slots, set] : cases) {
    set_build_property("ro.product.name", product);
    set_build_property("ro.boot.vendor.qve.sim_num", slots);
    const std::string story = boot_story();
    EXPECT_EQ(rows("Default Carrier DEF\\n | Default Iccid 8999\\n | Default Country ZZ\\n"),
              part(story, "Default Carrier", "Default Timer"))
        << product;
    EXPECT_EQ(rows("qve_set_sap_default_property | ~sim.operator=DEF | ~iccid=8999 | "
                   "~last-iccid=8999") +
                  rows(set),
              part(story, "qve_set_sap_default_property", "~mcc-list"))
        << product << " " << slots;
  }
}

TEST_F(SetUp, WhereTheSimDecidesTheCountryTheFirstOneFixesIt) {
  set_build_property("ro.vendor.qve.simbase", "1");
  set_network_code(kTwoMccs);
  insert_sim(kBritishIccid);
  const auto country = [&] { return part(boot_story(), "=vendor.qve.sim_country", "MCC from"); };
  EXPECT_EQ(rows("=vendor.qve.sim_country=GB | ~sim_country_fixed=GB | "
                 "=vendor.qve.sim_country_changed=1 | "
                 "I Fcx: [QVE][SBP][SIMBASE] first SIM booting."),
            country());
  insert_sim(kGermanIccid);
  EXPECT_EQ(rows("=vendor.qve.sim_country=GB | =vendor.qve.sim_country_changed=1 | "
                 "I Fcx: [QVE][SBP][SIMBASE] Second SIM booting."),
            country());
  remove_sim();
  EXPECT_EQ(rows("No SIM! | ~sim-changed=2 | =vendor.qve.sim_country=GB | "
                 "=vendor.qve.sim_country_changed=1 | "
                 "I Fcx: [QVE][SBP][SIMBASE] NO SIM sim country already fixed as [GB]"),
            part(boot_story(), "No SIM!", "qve_single_binary_init"));
  set_all("sim_country_fixed=yet_fixed");
  EXPECT_EQ(rows("No SIM! | ~sim-changed=2"),
            part(boot_story(), "No SIM!", "qve_single_binary_init"));
  insert_sim("89330000000000000010");  // of a country that the table does not hold
  for (const auto& [target, fixed] : {std::pair{"EU", "EU"}, {"", "XXX"}}) {
    set_build_property("ro.vendor.qve.build.target_country", target);
    set_all("sim_country_fixed=");
    boot();
    EXPECT_EQ(fixed, property("persist.vendor.qve.sim_country_fixed")) << target;
  }
  set_build_property("ro.vendor.qve.simbase", "0");
  remove_sim();
  boot();
  EXPECT_EQ("(not set)", property("vendor.qve.sim_country")) << "no longer by the SIM";
}

TEST_F(SetUp, ThePetNameIsTheFirstThatFits) {
  const auto pet_name = [&] {
    boot();
    return property("persist.vendor.qve.petname");
  };
  EXPECT_EQ("(not set)", pet_name());
  place("/system/etc/petname.xml", R"(<petnames><petname region="US" name="No"/>
    <petname tv="ATV" name="TV"/><petname country="EU" variant="DS" name="Two SIMs"/>
    <petname name=""/><petname country="EU" tv="" name="Pet EU"/></petnames>)");
  EXPECT_EQ("Pet EU", pet_name());
  set_build_property("ro.boot.vendor.qve.variant", "DS");
  EXPECT_EQ("Two SIMs", pet_name());
  set_build_property("ro.vendor.qve.tv", "ATV");
  place("/oem/OP/petname.xml", R"(<petnames><petname country="US" name="Package"/></petnames>)");
  EXPECT_EQ("TV", pet_name()) << "the package has none for this device";
  set_build_property("ro.vendor.qve.build.target_country", "US");
  EXPECT_EQ("Package", pet_name());
}

TEST_F(SetUp, AFirstStartThatWasInterruptedBeginsAnew) {
  use_package();
  set_network_code(kTwoMccs);
  insert_sim(kGermanIccid, 1);
  EXPECT_EQ(1, qve_single_binary_init());
  EXPECT_EQ("FFF FFFFF 1 F", decision()) << "complete, but for the SIM";
  boot();  // the power was cut
  EXPECT_EQ("262 FFFFF 1 1", decision());
}

}  // namespace
