#include "carrier/state.h"

#include <optional>

#include "fcx/single_binary.h"
#include "platform/immortal.h"

namespace {

struct Holder {
  std::optional<fcx::CarrierState> state = std::optional<fcx::CarrierState>(std::in_place);
};

}  // namespace

fcx::CarrierState& fcx::carrier_state() { return *immortal<Holder>().state; }

void fcx::reload_carrier_set_up() {
  immortal<Holder>().state.emplace();
  reload_package();
}
