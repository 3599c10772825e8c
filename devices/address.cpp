#include "devices/address.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "ftm/store.h"

namespace fcx {
namespace {

constexpr int kNoDigit = -1;

int digit_value(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return kNoDigit;
}

}  // namespace

AddressText first_characters(const char* const* params) {
  AddressText digits;
  for (size_t i = 0; params != nullptr && i < kAddressDigits; ++i) {
    if (params[i] == nullptr || *params[i] == '\0') break;
    digits.data()[i] = *params[i];
  }
  return digits;
}

std::optional<char> digits_to_address(const AddressText& digits, uint8_t* out) {
  std::fill_n(out, kAddressBytes, uint8_t{0});
  for (size_t i = 0; i < kAddressDigits; ++i) {
    const char c = digits.c_str()[i];
    const int value = digit_value(c);
    if (value == kNoDigit) return c;
    const int shift = i % 2 == 0 ? 4 : 0;
    out[i / 2] = static_cast<uint8_t>(out[i / 2] | value << shift);
  }
  return {};
}

void write_digits(const uint8_t* bytes, char* out) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  if (bytes == nullptr || out == nullptr) return;
  for (size_t i = 0; i < kAddressBytes; ++i) {
    *out++ = kDigits[bytes[i] >> 4];
    *out++ = kDigits[bytes[i] & 15];
  }
  *out = '\0';
}

AddressRead read_address(const FactoryItem& item, uint8_t* out) {
  if (out == nullptr) return AddressRead::failed;
  // What a short read leaves out is F.
  std::array<uint8_t, kAddressBytes> address;
  address.fill(0xFF);
  if (read_store(item.index, address.data(), address.size()) != 0) {
    return AddressRead::failed;
  }
  if (address == std::array<uint8_t, kAddressBytes>{}) return AddressRead::all_zero;
  std::copy(address.begin(), address.end(), out);
  return AddressRead::valid;
}

int write_address(const FactoryItem& item, const uint8_t* bytes) {
  if (bytes == nullptr) return 1;
  return write_store(item.index, bytes, kAddressBytes) != 0 ? 1 : 0;
}

int respond(int code, char* answer, const char* text) {
  if (answer == nullptr) return code;
  memset(answer, 0, sizeof(uint32_t));
  if (text != nullptr) memcpy(answer, text, strlen(text) + 1);
  return code;
}

}  // namespace fcx
