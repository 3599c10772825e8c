#include "carrier/package/xml.h"

#include <fcntl.h>
#include <libxml/parser.h>
#include <strings.h>

#include <algorithm>
#include <cstring>
#include <iterator>

#include "common/files.h"

namespace fcx {
namespace {

constexpr int kOptions = XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING;

/// A file on its way to the parser.
struct Source {
  DeviceFile file;
  size_t taken = 0;
  int error = 0;  ///< with which reading has ended
};

/// libxml2 asks for the next bytes. @return their number, 0 at the end, -1 for no more
int read_on(void* context, char* buffer, int length) {
  auto& source = *static_cast<Source*>(context);
  const ReadResult read = source.file.read(buffer, static_cast<size_t>(length));
  source.taken += read.size();
  if (!read.has_content()) {
    source.error = read.error();
  } else if (source.taken > kLargestFile) {
    source.error = EFBIG;
  } else if (read.size() < static_cast<size_t>(length) && source.taken < source.file.size()) {
    source.error = EIO;  // it has more than could be read
  }
  return source.error == 0 ? static_cast<int>(read.size()) : -1;
}

void log_error(const char* device_path) {
  const xmlError* error = xmlGetLastError();
  if (error == nullptr || error->message == nullptr) {
    SBP_LOG("[QVE][SBP] %s is no XML\n", device_path);
  } else {
    SBP_LOG("[QVE][SBP] %s is no XML, line %d: %s", device_path, error->line, error->message);
  }
}

/// Whether every libxml2 reads this encoding: the phone's has no others.
bool is_everywhere(const xmlChar* encoding) {
  constexpr const char* kEverywhere[] = {"UTF-8",      "UTF-16",      "UTF-16LE", "UTF-16BE",
                                         "ISO-8859-1", "ISO-8859-15", "US-ASCII", "ASCII"};
  if (encoding == nullptr) return true;  // UTF-8, when nothing is declared
  return std::any_of(std::begin(kEverywhere), std::end(kEverywhere), [&](const char* known) {
    return strcasecmp(reinterpret_cast<const char*>(encoding), known) == 0;
  });
}

}  // namespace

XmlReading read_device_xml(const char* device_path) {
  Source source{DeviceFile(device_path, O_RDONLY)};
  if (!source.file.is_open()) {
    SBP_LOG("[QVE][SBP] %s cannot be opened: %s\n", device_path, source.file.reason());
    return {source.file.is_absent() ? XmlFound::absent : XmlFound::failed, nullptr};
  }
  if (source.file.size() > kLargestFile) source.error = EFBIG;
  XmlDocument document(xmlReadIO(read_on, nullptr, &source, device_path, nullptr, kOptions));
  if (source.error != 0) {
    SBP_LOG("[QVE][SBP] %s cannot be read: %s\n", device_path, strerror(source.error));
    return {XmlFound::failed, nullptr};
  }
  if (document == nullptr) {
    log_error(device_path);
    return {XmlFound::no_xml, nullptr};
  }
  if (!is_everywhere(document->encoding)) {
    SBP_LOG("[QVE][SBP] %s has the encoding %s, which no phone reads\n", device_path,
            reinterpret_cast<const char*>(document->encoding));
    return {XmlFound::no_xml, nullptr};
  }
  return {XmlFound::document, std::move(document)};
}

XmlDocument parse_xml(std::string_view text) {
  if (text.size() > kLargestFile) return nullptr;
  XmlDocument document(
      xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr, nullptr, kOptions));
  const bool is_refused = document != nullptr && !is_everywhere(document->encoding);
  return is_refused ? nullptr : std::move(document);
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
