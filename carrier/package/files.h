// Files of the customisation package, by whichever way reaches them.
#pragma once

#include "carrier/package/xml.h"
#include "common/files.h"

namespace fcx {

/// Whether there is a file, as fexists() says it, but that what could not be found out is unknown.
[[nodiscard]] Presence find_package_file(const char* path);

/// getXmlParseFile(), with the reason why there is no document.
XmlReading read_package_xml(const char* path);

/// Whether a file passes as a copy through the directory of stored files to be read.
bool passes_as_copy(const char* path);

}  // namespace fcx
