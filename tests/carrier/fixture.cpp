#include "tests/carrier/fixture.h"

#include <libxml/tree.h>

#include "fcx/factory_items.h"
#include "fcx/modem_link.h"

namespace fcx_test {
namespace {

/// What the modem link tells of a request for the SIM that is answered; the first one of a process
/// opens the link.
constexpr char kLinkOpens[] = "I Fcx: [init_modem_interface] dmi_init :0\\n\n";
constexpr char kAsks[] =
    "I Fcx: [COMMON_INTERFACE] QVCMD OPCODE: 14\n"
    "I Fcx: [COMMON_INTERFACE] Call request_to_modem\n"
    "I Fcx: [DMI] request_to_modem:__START!\\n\n"
    "I Fcx: [DMI] request_to_modem return value is 0\\n\n"
    "I Fcx: Response Status: 0\\n\n";

void replace_all(std::string& text, std::string_view part, std::string_view by) {
  for (size_t at = 0; (at = text.find(part, at)) != text.npos; at += by.size()) {
    text.replace(at, part.size(), by);
  }
}

}  // namespace

CarrierTest::CarrierTest() {
  set_build_property("ro.build.type", "userdebug");
  set_build_property("ro.vendor.qve.build.target_operator", "OPEN");
  set_build_property("ro.vendor.qve.build.target_country", "EU");
  reload();
}

void CarrierTest::use_profile(const char* name) {
  vp::create(directory(), name, true);
  vp::select(directory());
  EXPECT_EQ(0, init_factory_item());
  EXPECT_EQ(0, init_modem_interface());  // what is known of it was another phone's
  char code[2048];
  EXPECT_EQ(0, get_ntcode(code));
  set_network_code(code);
}

void CarrierTest::place(const std::string& path, std::string_view text) {
  const bool is_overlaid = e_is_overlayfs && is_system_path(path) != 0;
  const fs::path target =
      (is_overlaid ? (directory() / "overlay").string() : phone().root()) + path;
  fs::create_directories(target.parent_path());
  write_file(target, text);
}

void CarrierTest::make_overlay_product() {
  set_build_property("ro.vendor.qve.product.overlayfs", "true");
  reload();
}

std::string CarrierTest::content(const char* path) {
  return fs::exists(file(path)) ? read_file(file(path)) : "(none)";
}

bool CarrierTest::parses(const char* path) {
  const std::unique_ptr<xmlDoc, void (*)(xmlDoc*)> document(getXmlParseFile(path), xmlFreeDoc);
  return document != nullptr;
}

void CarrierTest::use_package(const std::string& root) {
  set_build_property("ro.vendor.qve.kelp", "1");
  set_build_property("ro.vendor.qve.capp_tamra.rootdir", root);
  place(root + "/config/carrier_code.xml", kCarrierCodes);
}

void CarrierTest::set_network_code(std::string code) {
  ASSERT_EQ(0, set_ntcode(code.data(), static_cast<int>(code.size())));
  char mccmncs[2048];
  char subsets[2048];
  qve_parse_ntcode(code.data(), mccmncs, subsets);
  set_property("persist.vendor.qve.mccmnc-list", mccmncs);
  set_property("persist.vendor.qve.subset-list", subsets);
}

void CarrierTest::set_all(const std::string& pairs) {
  std::istringstream words(pairs);
  for (std::string word; words >> word;) {
    const size_t equals = word.find('=');
    set_property(("persist.vendor.qve." + word.substr(0, equals)).c_str(), word.substr(equals + 1));
  }
}

void CarrierTest::boot() {
  restart();
  start();
}

void CarrierTest::start() {
  reload();
  EXPECT_EQ(1, sbpCreateThread());
  fcx::wait_for_background_work();
}

std::string CarrierTest::told() {
  constexpr std::string_view kUsual = "I Fcx: [QVE][SBP] ";
  std::string story;
  for (std::string line : lines()) {
    if (line.compare(0, kUsual.size(), kUsual) == 0) line.erase(0, kUsual.size());
    replace_all(line, "\n", "\\n");
    story += line + "\n";
  }
  replace_all(story, kLinkOpens, "");
  replace_all(story, kAsks, "(asks)\n");
  return story;
}

std::string CarrierTest::story_of(const std::function<void()>& action) {
  constexpr std::string_view kShort = "persist.vendor.qve.";
  constexpr std::string_view kOwnNotes = "persist.vendor.qve.sbp.";  // no part of the decision
  told();
  std::string story;
  vp::observe_properties([&](const vp::PropertyChange& change) {
    if (change.name.compare(0, kOwnNotes.size(), kOwnNotes) == 0) return;
    const bool is_short = change.name.compare(0, kShort.size(), kShort) == 0;
    story += told() + (is_short ? "~" + change.name.substr(kShort.size()) : "=" + change.name) +
             "=" + change.after + "\n";
  });
  action();
  vp::observe_properties({});
  return story + told();
}

std::string CarrierTest::rows(std::string_view text) {
  std::string lines(text);
  replace_all(lines, " | ", "\n");
  return lines.empty() || lines.back() == '\n' ? lines : lines + "\n";
}

std::string CarrierTest::part(const std::string& story, const std::string& begin,
                              const std::string& end) {
  const std::string all = "\n" + story;
  const size_t first = all.find("\n" + begin);
  if (first == all.npos) return "no line begins with " + begin;
  const size_t last = all.find("\n" + end, first + 1);
  return all.substr(first + 1, last == all.npos ? all.npos : last - first);
}

int CarrierTest::count(const std::string& story, std::string_view text) {
  int found = 0;
  const std::string wanted = rows(text);
  for (size_t at = 0; (at = story.find(wanted, at)) != story.npos; at += wanted.size()) ++found;
  return found;
}

std::string CarrierTest::all_of(std::initializer_list<const char*> names) {
  std::string values;
  for (const std::string name : names)
    values += " " + property(("persist.vendor.qve." + name).c_str());
  return values.substr(1);
}

}  // namespace fcx_test
