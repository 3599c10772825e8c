// Files of the customisation package in both modes, and the start-up probes.
#include "tests/carrier/fixture.h"

namespace fcx_test {
namespace {

class Customisation : public CarrierTest {
 protected:
  static std::string value_of(const std::string& path, const char* key) {
    char value[128] = "none";
    const int result = qve_get_value_from_file(path.c_str(), key, value);
    return (result == 0 ? "" : "! ") + std::string(value);
  }
  /// Lets that many entries of a network code count.
  static void count_entries(int count) {
    std::string code = "\"" + std::to_string(count) + "\"";
    for (int i = 0; i < count; ++i) code += ",\"310,410,F,F,02\"";
    char mccs[2048];
    qve_get_mcc_list(code.data(), mccs);
  }
  static std::string directory_of(const char* mccmncs, const char* subsets,
                                  std::vector<std::string>* pieces = nullptr) {
    std::string path;
    char out[92] = "none";
    qve_parse_cust_path(path, mccmncs, subsets, out, pieces);
    EXPECT_EQ(path.empty() ? "" : path.substr(0, 91), path.empty() ? "" : out);
    EXPECT_EQ(e_is_overlayfs && out != std::string("none"), !path.empty());
    return out;
  }
};

TEST_F(Customisation, ASystemPathIsOneWhereverItSaysSo) {
  const std::pair<const char*, int> cases[] = {{"/product/a", 1}, {"/vendor/productx/a.xml", 1},
                                               {"/a/system", 1},  {"/vendor/etc/a.xml", 0},
                                               {"product", 0},    {"", 0}};
  for (const auto& [path, is_one] : cases) EXPECT_EQ(is_one, is_system_path(path)) << path;
}

TEST_F(Customisation, AnOverlayIsReachedThroughTheServiceAndNothingElseIs) {
  make_overlay_product();
  place("/product/a", "over");
  place("/product/empty", "");
  place("/oem/b", "plain");
  EXPECT_EQ("over", get_halData_from_file("/product/a"));
  EXPECT_EQ(1, fexists("/product/a"));
  EXPECT_EQ(0, fexists_direct("/product/a"));
  EXPECT_EQ(0, fexists("/product/empty")) << "reads as absent";
  EXPECT_EQ(1, fexists("/oem/b"));
  EXPECT_EQ("", told());
  EXPECT_EQ(0, fexists_hal("/oem/b"));
  EXPECT_EQ("file path is not system or product path!\n", told());
  service_fault("filehandle", Effect::absent);
  EXPECT_EQ(0, fexists("/product/a"));
  EXPECT_EQ("filehandleHal is NULL!\n", told());
  clear_faults();
  service_fault("filehandle", Effect::dies);
  EXPECT_EQ(0, fexists("/product/a"));
  EXPECT_EQ(0, fexists(nullptr));
}

TEST_F(Customisation, AnOverlaysXmlIsCopiedToBeParsedAndACopyThatIsNoXmlStays) {
  constexpr char kCopy[] = "/mnt/vendor/persist-qv/kelp/a.xml";
  make_overlay_product();
  place("/product/x/a.xml", "<whole/>");
  EXPECT_TRUE(parses("/product/x/a.xml"));
  EXPECT_EQ("doc parsing finished and temp xml is removed= " + std::string(kCopy) + "\n", told());
  EXPECT_EQ("(none)", content(kCopy));
  place("/product/x/a.xml", "<half>");
  EXPECT_FALSE(parses("/product/x/a.xml"));
  EXPECT_EQ("<half>", content(kCopy));

  place("/product/x/a.xml", "<whole/>");
  std::string copy = "untouched";
  fs::remove(file(kCopy));
  fs::create_symlink(directory() / "outside", file(kCopy));
  EXPECT_EQ(0, get_hal_copied_file("/product/x/a.xml", copy));
  EXPECT_FALSE(fs::exists(directory() / "outside")) << "nor is a link followed";
  fs::remove(file(kCopy));
  fs::create_directory(file(kCopy));  // nothing can be copied there
  told();
  EXPECT_EQ(0, get_hal_copied_file("/product/x/a.xml", copy));
  EXPECT_EQ(std::string(kCopy) + " cannot be opened: Is a directory\\n\n", told());
  EXPECT_EQ("untouched", copy);
  EXPECT_FALSE(parses("/product/x/a.xml")) << "and it cannot be opened itself";
  place("/oem/b.xml", "<plain/>");
  EXPECT_TRUE(parses("/oem/b.xml"));
  told();
  EXPECT_FALSE(parses("/product/none.xml"));
  EXPECT_EQ("Fail to open HAL file\n", part(told(), "", "/product"));
}

TEST_F(Customisation, APathOfThePackageBeginsAtItsRoot) {
  char path[2048];
  EXPECT_STREQ("/oem/OP/petname.xml", qve_get_tamra_file_path("/petname.xml", path));
  EXPECT_STREQ("/oem/OP", qve_get_tamra_file_path(nullptr, path));
  EXPECT_EQ(2047U, strlen(qve_get_tamra_file_path(std::string(4000, 'n').c_str(), path)));
  make_overlay_product();
  EXPECT_STREQ("/oem/OP/etc/petname.xml", qve_get_tamra_file_path("/petname.xml", path));
  EXPECT_STREQ("/oem/OP", qve_get_tamra_file_path(nullptr, path));
}

TEST_F(Customisation, OldPackageVersionsHaveAnotherRoot) {
  const auto root_of = [&](const char* version) {
    set_build_property("ro.vendor.qve.sbp.version", version);
    restart();
    qve_sbp_verion();
    char path[2048];
    const std::string root = qve_get_tamra_file_path(nullptr, path);
    EXPECT_EQ("SBP Ver: " + std::string(version) + "\nTAMRA-ROOT: " + root + "\n", told());
    return root;
  };
  told();
  EXPECT_EQ("/oem/OP", root_of("3")) << "there is none";
  fs::create_directory(file("/cust"));
  EXPECT_EQ("/cust", root_of("3"));
  EXPECT_EQ("/cust", root_of("10"));
  EXPECT_EQ("/oem/OP", root_of("4"));
  EXPECT_EQ("/oem/OP", root_of(""));
}

TEST_F(Customisation, FindsTheFirstLineWithAKey) {
  const std::string long_value(200, 'v');
  const std::string lines =
      "no key\nK=first\r\nK=second\n=empty key\nempty=\nspaced = x \nequals=a=b\n"
      "nul=a" +
      std::string(1, '\0') + "b\nlong=" + long_value + "\nafter=it\nlast=no newline";
  for (const bool is_overlay : {false, true}) {
    if (is_overlay) make_overlay_product();
    const std::string path = is_overlay ? "/product/cust.prop" : "/oem/cust.prop";
    place(path, lines);
    const std::pair<const char*, std::string> cases[] = {
        {"K", "first"},       {"", "empty key"}, {"empty", ""},      {"spaced ", " x "},
        {"equals", "a=b"},    {"nul", "a"},      {"after", "it"},    {"last", "no newline"},
        {"no key", "! none"}, {"k", "! none"},   {"none", "! none"}, {"spaced", "! none"}};
    EXPECT_EQ(long_value.substr(0, is_overlay ? 127 : 122), value_of(path, "long"));
    for (const auto& [key, value] : cases) EXPECT_EQ(value, value_of(path, key)) << path << key;
    told();
    value_of(path, "K");
    EXPECT_EQ(is_overlay ? "Get value from file: key= K, value= first\n" : "", told()) << path;
    EXPECT_EQ("! none", value_of(path, nullptr)) << path;
    EXPECT_EQ("! none", value_of(path + "x", "K")) << path;
    fault(Part::file, path, Effect::fail, EIO);
    EXPECT_EQ("! none", value_of(path, "K")) << path;
    clear_faults();
  }
}

TEST_F(Customisation, ALineThatIsCutGoesOnAsALineOfItsOwn) {
  place("/oem/cust.prop",
        std::string(127, '#') + "tail=found\n" + std::string(126, '#') + "\nwhole=found\n");
  EXPECT_EQ("found", value_of("/oem/cust.prop", "tail"));
  EXPECT_EQ("found", value_of("/oem/cust.prop", "whole"));
}

TEST_F(Customisation, TheNetworkCodesOrderDecidesBetweenDirectories) {
  place("/oem/OP/cust_path_mapping.cfg",
        "junk\n310410=x\n310410,02\n310410,02=/oem/OP/ATT:x\r\n310410,02=/oem/OP/SECOND\n"
        "310410,021=/oem/OP/LONG\n23415,21=/oem/OP/" +
            std::string(100, 'p') + "\n" + std::string(2047, '#') + "310410,04=/oem/OP/TAIL\n");
  count_entries(2);
  EXPECT_EQ("/oem/OP/ATT:x", directory_of("310410,23415", "02,21"));
  EXPECT_EQ("/oem/OP/ATT:x", directory_of("26201,310410", "11,02"));
  EXPECT_EQ("/oem/OP/LONG", directory_of("310410", "021"));
  EXPECT_EQ("/oem/OP/" + std::string(83, 'p'), directory_of("23415", "21")) << "91 characters";
  EXPECT_EQ("none", directory_of("310410", "03"));
  EXPECT_EQ("/oem/OP/TAIL", directory_of("310410", "04")) << "a line that is cut goes on as one";
  EXPECT_EQ("none", directory_of("26201,26202,310410", "11,12,02")) << "two entries count";
  EXPECT_EQ("none", directory_of("26201,310410", "11")) << "no subset";
  EXPECT_EQ("none", directory_of(nullptr, "11"));
  count_entries(0);
  EXPECT_EQ("none", directory_of("310410", "02"));

  count_entries(23);
  std::string many;
  std::string subsets;
  for (int i = 0; i < 19; ++i) {
    many += "26201,";
    subsets += "11,";
  }
  subsets += "11,021";
  EXPECT_EQ("/oem/OP/LONG", directory_of((many + "999999,310410").c_str(), subsets.c_str()))
      << "127 and 63 characters";
  many.replace(0, 5, "999999");
  EXPECT_EQ("none", directory_of((many + "999999,310410").c_str(), subsets.c_str())) << "one more";
}

TEST_F(Customisation, AnOverlaysMappingHasPiecesAndSubsetsOfTwoCharacters) {
  make_overlay_product();
  place("/mnt/product/OP/product_ext/etc/cust_path_mapping.cfg",
        "junk\n310410\n310410,02\n310410,021=x:y\n310410,02=a:b:c\r\n23415,21=only\n");
  count_entries(2);
  told();
  std::vector<std::string> pieces;
  EXPECT_EQ("/mnt/product/OP/y", directory_of("310410,23415", "02,21", &pieces))
      << "what follows the two characters counts for nothing";
  EXPECT_THAT(pieces, ElementsAre("x", "y"));
  EXPECT_EQ(
      "cust_path matched!: mccmnc= 310410, subset= 02, path= /mnt/product/OP/y\n"
      "adjusted match_cust_rootDir: /mnt/product/OP/y\n",
      told());
  EXPECT_EQ("/mnt/product/OP/only", directory_of("26201,23415", "11,21"));
  EXPECT_EQ("none", directory_of("310410", "021"));

  std::istringstream mapping("310410,02=a:b:c\n");
  std::string path;
  pieces.clear();
  EXPECT_EQ(1, find_matching_path(path, pieces, mapping, "310410", "02"));
  EXPECT_EQ("/mnt/product/OP/c", path);
  EXPECT_THAT(pieces, ElementsAre("a", "b", "c"));
  EXPECT_EQ(0, find_matching_path(path, pieces, mapping, "310410", "02"));
}

TEST_F(Customisation, TheSimsTimeDependsOnTheChipsetAndTheFactoryReset) {
  // Vendor, platform, build type, factory status; what is told.
  const std::tuple<const char*, const char*, const char*, int, const char*> cases[] = {
      {"qcom", "MT6755", "user", 6, "MTK chipset: 0\nSet Timer: 5000000\n"},
      {"MTK", "MT6765", "user", 2, "MTK chipset: 0\nSet Timer: 5000000\n"},
      {"mtk", "MT6765", "user", 2, "MTK chipset: 1\nSet Timer: 25000000\n"},
      {"mtk", "MT6765", "user", 6, "MTK chipset: 1\nLOW chipset: 0\nSet Timer: 15000000\n"},
      {"mtk", "MT6755", "user", 6, "MTK chipset: 1\nLOW chipset: 1\nSet Timer: 20000000\n"},
      {"mtk", "MT6765", "", 6, "MTK chipset: 1\nLOW chipset: 0\nSet Timer: 15000000\n"},
      {"mtk", "MT6765", "userdebug", 6, "MTK chipset: 1\nSet Timer: 20000000\n"}};
  set_build_property("ro.board.platform", "MT6755");
  for (const auto& [vendor, platform, build, status, expected] : cases) {
    set_build_property("ro.vendor.qve.chip.vendor", vendor);
    set_build_property("ro.mediatek.platform", platform);
    set_build_property("ro.build.type", build);
    restart();
    set_item(fcx::item::factory_status, std::string(1, static_cast<char>(status)));
    told();
    qve_sbp_set_timer();
    EXPECT_EQ("FRST status " + std::to_string(status) + "\n" + expected, told())
        << vendor << " " << platform << " " << build;
  }
}

TEST_F(Customisation, TheRegionAndThePackageSayWhichProfilesThereAre) {
  // Kelp, region, product, carrier (c) and feature codes (f); what is told, and the kind of
  // profile.
  const char* const cases[][6] = {
      {"1", "0", "any", "cf", "NAO: 0, GCID: 1, FASTPROFILE: 1, LATEPROFILE: 1", "both"},
      {"1", "1", "any", "", "NAO: 0, GCID: 0, FASTPROFILE: 0, LATEPROFILE: 0", "none"},
      {"0", "1", "any", "c", "NAO: 1, GCID: 0, FASTPROFILE: 1, LATEPROFILE: 0", "fast"},
      {"0", "1", "any", "f", "NAO: 1, GCID: 1, FASTPROFILE: 0, LATEPROFILE: 0", "none"},
      {"0", "0", "a_Global_CA", "c", "NAO: 0, GCID: 0, FASTPROFILE: 1, LATEPROFILE: 0", "fast"},
      {"0", "0", "GLOBAL_COM_x", "c", "NAO: 0, GCID: 0, FASTPROFILE: 0, LATEPROFILE: 1", "late"},
      {"", "", "global", "c", "NAO: 0, GCID: 0, FASTPROFILE: 0, LATEPROFILE: 0", "none"}};
  for (const auto& [kelp, region, product, files, line, type] : cases) {
    SCOPED_TRACE(std::string(kelp) + " " + region + " " + product + " " + files);
    set_build_property("ro.vendor.qve.kelp", kelp);
    set_build_property("ro.vendor.qve.naop", region);
    set_build_property("ro.product.name", product);
    fs::remove_all(file("/oem/OP"));
    if (strchr(files, 'c') != nullptr) place("/oem/OP/config/carrier_code.xml", "any");
    if (strchr(files, 'f') != nullptr) place("/oem/OP/config/feature_code.xml", "any");
    restart();
    EXPECT_EQ(rows(line), story_of(qve_check_nao_feature));
    const std::string use = type == std::string("none") ? "false" : "true";
    EXPECT_EQ(rows("~sim.profile=" + std::string(type) +
                   " | =ro.vendor.qve.sim.operator.use=" + use + " | USE SIM PROFILE: " + type),
              story_of(qve_save_profile_type));
  }
}

TEST_F(Customisation, ASecondTableOfNetworkCodesSettlesTheCarrier) {
  const std::string carriers =
      "01:VZW 02:ATT 03:TMO 04:SPR 05:USC 06:LRA 07:ACG 08:TRF_ATT 09:TRF_TMO 10:TRF_VZW "
      "11:TRF_SM 12:TRF_CLR 13:TRF_WFM 14:CRK 15:CCT 21:RGS 22:BELL 23:TLS 24:VTR ";
  const auto settled = [&](const std::string& mccmncs, const std::string& subsets) {
    return story_of([&] { qve_check_2nd_ntcode(mccmncs.c_str(), subsets.c_str()); });
  };
  const auto story = [](const std::string& carrier) {
    return rows("2nd NTCODE Matched SUBSET = " + carrier +
                "  | ~sim.profile=none | ~sim.operator=" + carrier + " | ~sim.country=EU");
  };
  for (int number = 0; number < 100; ++number) {
    const std::string subset = std::to_string(100 + number).substr(1);
    const size_t row = carriers.find(subset + ":");
    const std::string carrier =
        row == carriers.npos ? "" : carriers.substr(row + 3, carriers.find(' ', row) - row - 3);
    EXPECT_EQ(carrier.empty() ? "" : story(carrier), settled("10010,310410", subset + ",02"))
        << subset;
  }
  EXPECT_EQ(story("VTR"), settled("310410,10010", "02,24"));
  EXPECT_EQ(story("TRF_VZW"), settled("10010,10010", "99,10"));
  EXPECT_EQ("", settled("10010", "03")) << "too short";
  EXPECT_EQ("", settled("310410,10010", "02")) << "no subset";
  EXPECT_EQ("", settled("100100,310410", "03,03")) << "exactly";
  use_package();
  qve_check_nao_feature();
  settled("10010,310410", "03,02");
  qve_save_profile_type();
  EXPECT_EQ("none", property("persist.vendor.qve.sim.profile")) << "of neither kind any more";
  set_build_property("ro.vendor.qve.build.target_country", "");
  qve_check_2nd_ntcode("10010,310410", "03,02");
  EXPECT_EQ("XXX", property("persist.vendor.qve.sim.country"));
}

}  // namespace
}  // namespace fcx_test
