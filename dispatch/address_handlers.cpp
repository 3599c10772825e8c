#include <array>

#include "common/log.h"
#include "dispatch/handlers.h"
#include "fcx/bt_address.h"
#include "fcx/wlan_address.h"

namespace fcx {
namespace {

constexpr size_t kAddressBytes = factory_item<item::bt_address>().length;
static_assert(kAddressBytes == factory_item<item::wlan_address>().length);
constexpr size_t kAddressDigits = 2 * kAddressBytes;
using AddressText = TextBuffer<kAddressDigits>;

int32_t write_wlan_address(std::string_view text) {
  // Each digit is a text of its own; those that are missing are null.
  std::array<TextBuffer<1>, kAddressDigits> digits;
  std::array<char*, kAddressDigits> params{};
  for (size_t i = 0; i < kAddressDigits && i < text.size(); ++i) {
    digits[i] = TextBuffer<1>(text.substr(i, 1));
    params[i] = digits[i].data();
  }
  std::array<uint8_t, kAddressBytes> address;
  if (wlan_mac_ascii_to_hexa(params.data(), address.data()) != 0) {
    HANDLER_INFO("AutoMID write WIFI MAC Ascii to Hexa Fail :(");
    return QVCMD_FAIL;
  }
  if (wlan_mac_write(address.data()) != 0) {
    HANDLER_INFO("AutoMID write WIFI MAC Fail :(");
    return QVCMD_FAIL;
  }
  HANDLER_INFO("AutoMID write WIFI MAC Success :)");
  return QVCMD_OK;
}

int32_t read_wlan_address(AddressText& text) {
  std::array<uint8_t, kAddressBytes> address;
  if (wlan_mac_read(address.data()) != 0) {
    HANDLER_INFO("AutoMID read WIFI MAC Fail :(");
    return QVCMD_FAIL;
  }
  if (wlan_mac_hexa_to_ascii(address.data(), text.data()) != 0) {
    HANDLER_INFO("AutoMID read WIFI MAC Hexa to Ascii Fail :(");
    return QVCMD_FAIL;
  }
  HANDLER_INFO("AutoMID read WIFI MAC Success :) = %s", text.c_str());
  return QVCMD_OK;
}

int32_t write_bt_address(std::string_view text) {
  constexpr size_t kLongest = 63;  // characters, before a NUL
  if (handle_testmode_bt_write_request(TextBuffer<kLongest>(text).c_str()) != 0) {
    HANDLER_INFO("AutoMID write BTAddress Fail :(");
    return QVCMD_FAIL;
  }
  HANDLER_INFO("AutoMID write BTAddress Success :)");
  return QVCMD_OK;
}

int32_t read_bt_address(AddressText& text) {
  // Without an address it fails: only the AT query knows the default, on purpose.
  if (handle_testmode_bt_read_request(text.data()) != 0) {
    HANDLER_INFO("AutoMID read BTAddress Fail :(");
    return QVCMD_FAIL;
  }
  HANDLER_INFO("AutoMID read BTAddress Success :) = %s", text.c_str());
  return QVCMD_OK;
}

/// Text writes, an empty payload reads.
void read_or_write(int32_t (*read)(AddressText&), int32_t (*write)(std::string_view),
                   std::string_view text, qvcmd_response& response) {
  if (!text.empty()) {
    response.result = write(text);
    return;
  }
  AddressText address;
  response.result = read(address);
  if (response.result == QVCMD_OK) answer_text(response, address.view());
}

}  // namespace

void handle_automid_mac(std::string_view address, qvcmd_response& response) {
  read_or_write(read_wlan_address, write_wlan_address, address, response);
}

void handle_automid_btaddr(std::string_view address, qvcmd_response& response) {
  read_or_write(read_bt_address, write_bt_address, address, response);
}

}  // namespace fcx
