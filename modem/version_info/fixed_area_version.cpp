// The version of the software's fixed areas, from build-identifier files.
#include <cstring>
#include <string>

#include "common/files.h"
#include "common/log.h"
#include "common/text.h"
#include "fcx/customisation.h"
#include "fcx/version_info.h"

namespace {

using fcx::FixedAreaField;
using fcx::FixedAreaVersion;
using fcx::Identifier;
using fcx::IdentifierFile;
using fcx::ReadResult;

constexpr size_t kLongestLine = 49;
using Line = fcx::TextBuffer<kLongestLine>;

constexpr size_t kIdentifier = 11;
constexpr size_t kCarrierIdentifier = 13;
constexpr size_t kWhole = sizeof(FixedAreaVersion::text) - 1;
static_assert(kWhole == 3 * (kIdentifier + 1) + kCarrierIdentifier);

constexpr char kApplicationFile[] = "/vendor/etc/ap.ubid";
constexpr char kCustomisationFile[] = "/cust/cust.ubid";
constexpr char kOperatorImage[] = "/oem/OP";
constexpr char kOperatorFile[] = "/oem/OP/_COMMON/op.ubid";
constexpr char kUserDataFile[] = "/data/.OP/userdata.ubid";
constexpr char kProductFile[] = "/product/etc/op.ubid";

constexpr char kNoIdentifier[] = "FFFFFFFFFFF";
constexpr char kNoCarrierIdentifier[] = "FFFFFFFFFFF-F";

/// The first line of a text, of as many characters as count.
Line first_line(std::string_view text) {
  text = text.substr(0, kLongestLine);
  return Line(text.substr(0, text.find('\n')));
}

/// Reads a build identifier. An empty file is none that can be read.
ReadResult read_identifier(const char* path, Line& line) {
  Line text;
  const ReadResult read = fcx::read_device_file(path, text.data(), text.capacity());
  if (read.has_content() && read.size() == 0) return ReadResult::failed(EIO);
  line = first_line(text.view());
  return read;
}

/// The same through the file-handle service, where an empty file is one that is not there.
ReadResult read_identifier_through_service(const char* path, Line& line) {
  const fcx::PackageCache cache;
  const std::string contents = get_halData_from_file(path);
  line = first_line(contents);
  if (!contents.empty()) return ReadResult::content(contents.size());
  return ReadResult::failed(cache.unreadable() == nullptr ? ENOENT : EIO);
}

void set_field(FixedAreaField& field, std::string_view text, size_t width, const char* path,
               bool is_default = false) {
  field = {{}, path, is_default};
  text.copy(field.text, width);
}

IdentifierFile carrier_identifier_file() {
  if (e_is_overlayfs) return {kProductFile, true};
  switch (fcx::presence_of(kOperatorImage)) {
    case fcx::Presence::present:
      return {kOperatorFile, false};
    case fcx::Presence::absent:
      return {kUserDataFile, false};
    case fcx::Presence::unknown:
      break;
  }
  return {nullptr, false};
}

ReadResult read_carrier_identifier(const char*& path, Line& line) {
  const IdentifierFile file = carrier_identifier_file();
  path = file.path;
  if (path == nullptr) return ReadResult::failed(EIO);
  if (file.is_behind_service) {
    DOMAIN_INFO("get_swfv : Read op.ubid  from product %s\n", path);
    return read_identifier_through_service(path, line);
  }
  if (path == kOperatorFile) {
    DOMAIN_INFO("get_swfv : Read op.ubid from OP %s\n", path);
  } else {
    DOMAIN_INFO("get_swfv : Read userdata.ubid\n");
  }
  return read_identifier(path, line);
}

/// @return 0, or 1 with the default
int read_carrier_field(FixedAreaField& field) {
  const char* path = nullptr;
  Line line;
  const ReadResult read = read_carrier_identifier(path, line);
  if (read.has_content()) {
    set_field(field, line.view(), kCarrierIdentifier, path);
    return 0;
  }
  if (read.is_absent()) {
    DOMAIN_INFO("get_swfv : Cannot find userdata ubid, set to default\n");
  } else {
    DOMAIN_INFO("get_swfv : Cannot read userdata ubid, set to default\n");
  }
  set_field(field, kNoCarrierIdentifier, kCarrierIdentifier, path, true);
  return 1;
}

/// Puts the fields into their places, as many as there are.
void assemble(FixedAreaVersion& version) {
  size_t place = 0;
  for (const auto* field : {&version.application, &version.modem, &version.customisation}) {
    if (field->path == nullptr) return;
    memcpy(version.text + place, field->text, kIdentifier);
    version.text[place + kIdentifier] = '-';
    place += kIdentifier + 1;
  }
  memcpy(version.text + place, version.carrier.text, kCarrierIdentifier);
}

/// Reads the fields. @return 0; 1 with a default; -1 when there is none for a field
int read_fields(FixedAreaVersion& version) {
  Line line;
  const ReadResult application = read_identifier(kApplicationFile, line);
  if (application.is_absent()) DOMAIN_INFO("get_swfv : Cannot find ap ubid\n");
  if (application.has_failed()) DOMAIN_INFO("get_swfv : Cannot read ap ubid\n");
  if (!application.has_content()) return -1;
  set_field(version.application, line.view(), kIdentifier, kApplicationFile);
  // The modem's identifier is the application processor's with another first letter, on purpose.
  set_field(version.modem, line.view(), kIdentifier, kApplicationFile);
  version.modem.text[0] = 'M';

  const ReadResult customisation = read_identifier(kCustomisationFile, line);
  if (customisation.has_failed()) {
    DOMAIN_INFO("get_swfv : Cannot read cust ubid\n");
    return -1;
  }
  if (customisation.is_absent()) {
    DOMAIN_INFO("get_swfv : OP use only, cust.ubid set to default\n");
    set_field(version.customisation, kNoIdentifier, kIdentifier, kCustomisationFile, true);
  } else {
    set_field(version.customisation, line.view(), kIdentifier, kCustomisationFile);
  }
  const int carrier = read_carrier_field(version.carrier);
  return customisation.is_absent() ? 1 : carrier;
}

}  // namespace

IdentifierFile fcx::identifier_file(Identifier identifier) {
  switch (identifier) {
    case Identifier::application:
      return {kApplicationFile, false};
    case Identifier::customisation:
      return {kCustomisationFile, false};
    case Identifier::carrier:
      break;
  }
  return carrier_identifier_file();
}

int fcx::read_fixed_area_version(FixedAreaVersion& version, int& length) {
  version = {};
  const int outcome = read_fields(version);
  assemble(version);
  length = outcome < 0 ? 0 : static_cast<int>(strlen(version.text));
  return outcome == 0 ? 0 : 1;
}

int get_qve_factory_sw_fixed_area_version(char* out, int* out_len) {
  if (out == nullptr || out_len == nullptr) return 1;
  FixedAreaVersion version;
  const int outcome = fcx::read_fixed_area_version(version, *out_len);
  if (version.application.path != nullptr) memcpy(out, version.text, kWhole);
  return outcome;
}
