#include "tools/shown_action.h"

#include <cctype>
#include <string_view>

#include "fcx/command_table.h"
#include "tools/action_verbs.h"
#include "tools/text.h"

namespace cli {
namespace {

using factory_daemon::Action;

/// What an AT line assigns is hidden whole: its digits may stand apart.
std::string hidden_line(const std::string& line) {
  const size_t begin = line.find('=');
  if (begin == std::string::npos || line.find('?', begin) == begin + 1) return line;
  return line.substr(0, begin + 1) + std::string(line.size() - begin - 1, '*');
}

}  // namespace

void add_typed_numbers(const Action& action, Identities& identities) {
  constexpr size_t kShortest = 12;  // digits of an address
  const std::string_view bytes = action.bytes;
  for (size_t begin = 0; begin < bytes.size();) {
    size_t end = begin;
    while (end < bytes.size() && isxdigit(bytes[end])) ++end;
    if (end - begin >= kShortest) identities.add(bytes.substr(begin, end - begin));
    begin = end + 1;
  }
}

std::string shown_words(const Action& action, const Identities& identities) {
  const fcx::Command* row =
      action.kind == Action::Kind::command ? fcx::find_command(action.opcode) : nullptr;
  const bool is_imei = row != nullptr && row->content == fcx::Content::imei;
  Action shown = action;
  shown.bytes = is_imei ? masked(shown.bytes) : identities.hidden_in(shown.bytes);
  if (shown.kind == Action::Kind::at_line) shown.bytes = hidden_line(shown.bytes);
  return typed_words(shown);
}

}  // namespace cli
