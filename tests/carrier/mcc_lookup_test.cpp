// MCCs: from calling codes, from network codes, and to countries.

#include <map>

#include "tests/carrier/fixture.h"

namespace {

/// Calling codes and their MCCs, in order: the first of a code counts, and an empty MCC is one.
constexpr char kCallingCodes[] = R"(
20:602 212:604 213:603 216:605 218:606 220:607 221:608 222:609 223:610 224:611 225:612
226:613 227:614 228:615 229:616 230:617 231:618 232:619 233:620 234:621 235:622 236:623
237:624 238:625 239:626 240:627 241:628 242:629 243:630 244:631 245:632 246: 247: 248:633
249:634 250:635 251:636 252:637 253:638 254:639 255:640 256:641 257:642 258:643 259:640
260:645 261:646 262:647 263:648 264:649 265:650 266:651 267:652 268:653 269:654 27:655
290:356 291:657 297:363 298:288 299:290
30:202 31:204 32:206 33:208 34:214 350:266 351:268 352:270 353:272 354:274 355:276 356:278
357:280 358:244 359:284 36:216 370:246 371:247 372:248 373:259 374:283 375:257 376:213
377:212 378:292 379:225 380:255 381:220 382:297 385:219 386:293 387:218 389:294 39:222
40:226 41:228 420:230 421:231 423:295 43:232 44:234 45:238 46:240 47:242 48:260 49:262
500: 501:702 502:704 503:706 504:708 505:710 506:712 507:714 508:308 509:372 51:716 52:334
53:368 54:722 55:724 56:730 57:732 58:734 590:340 591:736 592:738 593:740 594: 595:744
596:340 597:746 598:748
60:502 61:505 62:510 63:515 64:530 65:525 66:520 670:514 671:310 672:505 673:528 674:536
675:537 676:539 677:540 678:541 679:542 680:552 681: 682:548 683: 684:310 685:549 686:545
687:546 688:553 689:547 690: 691:550 692:
77:655 74:655 7:250
800: 808: 81:440 82:450 84:452 850:467 852:454 853:455 855:456 856:457 857: 858: 86:460 870:
871: 872: 873: 874: 875: 876: 877: 878: 879: 880:470 881: 882: 883: 886:466 888:
90:286 91:404 91:405 92:410 93:412 94:413 95:414 960:472 961:415 962:416 963:417 964:418
965:419 966:420 967:421 968:422 969:421 970:425 971:424 972:425 973:426 974:427 975:402
976:428 977:429 978:424 979: 98:432 991: 992:436 993:438 994:400 995:282 996:437 998:434)";

/// The countries of MCCs.
constexpr char kCountries[] =
    "214:ES 262:DE 234:GB 235:GB 222:IT 232:AT 238:DK 240:SE 272:IE 230:CZ";

class MccLookupTest : public fcx_test::CarrierTest {
 protected:
  /// A table's rows.
  static std::map<std::string, std::string> rows_of(const char* table) {
    std::map<std::string, std::string> all;
    std::istringstream words(table);
    for (std::string word; words >> word;) {
      const size_t colon = word.find(':');
      all.emplace(word.substr(0, colon), word.substr(colon + 1));
    }
    return all;
  }

  /// What a code gives, and after a colon what is left of it: "450:82".
  static std::string mcc_of(const std::string& code) {
    char buffer[4] = {};
    code.copy(buffer, sizeof buffer - 1);
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

TEST_F(MccLookupTest, EveryCodeIsLookedUpInItsLongFormAndThenInItsShortOne) {
  const auto mccs = rows_of(kCallingCodes);
  for (int number = 0; number < 1000; ++number) {
    const size_t digit = static_cast<size_t>(number) / 100;
    const std::string code = std::to_string(1000 + number).substr(1);
    const size_t form = digit == 7 ? 2 : 3;
    std::string expected = "none:" + code.substr(0, form - 1);
    for (const size_t length : {form - 1, form}) {
      const auto row = mccs.find(code.substr(0, length));
      if (row != mccs.end()) expected = row->second + ":" + row->first;
    }
    if (digit == 0) expected = "310:" + code;
    if (digit == 1) expected = "450:" + code;
    EXPECT_EQ(expected, mcc_of(code)) << code;
  }
  EXPECT_EQ("none:9", mcc_of("9"));
  EXPECT_EQ("202:30", mcc_of("30x"));
}

TEST_F(MccLookupTest, TellsEachStepOfASearch) {
  std::vector<std::pair<std::string, std::string>> cases = {
      {"745", "searchMccinPre7Map(2 str compare) = 74 | Matched MCC = 655"},
      {"199", "searchMccinPre1Map(KOR-TB) = 199"},
      {"f49", "INVALID ICCID"},
      {"/49", "INVALID ICCID"},
      {":49", "INVALID ICCID"}};
  for (const std::string code : {"219", "383", "422", "599", "693", "801", "999"}) {
    const std::string map = std::string("searchMccinPre") + code[0] + "Map";
    cases.emplace_back(code, map + "(3 str compare) = " + code + " | " + map +
                                 "(2 str compare) = " + code.substr(0, 2) +
                                 " | Not Matched MCC  !!!");
  }
  told();
  for (const auto& [code, steps] : cases) {
    mcc_of(code);
    EXPECT_EQ(rows("searchMccFromMap : ccid = " + code + " | prefix: " + code[0] + " | " + steps),
              told());
  }
  char code[] = "21";
  EXPECT_EQ(nullptr, searchMccinPre7Map(code));
  EXPECT_EQ(rows("searchMccinPre7Map(2 str compare) = 21 | "
                 "searchMccinPre7Map(1 str compare) = 2 | Not Matched MCC  !!! ---"),
            told());
}

TEST_F(MccLookupTest, BuildsOfNorthAmericaThatGoByTheFirstSimHaveTheirOwnMcc) {
  place("/oem/OP/config/carrier_code.xml", "any");
  // Operator, country, kelp; the MCC, and what is told first.
  const char* const cases[][5] = {
      {"OPEN", "CA", "1", "302:492", "OPEN_CA searchMccFromMap : MCC = 302 return\n"},
      {"OPEN", "US", "1", "310:492", "US searchMccFromMap : MCC = 310 return\n"},
      {"TMO", "US", "1", "310:492", "US searchMccFromMap : MCC = 310 return\n"},
      {"OPEN", "US", "0", "262:49", "searchMccFromMap : ccid = 492\n"},
      {"TMO", "CA", "1", "262:49", "searchMccFromMap : ccid = 492\n"},
      {"OPEN", "EU", "1", "262:49", "searchMccFromMap : ccid = 492\n"}};
  for (const auto& [target_operator, country, kelp, mcc, told_first] : cases) {
    SCOPED_TRACE(target_operator + std::string(" ") + country + " " + kelp);
    set_build_property("ro.vendor.qve.build.target_operator", target_operator);
    set_build_property("ro.vendor.qve.build.target_country", country);
    set_build_property("ro.vendor.qve.kelp", kelp);
    reload();
    qve_check_nao_feature();
    told();
    EXPECT_EQ(mcc, mcc_of("492"));
    EXPECT_EQ(told_first, part(told(), "", "prefix"));
  }
}

TEST_F(MccLookupTest, KnowsTheCountriesOfTheSimBasedFeature) {
  const auto countries = rows_of(kCountries);
  for (int number = 0; number < 1000; ++number) {
    const std::string mcc = std::to_string(1000 + number).substr(1);
    const auto row = countries.find(mcc);
    EXPECT_EQ(row == countries.end() ? "XX" : row->second, searchCountryByMcc(mcc.c_str())) << mcc;
  }
  EXPECT_STREQ("XX", searchCountryByMcc(""));
  EXPECT_STREQ("XX", searchCountryByMcc(nullptr));
}

TEST_F(MccLookupTest, ReadsTheListsOfANetworkCode) {
  // Name; network code; MCCs; MCCs with MNCs, and subsets.
  const char* const cases[][4] = {
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
      {"no last subset", R"("2","310,410,F,F,02","311,480,F,F")", "310,311", "310410,311480 / 02"},
      {"fields collapse", R"("1",,"310,,410,F,F,02")", "310", "310410 / 02"},
      {"no quotes", "1,310,410,F,F,02", "", " / "},
      {"no number", R"("x","310,410,F,F,02")", "", " / "},
      {"negative", R"("-1","310,410,F,F,02")", "", " / "},
      {"empty", "", "", " / "},
      {"no quote before the MCC", R"("1",310,410,F,F,02)", "310", "310410 / 02"},
      {"one character", "\"", "", " / "},
      {"long fields", R"("1","3101234,410567,F,F,0299")", "310", "310410 / 02"},
      {"binary", "\"1\",\"\xFF\x01\x02,\x80\x81,F,F,\xFE", "\xFF\x01\x02",
       "\xFF\x01\x02\x80\x81 / \xFE"}};
  for (const auto& [name, ntcode, mccs, both] : cases) {
    EXPECT_EQ(mccs, mcc_list(ntcode)) << name;
    EXPECT_EQ(both, both_lists(ntcode)) << name;
  }
  EXPECT_EQ("", mcc_list(std::string(2047, '"')));
  told();
  mcc_list(cases[3][1]);
  EXPECT_EQ(rows("normal mcc: 310, mnc: 410\\n | normal mcc: 311, mnc: 480\\n | "
                 "ntcode_count: 2, mcc-list: [310,311]\\n"),
            told());
  both_lists(cases[3][1]);
  EXPECT_EQ("ntcode_count: 2, mccmnc-list: [310410,311480], subset-list: [02,03]\\n\n", told());
  mcc_list(cases[7][1]);
  EXPECT_EQ("qve_get_mcc_list: mcc or mnc is something wrong!!!\n", told());
}

TEST_F(MccLookupTest, InKoreaARegionCountsLikeAnyEntry) {
  set_build_property("ro.vendor.qve.build.target_country", "KR");
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
  mcc_list(code_of(2, "2"));
  EXPECT_EQ(1, is_cota_ntcode());
  set_build_property("ro.vendor.qve.build.target_operator", "TMO");
  EXPECT_EQ(0, is_cota_ntcode());
  set_build_property("ro.vendor.qve.build.target_operator", "OPEN");
  set_build_property("ro.vendor.qve.build.target_country", "US");
  EXPECT_EQ(0, is_cota_ntcode());
  set_build_property("ro.vendor.qve.build.target_country", "EU");
  mcc_list(R"("2","222,FFF,F,F,01","310,410,F,F,02")");  // the region does not count
  EXPECT_EQ(0, is_cota_ntcode());
}

}  // namespace
