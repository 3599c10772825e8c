// JSON. A library of it would not say where its values stand.
#include <algorithm>
#include <charconv>

#include "station/characters.h"
#include "station/trees.h"

namespace station {
namespace {

constexpr std::string_view kDigits = "0123456789";

class JsonReader {
 public:
  JsonReader(std::string_view text, Errors& errors) : rest_(text), errors_(errors) {}

  std::optional<Node> read() {
    Node root;
    skip_blanks();
    if (!read_value(root, 1)) return std::nullopt;
    skip_blanks();
    if (!rest_.empty() && !fail("here the plan's object has ended already")) return std::nullopt;
    return root;
  }

 private:
  /// Always false.
  bool fail(const std::string& what) {
    errors_.add(place_, "this is no JSON: " + what);
    return false;
  }

  /// Goes past so many bytes, whole characters.
  void go(size_t bytes) {
    Characters characters(rest_.substr(0, bytes));
    while (characters.next()) {
      const bool is_in_line_end = characters.bytes() == "\n" && was_return_;
      was_return_ = characters.bytes() == "\r";
      if (is_in_line_end) continue;
      const bool ends_line = was_return_ || characters.bytes() == "\n";
      place_ = ends_line ? Place{place_.line + 1, 1} : Place{place_.line, place_.column + 1};
    }
    rest_.remove_prefix(bytes);
  }

  bool take(char wanted) {
    if (rest_.empty() || rest_.front() != wanted) return false;
    go(1);
    return true;
  }

  void skip_blanks() { go(std::min(rest_.find_first_not_of(" \t\r\n"), rest_.size())); }

  bool read_value(Node& node, size_t depth) {
    node.place = place_;
    if (depth > kDeepest) return fail("values are more than 32 deep in each other");
    const char first = rest_.empty() ? '\0' : rest_.front();
    if (first == '{') return read_map(node, depth);
    if (first == '[') return read_list(node, depth);
    if (first == '"') {
      node.kind = Node::Kind::text;
      return read_text(node.text);
    }
    if (first == '-' || kDigits.find(first) != std::string_view::npos) return read_number(node);
    return read_word(node);
  }

  bool read_list(Node& node, size_t depth) {
    node.kind = Node::Kind::list;
    go(1);
    skip_blanks();
    if (take(']')) return true;
    do {
      skip_blanks();
      if (!read_value(node.values.emplace_back(), depth + 1)) return false;
      skip_blanks();
    } while (take(','));
    return take(']') || fail("after a value of a list comes , or ]");
  }

  bool read_map(Node& node, size_t depth) {
    node.kind = Node::Kind::map;
    go(1);
    skip_blanks();
    if (take('}')) return true;
    do {
      skip_blanks();
      Key& key = node.keys.emplace_back();
      key.place = place_;
      if (!read_text(key.text)) return false;
      skip_blanks();
      if (!take(':')) return fail("after a name comes :");
      skip_blanks();
      if (!read_value(node.values.emplace_back(), depth + 1)) return false;
      skip_blanks();
    } while (take(','));
    if (!take('}')) return fail("after a value comes , or }");
    drop_repeated_keys(node, errors_);
    return true;
  }

  bool read_word(Node& node) {
    for (const std::string_view word : {"true", "false", "null"}) {
      if (rest_.substr(0, word.size()) != word) continue;
      node.kind = word == "null" ? Node::Kind::null : Node::Kind::boolean;
      node.text = word;
      go(word.size());
      return true;
    }
    return fail("a value is expected");
  }

  /// How many digits are at a place of what is left.
  size_t digits_at(size_t begin) const {
    return std::min(rest_.find_first_not_of(kDigits, begin), rest_.size()) - begin;
  }

  bool read_number(Node& node) {
    size_t size = rest_.front() == '-' ? 1 : 0;
    const size_t whole = digits_at(size);
    if (whole == 0) return fail("after - comes a digit");
    if (whole > 1 && rest_[size] == '0') return fail("a number does not begin with 0");
    size += whole;
    if (size < rest_.size() && rest_[size] == '.') {
      const size_t digits = digits_at(size + 1);
      if (digits == 0) return fail("after the point of a number comes a digit");
      size += 1 + digits;
    }
    if (size < rest_.size() && (rest_[size] == 'e' || rest_[size] == 'E')) {
      ++size;
      if (size < rest_.size() && (rest_[size] == '+' || rest_[size] == '-')) ++size;
      const size_t digits = digits_at(size);
      if (digits == 0) return fail("after the e of a number comes a digit");
      size += digits;
    }
    node.kind = Node::Kind::number;
    node.text = rest_.substr(0, size);
    go(size);
    return true;
  }

  bool read_text(std::string& text) {
    if (!take('"')) return fail("a name in double quotes is expected");
    while (!take('"')) {
      if (rest_.empty()) return fail("a text has no end");
      if (static_cast<uint8_t>(rest_.front()) < ' ') return fail("a text has a control character");
      if (rest_.front() == '\\') {
        if (!read_escape(text)) return false;
        continue;
      }
      const size_t plain = std::min(rest_.find_first_of("\"\\"), rest_.size());
      const auto* const stop =
          std::find_if(rest_.begin(), rest_.begin() + static_cast<ptrdiff_t>(plain),
                       [](char c) { return static_cast<uint8_t>(c) < ' '; });
      const auto size = static_cast<size_t>(stop - rest_.begin());
      text += rest_.substr(0, size);
      go(size);
    }
    return true;
  }

  bool read_escape(std::string& text) {
    constexpr std::string_view kNames = "\"\\/bfnrt";
    constexpr std::string_view kMeanings = "\"\\/\b\f\n\r\t";
    const char name = rest_.size() > 1 ? rest_[1] : '\0';
    if (const size_t known = kNames.find(name); known != std::string_view::npos) {
      text += kMeanings[known];
      go(2);
      return true;
    }
    std::optional<uint32_t> code = code_at(0);
    if (!code.has_value()) return fail("\\ stands before one of \"\\/bfnrt, or u and four digits");
    size_t size = 6;
    if (*code >= 0xD800 && *code < 0xE000) {
      const std::optional<uint32_t> second = code_at(6);
      const bool is_pair = *code < 0xDC00 && second >= 0xDC00U && second < 0xE000U;
      if (!is_pair) return fail("half of a surrogate pair stands alone");
      code = 0x10000 + ((*code - 0xD800) << 10) + (*second - 0xDC00);
      size += 6;
    }
    text += utf8(*code);
    go(size);
    return true;
  }

  /// The number of a \u that stands there.
  std::optional<uint32_t> code_at(size_t begin) const {
    if (rest_.size() < begin + 6 || rest_.substr(begin, 2) != "\\u") return std::nullopt;
    const char* const end = rest_.data() + begin + 6;
    uint32_t code = 0;
    const auto [stop, error] = std::from_chars(end - 4, end, code, 16);
    if (stop != end || error != std::errc()) return std::nullopt;
    return code;
  }

  std::string_view rest_;
  Place place_;
  bool was_return_ = false;
  Errors& errors_;
};

}  // namespace

std::optional<Node> read_json(std::string_view text, Errors& errors) {
  return JsonReader(text, errors).read();
}

}  // namespace station
