// JSON, in the order in which it is filled. The library that writes it is known to json.cpp alone,
// since it takes long to compile.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace cli {

/// A value: null, true or false, a whole number, text, an array, or an object whose members keep
/// their order.
class Json {
 public:
  using Array = std::vector<Json>;
  using Member = std::pair<std::string, Json>;

  Json() = default;
  Json(std::nullptr_t) {}
  Json(bool value) : kind_(Kind::boolean), number_(value ? 1 : 0) {}
  template <typename Number, typename = std::enable_if_t<std::is_integral_v<Number> &&
                                                         !std::is_same_v<Number, bool>>>
  Json(Number value) : kind_(Kind::number), number_(static_cast<int64_t>(value)) {}
  Json(std::string text) : kind_(Kind::text), text_(std::move(text)) {}
  Json(std::string_view text) : Json(std::string(text)) {}
  Json(const char* text) : Json(std::string(text)) {}
  /// Null for nothing.
  template <typename Value>
  Json(const std::optional<Value>& value) {
    if (value.has_value()) *this = Json(*value);
  }
  Json(const std::vector<std::string>& texts)
      : kind_(Kind::array), values_(texts.begin(), texts.end()) {}
  /// An object: {{"key", value}, ...}.
  Json(std::initializer_list<Member> members);

  static Json array();
  static Json object();

  /// At the end of an array; null becomes one.
  void push_back(Json value);
  /// The member of that name of an object, added when there is none; null becomes an object.
  Json& operator[](std::string_view key);
  /// A member that is there.
  const Json& operator[](std::string_view key) const;
  /// Adds the members of another object, in place of those of the same names.
  void update(const Json& other);

  /// What a text is that a program has printed; nothing where it is no JSON, or has a number that
  /// is not whole.
  static std::optional<Json> parsed(std::string_view text);

  bool is_null() const { return kind_ == Kind::null; }
  bool is_true() const { return kind_ == Kind::boolean && number_ != 0; }
  /// The member of that name, or null.
  const Json& get(std::string_view key) const;
  /// The text that it is, else none.
  const std::string& text() const { return text_; }
  /// The values of an array, or an object; else none.
  const Array& values() const { return values_; }

  /// As text, indented by two. What is no UTF-8 is replaced: a phone's text may be any bytes.
  std::string dump() const;
  /// The same in one line.
  std::string line() const;

 private:
  enum class Kind { null, boolean, number, text, array, object };
  struct Writer;

  size_t place_of(std::string_view key) const;

  // No std::variant, which GCC 12 destroys wrongly when there is no memory for a copy.
  Kind kind_ = Kind::null;
  int64_t number_ = 0;
  std::string text_;
  Array values_;
  std::vector<std::string> keys_;  ///< of an object, one for each value
};

/// Prints it.
void print(const Json& value);

}  // namespace cli
