#include "tools/json.h"

#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>

namespace cli {

namespace {

/// The member of that name, or the end.
template <typename Object>
auto member(Object& object, std::string_view key) {
  return std::find_if(object.begin(), object.end(),
                      [&](const Json::Member& each) { return each.first == key; });
}

}  // namespace

/// Makes the JSON library's value of each kind.
struct Json::Writer {
  using Value = nlohmann::ordered_json;

  Value operator()(std::monostate) const { return nullptr; }
  Value operator()(bool value) const { return value; }
  Value operator()(int64_t value) const { return value; }
  Value operator()(const std::string& text) const { return text; }
  Value operator()(const Array& array) const {
    Value made = Value::array();
    for (const Json& value : array) made.push_back(std::visit(*this, value.value_));
    return made;
  }
  Value operator()(const Object& object) const {
    Value made = Value::object();
    for (const auto& [key, value] : object) made[key] = std::visit(*this, value.value_);
    return made;
  }
};

Json Json::array() {
  Json made;
  made.value_ = Array();
  return made;
}

Json Json::object() {
  Json made;
  made.value_ = Object();
  return made;
}

void Json::push_back(Json value) {
  if (is_null()) value_ = Array();
  std::get<Array>(value_).push_back(std::move(value));
}

Json& Json::operator[](std::string_view key) {
  if (is_null()) value_ = Object();
  Object& object = std::get<Object>(value_);
  const auto found = member(object, key);
  return found == object.end() ? object.emplace_back(key, Json()).second : found->second;
}

const Json& Json::operator[](std::string_view key) const {
  return member(std::get<Object>(value_), key)->second;
}

void Json::update(const Json& other) {
  for (const auto& [key, value] : std::get<Object>(other.value_)) (*this)[key] = value;
}

std::string Json::dump() const {
  using Value = Writer::Value;
  const Value made = std::visit(Writer(), value_);
  return made.dump(2, ' ', false, Value::error_handler_t::replace);
}

void print(const Json& value) { puts(value.dump().c_str()); }

}  // namespace cli
