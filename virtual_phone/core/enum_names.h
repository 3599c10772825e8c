// Enums by the names that people type and databases hold. A table beside the enum names its values,
// and the compiler checks that none is left out:
//
//   enum class Colour { red, green };
//   template <>
//   inline constexpr EnumName<Colour> kEnumNames<Colour>[] = {
//       {Colour::red, "red"}, {Colour::green, "green"}};
//
//   name_of(Colour::green)    "green"
//   named<Colour>("blue")     nothing
#pragma once

#include <optional>
#include <string_view>
#include <utility>

namespace virtual_phone {

template <typename Enum>
struct EnumName {
  Enum value;
  const char* name;
};

/// The names of an enum whose values are 0 to 63, each once.
template <typename Enum>
inline constexpr EnumName<Enum> kEnumNames[] = {};

namespace enum_names {

/// Whether the enum has this value: of others the compiler spells the number.
template <auto value>
constexpr bool is_enumerator() {
  return std::string_view(__PRETTY_FUNCTION__).find("value = (") == std::string_view::npos;
}

template <typename Enum>
constexpr int rows_of(Enum value) {
  int rows = 0;
  for (const EnumName<Enum>& row : kEnumNames<Enum>) rows += row.value == value ? 1 : 0;
  return rows;
}

template <typename Enum, int... values>
constexpr bool names_each_once(std::integer_sequence<int, values...>) {
  return ((rows_of(static_cast<Enum>(values)) ==
           (is_enumerator<static_cast<Enum>(values)>() ? 1 : 0)) &&
          ...);
}

}  // namespace enum_names

template <typename Enum>
constexpr const char* name_of(Enum value) {
  static_assert(enum_names::names_each_once<Enum>(std::make_integer_sequence<int, 64>()),
                "a value has no name, or two");
  for (const EnumName<Enum>& row : kEnumNames<Enum>) {
    if (row.value == value) return row.name;
  }
  return "";
}

template <typename Enum>
constexpr std::optional<Enum> named(std::string_view name) {
  for (const EnumName<Enum>& row : kEnumNames<Enum>) {
    if (row.name == name) return row.value;
  }
  return std::nullopt;
}

}  // namespace virtual_phone
