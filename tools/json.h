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
#include <variant>
#include <vector>

namespace cli {

/// A value: null, true or false, a whole number, text, an array, or an object whose members keep
/// their order.
class Json {
 public:
  using Array = std::vector<Json>;
  using Member = std::pair<std::string, Json>;
  using Object = std::vector<Member>;

  Json() = default;
  Json(std::nullptr_t) {}
  Json(bool value) : value_(value) {}
  template <typename Number, typename = std::enable_if_t<std::is_integral_v<Number> &&
                                                         !std::is_same_v<Number, bool>>>
  Json(Number value) : value_(static_cast<int64_t>(value)) {}
  Json(const char* text) : value_(std::string(text)) {}
  Json(std::string_view text) : value_(std::string(text)) {}
  Json(std::string text) : value_(std::move(text)) {}
  /// Null for nothing.
  template <typename Value>
  Json(const std::optional<Value>& value) {
    if (value.has_value()) *this = Json(*value);
  }
  Json(const std::vector<std::string>& texts) : value_(Array(texts.begin(), texts.end())) {}
  /// An object: {{"key", value}, ...}.
  Json(std::initializer_list<Member> members) : value_(Object(members)) {}

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

  bool is_null() const { return std::holds_alternative<std::monostate>(value_); }
  /// The text that it is. Nothing else may ask.
  const std::string& text() const { return std::get<std::string>(value_); }
  /// The values of an array. Nothing else may ask.
  const Array& values() const { return std::get<Array>(value_); }

  /// As text, indented by two. What is no UTF-8 is replaced: a phone's text may be any bytes.
  std::string dump() const;

 private:
  struct Writer;

  std::variant<std::monostate, bool, int64_t, std::string, Array, Object> value_;
};

/// Prints it.
void print(const Json& value);

}  // namespace cli
