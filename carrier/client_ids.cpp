#include "carrier/client_ids.h"

#include "carrier/package/files.h"
#include "carrier/package/paths.h"
#include "carrier/properties.h"
#include "carrier/stored_properties.h"
#include "common/lines.h"
#include "fcx/customisation.h"

namespace fcx {
namespace {

/// The package's identifiers. None where perm.prop has settled them.
XmlReading read_identifiers() {
  switch (presence_of(kPermanentProperties)) {
    case Presence::present:
      SBP_LOG("[QVE][SBP] %s already exists.", kPermanentProperties);
      return {XmlFound::absent, nullptr};
    case Presence::unknown:
      return {XmlFound::failed, nullptr};
    case Presence::absent:
      break;
  }
  const std::string file = profile_file(kClientIds);
  switch (find_package_file(file.c_str())) {
    case Presence::absent:
      return {XmlFound::absent, nullptr};
    case Presence::unknown:
      return {XmlFound::failed, nullptr};
    case Presence::present:
      break;
  }
  return read_package_xml(file.c_str());
}

/// Calls `use` with the first element that `is_wanted`. @return whether there is one
template <typename IsWanted, typename Use>
bool use_first(const XmlDocument& document, IsWanted is_wanted, Use use) {
  if (document == nullptr) return false;
  return any_child(xmlDocGetRootElement(document.get()), "client_id", [&](const xmlNode* element) {
    if (!is_wanted(element)) return false;
    use(element);
    return true;
  });
}

void publish_strings(const xmlNode* element) { for_each_string(element, publish_once); }

/// Whether an attribute is not given, or is that text.
bool allows(const xmlNode* element, const char* name, std::string_view text) {
  const XmlAttribute attribute(element, name);
  return attribute.view().empty() || attribute.view() == text;
}

}  // namespace

void qve_define_googleID_base_ntcode() {
  const XmlDocument document = read_identifiers().document;
  if (document == nullptr) return;
  const PropertyText mccmnc_list = read_property(kMccMncListProperty);
  const PropertyText subset_list = read_property(kSubsetListProperty);
  std::string_view mccmncs = mccmnc_list.view();
  std::string_view subsets = subset_list.view();
  while (!mccmncs.empty()) {
    const std::string_view mccmnc = take_until(mccmncs, ',');
    const std::string_view subset = take_until(subsets, ',');
    const auto is_wanted = [&](const xmlNode* element) {
      const XmlAttribute given(element, "mccmnc");
      return !given.view().empty() && given.view() == mccmnc && allows(element, "subset", subset);
    };
    if (use_first(document, is_wanted, publish_strings)) return;
  }
}

void qve_define_googleID_base_sim(const char* iccid) {
  const auto is_wanted = [&](const xmlNode* element) {
    const XmlAttribute prefix(element, "iccid");
    return !prefix.view().empty() &&
           std::string_view(iccid).substr(0, prefix.view().size()) == prefix.view();
  };
  use_first(read_identifiers().document, is_wanted, publish_strings);
}

bool qve_define_googleID_base_carrier(const SimProfile& profile) {
  StoredProperties kept;
  const auto is_wanted = [&](const xmlNode* element) {
    return XmlAttribute(element, "fast").view() == profile.carrier.view() &&
           allows(element, "sub", profile.sub_carrier.view());
  };
  const XmlReading reading = read_identifiers();
  if (reading.has_failed()) return false;
  use_first(reading.document, is_wanted, [&](const xmlNode* element) {
    for_each_string(element, [&](const char* name, const char* value) {
      publish_once(name, value);
      kept.add(name, '=', value);
    });
  });
  return kept.empty() || kept.store(kPermanentProperties);
}

}  // namespace fcx
