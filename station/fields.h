// The named values of a part of a plan, each of the type that it must have. What is wrong with one
// is told, and it counts as not there.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "station/decimal.h"
#include "station/errors.h"
#include "station/node.h"
#include "station/plan.h"

namespace station {

/// What a value is, for an error: "a list", 0x1F, "text".
std::string shown(const Node& node);

/// What a text or a number says, as it was typed.
std::optional<std::string> text_in(const Node& node);

/// What a number says. Nothing for other values, and for those that are none or not finite.
std::optional<Decimal> number_in(const Node& node);

class Fields {
 public:
  /// Those of `node`, which must be a map; `of_what` says what it is a part of. Others than `known`
  /// are told. Both outlive this object.
  Fields(const Node& node, const char* of_what, std::vector<std::string> known, Errors& errors);

  /// The value of that name, or null.
  const Node* find(const std::string& name) const { return node_.find(name); }
  /// The same, told when it is not there.
  const Node* need(const std::string& name) const;
  bool has(const std::string& name) const { return find(name) != nullptr; }
  /// Where the value of that name stands; of one that is not there, where all of them begin.
  Place place_of(const std::string& name) const;
  const Node& node() const { return node_; }

  /// Text, or a number as it was typed.
  std::optional<std::string> text(const std::string& name) const;
  /// A text of one line, 1 to 80 characters.
  std::optional<std::string> label(const std::string& name) const;
  /// A text with variables.
  std::optional<Text> filled_in(const std::string& name) const;
  std::optional<int64_t> whole(const std::string& name, int64_t least, int64_t most) const;
  std::optional<Decimal> number(const std::string& name) const;
  std::optional<bool> flag(const std::string& name) const;
  /// Milliseconds, 1 to 168 hours.
  std::optional<int64_t> duration(const std::string& name) const;
  /// One of these, by its place among them.
  std::optional<size_t> choice(const std::string& name,
                               const std::vector<std::string>& choices) const;
  /// Bytes from hexadecimal digits, one at least.
  std::optional<std::string> bytes(const std::string& name) const;

  /// Says that the value of that name is something else than what it must be.
  void tell(const std::string& name, const std::string& must_be) const;
  /// Says what is wrong with the value of that name.
  void complain(const std::string& name, std::string what) const {
    errors_.add(place_of(name), std::move(what));
  }

 private:
  const Node& node_;
  Errors& errors_;
};

}  // namespace station
