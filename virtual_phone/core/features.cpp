// The vendor's feature library: what the product is, out of the phone's properties.
#include "platform/features.h"

#include "virtual_phone/core/properties.h"

namespace vp = virtual_phone;

namespace {

constexpr char kOverlay[] = "ro.vendor.qve.product.overlayfs";

/// The library asks while it is being loaded, by whatever program: that selects no phone, makes and
/// raises none, and complains of none.
std::string property_before_selection(const char* name) {
  auto database = vp::Database::to_look_at(vp::default_directory() / vp::kDatabaseName);
  vp::Query query = database.query("SELECT value FROM property WHERE name = ?");
  query.bind(name);
  return query.step() ? query.text(0) : "";
}

std::string feature(const char* name) {
  try {
    vp::Phone* phone = vp::selected_so_far();
    if (phone != nullptr) return vp::get_property(*phone, name).value_or("");
    return property_before_selection(name);
  } catch (const std::exception&) {
    return "";
  }
}

}  // namespace

std::optional<bool> com::qve::config::Features2::product_overlayfs() {
  const std::string value = feature(kOverlay);
  if (value == "true" || value == "1") return true;
  if (value == "false" || value == "0") return false;
  return std::nullopt;
}
