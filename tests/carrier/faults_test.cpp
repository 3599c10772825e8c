// Starts in which something fails: what could not be read, kept or published is made up for by the
// next ones, and nothing is taken for absent because it could not be read.
#include <fcntl.h>

#include "tests/carrier/fixture.h"
#include "virtual_phone/faults/accesses.h"

namespace fcx_test {
namespace {

constexpr char kKelp[] = "/mnt/vendor/persist-qv/kelp";
constexpr char kCache[] = "/mnt/vendor/persist-qv/property";
constexpr char kNewerCodes[] = R"(<profiles date="2021-01-01">
  <profile iccid="8944" carrier_code_fast="CR2" carrier_code_sub="CR2_GB" country="IE"/>
</profiles>)";
constexpr char kMark[] = "persist.vendor.qve.sbp.unfinished";
constexpr char kTwoNetworks[] =
    R"("2","234,15F,FFFFFFFF,FFFFFFFF,12","262,01F,FFFFFFFF,FFFFFFFF,11")";

constexpr std::tuple<Access, Effect, int64_t> kFileFaults[] = {
    {Access::open, Effect::fail, EIO},          {Access::read, Effect::fail, EIO},
    {Access::write, Effect::fail, EIO},         {Access::sync, Effect::fail, EIO},
    {Access::rename, Effect::fail, EIO},        {Access::stat, Effect::fail, EIO},
    {Access::remove, Effect::fail, EIO},        {Access::chmod, Effect::fail, EIO},
    {Access::read, Effect::shorter, 20},        {Access::write, Effect::shorter, 20},
    {Access::sync_directory, Effect::fail, EIO}};

/// A ready-made phone in place of the blank one.
class StartFaults : public CarrierTest {
 protected:
  /// All that outlives a start: properties, and the files that starts write.
  std::map<std::string, std::string> kept() {
    std::map<std::string, std::string> all;
    for (const auto& [name, value] : vp::properties(phone())) {
      // The mark that is "0" says no more than none.
      const bool is_mark = name == kMark && value == "0";
      if (name.compare(0, 8, "persist.") == 0 && !is_mark) all[name] = value;
    }
    const fs::path root = file("/mnt/vendor/persist-qv");
    for (const auto& entry : fs::recursive_directory_iterator(root)) {
      if (!entry.is_regular_file()) continue;
      all[entry.path().lexically_relative(root)] = read_file(entry.path());
    }
    return all;
  }

  /// A start with a fault, and two without.
  std::map<std::string, std::string> kept_after(Part part, const std::string& target, Access access,
                                                Effect effect = Effect::fail, int64_t value = 0) {
    fault(part, target, effect, value, access);
    boot();
    clear_faults();
    boot();
    boot();
    return kept();
  }
};

/// What only one of two phones has, or both have in two ways.
std::string difference(const std::map<std::string, std::string>& a,
                       const std::map<std::string, std::string>& b) {
  std::string all;
  const auto value = [](const auto& of, const std::string& name) {
    const auto found = of.find(name);
    return found == of.end() ? "-" : "[" + found->second + "]";
  };
  std::map<std::string, std::string> names = a;
  names.insert(b.begin(), b.end());
  for (const auto& [name, ignored] : names) {
    if (value(a, name) == value(b, name)) continue;
    all += name + ": " + value(a, name) + " and " + value(b, name) + "\n";
  }
  return all;
}

struct ReadyMade {
  const char* profile;
  const char* package;
  const char* petnames;
};
constexpr ReadyMade kPhones[] = {
    {"open", "/oem/OP/OPEN_EU/config/", "/oem/OP/petname.xml"},
    {"overlay", "/mnt/product/OP/OPEN_EU/config/", "/system/etc/petname.xml"}};

/// What a start of that phone touches.
std::vector<std::string> files_of(const ReadyMade& each) {
  std::vector<std::string> files = {kKelp, kCache, each.petnames};
  for (const char* name : {"carrier_code.xml", "feature_code.xml", "client_id.xml"}) {
    files.push_back(std::string(each.package) + name);
    files.push_back(std::string(kKelp) + "/" + name);
  }
  for (const char* name : {"carrier_code.xml.stored", "carrier_code.xml.none", "kelp.prop",
                           "perm.prop", "feature.prop"}) {
    files.push_back(std::string(kKelp) + "/" + name);
  }
  for (const char* name : {"operator", "operator.sub", "country"}) {
    files.push_back(std::string(kCache) + "/persist.vendor.qve.sim." + name);
  }
  return files;
}

TEST_F(StartFaults, AnyFileThatFailsInAFirstStartIsMadeUpForByTheNext) {
  for (const ReadyMade& each : kPhones) {
    for (const bool is_stored : {true, false}) {
      if (!is_stored && each.profile == kPhones[0].profile) continue;  // nothing new to see
      const auto begin = [&] {
        use_profile(each.profile);
        if (is_stored) write_file(file(kStoredCodes), kNewerCodes);
      };
      begin();
      boot();
      boot();
      boot();
      const auto undisturbed = kept();
      ASSERT_EQ(is_stored ? "CR2 CR2_GB IE" : "CR2 CR2_GB GB", carrier());
      EXPECT_EQ(is_stored ? kNewerCodes : "(none)", content(kStoredCodes))
          << "no copy of the package's";
      for (const std::string& path : files_of(each)) {
        for (const auto& [access, effect, value] : kFileFaults) {
          begin();
          auto kept = kept_after(Part::file, path, access, effect, value);
          // A copy that could not be removed stays until the next one, and is read by nobody.
          if (access == Access::remove || effect == Effect::shorter) {
            kept.erase("kelp/feature_code.xml");
            kept.erase("kelp/client_id.xml");
          }
          EXPECT_EQ("", difference(undisturbed, kept))
              << each.profile << (is_stored ? ", stored: " : ": ") << path << " on "
              << vp::name_of(access);
        }
      }
    }
  }
}

/// What is done to the names in a directory.
class Names : public vp::AccessObserver {
 public:
  explicit Names(std::string directory) : directory_(std::move(directory)) {
    vp::observe_accesses(this);
  }
  ~Names() override { vp::observe_accesses(nullptr); }

  std::string told;

 private:
  std::optional<vp::Fault> begins(const vp::PlatformAccess&) override { return {}; }
  void ended(size_t, const vp::PlatformAccess& access) override {
    const bool is_in = access.target.compare(0, directory_.size(), directory_) == 0;
    const bool makes = access.access == Access::open && (access.size & O_CREAT) != 0;
    const bool changes = access.access == Access::rename || access.access == Access::remove ||
                         access.access == Access::sync_directory || makes;
    if (!is_in || !changes || access.result != 0) return;
    told += (told.empty() ? "" : ", ") + std::string(vp::name_of(access.access)) +
            access.target.substr(directory_.size());
  }

  std::string directory_;
};

TEST_F(StartFaults, AStoredFileIsAsideOnDiskBeforeACopyHasItsNameAndBackWhenTheStartEnds) {
  for (const bool is_stored : {true, false}) {
    use_profile("overlay");
    if (is_stored) write_file(file(kStoredCodes), kNewerCodes);
    Names names(kKelp);
    boot();
    EXPECT_THAT(names.told,
                HasSubstr(is_stored ? "rename/carrier_code.xml, syncdir, open/carrier_code.xml"
                                    : "syncdir, open/carrier_code.xml"));
    const auto kept_before = kept();
    vp::cut_power(phone(), vp::Unflushed::dropped);
    EXPECT_EQ("", difference(kept_before, kept())) << names.told;
  }
}

TEST_F(StartFaults, TheCopyOfAnInterruptedStartIsNotTakenForAStoredFile) {
  use_profile("overlay");
  write_file(file(kStoredCodes), kNewerCodes);
  write_file(file(kStoredCodes).string() + ".none", "");
  boot();
  EXPECT_EQ("CR2 CR2_GB GB", carrier());
  EXPECT_EQ("(none)", content(kStoredCodes));
}

TEST_F(StartFaults, TheFileHandleServiceMayDieInAnyCall) {
  constexpr int64_t kCalls = 16;  // and more than a first start makes
  use_profile("overlay");
  boot();
  boot();
  const auto undisturbed = kept();
  for (int64_t call = 1; call <= kCalls; ++call) {
    use_profile("overlay");
    fault(Part::service, "filehandle", Effect::dies, 0, Access::call, 1, call);
    boot();
    clear_faults();
    boot();
    EXPECT_EQ("", difference(undisturbed, kept())) << "call " << call;
  }
}

TEST_F(StartFaults, ADecisionThatCouldNotBePublishedIsNotDone) {
  constexpr const char* kDecision[] = {
      "persist.vendor.qve.mcc-list",     "persist.vendor.qve.first-mcc",
      "persist.vendor.qve.first-mccmnc", "persist.vendor.qve.first-boot",
      "persist.vendor.qve.sim.operator", "persist.vendor.qve.sim.operator.sub",
      "persist.vendor.qve.sim.country"};
  for (const bool has_one_mcc : {true, false}) {
    const auto begin = [&] {
      use_profile("open");
      if (has_one_mcc) set_network_code(R"("1","234,15F,FFFFFFFF,FFFFFFFF,12")");
    };
    begin();
    boot();
    boot();
    boot();
    const auto undisturbed = kept();
    ASSERT_EQ("234", property("persist.vendor.qve.first-mcc"));
    for (const char* name : kDecision) {
      begin();
      EXPECT_EQ("", difference(undisturbed, kept_after(Part::property, name, Access::write)))
          << name << (has_one_mcc ? ", one MCC" : ", several");
      // Refused all the time but for its last write: the same start makes up for it.
      begin();
      fault(Part::property, name, Effect::fail, 0, Access::write, 1);
      boot();
      EXPECT_EQ("1", property("persist.vendor.qve.first-boot")) << name;
      EXPECT_EQ("234", property("persist.vendor.qve.first-mcc")) << name;
    }
  }
}

TEST_F(StartFaults, AFirstStartIsNotDoneWithoutItsDefaults) {
  constexpr const char* kDefaults[] = {
      "persist.vendor.qve.sim-changed", "persist.vendor.qve.iccid", "persist.vendor.qve.last-iccid",
      "persist.vendor.qve.sim.operator", "persist.vendor.qve.sim.country"};
  const vp::Sim sims[] = {
      {vp::SimState::absent, "", 0},
      {vp::SimState::error, "", 0},
      {vp::SimState::inserted, "8949020000000000045", 0}};  // of a carrier that no package knows
  for (const vp::Sim& sim : sims) {
    const auto begin = [&] {
      use_profile("open");
      vp::set_sim(phone(), sim);
    };
    begin();
    boot();
    boot();
    boot();
    const auto undisturbed = kept();
    ASSERT_EQ("EU", property("persist.vendor.qve.sim.country"));
    for (const char* name : kDefaults) {
      begin();
      EXPECT_EQ("", difference(undisturbed, kept_after(Part::property, name, Access::write)))
          << name << ", SIM " << vp::name_of(sim.state);
      // Without an operator the network code settles nothing until the next start.
      if (std::string_view(name) == "persist.vendor.qve.sim.operator") continue;
      begin();
      fault(Part::property, name, Effect::fail, 0, Access::write, 1);
      boot();
      EXPECT_EQ("1", property("persist.vendor.qve.first-boot"))
          << name << ", SIM " << vp::name_of(sim.state) << ": the same start made up for it";
    }
  }
}

TEST_F(StartFaults, ASimThatComesBackAfterAStartThatWasNotWholeHasItsOwnCarrier) {
  use_profile("open");
  boot();
  ASSERT_EQ("CR2 CR2_GB GB", carrier());
  insert_sim("89499770000000008157");
  fault(Part::property, "persist.vendor.qve.carriercode.date", Effect::fail, 0, Access::write);
  boot();
  clear_faults();
  ASSERT_EQ("CR1 CR1_BIZ DE", carrier());
  insert_sim("89449800000000012349");
  boot();
  EXPECT_EQ("CR2 CR2_GB GB", carrier());
}

TEST_F(StartFaults, APackageThatNobodyCanLookIntoDecidesNothing) {
  use_profile("mtk");
  insert_sim("8949020000000000045");
  set_property(kMark, "1");
  const std::string codes = "/oem/OP/NAO/config/carrier_code.xml";
  fault(Part::file, codes, Effect::fail, EIO, Access::stat);
  boot();
  EXPECT_EQ("1", property(kMark)) << "what was left waiting still waits";
  EXPECT_EQ("(not set)", property("persist.vendor.qve.sim_country_fixed"));
  EXPECT_EQ("(not set)", property("persist.vendor.qve.first-boot"));
  EXPECT_EQ("(not set)", property("persist.vendor.qve.iccid"));
  // The next poll sees what the first could not.
  clear_faults();
  fault(Part::file, codes, Effect::fail, EIO, Access::stat, 1);
  boot();
  EXPECT_EQ("US", property("persist.vendor.qve.sim_country_fixed"));
  EXPECT_EQ("310", property("persist.vendor.qve.first-mcc"));
  EXPECT_EQ("1", property("persist.vendor.qve.first-boot"));
}

TEST_F(StartFaults, ARefusedDecisionIsTriedAtEveryPollAndTellsNoLie) {
  use_profile("open");
  fault(Part::property, "persist.vendor.qve.first-mcc", Effect::fail, 0, Access::write);
  const std::string story = boot_story();
  EXPECT_EQ("(not set)", property("persist.vendor.qve.first-mcc"));
  EXPECT_EQ("0", property("persist.vendor.qve.first-boot")) << "a start that is not done";
  EXPECT_EQ("1", property("persist.vendor.qve.sim-changed")) << "told once, as it was";
  EXPECT_EQ(1, count(story, "(asks)")) << "the SIM has had its say";
  EXPECT_EQ(1, count(story, "SETUP default setting"));
  EXPECT_LT(10, count(story, "persist.vendor.qve.first-mcc cannot be set\\n"));
  EXPECT_EQ(0, count(story, "~first-mcc=234")) << "nobody hears of what was refused";
}

/// A phone whose network code was rewritten: it waits for its SIM at every start.
class LeftWaiting : public StartFaults {
 protected:
  LeftWaiting() {
    use_profile("open");
    boot();
    set_property("persist.vendor.qve.ntcode-changed", "1");
    set_network_code(kTwoNetworks);
    boot();
  }
};

TEST_F(LeftWaiting, TheSameSimIsTheSameWhenItComesLater) {
  insert_sim("89449800000000012349", 3);
  const std::string story = boot_story();
  EXPECT_EQ("0", property("persist.vendor.qve.sim-changed"));
  EXPECT_EQ("234", property("persist.vendor.qve.first-mcc"));
  EXPECT_EQ(4, count(story, "(asks)"));
  EXPECT_EQ(0, count(story, "SETUP default setting"));
}

TEST_F(LeftWaiting, ASimThatNeverAnswersIsWaitedForAsLongAsEver) {
  set_property("persist.vendor.qve.ntcode-changed", "3");
  set_property(kMark, "1");
  no_answer();
  EXPECT_EQ(10, count(boot_story(), "Cannot get response. Return error:1"))
      << "an earlier start is done: no answer completes nothing";
  EXPECT_EQ("2", property("persist.vendor.qve.sim-changed"));
}

TEST_F(LeftWaiting, AfterAPowerCutTheSimSettlesTheMccAndNothingElseIsDifferent) {
  remove_sim();
  set_property("persist.vendor.qve.first-mcc", "FFF");
  set_property("persist.vendor.qve.ntcode-changed", "3");
  set_property(kMark, "1");
  insert_sim("89449800000000012349");
  EXPECT_EQ(0, count(boot_story(), "SETUP default setting"));
  EXPECT_EQ("234", property("persist.vendor.qve.first-mcc"));
  EXPECT_EQ("0", property("persist.vendor.qve.sim-changed"));
  EXPECT_EQ("0", property(kMark));
  // A start that was not left waiting keeps what it has.
  set_property("persist.vendor.qve.first-mcc", "FFF");
  boot();
  EXPECT_EQ("FFF", property("persist.vendor.qve.first-mcc"));
}

TEST_F(LeftWaiting, ANetworkCodeThatCannotBeReadChangesNoList) {
  set_property("persist.vendor.qve.ntcode-changed", "3");
  set_property("persist.vendor.qve.first-mcc", "FFF");
  set_property(kMark, "1");
  item_fails(421);
  boot();
  EXPECT_EQ("234,262", property("persist.vendor.qve.mcc-list"));
  EXPECT_EQ("234", property("persist.vendor.qve.first-mcc")) << "no later start would settle it";
}

TEST_F(StartFaults, AnEndlessOrHugeFileIsNoPackage) {
  constexpr char kCodes[] = "/oem/OP/OPEN_EU/config/carrier_code.xml";
  const auto what_is_said = [&] {
    lines();
    EXPECT_FALSE(parses(kCodes));
    return lines();
  };
  use_profile("open");
  fs::resize_file(file(kCodes), (16 << 20) + 1);
  EXPECT_THAT(what_is_said(),
              ElementsAre("I Fcx: [QVE][SBP] /oem/OP/OPEN_EU/config/carrier_code.xml "
                          "cannot be read: File too large\n"));
  fs::remove(file(kCodes));
  fs::create_symlink("/dev/zero", file(kCodes));
  EXPECT_THAT(
      what_is_said(),
      ElementsAre("I Fcx: [QVE][SBP] /oem/OP/OPEN_EU/config/carrier_code.xml cannot be opened: "
                  "Operation not supported\n"));
}

/// ASCII in units of `size` bytes, of which the one at `place` holds the character.
std::string in_units(std::string_view text, size_t size, size_t place) {
  std::string bytes(text.size() * size, '\0');
  for (size_t i = 0; i < text.size(); ++i) bytes[i * size + place] = text[i];
  return bytes;
}

std::string declaring(const std::string& encoding, const char* rest = "<a/>") {
  return "<?xml version=\"1.0\" encoding=\"" + encoding + "\"?>" + rest;
}

TEST_F(StartFaults, AnEncodingThatNoPhoneReadsIsRefusedEverywhere) {
  constexpr char kFile[] = "/oem/OP/a.xml";
  const std::string plain = "<?xml version='1.0'?><a/>";
  const std::string mark = "\xEF\xBB\xBF";
  const auto said_of = [&](const std::string& bytes, bool is_read) {
    place(kFile, bytes);
    lines();
    EXPECT_EQ(is_read, parses(kFile)) << testing::PrintToString(bytes);
    return lines();
  };
  for (const std::string& bytes :
       {std::string("<a/>"), mark + "<a/>", declaring("utf-8"), declaring("UTF8"),
        in_units(plain, 2, 1), in_units(declaring("UTF-16"), 2, 0),
        "\xFE\xFF" + in_units(plain, 2, 1), "\xFF\xFE" + in_units(declaring("utf16"), 2, 0),
        declaring("ISO-8859-1", "<\xE9/>"), declaring("iso-latin-1"),
        declaring("iso-8859-15", "<\xBD/>"), declaring("US-ASCII"), declaring("ascii")}) {
    EXPECT_THAT(said_of(bytes, true), testing::IsEmpty());
  }
  std::vector<std::pair<std::string, std::string>> refused = {
      {declaring("Shift_JIS", "<a>"), "Shift_JIS"},
      {mark + declaring("KOI8-R"), "KOI8-R"},
      {"\xFE\xFF" + in_units(declaring("ISO-8859-2"), 2, 1), "ISO-8859-2"},
      {in_units(plain, 4, 0), "ISO-10646-UCS-4"},
      {in_units(declaring("UTF-8"), 4, 3), "ISO-10646-UCS-4"},
      {"\x4C\x6F\xA7\x94\x93", "EBCDIC"}};
  for (const char* name :
       {"latin1", "ISO-8859-2", "iso-8859-16", "windows-1252", "no-such-thing"}) {
    refused.emplace_back(declaring(name), name);
  }
  for (const auto& [bytes, name] : refused) {
    EXPECT_THAT(said_of(bytes, false),
                ElementsAre("E Fcx: read_device_xml: /oem/OP/a.xml has the encoding " + name +
                            ", which no phone reads\n"));
  }
  // On a "user" build set-up is silent, here too.
  set_build_property("ro.build.type", "user");
  boot();
  EXPECT_THAT(said_of(declaring("latin1"), false), testing::IsEmpty());
}

}  // namespace
}  // namespace fcx_test
