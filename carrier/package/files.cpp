// Where the files of the customisation package are, and both ways of reaching them.
#include <fcntl.h>
#include <vendor/qve/hardware/filehandle/1.0/IFileHandle.h>

#include <cerrno>
#include <cstring>

#include "carrier/package/paths.h"
#include "carrier/package/xml.h"
#include "carrier/state.h"
#include "common/files.h"
#include "fcx/customisation.h"

namespace {

using android::hardware::hidl_string;
using vendor::qve::hardware::filehandle::V1_0::Error;
using vendor::qve::hardware::filehandle::V1_0::IFileHandle;

constexpr char kFileHandleService[] = "default";
constexpr mode_t kCopyMode = 0664;

bool goes_through_service(const char* path) { return e_is_overlayfs && is_system_path(path) != 0; }

/// Writes the copy's content. @return whether the copy could be opened
bool write_copy(const char* copy, std::string_view contents) {
  // Without blocking: what has that name may be no file.
  const fcx::UniqueFd fd =
      fcx::open_device_file(copy, O_WRONLY | O_CREAT | O_TRUNC | O_NONBLOCK, kCopyMode);
  if (!fd.is_open()) {
    SBP_LOG("[QVE][SBP] %s cannot be opened: %s\n", copy, strerror(errno));
    return false;
  }
  if (fcx::write_device_file(fd, copy, contents) != 0) {
    SBP_LOG("[QVE][SBP] %s cannot be written: %s\n", copy, strerror(errno));
  }
  return true;
}

}  // namespace

int is_system_path(const std::string& path) {
  return path.find("/product") != std::string::npos || path.find("/system") != std::string::npos
             ? 1
             : 0;
}

std::string get_halData_from_file(const std::string& path) {
  if (is_system_path(path) == 0) {
    SBP_LOG("[QVE][SBP] file path is not system or product path!");
    return {};
  }
  const android::sp<IFileHandle> service = IFileHandle::getService(kFileHandleService, false);
  if (service == nullptr) {
    SBP_LOG("[QVE][SBP] filehandleHal is NULL!");
    return {};
  }
  std::string contents;
  // The status is not consulted, on purpose: contents that are not empty are a success.
  const auto answer = service->readFile(
      path, [&](const hidl_string& found, Error) { contents.assign(found.c_str(), found.size()); });
  if (!answer.isOk()) {
    SBP_LOG("[QVE][SBP] the file-handle service did not answer\n");
    return {};
  }
  return contents;
}

int get_hal_copied_file(const std::string& path, std::string& copy) {
  if (is_system_path(path) == 0) return 0;
  const std::string contents = get_halData_from_file(path);
  if (contents.empty()) {
    SBP_LOG("[QVE][SBP] Fail to open HAL file");
    return 0;
  }
  std::string made = fcx::kStoredFilesDirectory;
  made.append(path, path.rfind('/'), std::string::npos);
  if (!write_copy(made.c_str(), contents)) return 0;
  copy = made;
  return 1;
}

_xmlDoc* getXmlParseFile(const char* name) {
  if (name == nullptr) return nullptr;
  std::string copy;
  if (!e_is_overlayfs || get_hal_copied_file(name, copy) == 0) {
    return fcx::parse_device_xml(name).release();
  }
  fcx::XmlDocument document = fcx::parse_device_xml(copy.c_str());
  if (document == nullptr) return nullptr;  // the copy stays, on purpose: it can be looked at
  if (fcx::remove_device_file(copy.c_str()) == 0) {
    SBP_LOG("[QVE][SBP] doc parsing finished and temp xml is removed= %s", copy.c_str());
  } else {
    SBP_LOG("[QVE][SBP] temp xml remove failed= %s", copy.c_str());
  }
  return document.release();
}

int fexists_hal(const char* path) {
  return path != nullptr && !get_halData_from_file(path).empty() ? 1 : 0;
}

int fexists_direct(const char* path) {
  return path != nullptr && fcx::device_file_exists(path) ? 1 : 0;
}

int fexists(const char* path) {
  if (path == nullptr) return 0;
  return goes_through_service(path) ? fexists_hal(path) : fexists_direct(path);
}

char* qve_get_tamra_file_path(const char* name, char* out) {
  if (out == nullptr) return nullptr;
  fcx::LongText path(fcx::carrier_state().root.load());
  if (name != nullptr) {
    if (e_is_overlayfs) path.append("/etc");
    path.append(name);
  }
  memcpy(out, path.c_str(), path.view().size() + 1);
  return out;
}
