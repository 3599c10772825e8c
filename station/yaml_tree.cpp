// YAML, over libyaml, which reads 1.1's syntax but leaves the meaning of scalars to us.
#include <yaml.h>

#include <string>

#include "station/trees.h"

namespace station {
namespace {

Place place_of(const yaml_mark_t& mark) { return {mark.line + 1, mark.column + 1}; }

class Event {
 public:
  Event() = default;
  ~Event() { yaml_event_delete(&event_); }
  Event(const Event&) = delete;
  Event& operator=(const Event&) = delete;

  yaml_event_t* operator->() { return &event_; }
  yaml_event_t* get() { return &event_; }
  Place place() const { return place_of(event_.start_mark); }

 private:
  yaml_event_t event_{};
};

std::string_view text_of(const yaml_char_t* bytes, size_t size) {
  return {reinterpret_cast<const char*>(bytes), size};
}

class YamlReader {
 public:
  YamlReader(std::string_view text, Errors& errors) : errors_(errors) {
    is_made_ = yaml_parser_initialize(&parser_) == 1;
    if (!is_made_) return;
    yaml_parser_set_encoding(&parser_, YAML_UTF8_ENCODING);
    yaml_parser_set_input_string(
        &parser_, reinterpret_cast<const unsigned char*>(text.empty() ? "" : text.data()),
        text.size());
  }
  ~YamlReader() {
    if (is_made_) yaml_parser_delete(&parser_);
  }
  YamlReader(const YamlReader&) = delete;
  YamlReader& operator=(const YamlReader&) = delete;

  std::optional<Node> read() {
    Node root;
    Event stream;
    Event document;
    if (!next(stream) || !next(document)) return std::nullopt;
    if (document->type == YAML_STREAM_END_EVENT) return root;
    Event first;
    if (!next(first) || !read_value(first, root, 1)) return std::nullopt;
    Event document_end;
    Event last;
    if (!next(document_end) || !next(last)) return std::nullopt;
    if (last->type != YAML_STREAM_END_EVENT) {
      fail(last.place(), "a plan is one document: a second begins here");
      return std::nullopt;
    }
    return root;
  }

 private:
  /// Always false.
  bool fail(Place place, std::string what) {
    errors_.add(place, std::move(what));
    return false;
  }

  bool next(Event& event) {
    if (!is_made_) return fail({}, "there is no memory to read it");
    if (yaml_parser_parse(&parser_, event.get()) == 1) return true;
    std::string what = parser_.problem == nullptr ? "it cannot be read" : parser_.problem;
    if (parser_.context != nullptr) what += std::string(" ") + parser_.context;
    return fail(place_of(parser_.problem_mark), "this is no YAML: " + what);
  }

  /// Whether an anchor or a tag stands before a value, which is told.
  bool has_marks(Event& event, const yaml_char_t* anchor, const yaml_char_t* tag) {
    if (anchor != nullptr) return !fail(event.place(), "anchors and aliases are not read here");
    if (tag != nullptr) return !fail(event.place(), "tags are not read here");
    return false;
  }

  bool read_value(Event& event, Node& node, size_t depth) {
    node.place = event.place();
    if (depth > kDeepest) return fail(node.place, "values are more than 32 deep in each other");
    switch (event->type) {
      case YAML_SCALAR_EVENT:
        return read_scalar(event, node);
      case YAML_SEQUENCE_START_EVENT:
        return read_list(event, node, depth);
      case YAML_MAPPING_START_EVENT:
        return read_map(event, node, depth);
      default:
        return fail(node.place, "anchors and aliases are not read here");
    }
  }

  bool read_scalar(Event& event, Node& node) {
    const auto& scalar = event->data.scalar;
    if (has_marks(event, scalar.anchor, scalar.tag)) return false;
    node.text = text_of(scalar.value, scalar.length);
    const bool is_plain = scalar.style == YAML_PLAIN_SCALAR_STYLE;
    node.kind = is_plain ? kind_of_plain(node.text) : Node::Kind::text;
    return true;
  }

  bool read_list(Event& event, Node& node, size_t depth) {
    const auto& list = event->data.sequence_start;
    if (has_marks(event, list.anchor, list.tag)) return false;
    node.kind = Node::Kind::list;
    for (;;) {
      Event value;
      if (!next(value)) return false;
      if (value->type == YAML_SEQUENCE_END_EVENT) return true;
      if (!read_value(value, node.values.emplace_back(), depth + 1)) return false;
    }
  }

  bool read_map(Event& event, Node& node, size_t depth) {
    const auto& map = event->data.mapping_start;
    if (has_marks(event, map.anchor, map.tag)) return false;
    node.kind = Node::Kind::map;
    for (;;) {
      Event key;
      if (!next(key)) return false;
      if (key->type == YAML_MAPPING_END_EVENT) break;
      Node name;
      if (!read_value(key, name, depth + 1)) return false;
      if (name.kind == Node::Kind::list || name.kind == Node::Kind::map) {
        return fail(name.place, "a name is expected before a colon");
      }
      node.keys.push_back({std::move(name.text), name.place});
      Event value;
      if (!next(value) || !read_value(value, node.values.emplace_back(), depth + 1)) return false;
    }
    drop_repeated_keys(node, errors_);
    return true;
  }

  yaml_parser_t parser_{};
  bool is_made_ = false;
  Errors& errors_;
};

}  // namespace

std::optional<Node> read_yaml(std::string_view text, Errors& errors) {
  return YamlReader(text, errors).read();
}

}  // namespace station
