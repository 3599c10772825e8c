#include "fcx/bt_address.h"

#include <array>
#include <cstddef>

#include "common/log.h"
#include "fcx/factory_item_table.h"
#include "platform/factory_item_library.h"

#define BT_ERROR(message, ...) \
  DOMAIN_ERROR("[bt(%d)-%s]   " message, __LINE__, __func__, __VA_ARGS__)

namespace {

constexpr const fcx::FactoryItem& kItem = fcx::factory_item<fcx::item::bt_address>();
constexpr int kNoDigit = -1;

int digit_value(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return kNoDigit;
}

}  // namespace

int bt_addr_ascii_to_hexa(const char* text, uint8_t* out) {
  if (out == nullptr) return 1;
  if (text == nullptr) text = "";
  for (size_t i = 0; i < kItem.length; ++i) out[i] = 0;
  for (size_t i = 0; i < 2 * kItem.length; ++i) {
    const int value = digit_value(text[i]);
    if (value == kNoDigit) {
      BT_ERROR("bt_addr_assign : invalid Params = %c\n", text[i]);
      return 1;
    }
    const int shift = i % 2 == 0 ? 4 : 0;
    out[i / 2] = static_cast<uint8_t>(out[i / 2] | value << shift);
  }
  return 0;
}

int bt_addr_write(const uint8_t* bytes) {
  if (bytes == nullptr) return 1;
  return set_ftm_item(kItem.index, static_cast<int>(kItem.length), bytes) != 0 ? 1 : 0;
}

int handle_testmode_bt_write_request(const char* text) {
  std::array<uint8_t, kItem.length> address;
  if (bt_addr_ascii_to_hexa(text, address.data()) != 0) return 1;
  return bt_addr_write(address.data());
}
