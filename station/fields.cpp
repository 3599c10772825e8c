#include "station/fields.h"

#include <algorithm>
#include <charconv>

#include "daemon/hex.h"
#include "daemon/words.h"
#include "fcx/qvcmd.h"
#include "station/characters.h"
#include "station/text.h"

namespace station {

std::string shown(const Node& node) {
  switch (node.kind) {
    case Node::Kind::null:
      return "nothing";
    case Node::Kind::list:
      return node.values.empty() ? "an empty list" : "a list";
    case Node::Kind::map:
      return "a map";
    case Node::Kind::text:
      return in_quotes(node.text);
    case Node::Kind::boolean:
    case Node::Kind::number:
      break;
  }
  const std::string text = in_quotes(node.text);
  return text.substr(1, text.size() - 2);
}

std::optional<std::string> text_in(const Node& node) {
  const bool is_text = node.kind == Node::Kind::text || node.kind == Node::Kind::number;
  return is_text ? std::optional(node.text) : std::nullopt;
}

std::optional<Decimal> number_in(const Node& node) {
  if (node.kind != Node::Kind::number) return std::nullopt;
  const std::string_view text = node.text;
  const int base = text.substr(0, 2) == "0x" ? 16 : text.substr(0, 2) == "0o" ? 8 : 10;
  if (base == 10) return Decimal::read(text);
  uint64_t value = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data() + 2, end, value, base);
  if (error != std::errc() || stop != end) return std::nullopt;
  return Decimal::read(std::to_string(value));
}

Fields::Fields(const Node& node, const char* of_what, std::vector<std::string> known,
               Errors& errors)
    : node_(node), errors_(errors) {
  if (node.kind != Node::Kind::map) {
    errors_.add(node.place, std::string(of_what) + " is a map of fields (" +
                                factory_daemon::joined(known) + "), not " + shown(node));
  }
  for (const Key& key : node.keys) {
    if (errors_.is_full()) return;
    if (std::find(known.begin(), known.end(), key.text) != known.end()) continue;
    errors_.add(key.place, unknown_name("field of " + std::string(of_what), key.text, known));
  }
}

const Node* Fields::need(const std::string& name) const {
  const Node* value = find(name);
  if (value == nullptr && node_.kind == Node::Kind::map) {
    errors_.add(node_.place, in_quotes(name) + " is missing here");
  }
  return value;
}

Place Fields::place_of(const std::string& name) const {
  const Node* value = find(name);
  return value == nullptr ? node_.place : value->place;
}

void Fields::tell(const std::string& name, const std::string& must_be) const {
  errors_.add(place_of(name), in_quotes(name) + " is " + must_be + ", not " + shown(*find(name)));
}

std::optional<std::string> Fields::text(const std::string& name) const {
  const Node* value = find(name);
  if (value == nullptr) return std::nullopt;
  std::optional<std::string> text = text_in(*value);
  const bool looks_so = value->kind == Node::Kind::boolean || value->kind == Node::Kind::null;
  if (!text.has_value()) tell(name, looks_so ? "a text, here in quotes" : "a text");
  return text;
}

std::optional<std::string> Fields::label(const std::string& name) const {
  constexpr size_t kLongest = 80;
  std::optional<std::string> found = text(name);
  if (!found.has_value()) return std::nullopt;
  if (found->empty() || length_of(*found) > kLongest || has_controls(*found)) {
    tell(name, "a text of one line, 1 to 80 characters");
    return std::nullopt;
  }
  return found;
}

std::optional<Text> Fields::filled_in(const std::string& name) const {
  const std::optional<std::string> found = text(name);
  if (!found.has_value()) return std::nullopt;
  std::string wrong;
  std::optional<Text> read = read_text_with_variables(*found, wrong);
  if (!read.has_value()) complain(name, wrong);
  return read;
}

std::optional<int64_t> Fields::whole(const std::string& name, int64_t least, int64_t most) const {
  const Node* value = find(name);
  if (value == nullptr) return std::nullopt;
  const std::optional<Decimal> found = number_in(*value);
  const std::optional<int64_t> number = found ? found->whole() : std::nullopt;
  if (!number.has_value() || *number < least || *number > most) {
    tell(name, "a whole number from " + std::to_string(least) + " to " + std::to_string(most));
    return std::nullopt;
  }
  return number;
}

std::optional<Decimal> Fields::number(const std::string& name) const {
  const Node* value = find(name);
  if (value == nullptr) return std::nullopt;
  std::optional<Decimal> found = number_in(*value);
  if (!found.has_value()) tell(name, "a number, without quotes");
  return found;
}

std::optional<bool> Fields::flag(const std::string& name) const {
  const Node* value = find(name);
  if (value == nullptr) return std::nullopt;
  if (value->kind != Node::Kind::boolean) {
    tell(name, "true or false");
    return std::nullopt;
  }
  return value->text.front() == 't' || value->text.front() == 'T';
}

std::optional<int64_t> Fields::duration(const std::string& name) const {
  constexpr int64_t kLongestMs = int64_t{168} * 3'600'000;
  const Node* value = find(name);
  if (value == nullptr) return std::nullopt;
  if (value->kind == Node::Kind::number) {
    tell(name, "a time with its unit, as 500 ms, 10 s, 2 min or 1 h");
    return std::nullopt;
  }
  const std::optional<int64_t> ms =
      value->kind == Node::Kind::text ? read_duration(value->text) : std::nullopt;
  if (!ms.has_value() || *ms < 1 || *ms > kLongestMs) {
    tell(name, "a time from 1 ms to 168 h, as 500 ms, 10 s, 2 min or 1 h");
    return std::nullopt;
  }
  return ms;
}

std::optional<size_t> Fields::choice(const std::string& name,
                                     const std::vector<std::string>& choices) const {
  const Node* value = find(name);
  if (value == nullptr) return std::nullopt;
  const auto found = std::find(choices.begin(), choices.end(), value->text);
  if (value->kind != Node::Kind::text || found == choices.end()) {
    tell(name, "one of " + factory_daemon::joined(choices));
    return std::nullopt;
  }
  return static_cast<size_t>(found - choices.begin());
}

std::optional<std::string> Fields::bytes(const std::string& name) const {
  const std::optional<std::string> digits = text(name);
  if (!digits.has_value()) return std::nullopt;
  std::string wrong;
  std::optional<std::string> found = factory_daemon::from_hex(*digits, wrong);
  if (!found.has_value() || found->empty() || found->size() > QVCMD_DATA_SIZE) {
    tell(name, "hexadecimal digits of 1 to " + std::to_string(QVCMD_DATA_SIZE) + " bytes");
    return std::nullopt;
  }
  return found;
}

}  // namespace station
