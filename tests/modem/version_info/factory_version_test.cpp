// The factory software version: which source fills which slot, and what is logged meanwhile.
#include <algorithm>
#include <map>
#include <sstream>

#include "fcx/customisation.h"
#include "fcx/factory_item_table.h"
#include "fcx/single_binary.h"
#include "fcx/version_info.h"
#include "tests/phone_fixture.h"

namespace fcx_test {
namespace {

using testing::ElementsAre;
using virtual_phone::Access;
using virtual_phone::Effect;
using virtual_phone::Part;

constexpr char kOwn[] = "/oem/OP/EU/cust_CR1.prop";
constexpr char kCommon[] = "/oem/OP/EU/cust.prop";
constexpr char kLong[] = "/oem/OP/EU/cust_A_B_C_D.prop";
constexpr char kShort[] = "/oem/OP/EU/cust_A_B.prop";
constexpr char kGroup[] = "/oem/OP/cust_group_mapping.cfg";
constexpr char kOpenMapping[] = "/oem/OP/open_path_mapping.cfg";
constexpr char kUnifiedMapping[] = "/oem/OP/EU/config/unified_path_mapping.cfg";
constexpr char kMapping[] = "/oem/OP/cust_path_mapping.cfg";
constexpr char kVersion[] = "ro.vendor.qve.factoryversion";
constexpr char kFactoryModel[] = "ro.boot.vendor.qve.model.factory";
constexpr char kArb[] = "ro.vendor.qve.swversion_arb";
constexpr int kReadTypeCode = 160;
constexpr char kNobody[] = R"("1","999,999,FFFFFFFF,FFFFFFFF,99")";

/// What a version is made of, by short names, and what it is at first; empty: none.
struct Setting {
  const char* name;
  const char* target;  ///< a property, a file, or "modem" or "network code"
  const char* at_first;
};
constexpr Setting kSettings[] = {
    {"version", kVersion, "QV100AT-00-V10a-OPEN-EU-JUN-01-2020+7"},
    {"model", kFactoryModel, "QV-100"},
    {"name", "ro.boot.vendor.qve.model.name", "QV-100-N"},
    {"operator", "ro.vendor.qve.build.target_operator", "OPEN"},
    {"arb", kArb, ""},
    {"type", "modem", "3"},
    {"code", "network code",
     R"("2","262,01F,FFFFFFFF,FFFFFFFF,11","234,15F,FFFFFFFF,FFFFFFFF,12")"},
    {"mapping", kMapping, "26201,11=/oem/OP/EU"},
    {"open", kOpenMapping, "26201,11=CR1"},
    {"unified", kUnifiedMapping, ""},
    {"group", kGroup, ""},
    {"own", kOwn, ""},
    {"common", kCommon, ""},
    {"long", kLong, ""},
    {"short", kShort, ""},
    {"e", "/oem/E/cust.prop", ""},
    {"unnamed", "/oem/OP/EU/cust_.prop", ""},
};

using Changes = std::map<std::string, std::string>;

/// Changes as a test writes them: "NAME=VALUE; NAME=VALUE".
Changes changes_of(const std::string& text) {
  Changes changes;
  std::istringstream in(text);
  for (std::string each; std::getline(in >> std::ws, each, ';');) {
    changes[each.substr(0, each.find('='))] = each.substr(each.find('=') + 1);
  }
  return changes;
}

class FactoryVersion : public PhoneTest {
 protected:
  FactoryVersion() {
    std::filesystem::create_directories(file("/oem/OP/EU/config"));
    std::filesystem::create_directories(file("/oem/E"));
    set_all("");
  }

  /// What is set from now on: all as at first, but for these.
  void set_all(const Changes& changes) {
    for (const Setting& setting : kSettings) {
      const auto changed = changes.find(setting.name);
      set(setting.target, changed == changes.end() ? setting.at_first : changed->second);
    }
    lines();
    requests();
  }
  void set_all(const char* changes) { set_all(changes_of(changes)); }

  void set(const std::string& target, const std::string& value) {
    if (target == "modem") {
      virtual_phone::remove_modem_value(phone(), "type_code");
      if (!value.empty()) set_modem("type_code", value);
    } else if (target == "network code") {
      set_item(fcx::item::network_code, value + std::string(2048 - value.size(), '\0'));
    } else if (target[0] != '/') {
      set_build_property(target.c_str(), value);
    } else if (value.empty()) {
      std::filesystem::remove(file(target.c_str()));
    } else {
      write_file(file(target.c_str()), property_file(value));
    }
  }

  /// A file's lines, of which those of a property file are KEY:VALUE, with blanks between them.
  static std::string property_file(const std::string& text) {
    const std::map<std::string, std::string> keys = {{"short", "swversion_short"},
                                                     {"postfix", "swversion.postfix"},
                                                     {"date", "swv_date"},
                                                     {"rev", "swversion_rev"},
                                                     {"opensw", "opensw"},
                                                     {"ca", "opensw.enableca"},
                                                     {"ui", "sbp.ui"},
                                                     {"group", "tamragroup"}};
    std::string content;
    std::istringstream in(text);
    for (std::string word; in >> word;) {
      const size_t colon = word.find(':');
      const auto key = keys.find(word.substr(0, colon));
      content +=
          key == keys.end() ? word : "ro.vendor.qve." + key->second + "=" + word.substr(colon + 1);
      content += '\n';
    }
    return content;
  }

  /// Lets a file be opened until the Nth time.
  void fails_from(const std::string& path, int64_t nth) {
    virtual_phone::set_fault(phone(),
                             {0, Part::file, path, Access::open, Effect::fail, EIO, {}, nth});
  }

  /// The version, or "(failed)". A failure leaves the caller's memory alone.
  std::string version(int type) {
    std::string out(69, '#');
    int length = kUntouched;
    if (get_qve_factory_sw_version(type, out.data(), &length) == 0) {
      return out.substr(0, static_cast<size_t>(length));
    }
    EXPECT_EQ(std::string(69, '#'), out);
    EXPECT_EQ(kUntouched, length);
    return "(failed)";
  }

  /// The library's lines but for those of the modem's link.
  std::vector<std::string> report_lines() {
    std::vector<std::string> found;
    for (const std::string& line : lines()) {
      bool is_links = false;
      for (const char* part : {"[COMMON_INTERFACE]", "[DMI]", "Response Status", "dmi_init",
                               "receive_modem_data", "request_to_system", "Cannot get response"}) {
        is_links = is_links || line.find(part) != std::string::npos;
      }
      if (!is_links) found.push_back(line);
    }
    return found;
  }
};

TEST_F(FactoryVersion, EachSlotHasItsFirstSource) {
  // "~" is the date of the version's property.
  constexpr struct {
    int type;
    const char* changes;
    const char* expected;
  } cases[] = {
      {1, "", "QV100AT-00-V10a-OPEN-EU~+7"},
      {2, "", "QV100AT-03-V10a-262-01~+7"},
      // The model, and where it was built for.
      {1, "operator=TRF", "QV100HL-00-V10a-OPEN-EU~+7"},
      {1, "model=; name=ZZ--9-N", "ZZ9AT-00-V10a-OPEN-EU~+7"},
      {1, "model=QV100", "QV100AT-00-V10a-OPEN-EU~+7"},
      {1, "model=-; operator=", "-00-V10a-OPEN-EU~+7"},
      // The tokens of the property.
      {1, "version=-X--00-V-M---N-D+7", "QV100AT-00-V-M-N-D+7"},
      {1, "version=X-00-V-M-N-D", "QV100AT-00-V-M-N-D"},
      {1, "version=X-00-V-M-N-D++7-8+9", "QV100AT-00-V-M-N-D++7-8+9"},
      {1, "version=X-00-V-M-N-+D+7", "QV100AT-00-V-M-N-D+7"},
      // ARB: three tokens make the date, and only the property's version counts.
      {1, "version=X-00-V-M-N-1-2-3-ARB00+7", "QV100AT-00-V-M-N-1-2-3+7"},
      {1, "version=X-00-V-M-N-1-2-3-ARB00+7; arb=ARB01", "QV100AT-00-V-M-N-1-2-3-ARB01+7"},
      {1, "arb=A-1", "QV100AT-00-V10a-OPEN-EU~-A-1+7"},
      {1, "version=X-00-ARB-M-N-1-2-3+7; arb=A", "QV100AT-00-ARB-M-N-1-2-3+7-A"},
      // FACTORY.
      {1, "version=X-00-V-M-N-D-FACTORY+7", "QV100AT-00-V-M-N-D-FACTORY"},
      {1, "version=X-00-V-M-N-D+FACTORY", "QV100AT-00-V-M-N-D-FACTORY"},
      {1, "version=X-00-Vfactory-M-N-FACTORY; arb=A", "QV100AT-00--FACTORY"},
      {1, "version=X-00-Factory-M-N-FACTORY", "QV100AT-00-FACTORY"},
      {1, "version=X-00-V-M-N-FACTORY; model=Factory-1", "-FACTORY"},
      // The modem's type code.
      {2, "type=", "QV100AT-00-V10a-262-01~+7"},
      {2, "type=an ERROR", "QV100AT-00-V10a-262-01~+7"},
      {2, "type=12\r\n34", "QV100AT-012-V10a-262-01~+7"},
      // The network code.
      {2, R"(code="1","FFF,FFF,FFFFFFFF,FFFFFFFF,FF")", "QV100AT-03-V10a-OPEN-EU~+7"},
      {2, R"(code="1","310,410,FFFFFFFF,FFFFFFFF,31")", "QV100AT-03-V10a-310-410~+7"},
      {2, "code=ERROR 1", "QV100AT-03-V10a-OPEN-EU~+7"},
      // Groups.
      {1, "group=group:G-X", "QV100AT-00-V10a-G-X~+7"},
      {1, "group=group:A-B-C", "QV100AT-00-V10a-A-B-C~+7"},
      {1, "group=group:G", "QV100AT-00-V10a-OPEN-EU~+7"},
      {1, "group=group:-X", "QV100AT-00-V10a-OPEN-X~+7"},
      {1, "group=group:G-", "QV100AT-00-V10a-G-EU~+7"},
      {2, "group=group:G-X; own=x", "QV100AT-03-V10a-262-01~+7"},
      {2, "group=group:G-X; code=ERROR", "QV100AT-03-V10a-G-X~+7"},
      {2, "group=group:G-X; code=?", "QV100AT-03-V10a-999-999~+7"},
      {2, "group=group:G-X; code=?; mapping=999999,99=/oem/OP/EU; common=x",
       "QV100AT-03-V10a-G-X~+7"},
      {2, "group=group:G-X; code=?; mapping=999999,99=/oem/OP/EU; common=opensw:310-170",
       "QV100AT-03-V10a-310-170~+7"},
      // The carrier's files.
      {1, "own=short:V2 postfix:PF date:D rev:9", "QV100AT-00-V10a-OPEN-EU~+7"},
      {2, "own=short:V2 postfix:PF date:D rev:9", "QV100AT-03-V2-262-01-PF-D+9"},
      {2, "common=short:V2 postfix:PF date:D rev:9", "QV100AT-03-V2-262-01-PF-D+9"},
      {2, "common=short:V2; own=x", "QV100AT-03-V10a-262-01~+7"},
      {2, "own=short:", "QV100AT-03-V10a-262-01~+7"},
      {2, "own=opensw:310-170", "QV100AT-03-V10a-310-170~+7"},
      {2, "own=opensw:310", "QV100AT-03-V10a-262-01~+7"},
      {2, "own=opensw:-170", "QV100AT-03-V10a-262-170~+7"},
      {2, "own=opensw:310-", "QV100AT-03-V10a-310-01~+7"},
      {2, "own=opensw:310-170 ca:10", "QV100AT-03-V10a-262-01~+7"},
      {2, "own=opensw:310-170 ca:0", "QV100AT-03-V10a-310-170~+7"},
      {2, "own=\x1\xFF= date:D", "QV100AT-03-V10a-262-01-D+7"},
      // Which files those are.
      {2, "own=date:D; mapping=26201,11=/oem", "QV100AT-03-V10a-262-01~+7"},
      {2, "e=date:D; mapping=26201,11=/oem/E", "QV100AT-03-V10a-262-01-D+7"},
      {2, "own=date:D; mapping=23415,12=/oem/OP/EU", "QV100AT-03-V10a-262-01-D+7"},
      {2, "own=date:D; open=23415,12=CR1", "QV100AT-03-V10a-262-01~+7"},
      {2, "own=date:D; open=; unified=26201,11=CR1", "QV100AT-03-V10a-262-01-D+7"},
      {2, "own=date:D; open=26201,11=; unified=26201,11=CR1", "QV100AT-03-V10a-262-01-D+7"},
      {2, "own=x; unified=x; common=date:D", "QV100AT-03-V10a-262-01-D+7"},
      {2, "open=; unified=26201,11=; common=date:C; unnamed=short:V3", "QV100AT-03-V3-262-01-C+7"},
      {2, "open=26201,11=A_B_C_D; long=short:V1 date:D; short=short:V2",
       "QV100AT-03-V2-262-01-D+7"},
      {2, "open=26201,11=A_B_C_D; long=short:V1; short=short:V2 ui:1", "QV100AT-03-V1-262-01~+7"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.changes);
    Changes changes = changes_of(c.changes);
    if (changes.count("code") != 0 && changes["code"] == "?") changes["code"] = kNobody;
    set_all(changes);
    std::string expected = c.expected;
    if (const size_t date = expected.find('~'); date != std::string::npos) {
      expected.replace(date, 1, "-JUN-01-2020");
    }
    const std::string stored = item_text(fcx::item::sw_version);
    EXPECT_EQ(expected, version(c.type));
    EXPECT_EQ(c.type == 2 ? expected : stored, item_text(fcx::item::sw_version));
  }
}

TEST_F(FactoryVersion, PiecesAreCutToFit) {
  const std::string start = "X-00-V-M-N-";
  const std::string made = "QV100AT-00-V-M-N-";
  const std::pair<Changes, std::string> cases[] = {
      {{{"version", start + std::string(59, 'd')}}, made + std::string(52, 'd')},
      {{{"version", start + std::string(50, 'd') + "+FACTORY"}},
       made + std::string(50, 'd') + "-F"},
      {{{"version", "X-00-FACTORY-M-N-" + std::string(53, 'd')}}, "QV100AT-00-FACTORY"},
      {{{"group", "group:G-" + std::string(80, 'x')}}, "QV100AT-00-V10a-G-" + std::string(51, 'x')},
  };
  for (const auto& [changes, expected] : cases) {
    set_all(changes);
    EXPECT_EQ(expected, version(1));
  }
  set_all({{"own", std::string(size_t{16} << 20, 'x') + " date:D"}});
  EXPECT_EQ("QV100AT-03-V10a-262-01-JUN-01-2020+7", version(2)) << "of a file 16 MiB count";
  set_all({{"type", std::string("1\0002", 3)}});
  EXPECT_EQ("QV100AT-01-V10a-262-01-JUN-01-2020+7", version(2));
}

TEST_F(FactoryVersion, WithoutAPieceThereIsNone) {
  const std::string parsing = "[QVE][SBP_VER]Factory Version Parsing Error. ";
  const std::string own = "get_qve_factory_sw_version_sbp: ";
  const std::string no_property =
      "ro.vendor.qve.factoryversion property is not active or read error";
  const std::string no_type = own + "ro.vendor.qve.factoryversion has no type\n";
  const std::string too_long = "version=X-00-V-M-N-" + std::string(60, 'd');
  const std::string filled = "; own=short:V opensw:M-N date:D rev:9";
  // Between type and line: after how many of the report's first lines it comes; 0 where files are
  // read before.
  const std::tuple<int, std::string, size_t, std::string> cases[] = {
      {1, "version=", 1, no_property},
      {1, too_long, 1, no_property},
      {3, "version=", 1, no_property},
      {2, "code=", 2, "[QVE][SBP_VER]NTCODE READ ERROR 1"},
      {1, "model=; name=", 2, own + "there is no model name\n"},
      {1, "operator=", 5, own + "ro.vendor.qve.build.target_operator is empty\n"},
      {1, "version=X", 5, no_type},
      {2, "version=---; type=", 0, no_type},
      {2, "version=X", 0, parsing + "version_name is NULL"},
      {1, "version=X-00", 5, parsing + "version_name is NULL"},
      {1, "version=X-00-V", 5, parsing + "MCC is NULL"},
      {1, "version=X-00-V-M", 5, parsing + "MNC is NULL"},
      {1, "version=X-00-V-M-N-+", 5, parsing + "release_date is NULL"},
      {1, "version=X-00-ARB-M-N", 5, parsing + "release_date is NULL"},
      {1, "version=X-00-ARB-M-N-J", 5, parsing + "release_date(day) is NULL"},
      {1, "version=X-00-ARB-M-N-J-1-", 5, parsing + "release_date(year) is NULL"},
      // Also where the slot is filled from elsewhere.
      {2, "version=X-00" + filled, 0, parsing + "version_name is NULL"},
      {2, "version=X-00-V" + filled, 0, parsing + "MCC is NULL"},
      {2, "version=X-00-V-M" + filled, 0, parsing + "MNC is NULL"},
      {2, "version=X-00-V-M-N" + filled, 0, parsing + "release_date is NULL"},
  };
  const auto failed_lines = [this](int type) {
    EXPECT_EQ("(failed)", version(type));
    std::vector<std::string> written = report_lines();
    const auto arb = std::find(written.begin(), written.end(), "I Fcx: Arb Version\n");
    if (arb != written.end()) written.erase(arb);
    return written;
  };
  const auto expected_lines = [this](size_t before, const std::string& line) {
    const std::string head = "I Fcx: [QVE][SBP_VER]Model Name ";
    std::vector<std::string> expected = {
        "I Fcx: GSM VERSION TYPE",
        "I Fcx: ro.vendor.qve.factoryversion is [" + property(kVersion) + "]\n",
        head + ": ro.boot.vendor.qve.model.factory = QV-100", head + "qv_v: QV", head + "dev: 100"};
    expected.resize(before);
    expected.push_back("I Fcx: " + line);
    return expected;
  };
  set_item(fcx::item::sw_version, "old");
  for (const auto& [type, changes, before, line] : cases) {
    SCOPED_TRACE(changes);
    set_all(changes.c_str());
    auto written = failed_lines(type);
    if (before == 0) written.erase(written.begin(), written.end() - 1);
    EXPECT_EQ(expected_lines(before, line), written);
  }
  constexpr int kBeginBulk = 154, kReceiveBulk = 156;
  const std::tuple<int, int, Effect, int, size_t, std::string> faults[] = {
      {2, kBeginBulk, Effect::fail, 1, 2, "[QVE][SBP_VER]NTCODE READ ERROR 1"},
      {2, kReceiveBulk, Effect::garbage, 0, 2, "[QVE][SBP_VER]NTCODE is empty"},
      {1, kReadTypeCode, Effect::fail, 5, 5, own + "no type code from the modem: 1\n"},
      {1, kReadTypeCode, Effect::fail, 2, 5, own + "no type code from the modem: 2\n"}};
  set_all("");
  for (const auto& [type, request, effect, number, before, line] : faults) {
    request_fault(request, effect, number);
    EXPECT_EQ(expected_lines(before, line), failed_lines(type));
    clear_faults();
  }
  request_fault(kReadTypeCode, Effect::fail, 1);
  EXPECT_EQ("(failed)", version(2)) << "both types ask";
  EXPECT_EQ("old", item_text(fcx::item::sw_version));
}

TEST_F(FactoryVersion, WhatCannotBeReadIsNotTakenForAbsent) {
  set_all("own=x; unified=x; group=x");
  const std::tuple<int, const char*, Access> cases[] = {
      {2, kMapping, Access::open}, {2, kOpenMapping, Access::read},
      {2, kOwn, Access::stat},     {2, kUnifiedMapping, Access::stat},
      {2, kOwn, Access::open},     {1, kGroup, Access::read}};
  for (const auto& [type, path, access] : cases) {
    fault(Part::file, path, Effect::fail, EACCES, access);
    EXPECT_EQ("(failed)", version(type)) << path;
    EXPECT_EQ(std::string("I Fcx: get_qve_factory_sw_version_sbp: ") + path + " cannot be read\n",
              lines().back());
    clear_faults();
  }
  fault(Part::file, kGroup, Effect::fail, EACCES, Access::read);
  EXPECT_EQ("QV100AT-03-V10a-262-01-JUN-01-2020+7", version(2)) << "the network code has both";
}

TEST_F(FactoryVersion, EachFileIsOpenedOnce) {
  // The second of two entries leads to the root.
  set_all(
      "mapping=23415,12=/oem/OP/EU; open=26201,11=; unified=26201,11=A_B_C_D; long=date:D; "
      "common=short:V2; group=x");
  for (const char* path : {kMapping, kOpenMapping, kUnifiedMapping, kGroup, kCommon, kLong}) {
    fails_from(path, 2);
  }
  EXPECT_EQ("QV100AT-03-V2-262-01-D+7", version(2));
}

TEST_F(FactoryVersion, AnotherTypeEndsAfterTheProperty) {
  std::string out(69, '#');
  int length = kUntouched;
  for (const int type : {0, 3, -1}) {
    EXPECT_EQ(0, get_qve_factory_sw_version_sbp(type, out.data(), &length));
    EXPECT_THAT(lines(), ElementsAre("I Fcx: ro.vendor.qve.factoryversion is "
                                     "[QV100AT-00-V10a-OPEN-EU-JUN-01-2020+7]\n"));
  }
  EXPECT_EQ(std::string(69, '#'), out);
  EXPECT_EQ(kUntouched, length);
  EXPECT_THAT(requests(), testing::IsEmpty());
}

TEST_F(FactoryVersion, AStoreThatFailsLeavesTheReport) {
  item_fails(fcx::item::sw_version);
  EXPECT_EQ("QV100AT-03-V10a-262-01-JUN-01-2020+7", version(2));
  EXPECT_EQ("I Fcx: get_qve_factory_sw_version_sbp: item 14 cannot be written\n", lines().back());
}

TEST_F(FactoryVersion, TheReportTellsWhatItDoes) {
  const std::string head = "I Fcx: [QVE][SBP_VER]";
  set_all("version=QV-00-V10a-OPEN-EU-JUN-01-2020-ARBFACTORY; model=");
  EXPECT_EQ("QV100AT-00-V10a-OPEN-EU-JUN-01-2020-FACTORY", version(1));
  EXPECT_THAT(
      report_lines(),
      ElementsAre(
          "I Fcx: GSM VERSION TYPE", "I Fcx: Factory Version\n", "I Fcx: Arb Version\n",
          "I Fcx: ro.vendor.qve.factoryversion is [QV-00-V10a-OPEN-EU-JUN-01-2020-ARBFACTORY]\n",
          head + "Model Name : ro.boot.vendor.qve.model.name = QV-100-N",
          head + "Model Name qv_v: QV", head + "Model Name dev: 100",
          "I Fcx: ARB Ver : ARBFACTORY, token_pointer : ", head + "Hidden Version NULL",
          head + "Short Version Name: V10a, MCC: OPEN, MNC: EU, Release Date : JUN-01-2020, ARB "
                 "ver : ARBFACTORY, Hidden Version : ",
          head + "Software Version : QV100AT-00-V10a-OPEN-EU-JUN-01-2020",
          head + "Final Software Version : QV100AT-00-V10a-OPEN-EU-JUN-01-2020-FACTORY"));

  set_all(
      "open=26201,11=A_B_C_D; model=-; long=date:D rev:9 opensw:310-170; short=short:V2 "
      "postfix:PF");
  set_build_property("ro.build.type", "user");  // the report's own lines come all the same
  EXPECT_EQ("-03-V2-310-170-PF-D+9", version(2));
  EXPECT_THAT(
      report_lines(),
      ElementsAre(
          "I Fcx: GSM VERSION TYPE",
          "I Fcx: ro.vendor.qve.factoryversion is [QV100AT-00-V10a-OPEN-EU-JUN-01-2020+7]\n",
          "I Fcx: [QVE][SBP] ntcode_count: 2, mccmnc-list: [26201,23415], subset-list: [11,12]\n",
          head + "MCCMNC: 26201\n", head + "SUBSET: 11\n", head + "tamra root path: /oem/OP/EU\n",
          head + "Updated Short Version by Root Dir : V2\n",
          head + "Updated Postfix by Root Dir : PF\n",
          head + "Updated cust_{subset}.prop file path: /oem/OP/EU/cust_A_B_C_D.prop\n",
          head + "Updated OPEN SW 1 by Root Dir : 310, 170 \n",
          head + "Updated Release Date by Root Dir : D\n",
          head + "Updated Hidden Version by Root Dir : 9\n",
          head + "Model Name : ro.boot.vendor.qve.model.factory = -",
          head + "Model Name qv_v is NULL", head + "Model Name dev is NULL",
          head + "Short Version Name: V2, MCC: 310, MNC: 170, Release Date : D, ARB ver : , Hidden "
                 "Version : 9",
          head + "Software Version : -03-V2-310-170-PF-D",
          head + "Final Software Version : -03-V2-310-170-PF-D+9"));

  Changes changes = changes_of("mapping=999999,99=/oem/OP/EU; group=group:GRP-X; common=x");
  changes["code"] = kNobody;
  set_all(changes);
  EXPECT_EQ("QV100AT-03-V10a-GRP-X-JUN-01-2020+7", version(2));
  auto written = report_lines();
  EXPECT_THAT(
      std::vector<std::string>(written.end() - 9, written.end() - 6),
      ElementsAre(head + "tamra root path: /oem/OP/EU\n", head + "Exist matched cust.prop file\n",
                  head + "Updated OPEN SW 2 by Root Dir : GRP, X \n"));

  set_all("code=NTCODE READ ERROR");
  version(2);
  written = report_lines();
  EXPECT_THAT(std::vector<std::string>(written.begin() + 2, written.begin() + 6),
              ElementsAre(head + "NTCODE READ ERROR 2", head + "MCCMNC: \n", head + "SUBSET: \n",
                          head + "tamra root path: \n"));
}

class FactoryVersionOnOverlay : public FactoryVersion {
 protected:
  FactoryVersionOnOverlay() {
    set_build_property("ro.vendor.qve.product.overlayfs", "true");
    fcx::reload_carrier_set_up();
    lay("product_ext/etc/cust_path_mapping.cfg", "26201,11=CR1:EU");
  }
  void lay(const std::string& name, const std::string& content) {
    const auto place = directory() / "overlay/mnt/product/OP" / name;
    std::filesystem::create_directories(place.parent_path());
    write_file(place, property_file(content));
  }
  /// The lines of the report from the root's on, as far as the model's.
  std::vector<std::string> file_lines() {
    std::vector<std::string> found;
    bool is_inside = false;
    for (const std::string& line : report_lines()) {
      is_inside = (is_inside || line.find("tamra root path") != std::string::npos) &&
                  line.find("Model Name") == std::string::npos;
      if (is_inside && line.find("[SBP_VER]") != std::string::npos) found.push_back(line);
    }
    return found;
  }
};

TEST_F(FactoryVersionOnOverlay, TheServiceHasTheCarriersFiles) {
  const std::string head = "I Fcx: [QVE][SBP_VER]";
  const std::string root = head + "tamra root path: /mnt/product/OP/EU\n";
  EXPECT_EQ("QV100AT-03-V10a-262-01-JUN-01-2020+7", version(2));
  EXPECT_THAT(file_lines(), ElementsAre(root, head + " carriers: CR1:EU\n"));
  lay("EU/cust.prop", "short:V2");
  lay("CR1/cust_sub.prop", "short:V3 postfix:PF");
  EXPECT_EQ("QV100AT-03-V2-262-01-PF-JUN-01-2020+7", version(2));
  EXPECT_THAT(file_lines(), ElementsAre(root, head + " Exist matched cust.prop file via hal\n",
                                        head + "Updated Short Version by Root Dir : V2\n",
                                        head + " carriers: CR1:EU\n",
                                        head + " Exist matched cust_sub.prop file via hal\n",
                                        head + "Updated Postfix by Root Dir : PF\n"));
  lay("product_ext/etc/cust_path_mapping.cfg", "26201,11=EU");
  lay("EU/cust_sub.prop", "postfix:PF");
  EXPECT_EQ("QV100AT-03-V2-262-01-JUN-01-2020+7", version(2)) << "one name alone is no carrier's";
  EXPECT_EQ(head + " carriers: EU\n", file_lines().back());
  lay("product_ext/etc/cust_path_mapping.cfg", "26201,11=::EU");
  version(2);
  EXPECT_EQ(head + " carriers: ::EU\n", file_lines().back());
}

TEST_F(FactoryVersionOnOverlay, EachFileIsReadOnceAndNoneIsTakenForAbsent) {
  lay("EU/cust.prop", "short:V2");
  lay("CR1/cust_sub.prop", "postfix:PF");
  const std::string op = "/mnt/product/OP/";
  const std::string files[] = {op + "product_ext/etc/cust_path_mapping.cfg", op + "EU/cust.prop",
                               op + "CR1/cust_sub.prop"};
  for (const std::string& path : files) fails_from(path, 2);
  EXPECT_EQ("QV100AT-03-V2-262-01-PF-JUN-01-2020+7", version(2));
  for (const std::string& path : files) {
    clear_faults();
    fails_from(path, 1);
    EXPECT_EQ("(failed)", version(2)) << path;
    EXPECT_EQ("I Fcx: get_qve_factory_sw_version_sbp: " + path + " cannot be read\n",
              lines().back());
  }
  clear_faults();
  service_fault("filehandle", Effect::absent);
  EXPECT_EQ("(failed)", version(2));
}

TEST_F(FactoryVersion, EachSlotKnowsWhereItIsFrom) {
  using Source = fcx::VersionSource;
  set_all("own=short:V2; group=group:-GX; arb=A1");
  fcx::FactoryVersion found;
  EXPECT_EQ(0, fcx::read_factory_version(2, found));
  EXPECT_STREQ("QV100AT-03-V2-262-01-JUN-01-2020-A1+7", found.text);
  const std::tuple<const fcx::VersionSlot&, Source, const char*, const char*> slots[] = {
      {found.model, Source::property, "QV100AT", kFactoryModel},
      {found.type, Source::modem, "03", nullptr},
      {found.short_name, Source::file, "V2", "ro.vendor.qve.swversion_short"},
      {found.mcc, Source::network_code, "262", nullptr},
      {found.mnc, Source::network_code, "01", nullptr},
      {found.date, Source::property, "JUN-01-2020", kVersion},
      {found.arb, Source::property, "A1", kArb},
      {found.hidden, Source::property, "7", kVersion}};
  for (const auto& [slot, source, text, name] : slots) {
    EXPECT_EQ(source, slot.source) << text;
    EXPECT_STREQ(text, slot.text);
    EXPECT_STREQ(name, slot.name);
  }
  EXPECT_EQ(Source::none, found.postfix.source);
  EXPECT_STREQ(kOwn, found.files[found.short_name.file]);
  EXPECT_EQ(0, fcx::read_factory_version(1, found));
  EXPECT_EQ(Source::group_file, found.mnc.source);
  EXPECT_STREQ(kGroup, found.files[found.mnc.file]);
  EXPECT_EQ("", item_text(fcx::item::sw_version)) << "nothing is stored";
  set_all("version=X-00-V-M-N-1-2-3-ARB00+7");
  EXPECT_EQ(0, fcx::read_factory_version(1, found));
  EXPECT_EQ(Source::none, found.arb.source) << "what was parsed is no part of the version";
  EXPECT_EQ(1, fcx::read_factory_version(3, found));
}

}  // namespace
}  // namespace fcx_test
