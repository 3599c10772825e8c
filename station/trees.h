// Trees of values from texts: JSON, and of YAML what has one meaning.
#pragma once

#include <optional>
#include <string_view>

#include "station/errors.h"
#include "station/node.h"

namespace station {

/// How deep values may be in each other.
constexpr size_t kDeepest = 32;

/// What a plan's text says: as JSON where `is_json`, or where it is JSON, which YAML reads
/// otherwise in some places; else as YAML. Nothing where it cannot be read, which `errors` then
/// says.
std::optional<Node> read_tree(std::string_view text, bool is_json, Errors& errors);

/// What JSON (RFC 8259) says. Nothing for what is no JSON, which `errors` then says. The text is
/// UTF-8.
std::optional<Node> read_json(std::string_view text, Errors& errors);

/// What one document of YAML 1.2 says, of plain scalars by its core schema. Anchors, aliases and
/// tags are refused. Nothing where it cannot be read, which `errors` then says. The text is UTF-8.
std::optional<Node> read_yaml(std::string_view text, Errors& errors);

/// The kind of a plain scalar, by YAML's core schema: what is neither null, true or false nor a
/// number is text.
Node::Kind kind_of_plain(std::string_view scalar);

/// Tells of keys that a map has twice, and drops the later ones.
void drop_repeated_keys(Node& map, Errors& errors);

}  // namespace station
