// Reading the SIM: from the modem, and on a MediaTek chipset from what the radio layer publishes.
#include "tests/carrier/fixture.h"

namespace {

using virtual_phone::SimState;

class Sim : public fcx_test::CarrierTest {
 protected:
  Sim() { set_network_code(kTwoMccs); }
  void insert_unreadable_sim() { virtual_phone::set_sim(phone(), {SimState::error, "", 0}); }
};

TEST_F(Sim, AFirstPollThatFailsCostsOnlyItsHalfSecond) {
  insert_sim(kGermanIccid);
  no_answer(1);
  EXPECT_EQ(rows("Cannot get response. Return error:1 | Set to default about SIM property | "
                 "~sim-changed=2 | qve_single_binary_init | (asks) | "
                 "buffer: 89492000000000000017, length: 20 | "
                 "Inserted SIM-ICCID: 89492000000000000017 | SIM CHANGED!"),
            part(boot_story(), "Cannot get response. Return", "~sim-changed=1"))
      << "nothing is prepared again";
  EXPECT_EQ("262 FFFFF 1 1", decision());
}

TEST_F(Sim, OneThatIsNotReadyIsAskedAgainAndAllIsPreparedAnew) {
  insert_sim(kGermanIccid, 3);
  const std::string story = boot_story();
  EXPECT_EQ(3, count(story,
                     "(asks) | buffer: NOT YET, length: 7 | Inserted SIM-ICCID: NOT YET | "
                     "NOT ready to read SIM | qve_single_binary_init"));
  EXPECT_EQ(4, count(story, "SETUP default setting"));
  EXPECT_EQ("262 FFFFF 1 1", decision());

  use_package();  // whose default carrier completes the first start before the SIM is ready
  set_all("first-boot=0");
  boot();
  EXPECT_EQ("262 FFFFF 1 1 DTM DTM_B DE", decision() + " " + carrier());
}

TEST_F(Sim, OneThatCannotBeReadLeavesTheDefaults) {
  insert_unreadable_sim();
  const std::string story = boot_story();
  EXPECT_EQ(10, count(story,
                      "(asks) | buffer: NO SIM READ ERROR, length: 17 | "
                      "Inserted SIM-ICCID: NO SIM READ ERROR | SIM READ ERROR!"));
  EXPECT_EQ(1, count(story, "SETUP default setting"));
  no_answer();
  EXPECT_EQ(1, qve_single_binary_init());
  EXPECT_EQ("FFF FFFFF 0 F", decision()) << "what failed first counts";
  clear_faults();
  remove_sim();
  EXPECT_EQ(1, count(boot_story(), "SETUP default setting")) << "without one, too";
}

TEST_F(Sim, OddContentStopsNothing) {
  for (const std::string& iccid :
       {std::string(), std::string("8"), std::string("89f"), std::string(20, 'f'),
        std::string("ABCDEFGHIJ"), std::string(2048, '9'), std::string("\x01\xFF\x80", 3)}) {
    insert_sim(iccid);
    boot();
    EXPECT_EQ("FFF FFFFF 0 1", decision()) << iccid;
    EXPECT_EQ(iccid.substr(0, 20), property("persist.vendor.qve.iccid")) << iccid;
  }
}

TEST_F(Sim, OfTwoSlotsTheFirstCountsUnlessItIsUnknown) {
  make_mtk();
  insert_unreadable_sim();  // of which the radio layer publishes nothing
  // Both slots; the result, and the answer.
  const char* const cases[][3] = {
      {"N/A", "N/A", "1 NO SIM READ ERROR"},
      {"", "", "1 NO SIM READ ERROR"},
      {"N/A", kGermanIccid, "0 89492000000000000017"},
      {kGermanIccid, kBritishIccid, "0 89492000000000000017"},
      {"NODEF", "NODEF", "0 NO SIM ERROR"},
      {"NODEF", kGermanIccid, "0 NODEF"},  // an empty first slot hides the second, on purpose
      {"N/A", "NODEF", "0 NODEF"}};
  qve_check_mtk_chipset();
  told();
  for (const auto& [first, second, expected] : cases) {
    set_property("vendor.ril.iccid.sim1", first);
    set_property("vendor.ril.iccid.sim2", second);
    char answer[2048];
    int length = -1;
    const int result = qve_read_sim(answer, &length, fcx::request::read_sim);
    EXPECT_EQ(expected, std::to_string(result) + " " + std::string(answer, answer + length))
        << first << " " << second;
  }
  EXPECT_EQ("NO SIM thought RIL\n", told()) << "the modem is not asked";
}

TEST_F(Sim, ARadioLayersAnswerHasSixCharactersAndItsPaddingIsTakenOff) {
  make_mtk();
  insert_unreadable_sim();
  const char* const cases[][2] = {
      {"N/A", "Cannot get response. Return error:1 | Set to default about SIM property"},
      {"89492", "ATCommand response problem | qve_single_binary_init"},
      {"894920",
       "buffer: 894920, length: 6 | Inserted SIM-ICCID: 894920 | SIM CHANGED! | "
       "~sim-changed=1 | ~iccid=894920"},
      {"8949200000000000001f", "SIM CHANGED! | ~sim-changed=1 | ~iccid=8949200000000000001"},
      {"ffffffffffffffffffff", "SIM CHANGED! | ~sim-changed=1 | ~iccid=f"}};
  for (const auto& [second, told] : cases) {
    restart();
    set_all("iccid=");
    set_property("vendor.ril.iccid.sim1", "N/A");
    set_property("vendor.ril.iccid.sim2", second);
    EXPECT_NE(0, count(story_of([&] { start(); }), told)) << second;
  }
}

}  // namespace
