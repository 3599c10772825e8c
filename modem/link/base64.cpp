#include "modem/link/base64.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "fcx/modem_link.h"

namespace fcx {
namespace {

constexpr std::string_view kAlphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr char kPadding = '=';

/// Two characters for each twelve bits: half as many steps as with one for each six.
constexpr auto make_pairs() {
  std::array<std::array<char, 2>, 4096> pairs{};
  for (size_t bits = 0; bits < pairs.size(); ++bits) {
    pairs[bits] = {kAlphabet[bits >> 6], kAlphabet[bits & 63]};
  }
  return pairs;
}

/// Stands for no bits.
constexpr uint32_t kOutside = 1U << 24;

/// The bits of each character, as they stand in the 24 bits of a group where it is the first, the
/// second, the third or the fourth of four.
constexpr auto make_bits() {
  std::array<std::array<uint32_t, 256>, 4> bits{};
  for (size_t place = 0; place < bits.size(); ++place) {
    for (uint32_t& character : bits[place]) character = kOutside;
    for (size_t i = 0; i < kAlphabet.size(); ++i) {
      bits[place][static_cast<uint8_t>(kAlphabet[i])] =
          static_cast<uint32_t>(i << (18 - 6 * place));
    }
  }
  return bits;
}

constexpr auto kPairs = make_pairs();
constexpr auto kBits = make_bits();

uint8_t byte_at(std::string_view bytes, size_t i) { return static_cast<uint8_t>(bytes[i]); }

/// Four characters of the alphabet in a row, as nearly all are, make three bytes at once.
/// @return how many such groups `text` begins with, as far as there is room
size_t decode_groups(std::string_view text, uint8_t* bytes, size_t capacity) {
  const size_t most = std::min(text.size() / 4, capacity / 3);
  const char* in = text.data();
  size_t groups = 0;
  for (; groups < most; ++groups, in += 4, bytes += 3) {
    const uint32_t group =
        kBits[0][static_cast<uint8_t>(in[0])] | kBits[1][static_cast<uint8_t>(in[1])] |
        kBits[2][static_cast<uint8_t>(in[2])] | kBits[3][static_cast<uint8_t>(in[3])];
    if (group >= kOutside) break;
    bytes[0] = static_cast<uint8_t>(group >> 16);
    bytes[1] = static_cast<uint8_t>(group >> 8);
    bytes[2] = static_cast<uint8_t>(group);
  }
  return groups;
}

}  // namespace

size_t encode_base64(std::string_view bytes, char* text) {
  char* out = text;
  const auto put = [&out](uint32_t bits) {
    memcpy(out, kPairs[bits].data(), 2);
    out += 2;
  };
  size_t i = 0;
  for (; i + 3 <= bytes.size(); i += 3) {
    const uint32_t bits =
        byte_at(bytes, i) << 16 | byte_at(bytes, i + 1) << 8 | byte_at(bytes, i + 2);
    put(bits >> 12);
    put(bits & 4095);
  }
  if (const size_t rest = bytes.size() - i; rest > 0) {
    const uint32_t second = rest == 2 ? byte_at(bytes, i + 1) : 0;
    const uint32_t bits = byte_at(bytes, i) << 16 | second << 8;
    put(bits >> 12);
    put(bits & 4095);
    out[-1] = kPadding;
    if (rest == 1) out[-2] = kPadding;
  }
  *out = '\0';
  return static_cast<size_t>(out - text);
}

size_t decode_base64(std::string_view text, uint8_t* bytes, size_t capacity) {
  size_t written = 0;
  size_t i = 0;
  // Bits that have been read and not yet written, as the low `held` bits.
  uint32_t bits = 0;
  unsigned held = 0;
  while (written < capacity) {
    if (held == 0) {
      const size_t groups = decode_groups(text.substr(i), bytes + written, capacity - written);
      i += 4 * groups;
      written += 3 * groups;
    }
    if (i == text.size() || text[i] == '\0' || written == capacity) break;
    const uint32_t value = kBits[3][byte_at(text, i++)];
    if (value == kOutside) continue;
    bits = bits << 6 | value;
    held += 6;
    if (held < 8) continue;
    held -= 8;
    bytes[written++] = static_cast<uint8_t>(bits >> held);
  }
  return written;
}

}  // namespace fcx

int base64_encode(char* in, int len, char* out) {
  if (out == nullptr) return 0;
  const std::string_view bytes = in == nullptr || len < 1
                                     ? std::string_view()
                                     : std::string_view(in, static_cast<size_t>(len));
  return static_cast<int>(fcx::encode_base64(bytes, out));
}

int base64_decode(char* in, unsigned char* out, int cap) {
  if (in == nullptr || out == nullptr || cap < 1) return 0;
  return static_cast<int>(fcx::decode_base64(in, out, static_cast<size_t>(cap)));
}
