// XML of the customisation package, through libxml2.
#pragma once

#include <libxml/tree.h>

#include <memory>
#include <string_view>

#include "carrier/package/state.h"

namespace fcx {

struct FreeXml {
  void operator()(xmlDoc* document) const { xmlFreeDoc(document); }
  void operator()(xmlChar* text) const { xmlFree(text); }
};
using XmlDocument = std::unique_ptr<xmlDoc, FreeXml>;

/// What a read of an XML file found.
enum class XmlFound {
  document,
  no_xml,  ///< a file that could be read, and holds something else
  absent,
  failed,  ///< nobody knows what there is: it is to be tried again
};

struct XmlReading {
  XmlFound found;
  XmlDocument document;  ///< null unless it was found

  bool has_failed() const { return found == XmlFound::failed; }
};

/// Reads and parses a device file. Nothing is fetched and no external entity loaded. Without a
/// document there is a line in the log.
XmlReading read_device_xml(const char* device_path);

/// Parses a text in the same way. Null for one that is no XML, or in an encoding that is refused.
XmlDocument parse_xml(std::string_view text);

/// An attribute's text; empty when there is none. It lives as long as this.
class XmlAttribute {
 public:
  XmlAttribute(const xmlNode* element, const char* name);

  std::string_view view() const;
  /// The text for a property; false, and a line in the log, for one that is too long, or holds what
  /// would end a line where properties are kept.
  bool fits(PropertyText& out) const;

 private:
  const char* name_;
  std::unique_ptr<xmlChar, FreeXml> text_;
};

bool is_element(const xmlNode* node, const char* name);

/// Calls `use` with each child element of that name, in document order, until it returns true.
template <typename Use>
bool any_child(const xmlNode* parent, const char* name, Use use) {
  if (parent == nullptr) return false;
  for (const xmlNode* child = parent->children; child != nullptr; child = child->next) {
    if (is_element(child, name) && use(child)) return true;
  }
  return false;
}

}  // namespace fcx
