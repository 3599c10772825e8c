// MCCs: from calling codes, from network codes, and to countries.
#include "fcx/mcc_lookup.h"

#include <cstring>

#include "fcx/customisation.h"
#include "fcx/single_binary.h"
#include "tests/phone_fixture.h"

using fcx_test::PhoneTest;
using testing::ElementsAre;

namespace {

class MccLookupTest : public PhoneTest {
 protected:
  /// What a code gives, and behind a colon what is left of it: "450:82".
  static std::string mcc_of(const char* code) {
    char buffer[4] = {};
    strncpy(buffer, code, sizeof buffer - 1);
    const char* mcc = searchMccFromMap(buffer);
    return (mcc == nullptr ? "none" : mcc) + std::string(":") + buffer;
  }

  static std::string mcc_list(std::string ntcode) {
    char out[2048] = "left over";
    qve_get_mcc_list(ntcode.data(), out);
    return out;
  }

  static std::string both_lists(std::string ntcode) {
    char mccmnc[2048] = "left over";
    char subset[2048] = "left over";
    qve_parse_ntcode(ntcode.data(), mccmnc, subset);
    return std::string(mccmnc) + " / " + subset;
  }

  /// A network code of `count` entries that announces `announced`.
  static std::string code_of(int count, const char* announced) {
    std::string code = "\"" + std::string(announced) + "\"";
    for (int i = 0; i < count; ++i) {
      code += ",\"" + std::to_string(300 + i) + ",410,FFFFFFFF,FFFFFFFF,0" +
              std::to_string(i % 10) + "\"";
    }
    return code;
  }
};

TEST_F(MccLookupTest, FindsACodeInItsLongFormFirstAndThenInItsShortOne) {
  const struct {
    const char* code;
    const char* found;
  } cases[] = {
      {"202", "602:20"},
      {"212", "604:212"},
      {"246", ":246"},
      {"259", "640:259"},
      {"30x", "202:30"},
      {"359", "284:359"},
      {"400", "226:40"},
      {"492", "262:49"},
      {"598", "748:598"},
      {"540", "722:54"},
      {"610", "505:61"},
      {"671", "310:671"},
      {"745", "655:74"},
      {"770", "655:77"},
      {"799", "250:7"},
      {"821", "450:82"},
      {"808", ":808"},
      {"888", ":888"},
      {"910", "404:91"},
      {"991", ":991"},
      {"900", "286:90"},
      {"012", "310:012"},
      {"199", "450:199"},
      // In no table, and no code at all.
      {"219", "none:21"},
      {"384", "none:38"},
      {"83", "none:83"},
      {"9", "none:9"},
      {"f49", "none:f49"},
      {"", "none:"},
  };
  for (const auto& [code, found] : cases) EXPECT_EQ(found, mcc_of(code)) << code;
}

TEST_F(MccLookupTest, TellsEachStepOfASearch) {
  log();
  mcc_of("745");
  EXPECT_THAT(log(), ElementsAre("[QVE][SBP] searchMccFromMap : ccid = 745", "[QVE][SBP] prefix: 7",
                                 "[QVE][SBP] searchMccinPre7Map(2 str compare) = 74",
                                 "[QVE][SBP] Matched MCC = 655"));
  char code[] = "21";
  EXPECT_EQ(nullptr, searchMccinPre7Map(code));
  EXPECT_THAT(log(), ElementsAre("[QVE][SBP] searchMccinPre7Map(2 str compare) = 21",
                                 "[QVE][SBP] searchMccinPre7Map(1 str compare) = 2",
                                 "[QVE][SBP] Not Matched MCC  !!! ---"));
  mcc_of("219");
  EXPECT_EQ("[QVE][SBP] Not Matched MCC  !!!", log().back());
  mcc_of("012");
  EXPECT_EQ("[QVE][SBP] searchMccinPre0Map(USA) = 012, 310~316 ???;", log().back());
}

TEST_F(MccLookupTest, BuildsOfNorthAmericaThatGoByTheFirstSimHaveTheirOwnMcc) {
  const auto found = [&](const char* target_operator, const char* country, const char* kelp) {
    virtual_phone::restart(phone(), "the next build");
    fcx::reload_carrier_set_up();
    set_property("ro.vendor.qve.kelp", kelp);
    set_property("ro.vendor.qve.build.target_operator", target_operator);
    set_property("ro.vendor.qve.build.target_country", country);
    set_property("ro.vendor.qve.capp_tamra.rootdir", "/pkg");
    qve_check_nao_feature();
    return mcc_of("492");
  };
  std::filesystem::create_directories(file("/pkg/config"));
  fcx_test::write_file(file("/pkg/config/carrier_code.xml"), "any");
  EXPECT_EQ("302:492", found("OPEN", "CA", "1"));
  EXPECT_EQ("310:492", found("OPEN", "US", "1"));
  EXPECT_EQ("310:492", found("TMO", "US", "1")) << "whatever the operator";
  EXPECT_EQ("262:49", found("OPEN", "US", "0"));
  EXPECT_EQ("262:49", found("TMO", "CA", "1"));
  EXPECT_EQ("262:49", found("OPEN", "EU", "1"));
}

TEST_F(MccLookupTest, KnowsTheCountriesOfTheSimBasedFeature) {
  EXPECT_STREQ("GB", searchCountryByMcc("235"));
  EXPECT_STREQ("DE", searchCountryByMcc("262"));
  EXPECT_STREQ("XX", searchCountryByMcc("208"));
  EXPECT_STREQ("XX", searchCountryByMcc(""));
  EXPECT_STREQ("XX", searchCountryByMcc(nullptr));
}

TEST_F(MccLookupTest, ReadsTheListsOfANetworkCode) {
  const struct {
    const char* name;
    std::string ntcode;
    const char* mccs;
    const char* both;
  } cases[] = {
      {"one", R"("1","310,410,FFFFFFFF,FFFFFFFF,02")", "310", "310410 / 02"},
      {"two digits", R"("02","262,01F,F,F,11","234,150,F,F,21")", "262,234",
       "26201,234150 / 11,21"},
      {"all operators", R"("2","FFF,FFF,F,F,FF","310,41,F,F,02")", "FFF,310",
       "FFFFFF,31041 / FF,02"},
      {"a region first, between and last",
       R"("5","222,FFF,F,F,1","310,410,F,F,02","222,F,F,F,1","311,480,F,F,03","222,FFF,F,F,1")",
       "310,311", "310410,311480 / 02,03"},
      {"only a region", R"("1","222,FFF,F,F,01")", "", " / "},
      {"none", R"("0","FFF,FFF,FFFFFFFF,FFFFFFFF,FF")", "", " / "},
      {"fewer than it says", R"("3","310,410,F,F,02")", "", " / "},
      {"no MNC", R"("1","310")", "", " / "},
      {"no subset", R"("1","310,410,F,F")", "310", "310410 / "},
      {"fields collapse", R"("1",,"310,,410,F,F,02")", "310", "310410 / 02"},
      {"no quotes", "1,310,410,F,F,02", "", " / "},
      {"no number", R"("x","310,410,F,F,02")", "", " / "},
      {"negative", R"("-1","310,410,F,F,02")", "", " / "},
      {"empty", "", "", " / "},
      {"a comma", ",", "", " / "},
      {"one character", "\"", "", " / "},
      {"long fields", R"("1","3101234,410567,F,F,0299")", "310", "310410 / 02"},
      {"binary", "\"1\",\"\xFF\x01\x02,\x80\x81,F,F,\xFE", "\xFF\x01\x02",
       "\xFF\x01\x02\x80\x81 / \xFE"},
  };
  for (const auto& [name, ntcode, mccs, both] : cases) {
    EXPECT_EQ(mccs, mcc_list(ntcode)) << name;
    EXPECT_EQ(both, both_lists(ntcode)) << name;
  }
  EXPECT_EQ("", mcc_list(std::string(2047, '"')));
}

TEST_F(MccLookupTest, InKoreaARegionCountsLikeAnyEntry) {
  set_property("ro.vendor.qve.build.target_country", "KR");
  EXPECT_EQ("450,310", mcc_list(R"("2","450,FFF,F,F,01","310,410,F,F,02")"));
  EXPECT_EQ("450FF,310410 / 01,02", both_lists(R"("2","450,FFF,F,F,01","310,410,F,F,02")"));
}

TEST_F(MccLookupTest, CountsAtMost23EntriesHereAnd13There) {
  const auto entries = [](const std::string& list) {
    return std::count(list.begin(), list.end(), ',') + 1;
  };
  EXPECT_EQ(23, entries(mcc_list(code_of(30, "30"))));
  EXPECT_EQ(91U, mcc_list(code_of(30, "99")).size());
  const std::string both = both_lists(code_of(30, "30"));
  EXPECT_EQ(13, entries(both.substr(0, both.find(' '))));
  EXPECT_EQ(9, entries(mcc_list(code_of(30, "9"))));
}

TEST_F(MccLookupTest, AnOpenDeviceOfEuropeWithSeveralEntriesIsUpdatedByCountry) {
  set_property("ro.vendor.qve.build.target_operator", "OPEN");
  set_property("ro.vendor.qve.build.target_country", "EU");
  mcc_list(code_of(2, "2"));
  EXPECT_EQ(1, is_cota_ntcode());
  mcc_list(R"("2","222,FFF,F,F,01","310,410,F,F,02")");  // the region does not count
  EXPECT_EQ(0, is_cota_ntcode());
}

}  // namespace
