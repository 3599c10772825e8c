#include "exploration/accepted.h"

#include <fnmatch.h>

#include <array>

#include "virtual_phone/core/error.h"

namespace exploration {
namespace {

std::string trimmed(std::string_view text) {
  const size_t begin = text.find_first_not_of(' ');
  if (begin == std::string_view::npos) return "";
  return std::string(text.substr(begin, text.find_last_not_of(' ') - begin + 1));
}

}  // namespace

std::vector<Acceptance> read_accepted(std::string_view text, const std::string& name) {
  std::vector<Acceptance> accepted;
  int number = 0;
  while (!text.empty()) {
    std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(line.size() + 1, text.size()));
    ++number;
    if (trimmed(line).empty() || line.front() == '#') continue;
    const std::string where = name + ":" + std::to_string(number) + ": ";
    std::array<std::string, 5> parts;
    for (std::string& part : parts) {
      const bool is_last = &part == &parts.back();
      const size_t bar = is_last ? line.size() : std::min(line.find('|'), line.size());
      part = trimmed(line.substr(0, bar));
      line.remove_prefix(std::min(bar + 1, line.size()));
      if (part.empty()) {
        throw virtual_phone::Refused(where + "ACTION | ACCESS | EFFECT | VERDICT | REASON");
      }
    }
    const auto verdict = virtual_phone::named<Verdict>(parts[3]);
    if (!verdict.has_value() || !Judgement{*verdict, ""}.is_bad()) {
      throw virtual_phone::Refused(where + "there is no bad verdict \"" + parts[3] + "\"");
    }
    accepted.push_back({number, parts[0], parts[1], parts[2], *verdict, parts[4]});
  }
  return accepted;
}

bool fits(const std::string& pattern, const std::string& text) {
  return fnmatch(pattern.c_str(), text.c_str(), 0) == 0;
}

}  // namespace exploration
