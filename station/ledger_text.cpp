#include "station/ledger_text.h"

#include <array>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <random>

#include "virtual_phone/core/error.h"

namespace station {
namespace {

std::string hex(uint32_t number, int digits) {
  std::array<char, 16> text{};
  snprintf(text.data(), text.size(), "%0*x", digits, number);
  return text.data();
}

bool goes_on(char c) { return (c & 0xC0) == 0x80; }

/// The bytes of the character that a text begins with; 0 where it begins with none, or with one
/// that steers a terminal.
size_t shown_character(std::string_view text) {
  struct Form {
    uint8_t mask, mark;
    size_t bytes;
    uint32_t least;
  };
  static constexpr Form kForms[] = {{0x80, 0x00, 1, 0x20},
                                    {0xE0, 0xC0, 2, 0xA0},
                                    {0xF0, 0xE0, 3, 0x800},
                                    {0xF8, 0xF0, 4, 0x10000}};
  for (const Form& form : kForms) {
    const auto first = static_cast<uint8_t>(text.front());
    if ((first & form.mask) != form.mark) continue;
    if (text.size() < form.bytes) return 0;
    uint32_t code = first & static_cast<uint8_t>(~form.mask);
    for (size_t i = 1; i < form.bytes; ++i) {
      if (!goes_on(text[i])) return 0;
      code = code << 6 | (text[i] & 0x3F);
    }
    const bool is_surrogate = code >= 0xD800 && code < 0xE000;
    return code < form.least || code > 0x10FFFF || code == 0x7F || is_surrogate ? 0 : form.bytes;
  }
  return 0;
}

}  // namespace

std::string plain_text(std::string_view text) {
  std::string made;
  while (!text.empty()) {
    const size_t bytes = shown_character(text);
    made += bytes > 0 ? std::string(text.substr(0, bytes))
                      : "\\x" + hex(static_cast<uint8_t>(text.front()), 2);
    text.remove_prefix(bytes > 0 ? bytes : 1);
  }
  return made;
}

std::string plain_name(const std::string& text, const std::string& what) {
  constexpr size_t kLongest = 128;
  constexpr char kBlanks[] = " \t\r\n";
  const size_t begin = text.find_first_not_of(kBlanks);
  if (begin == std::string::npos) throw virtual_phone::Refused(what + " is empty");
  const std::string name = text.substr(begin, text.find_last_not_of(kBlanks) - begin + 1);
  if (name.size() > kLongest || plain_text(name) != name) {
    throw virtual_phone::Refused(what + " has at most " + std::to_string(kLongest) +
                                 " bytes and no control characters: \"" +
                                 plain_text(name.substr(0, kLongest)) + "\" does not do");
  }
  return name;
}

std::string time_now() {
  using std::chrono::duration_cast, std::chrono::milliseconds;
  const auto since_1970 = std::chrono::system_clock::now().time_since_epoch();
  const int64_t now_ms = duration_cast<milliseconds>(since_1970).count();
  const auto second = static_cast<time_t>(now_ms / 1000);
  tm utc{};
  gmtime_r(&second, &utc);
  std::array<char, 32> text{};
  strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S.", &utc);
  return text.data() + std::to_string(now_ms % 1000 + 1000).substr(1) + "Z";
}

std::string random_key() {
  std::random_device source;
  std::string key;
  for (int i = 0; i < 4; ++i) key += hex(source(), 8);
  return key;
}

std::string json_array(const std::vector<std::string>& texts) {
  std::string array = "[";
  for (const std::string& text : texts) {
    array += array.size() > 1 ? ",\"" : "\"";
    for (const char c : text) {
      if (c == '"' || c == '\\') array += '\\';
      array += c;
    }
    array += '"';
  }
  return array + "]";
}

}  // namespace station
