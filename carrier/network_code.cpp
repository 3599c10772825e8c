#include "fcx/network_code.h"

#include "fcx/factory_items.h"

namespace {

/// Outside the item table: no command and no accessor names it.
constexpr fcx::FactoryItem kNetworkCodeItem{
    421,          fcx::kLongestItem, fcx::Encoding::text, fcx::Privacy::open,
    "get_ntcode", "set_ntcode",      "network-code list"};

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
