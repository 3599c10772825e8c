#include "tools/json.h"

#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>

namespace cli {

/// Makes the JSON library's values.
struct Json::Writer {
  using Value = nlohmann::ordered_json;

  static Value made(const Json& json) {
    switch (json.kind_) {
      case Kind::null:
        break;
      case Kind::boolean:
        return json.number_ != 0;
      case Kind::number:
        return json.number_;
      case Kind::text:
        return json.text_;
      case Kind::array: {
        Value array = Value::array();
        for (const Json& value : json.values_) array.push_back(made(value));
        return array;
      }
      case Kind::object: {
        Value object = Value::object();
        for (size_t i = 0; i < json.keys_.size(); ++i)
          object[json.keys_[i]] = made(json.values_[i]);
        return object;
      }
    }
    return nullptr;
  }

  /// The other way round; nothing for what a Json cannot hold.
  static std::optional<Json> read(const Value& value) {
    if (value.is_null()) return Json();
    if (value.is_boolean()) return Json(value.get<bool>());
    if (value.is_number_integer()) return Json(value.get<int64_t>());
    if (value.is_string()) return Json(value.get<std::string>());
    if (!value.is_structured()) return {};
    Json made = value.is_array() ? Json::array() : Json::object();
    for (const auto& [key, member] : value.items()) {
      auto each = read(member);
      if (!each.has_value()) return {};
      if (value.is_array()) {
        made.push_back(std::move(*each));
      } else {
        made[key] = std::move(*each);
      }
    }
    return made;
  }

  static std::string text(const Json& json, int indent) {
    return made(json).dump(indent, ' ', false, Value::error_handler_t::replace);
  }
};

Json::Json(std::initializer_list<Member> members) : kind_(Kind::object) {
  for (const auto& [key, value] : members) (*this)[key] = value;
}

Json Json::array() {
  Json made;
  made.kind_ = Kind::array;
  return made;
}

Json Json::object() {
  Json made;
  made.kind_ = Kind::object;
  return made;
}

void Json::push_back(Json value) {
  if (is_null()) kind_ = Kind::array;
  values_.push_back(std::move(value));
}

size_t Json::place_of(std::string_view key) const {
  return static_cast<size_t>(std::find(keys_.begin(), keys_.end(), key) - keys_.begin());
}

Json& Json::operator[](std::string_view key) {
  if (is_null()) kind_ = Kind::object;
  const size_t place = place_of(key);
  if (place == keys_.size()) {
    values_.emplace_back();
    keys_.emplace_back(key);
  }
  return values_[place];
}

const Json& Json::operator[](std::string_view key) const { return values_.at(place_of(key)); }

void Json::update(const Json& other) {
  for (size_t i = 0; i < other.keys_.size(); ++i) (*this)[other.keys_[i]] = other.values_[i];
}

const Json& Json::get(std::string_view key) const {
  static const Json null;
  const size_t place = place_of(key);
  return place == keys_.size() ? null : values_[place];
}

std::optional<Json> Json::parsed(std::string_view text) {
  const auto value = Writer::Value::parse(text, nullptr, false);
  return value.is_discarded() ? std::nullopt : Writer::read(value);
}

std::string Json::dump() const { return Writer::text(*this, 2); }

std::string Json::line() const { return Writer::text(*this, -1); }

void print(const Json& value) { puts(value.dump().c_str()); }

}  // namespace cli
