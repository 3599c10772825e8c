#include "carrier/package/xml.h"

#include <fcntl.h>
#include <libxml/encoding.h>
#include <libxml/parser.h>
#include <strings.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>

#include "common/files.h"

namespace fcx {
namespace {

constexpr int kOptions = XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING;

struct FreeParser {
  void operator()(xmlParserCtxt* parser) const { xmlFreeParserCtxt(parser); }
};
using Parser = std::unique_ptr<xmlParserCtxt, FreeParser>;

/// The bytes by which libxml2 goes until an encoding is declared.
using FirstBytes = std::array<char, 4>;

/// A file on its way to the parser.
struct Source {
  DeviceFile file;
  FirstBytes first_bytes{};
  size_t taken = 0;
  int error = 0;  ///< with which reading has ended
};

/// libxml2 asks for the next bytes. @return their number, 0 at the end, -1 for no more
int read_on(void* context, char* buffer, int length) {
  auto& source = *static_cast<Source*>(context);
  const ReadResult read = source.file.read(buffer, static_cast<size_t>(length));
  const std::string_view bytes(buffer, read.size());
  if (source.taken == 0) bytes.copy(source.first_bytes.data(), source.first_bytes.size());
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

void log_error(const char* device_path, const xmlError& error) {
  if (error.message == nullptr) {
    SBP_LOG("[QVE][SBP] %s is no XML\n", device_path);
  } else {
    SBP_LOG("[QVE][SBP] %s is no XML, line %d: %s", device_path, error.line, error.message);
  }
}

/// Whether every libxml2 reads an encoding of this name: the phone's has no others.
bool is_everywhere(const char* encoding) {
  constexpr const char* kEverywhere[] = {"UTF-8",    "UTF8",     "UTF-16",     "UTF16",
                                         "UTF-16LE", "UTF-16BE", "ISO-8859-1", "ISO-LATIN-1",
                                         "US-ASCII", "ASCII",    "ISO-8859-15"};
  return std::any_of(std::begin(kEverywhere), std::end(kEverywhere),
                     [&](const char* known) { return strcasecmp(encoding, known) == 0; });
}

/// The encoding of what was parsed, well or not, if it is one that no phone reads; else null. What
/// is neither declared nor seen in the first bytes is UTF-8.
const char* refused_encoding(const xmlParserCtxt& parser, const FirstBytes& first_bytes) {
  const xmlCharEncoding seen = xmlDetectCharEncoding(
      reinterpret_cast<const unsigned char*>(first_bytes.data()), first_bytes.size());
  const char* name = xmlGetCharEncodingName(seen);
  if (name != nullptr && !is_everywhere(name)) return name;
  // UTF-8 and UTF-16 are noted in one place, all others in the other, before they are looked for.
  const xmlChar* declared = parser.encoding;
  if (declared == nullptr && parser.inputNr > 0) declared = parser.inputTab[0]->encoding;
  name = reinterpret_cast<const char*>(declared);
  return name == nullptr || is_everywhere(name) ? nullptr : name;
}

}  // namespace

XmlReading read_device_xml(const char* device_path) {
  Source source{DeviceFile(device_path, O_RDONLY)};
  if (!source.file.is_open()) {
    SBP_LOG("[QVE][SBP] %s cannot be opened: %s\n", device_path, source.file.reason());
    return {source.file.is_absent() ? XmlFound::absent : XmlFound::failed, nullptr};
  }
  if (source.file.size() > kLargestFile) source.error = EFBIG;
  const Parser parser(xmlNewParserCtxt());
  if (parser == nullptr) source.error = ENOMEM;
  XmlDocument document;
  if (source.error == 0) {
    document.reset(
        xmlCtxtReadIO(parser.get(), read_on, nullptr, &source, device_path, nullptr, kOptions));
  }
  if (source.error != 0) {
    SBP_LOG("[QVE][SBP] %s cannot be read: %s\n", device_path, strerror(source.error));
    return {XmlFound::failed, nullptr};
  }
  if (const char* encoding = refused_encoding(*parser, source.first_bytes); encoding != nullptr) {
    SBP_ERROR("%s: %s has the encoding %s, which no phone reads\n", __func__, device_path,
              encoding);
    return {XmlFound::no_xml, nullptr};
  }
  if (document == nullptr) {
    log_error(device_path, parser->lastError);
    return {XmlFound::no_xml, nullptr};
  }
  return {XmlFound::document, std::move(document)};
}

XmlDocument parse_xml(std::string_view text) {
  if (text.size() > kLargestFile) return nullptr;
  const Parser parser(xmlNewParserCtxt());
  if (parser == nullptr) return nullptr;
  XmlDocument document(xmlCtxtReadMemory(parser.get(), text.data(), static_cast<int>(text.size()),
                                         nullptr, nullptr, kOptions));
  FirstBytes first_bytes{};
  text.copy(first_bytes.data(), first_bytes.size());
  return refused_encoding(*parser, first_bytes) == nullptr ? std::move(document) : nullptr;
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
