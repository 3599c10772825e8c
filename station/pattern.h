// Patterns for answers: POSIX's extended regular expressions, which must match a whole text.
//
//   std::string wrong;
//   const auto pattern = Pattern::read("%FCX: 0,([0-9]+)", wrong);
//   pattern->match("%FCX: 0,17");  // {"%FCX: 0,17", "17"}
#pragma once

#include <regex.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace station {

class Pattern {
 public:
  /// A pattern, or nothing, and why in `wrong`: what is no pattern, has a NUL or more than 300
  /// bytes, refers back to a group (\1), or is larger than 300 characters once all its repeats are
  /// written out. So neither reading nor matching one can take long or much memory.
  static std::optional<Pattern> read(const std::string& text, std::string& wrong);

  /// What the whole pattern and each of its groups matched, "" for a group that did not take part.
  /// A point matches any byte but a NUL.
  /// Nothing where the pattern does not match the text from its first byte to its last.
  std::optional<std::vector<std::string>> match(std::string_view text) const;

  /// How many groups it has.
  size_t groups() const { return groups_; }
  /// How many characters it has with its repeats written out.
  size_t size() const { return size_; }

 private:
  Pattern() = default;

  struct Free {
    void operator()(regex_t* compiled) const;
  };
  std::unique_ptr<regex_t, Free> compiled_;
  size_t groups_ = 0;
  size_t size_ = 0;
};

/// The pattern that matches just this text.
std::string pattern_of(std::string_view text);

}  // namespace station
