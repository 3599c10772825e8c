#include "carrier/package/state.h"

#include <optional>

#include "fcx/customisation.h"
#include "platform/features.h"
#include "platform/immortal.h"

namespace {

struct Holder {
  std::optional<fcx::PackageState> state = std::optional<fcx::PackageState>(std::in_place);
};

bool is_package_on_overlay() {
  return com::qve::config::Features2::product_overlayfs().value_or(false);
}

}  // namespace

bool e_is_overlayfs = is_package_on_overlay();

fcx::PackageState& fcx::package_state() { return *immortal<Holder>().state; }

void fcx::reload_package() {
  immortal<Holder>().state.emplace();
  e_is_overlayfs = is_package_on_overlay();
}
