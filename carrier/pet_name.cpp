#include "carrier/pet_name.h"

#include <algorithm>
#include <iterator>

#include "carrier/package/files.h"
#include "carrier/package/paths.h"
#include "carrier/properties.h"
#include "fcx/customisation.h"

namespace fcx {
namespace {

constexpr char kPetNameProperty[] = "persist.vendor.qve.petname";
constexpr char kSystemPetNames[] = "/system/etc/petname.xml";

/// What an element can ask for, and the property that says what the device is.
struct Condition {
  const char* attribute;
  const char* property;
};
constexpr Condition kConditions[] = {
    {"region", "ro.vendor.qve.build.target_region"},
    {"country", kTargetCountryProperty},
    {"tv", "ro.vendor.qve.tv"},
    {"variant", "ro.boot.vendor.qve.variant"},
};

/// What an element does not ask for counts for any device.
bool is_for_this_device(const xmlNode* element) {
  return std::all_of(std::begin(kConditions), std::end(kConditions), [&](const Condition& each) {
    const XmlAttribute wanted(element, each.attribute);
    return wanted.view().empty() || wanted.view() == read_property(each.property).view();
  });
}

/// @return whether the file has a name for this device
bool publish_name_of(const char* file) {
  if (fexists(file) == 0) return false;
  const XmlDocument document = read_package_xml(file).document;
  if (document == nullptr) return false;
  return any_child(xmlDocGetRootElement(document.get()), "petname", [](const xmlNode* element) {
    PropertyText name;
    if (!is_for_this_device(element) || !XmlAttribute(element, "name").fits(name) || name.empty()) {
      return false;
    }
    publish(kPetNameProperty, name);
    return true;
  });
}

}  // namespace

void resolve_pet_name() {
  LongText file;
  qve_get_tamra_file_path(kPetNames, file.data());
  if (!publish_name_of(file.c_str())) publish_name_of(kSystemPetNames);
}

}  // namespace fcx
