#include "fcx/network_code.h"

#include "fcx/factory_items.h"

namespace {

constexpr const fcx::FactoryItem& kNetworkCodeItem = fcx::factory_item<fcx::item::network_code>();

}  // namespace

int get_ntcode(char* out) {
  return fcx::read_item(kNetworkCodeItem, out, kNetworkCodeItem.length) < 0 ? -1 : 0;
}

int set_ntcode(const char* ntcode, int length) {
  if (ntcode == nullptr || length < 0 || length > static_cast<int>(kNetworkCodeItem.length)) {
    return -1;
  }
  return fcx::write_item(kNetworkCodeItem, {ntcode, static_cast<size_t>(length)}) < 0 ? -1 : 0;
}
