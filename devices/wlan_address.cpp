#include "fcx/wlan_address.h"

#include <array>

#include "common/log.h"
#include "devices/address.h"

namespace {

constexpr const fcx::FactoryItem& kItem = fcx::factory_item<fcx::item::wlan_address>();
static_assert(kItem.length == fcx::kAddressBytes);

using Address = std::array<uint8_t, fcx::kAddressBytes>;

}  // namespace

int wlan_mac_ascii_to_hexa(char** params, uint8_t* out) {
  if (out == nullptr) return 1;
  const auto invalid = fcx::digits_to_address(fcx::first_characters(params), out);
  if (!invalid.has_value()) return 0;
  DOMAIN_ERROR("wlan_mac_assign : invalid Params = %c", *invalid);
  return 1;
}

int wlan_mac_hexa_to_ascii(const uint8_t* bytes, char* out) {
  fcx::write_digits(bytes, out);
  return 0;
}

int wlan_mac_read(uint8_t* out) {
  const fcx::AddressRead read = fcx::read_address(kItem, out);
  if (read == fcx::AddressRead::all_zero) DOMAIN_ERROR("wlan_mac_read : invalid mac_addr_hexa");
  return read == fcx::AddressRead::valid ? 0 : 1;
}

int wlan_mac_write(const uint8_t* bytes) { return fcx::write_address(kItem, bytes); }

int wlan_mac_none(char* answer) {
  DOMAIN_INFO("wlan_mac_none");
  Address address;
  if (wlan_mac_read(address.data()) != 0) {
    DOMAIN_ERROR("wlan_mac_none : fail to read mac address from NV");
    address.fill(0xFF);
  }
  fcx::AddressText digits;
  fcx::write_digits(address.data(), digits.data());
  return wlan_resp(0, answer, digits.c_str());
}

int wlan_mac_assign(char** params, int param_count, char* answer) {
  DOMAIN_INFO("wlan_mac_assign : paramCount = %d", param_count);
  if (param_count != static_cast<int>(fcx::kAddressDigits)) {
    DOMAIN_INFO("wlan_mac_assign : unknown paramCount = %d", param_count);
    return 1;
  }
  Address address;
  if (wlan_mac_ascii_to_hexa(params, address.data()) != 0) {
    DOMAIN_INFO("wlan_mac_assign : wlan_mac_ascii_to_hexa fail");
    return 1;
  }
  if (wlan_mac_write(address.data()) != 0) {
    DOMAIN_INFO("wlan_mac_assign : fail to write mac address to NV");
    return 1;
  }
  return wlan_resp(0, answer, "MAC ADDRESS WRITE OK");
}

int wlan_resp(int code, char* answer, const char* text) { return fcx::respond(code, answer, text); }
