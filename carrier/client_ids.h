// The client identifiers of a carrier or country, from client_id.xml. Once there is a perm.prop
// they stand, and none of these does anything.
#pragma once

#include "carrier/package/xml.h"
#include "carrier/sim_profile.h"

namespace fcx {

inline constexpr char kClientIdBase[] = "ro.com.google.clientidbase";

/// Sets those of the first entry of the network code that has any.
void qve_define_googleID_base_ntcode();

/// Sets those of the SIM.
void qve_define_googleID_base_sim(const char* iccid);

/// Sets those of a carrier, and keeps them in perm.prop. @return false when they could not be read
/// or kept
[[nodiscard]] bool qve_define_googleID_base_carrier(const SimProfile& profile);

/// Calls `use(name, value)` for each "string" element of `parent` with a name and a value that fit
/// a property.
template <typename Use>
void for_each_string(const xmlNode* parent, Use use) {
  any_child(parent, "string", [&](const xmlNode* item) {
    const XmlAttribute name(item, "name");
    PropertyText value;
    if (!name.view().empty() && XmlAttribute(item, "value").fits(value)) {
      use(std::string(name.view()).c_str(), value.c_str());
    }
    return false;
  });
}

}  // namespace fcx
