#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>

#include "common/files.h"
#include "common/log.h"
#include "common/text.h"
#include "fcx/factory_items.h"
#include "fcx/system_control.h"
#include "fcx/version_info.h"
#include "services/steps.h"

namespace {

namespace item = fcx::item;

constexpr char kDefault[] = "FFFFFFFFFFF-FFFFFFFFFFF-FFFFFFFFFFF-FFFFFFFFFFF-F";
constexpr size_t kCompared = 47;  // a change of the last character alone is none, on purpose
constexpr size_t kWhole = sizeof kDefault - 1;
constexpr char kUserDataFile[] = "/data/.userdataid";
constexpr char kCarrierSetUp[] = "persist.vendor.qve.data.sbp.update";

/// A fixed-area version: text, whose characters have fixed places. What is not there is zeros.
using Version = fcx::TextBuffer<fcx::factory_item<item::sw_fixed_area_version>().length>;
static_assert(Version::capacity() > kWhole);

/// A field: where it is, and what is copied with it.
struct Field {
  size_t position;
  size_t copied;  ///< with the separator after it, and the user data's with the last character too
  const char* updated;
};
constexpr size_t kFieldSize = 11;
constexpr Field kUserData{36, 13, "userdata ubid updated\n"};
constexpr Field kFields[] = {{0, 12, "ap ubid updated\n"},
                             {12, 12, "cp ubid updated\n"},
                             {24, 12, "cust ubid updated\n"},
                             kUserData};

/// Texts end at a NUL, here too.
std::string_view text_of(const Version& version, size_t position, size_t size) {
  return fcx::bounded_text(version.c_str() + position, size);
}

bool differ(const Version& a, const Version& b, size_t position, size_t size) {
  return text_of(a, position, size) != text_of(b, position, size);
}

bool differ(const Version& a, const Version& b, const Field& field) {
  return differ(a, b, field.position, kFieldSize);
}

void copy_field(const Field& field, const Version& from, Version& to) {
  memcpy(to.data() + field.position, from.c_str() + field.position, field.copied);
}

/// Both log their failures.
bool read_stored(const char* function, Version& version) {
  if (get_sw_fixed_area_version_ftm_item(version.data()) == 0) return true;
  DOMAIN_ERROR("%s: item %d cannot be read\n", function, item::sw_fixed_area_version);
  return false;
}
bool store(const char* function, const char* text) {
  if (set_sw_fixed_area_version_ftm_item(text) == 0) return true;
  DOMAIN_ERROR("%s: item %d cannot be written\n", function, item::sw_fixed_area_version);
  return false;
}

/// What the user data's file has in the place of that field, and what is copied with it.
void read_user_data(Version& version) {
  constexpr size_t kLongestLine = 49;
  fcx::TextBuffer<kLongestLine> text;
  const fcx::ReadResult read = fcx::read_device_file(kUserDataFile, text.data(), text.capacity());
  if (read.is_absent()) {
    DOMAIN_ERROR("get_swfv : Cannot find userdata ubid, set to default\n");
    return;
  }
  if (read.size() == 0) {
    DOMAIN_ERROR("get_swfv : Cannot read userdata ubid, set to default\n");
    return;
  }
  char* const field = version.data() + kUserData.position;
  memset(field, 0, kUserData.copied);
  const std::string_view line = text.view();
  line.substr(0, line.find('\n')).copy(field, kUserData.copied);
}

/// Copies the fields that differ.
void take_over(const char* function, const Version& phone, Version& stored) {
  const bool has_new_user_data = differ(phone, stored, kUserData);
  const Version before = stored;
  for (const Field& field : kFields) {
    if (!differ(phone, stored, field)) continue;
    copy_field(field, phone, stored);
    DOMAIN_INFO("%s", field.updated);
  }
  if (!has_new_user_data || is_op_image_support() != 0) {
    DOMAIN_INFO("op ubid is exist");
  } else if (fcx::set_property(function, kCarrierSetUp, "0")) {
    DOMAIN_INFO("%s set to 0\n", kCarrierSetUp);
  } else {
    // The next start finds the difference again, and tries again to say so.
    copy_field(kUserData, before, stored);
  }
}

}  // namespace

void system_update_settings_from_cust() {
  Version stored;
  if (!read_stored(__func__, stored)) return;
  Version phone;
  int length = 0;
  const int code = get_qve_factory_sw_fixed_area_version(phone.data(), &length);
  DOMAIN_INFO("SWFV FTM:   %s\n", stored.c_str());
  DOMAIN_INFO("SWFV PHONE: %s\n", phone.c_str());
  if (code == 1 && length == 0) {
    if (store(__func__, kDefault)) {
      DOMAIN_INFO("SWFV-A updated, Model doesn't support SWFV\n");
    }
    return;
  }
  if (length < 1 || !differ(phone, stored, 0, kCompared)) return;
  take_over(__func__, phone, stored);
  if (store(__func__, stored.c_str())) DOMAIN_INFO("SWFV-A updated:%s\n", stored.c_str());
}

void userdata_tamra_version_update() {
  Version stored;
  if (!read_stored(__func__, stored)) return;
  if (stored.empty()) {
    if (!store(__func__, kDefault)) return;
    DOMAIN_INFO("Userdata ID is updated to default value\n");
    stored = Version(kDefault);
  }
  Version candidate(kDefault);
  read_user_data(candidate);
  if (!differ(candidate, stored, 0, kCompared)) return;
  if (differ(candidate, stored, kUserData)) {
    DOMAIN_INFO("userdata id is updated\n");
    // The next start finds the difference again, and tries again to say so.
    if (fcx::set_property(__func__, kCarrierSetUp, "0")) copy_field(kUserData, candidate, stored);
  }
  // Also where that field is the same. The candidate knows no other, so that an item which does is
  // written at every start, on purpose.
  if (store(__func__, stored.c_str())) DOMAIN_INFO("Userdata ID is updated:%s\n", stored.c_str());
}
