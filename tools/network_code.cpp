#include "tools/network_code.h"

#include <algorithm>
#include <string>
#include <vector>

#include "tools/words.h"

namespace cli {
namespace {

/// What stands in double quotes, between commas. Throws UsageError for anything else.
std::vector<std::string_view> quoted_fields(std::string_view text) {
  std::vector<std::string_view> fields;
  while (true) {
    const size_t end = text.find('"', 1);
    if (text.substr(0, 1) != "\"" || end == std::string_view::npos) break;
    fields.push_back(text.substr(1, end - 1));
    text.remove_prefix(end + 1);
    if (text.empty()) return fields;
    if (text.front() != ',') break;
    text.remove_prefix(1);
  }
  throw UsageError(
      "a network code is \"COUNT\",\"MCC,MNC,FIELD,FIELD,SUBSET\",...: each of its parts in double "
      "quotes, with a comma between them (quote the whole for the shell)");
}

/// Fields between commas, none of them empty.
void check_entry(std::string_view entry, size_t number) {
  constexpr int kFields = 5;
  const auto found = std::count(entry.begin(), entry.end(), ',') + 1;
  const std::string what = "entry " + std::to_string(number) + " of the network code";
  if (found != kFields) {
    throw UsageError(what + " has " + std::to_string(found) + " fields, not five");
  }
  if (entry.front() == ',' || entry.back() == ',' || entry.find(",,") != std::string_view::npos) {
    throw UsageError(what + " has an empty field");
  }
}

}  // namespace

void check_network_code(std::string_view ntcode) {
  constexpr std::string_view kEmptyEntry = "FFF,FFF,FFFFFFFF,FFFFFFFF,FF";
  const auto fields = quoted_fields(ntcode);
  const std::string_view count = fields.front();
  if (count.empty() || count.size() > 2 ||
      count.find_first_not_of("0123456789") != std::string_view::npos) {
    throw UsageError("a network code begins with its number of entries, one digit or two");
  }
  const size_t announced = count_of(std::string(count), "the number of entries");
  const size_t found = fields.size() - 1;
  const bool is_empty_code = announced == 0 && found == 1 && fields[1] == kEmptyEntry;
  if (announced != found && !is_empty_code) {
    throw UsageError("the network code announces " + std::to_string(announced) +
                     " entries, and has " + std::to_string(found));
  }
  for (size_t i = 1; i <= found; ++i) check_entry(fields[i], i);
}

}  // namespace cli
