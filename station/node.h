// What a plan's text says, before anybody asks what it means: values with the places where they
// stand.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace station {

/// A place in a file. Both count from 1; a column is a character, not a byte.
struct Place {
  size_t line = 1;
  size_t column = 1;
};

struct Node;

struct Key {
  std::string text;
  Place place;
};

/// A value. Nothing is in it more than 32 deep.
struct Node {
  enum class Kind { null, boolean, number, text, list, map };

  Kind kind = Kind::null;
  Place place;
  std::string text;          ///< of a text what it says, of any other scalar what was typed
  std::vector<Node> values;  ///< of a list or a map
  std::vector<Key> keys;     ///< of a map, one for each value; no two are equal

  /// The value of that name, or null.
  const Node* find(const std::string& key) const {
    for (size_t i = 0; i < keys.size(); ++i) {
      if (keys[i].text == key) return &values[i];
    }
    return nullptr;
  }
};

}  // namespace station
