#include "virtual_phone/profiles/packages.h"

namespace virtual_phone {
namespace {

constexpr char kEuropeCarriers[] = R"(<?xml version="1.0" encoding="UTF-8"?>
<profiles date="2020-06-01">
  <!-- The first whose number begins the SIM's: business customers stand before all others. -->
  <profile iccid="8949977" carrier_code_fast="CR1" carrier_code_sub="CR1_BIZ" country="DE"/>
  <profile iccid="894997" carrier_code_fast="CR1" carrier_code_sub="" country="DE"/>
  <profile iccid="894498" carrier_code_fast="CR2" carrier_code_sub="CR2_GB" country="GB"/>
  <profile iccid="893999" carrier_code_fast="CR3" carrier_code_sub="CR3_IT" country="IT"/>
  <profile iccid="" carrier_code_fast="CR4" carrier_code_sub="" country="NL"/>
</profiles>
)";

constexpr char kEuropeFeatures[] = R"(<?xml version="1.0" encoding="UTF-8"?>
<features>
  <carrier_property fast="CR1" sub="CR1_BIZ">
    <string name="persist.vendor.qve.feature.tethering" value="0"/>
  </carrier_property>
  <carrier_property fast="CR1">
    <string name="persist.vendor.qve.feature.volte" value="1"/>
  </carrier_property>
  <carrier_property fast="CR2" sub="CR2_GB">
    <string name="persist.vendor.qve.feature.volte" value="1"/>
    <string name="persist.vendor.qve.feature.vowifi" value="1"/>
  </carrier_property>
  <carrier_property fast="CR3">
    <string name="persist.vendor.qve.feature.volte" value="0"/>
    <string name="ro.com.google.clientidbase" value="android-qve-cr3"/>
  </carrier_property>
</features>
)";

constexpr char kEuropeClientIds[] = R"(<?xml version="1.0" encoding="UTF-8"?>
<client_ids>
  <client_id mccmnc="26201" subset="11">
    <string name="ro.com.google.clientidbase" value="android-qve-eu"/>
  </client_id>
  <client_id mccmnc="23415">
    <string name="ro.com.google.clientidbase" value="android-qve-gb"/>
  </client_id>
  <client_id fast="CR1">
    <string name="ro.com.google.clientidbase" value="android-qve-cr1"/>
  </client_id>
  <client_id fast="CR2" sub="CR2_GB">
    <string name="ro.com.google.clientidbase" value="android-qve-cr2"/>
  </client_id>
</client_ids>
)";

constexpr char kEuropePetnames[] = R"(<?xml version="1.0" encoding="UTF-8"?>
<petnames>
  <petname name="QV 100 Plus" region="EU" variant="plus"/>
  <petname name="QV 100 EU" region="EU"/>
  <petname name="QV 100"/>
</petnames>
)";

constexpr char kAmericaCarriers[] = R"(<?xml version="1.0" encoding="UTF-8"?>
<profiles date="2020-06-01">
  <profile iccid="890197" carrier_code_fast="NA1" carrier_code_sub="NA1_PRE" country="US"/>
  <profile iccid="890198" carrier_code_fast="NA2" carrier_code_sub="" country="US"/>
  <profile iccid="890199" carrier_code_fast="NA3" carrier_code_sub="" country="CA"/>
</profiles>
)";

constexpr char kAmericaFeatures[] = R"(<?xml version="1.0" encoding="UTF-8"?>
<features>
  <carrier_property fast="NA1" sub="NA1_PRE">
    <string name="persist.vendor.qve.feature.hotspot" value="0"/>
  </carrier_property>
  <carrier_property fast="NA1">
    <string name="persist.vendor.qve.feature.hotspot" value="1"/>
  </carrier_property>
</features>
)";

constexpr char kAmericaClientIds[] = R"(<?xml version="1.0" encoding="UTF-8"?>
<client_ids>
  <client_id iccid="8901">
    <string name="ro.com.google.clientidbase" value="android-qve-us"/>
  </client_id>
  <client_id fast="NA2">
    <string name="ro.com.google.clientidbase" value="android-qve-na2"/>
  </client_id>
</client_ids>
)";

constexpr char kAmericaPetnames[] = R"(<?xml version="1.0" encoding="UTF-8"?>
<petnames>
  <petname name="QV 100 Go" country="US"/>
  <petname name="QV 100"/>
</petnames>
)";

struct Place {
  const char* base;     ///< the directory of all packages
  const char* mapping;  ///< which says what customises a network
  const char* petnames;
};
constexpr Place kInPlace = {"/oem/OP", "/oem/OP/cust_path_mapping.cfg", "/oem/OP/petname.xml"};
constexpr Place kOnOverlay = {"/mnt/product/OP",
                              "/mnt/product/OP/product_ext/etc/cust_path_mapping.cfg",
                              "/system/etc/petname.xml"};

std::string root(const Place& place, const Package& package) {
  return std::string(place.base) + package.directory;
}

/// A file of lines NETWORK,SUBSET=VALUE.
template <typename Value>
std::string mapping(const Package& package, Value value) {
  std::string lines;
  for (const Package::Network& network : package.networks) {
    lines += std::string(network.code) + "," + network.subset + "=" + value(network) + "\n";
  }
  return lines;
}

/// What has the same form in both places.
std::vector<ProfileFile> common_files(const Place& place, const Package& package) {
  std::vector<ProfileFile> all;
  for (const auto& [path, content] : package.files) all.push_back({place.base + path, content});
  all.push_back({place.petnames, package.petnames});
  return all;
}

}  // namespace

const Package& open_europe() {
  static const Package package = {
      "/OPEN_EU",
      {
          {"26201", "11", "CR1", "ro.vendor.qve.swversion.postfix=CR1\n"},
          {"23415", "12", "CR2", "ro.vendor.qve.swversion.postfix=CR2\n"},
          {"22210", "13", "CR3", "ro.vendor.qve.swversion.postfix=CR3\n"},
      },
      {
          {"/OPEN_EU/config/carrier_code.xml", kEuropeCarriers},
          {"/OPEN_EU/config/feature_code.xml", kEuropeFeatures},
          {"/OPEN_EU/config/client_id.xml", kEuropeClientIds},
          {"/OPEN_EU/cust.prop",
           "ro.vendor.qve.swversion_short=V10a\n"
           "ro.vendor.qve.swv_date=JUN-01-2020\n"},
      },
      kEuropePetnames,
  };
  return package;
}

const Package& north_america() {
  static const Package package = {
      "/NAO",
      {
          {"310410", "31", "NA1", "ro.vendor.qve.swversion.postfix=NA1\n"},
          {"302720", "32", "NA3", "ro.vendor.qve.swversion.postfix=NA3\n"},
      },
      {
          {"/NAO/config/carrier_code.xml", kAmericaCarriers},
          {"/NAO/config/feature_code.xml", kAmericaFeatures},
          {"/NAO/config/client_id.xml", kAmericaClientIds},
          {"/NAO/cust.prop", "ro.vendor.qve.swversion_short=V10b\n"},
      },
      kAmericaPetnames,
  };
  return package;
}

std::string root_in_place(const Package& package) { return root(kInPlace, package); }
std::string root_on_overlay(const Package& package) { return root(kOnOverlay, package); }

std::vector<ProfileFile> files_in_place(const Package& package) {
  const std::string root = root_in_place(package);
  std::vector<ProfileFile> all = common_files(kInPlace, package);
  all.push_back({kInPlace.mapping, mapping(package, [&](const auto&) { return root; })});
  all.push_back({"/oem/OP/open_path_mapping.cfg",
                 mapping(package, [](const auto& network) { return network.carrier; })});
  for (const Package::Network& network : package.networks) {
    all.push_back({root + "/cust_" + network.carrier + ".prop", network.values});
  }
  return all;
}

std::vector<ProfileFile> files_on_overlay(const Package& package) {
  std::vector<ProfileFile> all = common_files(kOnOverlay, package);
  const std::string directory = package.directory + 1;
  all.push_back({kOnOverlay.mapping, mapping(package, [&](const auto& network) {
                   return network.carrier + (":" + directory);
                 })});
  for (const Package::Network& network : package.networks) {
    all.push_back(
        {std::string(kOnOverlay.base) + "/" + network.carrier + "/cust_sub.prop", network.values});
  }
  return all;
}

}  // namespace virtual_phone
