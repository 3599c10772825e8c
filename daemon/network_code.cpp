#include "daemon/network_code.h"

#include <array>

#include "fcx/mcc_lookup.h"
#include "fcx/network_code.h"
#include "fcx/single_binary.h"
#include "virtual_phone/core/properties.h"

namespace factory_daemon {
namespace {

namespace vp = virtual_phone;

/// A list that the library fills, or takes to pieces, with a NUL after its last byte.
using ListText = std::array<char, kLongestNetworkCode + 1>;

}  // namespace

std::string stored_network_code() {
  ListText text{};
  if (get_ntcode(text.data()) != 0) {
    throw vp::Error("the network code cannot be read; `fcx log` says why");
  }
  return text.data();
}

void rewrite_network_code(vp::Phone& phone, const std::string& ntcode) {
  std::array<char, kLongestNetworkCode> mcc_list{};
  sbpWriteNTCode(ntcode.c_str(), mcc_list.data());
  if (stored_network_code() != ntcode) {
    throw vp::Error("the network code was not stored; `fcx log` says why");
  }
  publish_network_code_lists(phone);
}

void publish_network_code_lists(vp::Phone& phone) {
  ListText text{};
  if (get_ntcode(text.data()) != 0) return;
  ListText mccmnc{};
  ListText subsets{};
  qve_parse_ntcode(text.data(), mccmnc.data(), subsets.data());
  vp::set_property(phone, "persist.vendor.qve.mccmnc-list", mccmnc.data());
  vp::set_property(phone, "persist.vendor.qve.subset-list", subsets.data());
}

}  // namespace factory_daemon
