#include "station/pattern.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace station {
namespace {

constexpr size_t kMost = 300;

size_t number_in(std::string_view digits) {
  size_t number = 0;
  // What is no number counts as none: whether it may stand there the C library says.
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  return error == std::errc::result_out_of_range ? kMost + 1 : number;
}

/// How large a pattern is once its repeats are written out, as the C library does.
class Size {
 public:
  explicit Size(std::string_view pattern) : rest_(pattern) {}

  /// Nothing where a group ends that has not begun.
  std::optional<size_t> count() {
    // The size of each group that is open, and of what was last in it, which can be repeated.
    std::vector<Level> open(1);
    while (!rest_.empty()) {
      const char c = rest_.front();
      rest_.remove_prefix(1);
      Level& inner = open.back();
      if (c == '(') {
        open.emplace_back();
      } else if (c == ')') {
        // An ordinary character for POSIX, but not inside of what is put around a pattern.
        if (open.size() == 1) return std::nullopt;
        const size_t group = inner.size + 1;
        open.pop_back();
        open.back().add(group);
      } else if (c == '+') {
        inner.repeat(2);
      } else if (c == '{') {
        inner.repeat(most_times());
      } else if (c != '*' && c != '?') {
        skip_rest_of(c);
        inner.add(1);
      }
    }
    size_t all = 0;
    for (const Level& each : open) all = std::min(all + each.size, kMost + 1);
    return all;
  }

 private:
  struct Level {
    size_t size = 0;
    size_t last = 0;

    void add(size_t more) {
      last = std::min(more, kMost + 1);
      size = std::min(size + last, kMost + 1);
    }
    void repeat(size_t times) {
      const size_t whole = last * times;  // each at most kMost + 2
      size = std::min(size - std::min(size, last) + whole, kMost + 1);
      last = std::min(whole, kMost + 1);
    }
  };

  /// Of "2}", "2,}" or "2,5}" after a brace.
  size_t most_times() {
    const std::string_view inside = rest_.substr(0, rest_.find('}'));
    rest_.remove_prefix(std::min(inside.size() + 1, rest_.size()));
    const size_t comma = std::min(inside.find(','), inside.size());
    const size_t least = number_in(inside.substr(0, comma));
    const std::string_view upper = inside.substr(std::min(comma + 1, inside.size()));
    // Without an end it is repeated once more, as often as there is.
    const bool has_end = comma == inside.size() || !upper.empty();
    return std::max({least + (has_end ? 0 : 1), number_in(upper), size_t{1}});
  }

  /// What belongs to a character: another after a backslash, all of a set in brackets.
  void skip_rest_of(char c) {
    if (c == '\\') rest_.remove_prefix(std::min<size_t>(1, rest_.size()));
    if (c != '[') return;
    size_t end = rest_.substr(0, 1) == "^" ? 1 : 0;
    if (rest_.substr(end, 1) == "]") ++end;
    while (end < rest_.size() && rest_[end] != ']') {
      const std::string_view kind = rest_.substr(end, 2);
      const bool is_class = kind == "[:" || kind == "[." || kind == "[=";
      const char close[] = {kind.back(), ']'};
      const size_t stop = is_class ? rest_.find({close, 2}, end + 2) : std::string_view::npos;
      end = stop == std::string_view::npos ? end + 1 : stop + 2;
    }
    rest_.remove_prefix(std::min(end + 1, rest_.size()));
  }

  std::string_view rest_;
};

/// A backslash and a digit, outside of sets, whose size does not matter here.
bool refers_back(std::string_view pattern) {
  for (size_t i = 0; i + 1 < pattern.size(); ++i) {
    if (pattern[i] != '\\') continue;
    ++i;
    if (pattern[i] >= '0' && pattern[i] <= '9') return true;
  }
  return false;
}

std::string message_of(int error, const regex_t& compiled) {
  std::array<char, 200> text{};
  // What does not fit is cut.
  static_cast<void>(regerror(error, &compiled, text.data(), text.size()));
  return text.data();
}

}  // namespace

void Pattern::Free::operator()(regex_t* compiled) const {
  const std::unique_ptr<regex_t> owner(compiled);
  regfree(compiled);
}

std::optional<Pattern> Pattern::read(const std::string& text, std::string& wrong) {
  const auto fail = [&wrong](const char* why) {
    wrong = why;
    return std::nullopt;
  };
  if (text.size() > kMost) return fail("a pattern has at most 300 bytes");
  if (text.find('\0') != std::string::npos) return fail("a pattern has no NUL");
  if (refers_back(text)) {
    return fail("a pattern does not refer back to its groups: \\ stands before no digit");
  }
  const std::optional<size_t> size = Size(text).count();
  if (!size.has_value()) return fail("a ) is without its (");
  if (*size > kMost) {
    return fail("with its repeats written out a pattern has at most 300 characters");
  }
  // Between these it is one alternative of nothing else.
  const std::string whole = "^(" + text + ")$";
  auto made = std::make_unique<regex_t>();
  if (const int error = regcomp(made.get(), whole.c_str(), REG_EXTENDED); error != 0) {
    wrong = "this is no extended regular expression: " + message_of(error, *made);
    return std::nullopt;
  }
  Pattern pattern;
  pattern.compiled_.reset(made.release());
  pattern.size_ = *size;
  pattern.groups_ = pattern.compiled_->re_nsub - 1;
  return pattern;
}

std::optional<std::vector<std::string>> Pattern::match(std::string_view text) const {
  std::vector<regmatch_t> found(groups_ + 2);
  found[0] = {0, static_cast<regoff_t>(text.size())};
  // Checked builds look for a NUL past the end, which the C library does not need.
  const std::string copy(text);
  if (regexec(compiled_.get(), copy.c_str(), found.size(), found.data(), REG_STARTEND) != 0) {
    return std::nullopt;
  }
  std::vector<std::string> matched;
  // The first is that of what stands around the pattern.
  for (size_t i = 1; i < found.size(); ++i) {
    const bool took_part = found[i].rm_so >= 0;
    matched.emplace_back(took_part
                             ? text.substr(static_cast<size_t>(found[i].rm_so),
                                           static_cast<size_t>(found[i].rm_eo - found[i].rm_so))
                             : "");
  }
  return matched;
}

std::string pattern_of(std::string_view text) {
  std::string pattern;
  for (const char c : text) {
    // Before some ordinary characters a backslash means something else.
    const bool is_special = std::string_view("\\^$.[]()|*+?{}").find(c) != std::string_view::npos;
    if (is_special) pattern += '\\';
    pattern += c;
  }
  return pattern;
}

}  // namespace station
