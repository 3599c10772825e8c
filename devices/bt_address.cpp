#include "fcx/bt_address.h"

#include <array>

#include "common/company_oui.h"
#include "common/log.h"
#include "devices/address.h"

/// A line's format and its first arguments: the source line and the function.
#define BT_LINE(message) "[bt(%d)-%s]   " message, __LINE__, __func__

namespace {

constexpr const fcx::FactoryItem& kItem = fcx::factory_item<fcx::item::bt_address>();
static_assert(kItem.length == fcx::kAddressBytes);

using Address = std::array<uint8_t, fcx::kAddressBytes>;

}  // namespace

int bt_addr_ascii_to_hexa(const char* text, uint8_t* out) {
  if (out == nullptr) return 1;
  if (text == nullptr) text = "";
  const fcx::AddressText digits(fcx::bounded_text(text, fcx::kAddressDigits));
  const auto invalid = fcx::digits_to_address(digits, out);
  if (!invalid.has_value()) return 0;
  DOMAIN_ERROR(BT_LINE("bt_addr_assign : invalid Params = %c\n"), *invalid);
  return 1;
}

int bt_addr_hexa_to_ascii(const uint8_t* bytes, char* out) {
  fcx::write_digits(bytes, out);
  return 0;
}

int bt_addr_read(uint8_t* out) {
  const fcx::AddressRead read = fcx::read_address(kItem, out);
  if (read == fcx::AddressRead::all_zero) {
    DOMAIN_ERROR(BT_LINE("bt_addr_read : invalid bt_addr_hexa\n"));
  }
  return read == fcx::AddressRead::valid ? 0 : 1;
}

int bt_addr_write(const uint8_t* bytes) { return fcx::write_address(kItem, bytes); }

int handle_atcmd_btad_query(char* answer) {
  DOMAIN_INFO(BT_LINE("handle_atcmd_btad_query\n"));
  Address address;
  if (bt_addr_read(address.data()) != 0) {
    DOMAIN_ERROR(BT_LINE("handle_atcmd_btad_query : fail to read bt address from NV\n"));
    return bt_resp(0, answer, fcx::kDefaultBtAddress);
  }
  fcx::AddressText digits;
  fcx::write_digits(address.data(), digits.data());
  return bt_resp(0, answer, digits.c_str());
}

int handle_atcmd_btad_range(char* answer) {
  return bt_resp(0, answer, "AT%BTAD=[BD ADDR:12HEX nibble => 6 Bytes]\n");
}

int handle_atcmd_btad_assign(char** params, int param_count, char* answer) {
  DOMAIN_INFO(BT_LINE("handle_atcmd_btad_assign : paramCount = %d\n"), param_count);
  if (param_count != static_cast<int>(fcx::kAddressDigits)) {
    DOMAIN_ERROR(BT_LINE("handle_atcmd_btad_assign : unknown paramCount = %d\n"), param_count);
    return 1;
  }
  Address address;
  if (bt_addr_ascii_to_hexa(fcx::first_characters(params).c_str(), address.data()) != 0) {
    DOMAIN_INFO(BT_LINE("handle_atcmd_btad_assign : bt_addr_ascii_to_hexa fail\n"));
    return 1;
  }
  if (bt_addr_write(address.data()) != 0) {
    DOMAIN_INFO(BT_LINE("handle_atcmd_btad_assign : fail to write bt address to NV\n"));
    return 1;
  }
  return bt_resp(0, answer, "BLUETOOTH ADDRESS WRITE OK");
}

int bt_resp(int code, char* answer, const char* text) { return fcx::respond(code, answer, text); }

int handle_testmode_bt_write_request(const char* text) {
  Address address;
  if (bt_addr_ascii_to_hexa(text, address.data()) != 0) return 1;
  return bt_addr_write(address.data());
}

int handle_testmode_bt_read_request(char* buf) {
  Address address;
  if (buf == nullptr || bt_addr_read(address.data()) != 0) return 1;
  return bt_addr_hexa_to_ascii(address.data(), buf);
}
