#include "daemon/versions.h"

#include <array>
#include <functional>

#include "fcx/factory_item_table.h"
#include "fcx/version_info.h"
#include "virtual_phone/core/item_store.h"
#include "virtual_phone/core/log_buffer.h"

namespace factory_daemon {
namespace {

namespace vp = virtual_phone;
using fcx::VersionSource;

constexpr int kAsBuilt = 1;
constexpr int kOfCarrier = 2;

/// Where a piece is from, as people call it.
VersionPiece piece_of(const char* name, const fcx::VersionSlot& slot,
                      const fcx::FactoryVersion& version) {
  VersionPiece piece{name, slot.text, "-", ""};
  switch (slot.source) {
    case VersionSource::none:
      break;
    case VersionSource::file:
    case VersionSource::group_file:
      piece.source = "file";
      piece.where = std::string(slot.name) + " in " + version.files[slot.file];
      break;
    case VersionSource::network_code:
      piece.source = "network code";
      piece.where = "its first entry";
      break;
    case VersionSource::modem:
      piece.source = "modem";
      piece.where = "type code";
      break;
    case VersionSource::property:
      piece.source = "property";
      piece.where = slot.name;
      break;
  }
  return piece;
}

/// Calls `read`, and notes why there is no version when it returns false.
void read_or_reason(ReportedVersion& version, const std::function<bool()>& read) {
  vp::observe_log([&](const vp::LogEntry& entry) {
    version.reason = entry.message;
    while (!version.reason.empty() && version.reason.back() == '\n') version.reason.pop_back();
  });
  const bool is_there = read();
  vp::observe_log({});
  if (is_there) version.reason.clear();
}

StoredVersion stored_in(vp::Phone& phone, int item) {
  return {item, vp::read_items(phone, item, vp::kItemBlock).c_str()};
}

ReportedVersion software_version(vp::Phone& phone, int type, const char* name, const char* title,
                                 int item) {
  ReportedVersion version{name, title, {}, {}, {}, stored_in(phone, item)};
  fcx::FactoryVersion found;
  read_or_reason(version, [&] { return fcx::read_factory_version(type, found) == 0; });
  if (!version.reason.empty()) return version;
  version.value = found.text;
  const std::pair<const char*, const fcx::VersionSlot&> slots[] = {
      {"model", found.model},       {"type", found.type},       {"short name", found.short_name},
      {"MCC", found.mcc},           {"MNC", found.mnc},         {"postfix", found.postfix},
      {"release date", found.date}, {"ARB version", found.arb},
  };
  for (const auto& [piece, slot] : slots) version.pieces.push_back(piece_of(piece, slot, found));
  // Of the other one its last letters are.
  version.pieces.front().where += ", ro.vendor.qve.build.target_operator";
  if (found.is_factory) {
    version.pieces.push_back({"ending", "FACTORY", "property", "ro.vendor.qve.factoryversion"});
  } else {
    version.pieces.push_back(piece_of("hidden version", found.hidden, found));
  }
  return version;
}

ReportedVersion fixed_area_version(vp::Phone& phone) {
  constexpr int kItem = fcx::item::sw_fixed_area_version;
  ReportedVersion version{"fixed_area", "software of the fixed areas", {}, {},
                          {},           stored_in(phone, kItem)};
  fcx::FixedAreaVersion found;
  int length = 0;
  // With a field that is a default it is a version, too.
  read_or_reason(version,
                 [&] { return fcx::read_fixed_area_version(found, length) == 0 || length > 0; });
  if (!version.reason.empty()) return version;
  version.value = std::string(found.text, static_cast<size_t>(length));
  const std::pair<const char*, const fcx::FixedAreaField&> fields[] = {
      {"application processor", found.application},
      {"modem, derived from it", found.modem},
      {"customisation", found.customisation},
      {"operator", found.carrier},
  };
  for (const auto& [name, field] : fields) {
    version.pieces.push_back(
        {name, field.text, field.is_default ? "default" : "file",
         field.is_default ? std::string("without ") + field.path : field.path});
  }
  return version;
}

/// A version that one source tells.
ReportedVersion single_version(const char* name, const char* title, int (*read)(char*, int*),
                               const char* source, const char* where) {
  constexpr size_t kLongest = 92;
  ReportedVersion version{name, title, {}, {}, {}, {}};
  std::array<char, kLongest> text{};
  int length = 0;
  read_or_reason(version, [&] { return read(text.data(), &length) == 0; });
  if (!version.reason.empty()) return version;
  version.value = std::string(text.data(), static_cast<size_t>(length)).c_str();
  version.pieces.push_back({"whole", *version.value, source, where});
  return version;
}

}  // namespace

std::vector<ReportedVersion> read_versions(vp::Phone& phone) {
  return {
      software_version(phone, kOfCarrier, "software", "software, as the carrier has it",
                       fcx::item::sw_version),
      software_version(phone, kAsBuilt, "original_software", "software, as it was built",
                       fcx::item::sw_original_version),
      fixed_area_version(phone),
      single_version("hardware", "hardware revision", get_qve_hw_version, "command line",
                     "/proc/cmdline"),
      single_version("android", "Android release", get_qve_android_sw_version, "property",
                     "ro.build.version.release"),
      single_version("binary", "binary revision", get_qve_bynary_revision, "property",
                     "ro.vendor.qve.swversion_rev"),
  };
}

}  // namespace factory_daemon
