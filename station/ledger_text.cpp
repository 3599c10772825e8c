#include "station/ledger_text.h"

#include <array>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <random>

#include "station/characters.h"
#include "virtual_phone/core/error.h"

namespace station {
namespace {

std::string hex(uint32_t number, int digits) {
  std::array<char, 16> text{};
  snprintf(text.data(), text.size(), "%0*x", digits, number);
  return text.data();
}

}  // namespace

std::string plain_text(std::string_view text) {
  std::string made;
  for (Characters characters(text); characters.next();) made += characters.shown();
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
