#include "carrier/package/xml.h"

#include <libxml/parser.h>
#include <libxml/xmlerror.h>

#include <cerrno>
#include <cstring>

#include "common/files.h"

namespace fcx {
namespace {

int read_xml(void* context, char* buffer, int length) {
  auto* file = static_cast<DeviceFileReader*>(context);
  return static_cast<int>(file->read(buffer, static_cast<size_t>(length)));
}

void log_error(const char* device_path) {
  const xmlError* error = xmlGetLastError();
  if (error == nullptr || error->message == nullptr) {
    SBP_LOG("[QVE][SBP] %s is no XML\n", device_path);
  } else {
    SBP_LOG("[QVE][SBP] %s is no XML, line %d: %s", device_path, error->line, error->message);
  }
}

}  // namespace

XmlDocument parse_device_xml(const char* device_path) {
  DeviceFileReader file(device_path);
  if (!file.is_open()) {
    SBP_LOG("[QVE][SBP] %s cannot be opened: %s\n", device_path, strerror(errno));
    return nullptr;
  }
  constexpr int kOptions = XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING;
  XmlDocument document(xmlReadIO(read_xml, nullptr, &file, device_path, nullptr, kOptions));
  if (document == nullptr) log_error(device_path);
  return document;
}

XmlAttribute::XmlAttribute(const xmlNode* element, const char* name)
    : name_(name), text_(xmlGetProp(element, reinterpret_cast<const xmlChar*>(name))) {}

std::string_view XmlAttribute::view() const {
  return text_ == nullptr ? std::string_view() : reinterpret_cast<const char*>(text_.get());
}

bool XmlAttribute::fits(PropertyText& out) const {
  if (view().size() > kLongestProperty) {
    SBP_LOG("[QVE][SBP] %s has %zu characters, more than a property holds\n", name_, view().size());
    return false;
  }
  if (view().find_first_of("\r\n") != std::string_view::npos) {
    SBP_LOG("[QVE][SBP] %s holds a line break\n", name_);
    return false;
  }
  out = PropertyText(view());
  return true;
}

bool is_element(const xmlNode* node, const char* name) {
  return node->type == XML_ELEMENT_NODE &&
         strcmp(reinterpret_cast<const char*>(node->name), name) == 0;
}

}  // namespace fcx
