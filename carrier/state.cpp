#include "carrier/state.h"

#include <optional>

#include "common/immortal.h"
#include "fcx/customisation.h"
#include "fcx/single_binary.h"
#include "platform/features.h"

namespace {

struct Holder {
  std::optional<fcx::CarrierState> state = std::optional<fcx::CarrierState>(std::in_place);
};

bool is_package_on_overlay() {
  return com::qve::config::Features2::product_overlayfs().value_or(false);
}

}  // namespace

bool e_is_overlayfs = is_package_on_overlay();

fcx::CarrierState& fcx::carrier_state() { return *immortal<Holder>().state; }

void fcx::reload_carrier_set_up() {
  immortal<Holder>().state.emplace();
  e_is_overlayfs = is_package_on_overlay();
}
