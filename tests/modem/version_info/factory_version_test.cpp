// The factory software version: which source fills which slot, and what is logged meanwhile.
#include <map>

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
constexpr char kGroup[] = "/oem/OP/cust_group_mapping.cfg";
constexpr char kOpenMapping[] = "/oem/OP/open_path_mapping.cfg";
constexpr char kUnifiedMapping[] = "/oem/OP/EU/config/unified_path_mapping.cfg";
constexpr char kMapping[] = "/oem/OP/cust_path_mapping.cfg";
constexpr char kVersion[] = "ro.vendor.qve.factoryversion";
constexpr char kFactoryModel[] = "ro.boot.vendor.qve.model.factory";
constexpr char kModel[] = "ro.boot.vendor.qve.model.name";
constexpr char kOperator[] = "ro.vendor.qve.build.target_operator";
constexpr char kArb[] = "ro.vendor.qve.swversion_arb";
constexpr char kTypeCode[] = "type_code";
constexpr char kNetworkCode[] = "network_code";
constexpr int kReadTypeCode = 160;

/// A property, a file (a path), the modem's type code or the network code; an empty value: none.
using Settings = std::map<std::string, std::string>;

const Settings kBase = {
    {kVersion, "QV100AT-00-V10a-OPEN-EU-JUN-01-2020+7"},
    {kFactoryModel, "QV-100"},
    {kModel, "QV-100-N"},
    {kOperator, "OPEN"},
    {kArb, ""},
    {kTypeCode, "3"},
    {kNetworkCode, R"("2","262,01F,FFFFFFFF,FFFFFFFF,11","234,15F,FFFFFFFF,FFFFFFFF,12")"},
    {kMapping, "26201,11=/oem/OP/EU\n"},
    {kOpenMapping, "26201,11=CR1\n"},
    {kUnifiedMapping, ""},
    {kGroup, ""},
    {kOwn, ""},
    {kCommon, ""},
    {"/oem/OP/EU/cust_A_B_C_D.prop", ""},
    {"/oem/OP/EU/cust_A_B.prop", ""},
    {"/oem/E/cust.prop", ""},
};

class FactoryVersion : public PhoneTest {
 protected:
  FactoryVersion() {
    std::filesystem::create_directories(file("/oem/OP/EU/config"));
    std::filesystem::create_directories(file("/oem/E"));
    set_all({});
  }

  /// What is set from now on: the base, but for these.
  void set_all(const Settings& changes) {
    Settings all = changes;
    all.insert(kBase.begin(), kBase.end());
    for (const auto& [name, value] : all) set(name, value);
    lines();
    requests();
  }

  void set(const std::string& name, const std::string& value) {
    if (name[0] == '/') {
      if (value.empty()) {
        std::filesystem::remove(file(name.c_str()));
      } else {
        write_file(file(name.c_str()), value);
      }
    } else if (name == kNetworkCode) {
      set_item(fcx::item::network_code, value + std::string(2048 - value.size(), '\0'));
    } else if (name != kTypeCode) {
      set_build_property(name.c_str(), value);
    } else if (value.empty()) {
      virtual_phone::remove_modem_value(phone(), kTypeCode);
    } else {
      set_modem(kTypeCode, value);
    }
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
      const bool is_links = line.find("[COMMON_INTERFACE]") != std::string::npos ||
                            line.find("[DMI]") != std::string::npos ||
                            line.find("Response Status") != std::string::npos ||
                            line.find("dmi_init") != std::string::npos;
      if (!is_links) found.push_back(line);
    }
    return found;
  }
};

std::string value(const char* key, const std::string& text) {
  return std::string("ro.vendor.qve.") + key + "=" + text + "\n";
}

TEST_F(FactoryVersion, EachSlotHasItsFirstSource) {
  const std::string own = value("swversion_short", "V20x") + value("swversion.postfix", "PF") +
                          value("swv_date", "DEC-24-2020") + value("swversion_rev", "9");
  const std::string date = "-JUN-01-2020+7";
  const std::string network = "QV100AT-03-V10a-262-01";
  const std::string nobody = R"("1","999,999,FFFFFFFF,FFFFFFFF,99")";
  const std::string group = "ro.vendor.qve.tamragroup=";
  const std::string tokens = "QV-00-V10a-OPEN-EU-JUN-01-2020";
  const struct {
    int type;
    Settings changes;
    std::string expected;
  } cases[] = {
      {1, {}, "QV100AT-00-V10a-OPEN-EU" + date},
      {2, {}, network + date},
      // The model, and where it was built for.
      {1, {{kOperator, "TRF"}}, "QV100HL-00-V10a-OPEN-EU" + date},
      {1, {{kFactoryModel, ""}, {kModel, "ZZ--9-N"}}, "ZZ9AT-00-V10a-OPEN-EU" + date},
      {1, {{kFactoryModel, "QV100"}}, "QV100AT-00-V10a-OPEN-EU" + date},
      {1, {{kFactoryModel, "-"}, {kOperator, ""}}, "-00-V10a-OPEN-EU" + date},
      // The tokens of the property.
      {1, {{kVersion, "-X--00-V-M---N-D+7"}}, "QV100AT-00-V-M-N-D+7"},
      {1, {{kVersion, tokens}}, "QV100AT-00-V10a-OPEN-EU-JUN-01-2020"},
      {1, {{kVersion, tokens + "++7"}}, "QV100AT-00-V10a-OPEN-EU-JUN-01-2020++7"},
      {1, {{kVersion, tokens + "+7-8+9"}}, "QV100AT-00-V10a-OPEN-EU-JUN-01-2020+7-8+9"},
      {1, {{kVersion, "X-00-V-M-N-+D+7"}}, "QV100AT-00-V-M-N-D+7"},
      {1,
       {{kVersion, "X-00-V-M-N-" + std::string(59, 'd')}},
       "QV100AT-00-V-M-N-" + std::string(52, 'd')},
      // ARB: three tokens make the date, and only the property's version counts.
      {1, {{kVersion, tokens + "-ARB00+7"}}, "QV100AT-00-V10a-OPEN-EU" + date},
      {1,
       {{kVersion, tokens + "-ARB00+7"}, {kArb, "ARB01"}},
       "QV100AT-00-V10a-OPEN-EU-JUN-01-2020-ARB01+7"},
      {1, {{kArb, "A-1"}}, "QV100AT-00-V10a-OPEN-EU-JUN-01-2020-A-1+7"},
      {1, {{kVersion, "X-00-ARB-M-N-J-1-2020+7"}, {kArb, "A"}}, "QV100AT-00-ARB-M-N-J-1-2020+7-A"},
      // FACTORY.
      {1, {{kVersion, tokens + "-FACTORY+7"}}, "QV100AT-00-V10a-OPEN-EU-JUN-01-2020-FACTORY"},
      {1, {{kVersion, tokens + "+FACTORY"}}, "QV100AT-00-V10a-OPEN-EU-JUN-01-2020-FACTORY"},
      {1, {{kVersion, "X-00-Vfactory-M-N-FACTORY"}, {kArb, "A"}}, "QV100AT-00--FACTORY"},
      {1, {{kVersion, "X-00-Factory-M-N-FACTORY"}}, "QV100AT-00-FACTORY"},
      {1, {{kVersion, "X-00-V-M-N-FACTORY"}, {kFactoryModel, "Factory-1"}}, "-FACTORY"},
      {1, {{kVersion, "X-00-FACTORY-M-N-" + std::string(53, 'd')}}, "QV100AT-00-FACTORY"},
      {1,
       {{kVersion, "X-00-V-M-N-" + std::string(50, 'd') + "+FACTORY"}},
       "QV100AT-00-V-M-N-" + std::string(50, 'd') + "-F"},
      // The modem's type code.
      {2, {{kTypeCode, ""}}, "QV100AT-00-V10a-262-01" + date},
      {2, {{kTypeCode, "an ERROR"}}, "QV100AT-00-V10a-262-01" + date},
      {2, {{kTypeCode, "12\r\n34"}}, "QV100AT-012-V10a-262-01" + date},
      {2,
       {{kTypeCode, std::string("1\0"
                                "2",
                                3)}},
       "QV100AT-01-V10a-262-01" + date},
      // The network code.
      {2,
       {{kNetworkCode, R"("1","FFF,FFF,FFFFFFFF,FFFFFFFF,FF")"}},
       "QV100AT-03-V10a-OPEN-EU" + date},
      {2,
       {{kNetworkCode, R"("1","310,410,FFFFFFFF,FFFFFFFF,31")"}},
       "QV100AT-03-V10a-310-410" + date},
      {2, {{kNetworkCode, "ERROR 1"}}, "QV100AT-03-V10a-OPEN-EU" + date},
      // Groups.
      {1, {{kGroup, group + "GRP-X\n"}}, "QV100AT-00-V10a-GRP-X" + date},
      {1, {{kGroup, group + "A-B-C\n"}}, "QV100AT-00-V10a-A-B-C" + date},
      {1, {{kGroup, group + "GRP\n"}}, "QV100AT-00-V10a-OPEN-EU" + date},
      {1, {{kGroup, group + "-X\n"}}, "QV100AT-00-V10a-OPEN-X" + date},
      {1, {{kGroup, group + "GRP-\n"}}, "QV100AT-00-V10a-GRP-EU" + date},
      {2, {{kGroup, group + "GRP-X\n"}}, network + date},
      {2, {{kGroup, group + "GRP-X\n"}, {kNetworkCode, "ERROR"}}, "QV100AT-03-V10a-GRP-X" + date},
      {2, {{kGroup, group + "GRP-X\n"}, {kNetworkCode, nobody}}, "QV100AT-03-V10a-999-999" + date},
      {2,
       {{kGroup, group + "GRP-X\n"},
        {kNetworkCode, nobody},
        {kMapping, "999999,99=/oem/OP/EU\n"},
        {kCommon, "\n"}},
       "QV100AT-03-V10a-GRP-X" + date},
      {2,
       {{kGroup, group + "GRP-X\n"},
        {kNetworkCode, nobody},
        {kMapping, "999999,99=/oem/OP/EU\n"},
        {kCommon, value("opensw", "310-170")}},
       "QV100AT-03-V10a-310-170" + date},
      {2, {{kGroup, group + "GRP-X\n"}, {kOwn, "\n"}}, network + date},
      // The carrier's files.
      {1, {{kOwn, own}}, "QV100AT-00-V10a-OPEN-EU" + date},
      {2, {{kOwn, own}}, "QV100AT-03-V20x-262-01-PF-DEC-24-2020+9"},
      {2, {{kCommon, own}}, "QV100AT-03-V20x-262-01-PF-DEC-24-2020+9"},
      {2, {{kCommon, own}, {kOwn, "\n"}}, network + date},
      {2, {{kOwn, value("swversion_short", "")}}, network + date},
      {2, {{kOwn, value("opensw", "310-170")}}, "QV100AT-03-V10a-310-170" + date},
      {2, {{kOwn, value("opensw", "310")}}, network + date},
      {2, {{kOwn, value("opensw", "-170")}}, "QV100AT-03-V10a-262-170" + date},
      {2, {{kOwn, value("opensw", "310-")}}, "QV100AT-03-V10a-310-01" + date},
      {2, {{kOwn, value("opensw", "310-170") + value("opensw.enableca", "10")}}, network + date},
      {2,
       {{kOwn, value("opensw", "310-170") + value("opensw.enableca", "0")}},
       "QV100AT-03-V10a-310-170" + date},
      {2,
       {{kOwn, value("swversion.postfix", std::string(80, 'p'))}},
       network + "-" + std::string(46, 'p')},
      {2, {{kOwn, std::string("\x1\0\xFF=\0\n", 6) + value("swv_date", "D")}}, network + "-D+7"},
      {2,
       {{kOwn, std::string(size_t{16} << 20, 'x') + "\n" + value("swv_date", "D")}},
       network + date},
      // Which files those are.
      {2, {{kOwn, own}, {kMapping, "26201,11=/oem\n"}}, network + date},
      {2,
       {{"/oem/E/cust.prop", own}, {kMapping, "26201,11=/oem/E\n"}},
       "QV100AT-03-V20x-262-01-PF-DEC-24-2020+9"},
      {2,
       {{kOwn, own}, {kMapping, "23415,12=/oem/OP/EU\n"}},
       "QV100AT-03-V20x-262-01-PF-DEC-24-2020+9"},
      {2, {{kOwn, own}, {kOpenMapping, "23415,12=CR1\n"}}, network + date},
      {2,
       {{kOwn, own}, {kOpenMapping, ""}, {kUnifiedMapping, "26201,11=CR1\n"}},
       "QV100AT-03-V20x-262-01-PF-DEC-24-2020+9"},
      {2,
       {{kOwn, own}, {kOpenMapping, "26201,11=\n"}, {kUnifiedMapping, "26201,11=CR1\n"}},
       "QV100AT-03-V20x-262-01-PF-DEC-24-2020+9"},
      {2,
       {{kOwn, "\n"}, {kUnifiedMapping, "\n"}, {kCommon, own}},
       "QV100AT-03-V20x-262-01-PF-DEC-24-2020+9"},
      {2,
       {{kOpenMapping, "26201,11=A_B_C_D\n"},
        {"/oem/OP/EU/cust_A_B_C_D.prop", value("swversion_short", "V1") + value("swv_date", "D")},
        {"/oem/OP/EU/cust_A_B.prop", value("swversion_short", "V2")}},
       "QV100AT-03-V2-262-01-D+7"},
      {2,
       {{kOpenMapping, "26201,11=A_B_C_D\n"},
        {"/oem/OP/EU/cust_A_B_C_D.prop", value("swversion_short", "V1")},
        {"/oem/OP/EU/cust_A_B.prop", value("swversion_short", "V2") + value("sbp.ui", "1")}},
       "QV100AT-03-V1-262-01" + date},
  };
  for (const auto& [type, changes, expected] : cases) {
    SCOPED_TRACE(expected);
    for (const auto& [name, text] : changes) SCOPED_TRACE(name + ": " + text.substr(0, 200));
    set_all(changes);
    EXPECT_EQ(expected, version(type));
    EXPECT_EQ(type == 2 ? expected : item_text(fcx::item::sw_version),
              item_text(fcx::item::sw_version));
  }
}

TEST_F(FactoryVersion, WithoutAPieceThereIsNone) {
  const std::string parsing = "[QVE][SBP_VER]Factory Version Parsing Error. ";
  const std::string own = "get_qve_factory_sw_version_sbp: ";
  const std::string no_property =
      "ro.vendor.qve.factoryversion property is not active or read error";
  const std::string tokens = "X-00-V-M-N-";
  const std::string filled = value("swversion_short", "V") + value("opensw", "M-N") +
                             value("swv_date", "D") + value("swversion_rev", "9");
  const struct {
    int type;
    Settings changes;
    std::string line;
  } cases[] = {
      {1, {{kVersion, ""}}, no_property},
      {1, {{kVersion, tokens + std::string(60, 'd')}}, no_property},
      {3, {{kVersion, ""}}, no_property},
      {1, {{kFactoryModel, ""}, {kModel, ""}}, own + "there is no model name\n"},
      {1, {{kOperator, ""}}, own + "ro.vendor.qve.build.target_operator is empty\n"},
      {1, {{kVersion, "X"}}, own + "ro.vendor.qve.factoryversion has no type\n"},
      {2, {{kVersion, "---"}, {kTypeCode, ""}}, own + "ro.vendor.qve.factoryversion has no type\n"},
      {2, {{kVersion, "X"}}, parsing + "version_name is NULL"},
      {1, {{kVersion, "X-00"}}, parsing + "version_name is NULL"},
      {1, {{kVersion, "X-00-V"}}, parsing + "MCC is NULL"},
      {1, {{kVersion, "X-00-V-M"}}, parsing + "MNC is NULL"},
      {1, {{kVersion, "X-00-V-M-N-+"}}, parsing + "release_date is NULL"},
      {1, {{kVersion, "X-00-ARB-M-N"}}, parsing + "release_date is NULL"},
      {1, {{kVersion, "X-00-ARB-M-N-J"}}, parsing + "release_date(day) is NULL"},
      {1, {{kVersion, "X-00-ARB-M-N-J-1-"}}, parsing + "release_date(year) is NULL"},
      // Also where the slot is filled from elsewhere.
      {2, {{kVersion, "X-00"}, {kOwn, filled}}, parsing + "version_name is NULL"},
      {2, {{kVersion, "X-00-V"}, {kOwn, filled}}, parsing + "MCC is NULL"},
      {2, {{kVersion, "X-00-V-M"}, {kOwn, filled}}, parsing + "MNC is NULL"},
      {2, {{kVersion, "X-00-V-M-N"}, {kOwn, filled}}, parsing + "release_date is NULL"},
      {2, {{kNetworkCode, ""}}, "[QVE][SBP_VER]NTCODE READ ERROR 1"},
  };
  set_item(fcx::item::sw_version, "old");
  for (const auto& [type, changes, line] : cases) {
    set_all(changes);
    EXPECT_EQ("(failed)", version(type)) << line;
    EXPECT_EQ("I Fcx: " + line, lines().back());
  }
  constexpr int kBeginBulk = 154, kReceiveBulk = 156;
  const std::tuple<int, int, Effect, int, std::string> faults[] = {
      {2, kBeginBulk, Effect::fail, 1, "[QVE][SBP_VER]NTCODE READ ERROR 1"},
      {2, kReceiveBulk, Effect::garbage, 0, "[QVE][SBP_VER]NTCODE is empty"},
      {1, kReadTypeCode, Effect::fail, 5, own + "no type code from the modem: 1\n"},
      {2, kReadTypeCode, Effect::fail, 2, own + "no type code from the modem: 2\n"}};
  set_all({});
  for (const auto& [type, request, effect, number, line] : faults) {
    request_fault(request, effect, number);
    EXPECT_EQ("(failed)", version(type)) << line;
    EXPECT_EQ("I Fcx: " + line, lines().back());
    clear_faults();
  }
  EXPECT_EQ("old", item_text(fcx::item::sw_version));
}

TEST_F(FactoryVersion, WhatCannotBeReadIsNotTakenForAbsent) {
  set_all({{kOwn, "\n"}, {kUnifiedMapping, "\n"}, {kGroup, "\n"}});
  const std::pair<const char*, Access> cases[] = {
      {kMapping, Access::open}, {kOpenMapping, Access::read}, {kUnifiedMapping, Access::stat},
      {kOwn, Access::stat},     {kOwn, Access::open},         {kGroup, Access::read}};
  for (const auto& [path, access] : cases) {
    fault(Part::file, path, Effect::fail, EACCES, access);
    EXPECT_EQ("(failed)", version(2)) << path;
    EXPECT_EQ(std::string("I Fcx: get_qve_factory_sw_version_sbp: ") + path + " cannot be read\n",
              lines().back());
    clear_faults();
  }
}

TEST_F(FactoryVersion, EachFileIsOpenedOnce) {
  set_all({{kMapping, "23415,12=/oem/OP/EU\n"},  // which the second of two entries finds
           {kOpenMapping, "26201,11=\n"},
           {kUnifiedMapping, "26201,11=A_B_C_D\n"},
           {"/oem/OP/EU/cust_A_B_C_D.prop", value("swv_date", "D")},
           {kCommon, value("swversion_short", "V2")},
           {kGroup, "\n"}});
  for (const char* path :
       {kMapping, kOpenMapping, kUnifiedMapping, kGroup, kCommon, "/oem/OP/EU/cust_A_B_C_D.prop"}) {
    virtual_phone::set_fault(phone(),
                             {0, Part::file, path, Access::open, Effect::fail, EIO, {}, 2});
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
  set_all({{kVersion, "QV-00-V10a-OPEN-EU-JUN-01-2020-ARBFACTORY"}, {kFactoryModel, ""}});
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

  set_all({{kOpenMapping, "26201,11=A_B_C_D\n"},
           {kFactoryModel, "-"},
           {"/oem/OP/EU/cust_A_B_C_D.prop",
            value("swv_date", "D") + value("swversion_rev", "9") + value("opensw", "310-170")},
           {"/oem/OP/EU/cust_A_B.prop",
            value("swversion_short", "V2") + value("swversion.postfix", "PF")}});
  set_build_property("ro.build.type", "user");  // the report's own lines come all the same
  EXPECT_EQ("-03-V2-310-170-PF-D+9", version(2));
  auto written = report_lines();
  written.erase(std::remove_if(written.begin(), written.end(),
                               [](const auto& line) {
                                 return line.find("receive_modem_data") != std::string::npos;
                               }),
                written.end());
  EXPECT_THAT(
      written,
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

  set_all({{kNetworkCode, R"("1","999,999,FFFFFFFF,FFFFFFFF,99")"},
           {kMapping, "999999,99=/oem/OP/EU\n"},
           {kGroup, "ro.vendor.qve.tamragroup=GRP-X\n"},
           {kCommon, "\n"}});
  EXPECT_EQ("QV100AT-03-V10a-GRP-X-JUN-01-2020+7", version(2));
  written = report_lines();
  EXPECT_THAT(
      std::vector<std::string>(written.end() - 9, written.end() - 6),
      ElementsAre(head + "tamra root path: /oem/OP/EU\n", head + "Exist matched cust.prop file\n",
                  head + "Updated OPEN SW 2 by Root Dir : GRP, X \n"));

  set_all({{kNetworkCode, "NTCODE READ ERROR"}});
  version(2);
  written = report_lines();
  EXPECT_THAT(std::vector<std::string>(written.begin() + 4, written.begin() + 8),
              ElementsAre(head + "NTCODE READ ERROR 2", head + "MCCMNC: \n", head + "SUBSET: \n",
                          head + "tamra root path: \n"));
}

class FactoryVersionOnOverlay : public FactoryVersion {
 protected:
  FactoryVersionOnOverlay() {
    set_build_property("ro.vendor.qve.product.overlayfs", "true");
    fcx::reload_carrier_set_up();
    lay("product_ext/etc/cust_path_mapping.cfg", "26201,11=CR1:EU\n");
  }
  void lay(const std::string& name, const std::string& content) {
    const auto place = directory() / "overlay/mnt/product/OP" / name;
    std::filesystem::create_directories(place.parent_path());
    write_file(place, content);
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
  lay("EU/cust.prop", value("swversion_short", "V2"));
  lay("CR1/cust_sub.prop", value("swversion_short", "V3") + value("swversion.postfix", "PF"));
  EXPECT_EQ("QV100AT-03-V2-262-01-PF-JUN-01-2020+7", version(2));
  EXPECT_THAT(file_lines(), ElementsAre(root, head + " Exist matched cust.prop file via hal\n",
                                        head + "Updated Short Version by Root Dir : V2\n",
                                        head + " carriers: CR1:EU\n",
                                        head + " Exist matched cust_sub.prop file via hal\n",
                                        head + "Updated Postfix by Root Dir : PF\n"));
  lay("product_ext/etc/cust_path_mapping.cfg", "26201,11=EU\n");
  EXPECT_EQ("QV100AT-03-V2-262-01-JUN-01-2020+7", version(2)) << "one name alone is no carrier's";
  EXPECT_EQ(head + " carriers: EU\n", file_lines().back());
}

TEST_F(FactoryVersionOnOverlay, EachFileIsReadOnceAndNoneIsTakenForAbsent) {
  lay("EU/cust.prop", value("swversion_short", "V2"));
  lay("CR1/cust_sub.prop", value("swversion.postfix", "PF"));
  const std::string op = "/mnt/product/OP/";
  for (const char* name :
       {"product_ext/etc/cust_path_mapping.cfg", "EU/cust.prop", "CR1/cust_sub.prop"}) {
    virtual_phone::set_fault(phone(),
                             {0, Part::file, op + name, Access::open, Effect::fail, EIO, {}, 2});
  }
  EXPECT_EQ("QV100AT-03-V2-262-01-PF-JUN-01-2020+7", version(2));
  for (const char* name :
       {"product_ext/etc/cust_path_mapping.cfg", "EU/cust.prop", "CR1/cust_sub.prop"}) {
    clear_faults();
    fault(Part::file, op + name, Effect::fail, EIO, Access::open);
    EXPECT_EQ("(failed)", version(2)) << name;
    EXPECT_EQ("I Fcx: get_qve_factory_sw_version_sbp: " + op + name + " cannot be read\n",
              lines().back());
  }
  clear_faults();
  service_fault("filehandle", Effect::absent);
  EXPECT_EQ("(failed)", version(2));
}

TEST_F(FactoryVersion, EachSlotKnowsWhereItIsFrom) {
  using Source = fcx::VersionSource;
  set_all({{kOwn, value("swversion_short", "V2")},
           {kGroup, "ro.vendor.qve.tamragroup=-GX\n"},
           {kNetworkCode, R"("1","262,01F,FFFFFFFF,FFFFFFFF,11")"},
           {kArb, "A1"}});
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
  EXPECT_EQ(1, fcx::read_factory_version(3, found));
}

}  // namespace
}  // namespace fcx_test
