#include "station/trees.h"

#include <algorithm>
#include <initializer_list>
#include <map>

#include "station/characters.h"

namespace station {
namespace {

bool is_one_of(std::string_view text, std::initializer_list<std::string_view> words) {
  return std::find(words.begin(), words.end(), text) != words.end();
}

bool consists_of(std::string_view text, std::string_view characters) {
  return !text.empty() && text.find_first_not_of(characters) == std::string_view::npos;
}

/// [-+]?(\.[0-9]+|[0-9]+(\.[0-9]*)?)([eE][-+]?[0-9]+)?
bool is_decimal(std::string_view text) {
  constexpr std::string_view kDigits = "0123456789";
  const auto take_digits = [&text, kDigits] {
    const size_t count = std::min(text.find_first_not_of(kDigits), text.size());
    text.remove_prefix(count);
    return count;
  };
  const auto take_one_of = [&text](std::string_view wanted) {
    const bool is_there = !text.empty() && wanted.find(text.front()) != std::string_view::npos;
    if (is_there) text.remove_prefix(1);
    return is_there;
  };
  take_one_of("+-");
  const size_t whole = take_digits();
  const size_t fraction = take_one_of(".") ? take_digits() : 0;
  if (whole + fraction == 0) return false;
  if (take_one_of("eE")) {
    take_one_of("+-");
    if (take_digits() == 0) return false;
  }
  return text.empty();
}

/// Whether YAML allows a character. Line ends that only old YAML knew are none in JSON.
bool is_for_yaml(const Characters& character) {
  const uint32_t code = character.code();
  const bool is_blank = code == '\t' || code == '\n' || code == '\r' || code == 0x85;
  return is_blank ||
         !(character.is_control() || code == 0xFEFF || code == 0xFFFE || code == 0xFFFF);
}

/// Tells of the first character that no text of a plan has. @return whether there is none
bool check_characters(std::string_view text, bool is_json, Errors& errors) {
  Place place;
  Characters characters(text);
  while (characters.next()) {
    if (!characters.is_valid()) {
      errors.add(place, "this is no UTF-8");
      return false;
    }
    if (!is_json && !is_for_yaml(characters)) {
      errors.add(place, "a control character stands here: in double quotes \\x and two digits");
      return false;
    }
    place =
        characters.bytes() == "\n" ? Place{place.line + 1, 1} : Place{place.line, place.column + 1};
  }
  return true;
}

}  // namespace

Node::Kind kind_of_plain(std::string_view scalar) {
  if (is_one_of(scalar, {"", "~", "null", "Null", "NULL"})) return Node::Kind::null;
  if (is_one_of(scalar, {"true", "True", "TRUE", "false", "False", "FALSE"})) {
    return Node::Kind::boolean;
  }
  const std::string_view sign_off =
      scalar.substr(scalar.front() == '+' || scalar.front() == '-' ? 1 : 0);
  const bool is_number =
      is_decimal(scalar) || is_one_of(sign_off, {".inf", ".Inf", ".INF"}) ||
      is_one_of(scalar, {".nan", ".NaN", ".NAN"}) ||
      (scalar.substr(0, 2) == "0o" && consists_of(scalar.substr(2), "01234567")) ||
      (scalar.substr(0, 2) == "0x" && consists_of(scalar.substr(2), "0123456789abcdefABCDEF"));
  return is_number ? Node::Kind::number : Node::Kind::text;
}

void drop_repeated_keys(Node& map, Errors& errors) {
  std::map<std::string, Place> seen;
  size_t kept = 0;
  for (size_t i = 0; i < map.keys.size(); ++i) {
    const auto [first, is_new] = seen.emplace(map.keys[i].text, map.keys[i].place);
    if (!is_new) {
      errors.add(map.keys[i].place, in_quotes(first->first) + " is there twice, first in line " +
                                        std::to_string(first->second.line));
      continue;
    }
    if (kept != i) {
      map.keys[kept] = std::move(map.keys[i]);
      map.values[kept] = std::move(map.values[i]);
    }
    ++kept;
  }
  map.keys.resize(kept);
  map.values.resize(kept);
}

std::optional<Node> read_tree(std::string_view text, bool is_json, Errors& errors) {
  text = without_byte_order_mark(text);
  const size_t first = text.find_first_not_of(" \t\r\n");
  const bool can_be_json = first != std::string_view::npos && text[first] == '{';
  if (!check_characters(text, is_json || can_be_json, errors)) return std::nullopt;
  if (is_json) return read_json(text, errors);
  if (can_be_json) {
    Errors found = errors;
    // What is wrong with it as JSON may be right in YAML.
    if (std::optional<Node> root = read_json(text, found)) {
      errors = std::move(found);
      return root;
    }
    if (!check_characters(text, false, errors)) return std::nullopt;
  }
  return read_yaml(text, errors);
}

}  // namespace station
