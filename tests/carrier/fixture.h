// A phone with a customisation package, and its starts.
#pragma once

#include <functional>
#include <sstream>

#include "fcx/customisation.h"
#include "fcx/mcc_lookup.h"
#include "fcx/network_code.h"
#include "fcx/single_binary.h"
#include "tests/phone_fixture.h"

namespace fcx_test {

class CarrierTest : public PhoneTest {
 protected:
  CarrierTest();

  /// Makes the phone one of another profile.
  void use_profile(const char* name);
  /// Places a device file: over the trees of an overlay product, which only the file-handle service
  /// sees, or in the phone's own tree.
  void place(const std::string& path, std::string_view content);
  void make_overlay_product();
  /// What a device file holds, "(none)" when it is not there.
  std::string content(const char* path);
  /// Whether the library reads that file as XML.
  static bool parses(const char* path);
  /// Gives the phone fast and late profiles, those of kCarrierCodes.
  void use_package(const std::string& root = "/oem/OP/EU");
  void make_mtk() { set_build_property("ro.vendor.qve.chip.vendor", "mtk"); }

  /// Stores a network code, and its lists as the other component publishes them.
  void set_network_code(std::string code);
  /// Sets properties of "persist.vendor.qve.", as in "first-boot=1 iccid=".
  void set_all(const std::string& pairs);
  /// Nobody answers when the modem is asked for the SIM: that often, or from now on.
  void no_answer(std::optional<int64_t> times = std::nullopt) {
    fault(Part::request, std::to_string(request::read_sim), Effect::fail, 1, Access::any, times);
  }

  /// A start of the phone: properties that do not persist are gone, and carrier set-up runs to its
  /// end.
  void boot();
  /// A start of the daemon alone.
  void start();
  void reload() { fcx::reload_carrier_set_up(); }

  /// What carrier set-up logs and sets meanwhile, in order, one a line. A line of its log stands
  /// without its "I Fcx: [QVE][SBP] ", any other as lines() gives it, line breaks in both as "\n";
  /// the modem's being asked for the SIM as "(asks)". A property stands as "=NAME=VALUE", with
  /// "~NAME" for "persist.vendor.qve.NAME". For one thread at a time.
  std::string story_of(const std::function<void()>& action);
  std::string boot_story() {
    return story_of([this] { boot(); });
  }
  /// The log lines of it alone, since the last call.
  std::string told();
  /// A story as a test writes it, with " | " between lines in one row.
  static std::string rows(std::string_view text);
  /// The lines of a story from the first that begins with `begin` up to one that begins with `end`.
  static std::string part(const std::string& story, const std::string& begin,
                          const std::string& end = "(end)");
  /// How often those rows stand in a story.
  static int count(const std::string& story, std::string_view text);

  /// The decision: first-mcc, first-mccmnc, first-boot, sim-changed.
  std::string decision() {
    return all_of({"first-mcc", "first-mccmnc", "first-boot", "sim-changed"});
  }
  /// Operator, sub-operator and country of the SIM profile.
  std::string carrier() { return all_of({"sim.operator", "sim.operator.sub", "sim.country"}); }

  static constexpr char kOneMcc[] = R"("1","310,410,FFFFFFFF,FFFFFFFF,02")";
  static constexpr char kTwoMccs[] =
      R"("2","262,01F,FFFFFFFF,FFFFFFFF,11","234,15F,FFFFFFFF,FFFFFFFF,21")";
  static constexpr char kGermanIccid[] = "89492000000000000017";
  static constexpr char kBritishIccid[] = "89441500000000000023";
  static constexpr char kDefaultIccid[] = "89000000000000000000";

  static constexpr char kCarrierCodes[] = R"(<?xml version="1.0"?>
<profiles date="2020-06-01">
  <profile iccid="" carrier_code_fast="NONE"/>
  <profile iccid="894920" carrier_code_fast="DTM" carrier_code_sub="DTM_B" country="DE"/>
  <profile iccid="8949" carrier_code_fast="LATER" country="DE"/>
  <profile iccid="8944" carrier_code_fast="VFB" carrier_code_sub="" country="GB"/>
</profiles>)";

  static constexpr char kKelpProp[] = "/mnt/vendor/persist-qv/kelp/kelp.prop";
  static constexpr char kPermProp[] = "/mnt/vendor/persist-qv/kelp/perm.prop";
  static constexpr char kFeatureProp[] = "/mnt/vendor/persist-qv/kelp/feature.prop";
  static constexpr char kStoredCodes[] = "/mnt/vendor/persist-qv/kelp/carrier_code.xml";

 private:
  /// The values of those properties of "persist.vendor.qve.".
  std::string all_of(std::initializer_list<const char*> names);
};

}  // namespace fcx_test
