// Where the files of the customisation package are, and both ways of reaching them.
#include "carrier/package/files.h"

#include <fcntl.h>
#include <vendor/qve/hardware/filehandle/1.0/IFileHandle.h>

#include <cstring>

#include "carrier/package/cache.h"
#include "carrier/package/paths.h"
#include "fcx/customisation.h"

namespace {

using android::hardware::hidl_string;
using fcx::Presence;
using fcx::ServiceAnswer;
using fcx::XmlFound;
using fcx::XmlReading;
using vendor::qve::hardware::filehandle::V1_0::Error;
using vendor::qve::hardware::filehandle::V1_0::IFileHandle;

constexpr char kFileHandleService[] = "default";
constexpr mode_t kCopyMode = 0664;

ServiceAnswer ask_service(const std::string& path) {
  if (is_system_path(path) == 0) {
    SBP_LOG("[QVE][SBP] file path is not system or product path!");
    return {Presence::absent, {}};
  }
  const android::sp<IFileHandle> service = IFileHandle::getService(kFileHandleService, false);
  if (service == nullptr) {
    SBP_LOG("[QVE][SBP] filehandleHal is NULL!");
    return {Presence::unknown, {}};
  }
  ServiceAnswer answer{Presence::unknown, {}};
  Error status = Error::IO;
  const auto call = service->readFile(path, [&](const hidl_string& found, Error given) {
    answer.contents.assign(found.c_str(), found.size());
    status = given;
  });
  if (!call.isOk()) {
    SBP_LOG("[QVE][SBP] the file-handle service did not answer\n");
    return {Presence::unknown, {}};
  }
  if (!answer.contents.empty()) {
    answer.presence = Presence::present;
  } else if (status == Error::NONE || status == Error::NOT_FOUND) {
    answer.presence = Presence::absent;
  }
  return answer;
}

ServiceAnswer read_through_service(const std::string& path) {
  if (const ServiceAnswer* had = fcx::cached_answer(path)) return *had;
  const ServiceAnswer answer = ask_service(path);
  fcx::keep_answer(path, answer);
  return answer;
}

/// Whether there is a file that is opened directly.
Presence find_directly(const char* path) {
  const Presence presence = fcx::presence_of(path);
  if (presence == Presence::unknown) fcx::note_unreadable(path);
  return presence;
}

bool goes_through_service(const char* path) { return e_is_overlayfs && is_system_path(path) != 0; }

/// A copy of a file that only the service can read.
struct Copy {
  std::string path;       ///< empty when none was made
  bool is_whole = false;  ///< all of the contents could be written
  /// What the service has of the file itself.
  Presence original = Presence::absent;
};

Copy copy_from_service(const std::string& path) {
  if (is_system_path(path) == 0) return {};
  const ServiceAnswer answer = read_through_service(path);
  if (answer.presence != Presence::present) {
    SBP_LOG("[QVE][SBP] Fail to open HAL file");
    return {{}, false, answer.presence};
  }
  std::string made = fcx::kStoredFilesDirectory;
  made.append(path, path.rfind('/'), std::string::npos);
  // A copy's name is known beforehand: a link that somebody has planted there is not followed.
  fcx::DeviceFile file(made.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW, kCopyMode);
  if (!file.is_open()) {
    SBP_LOG("[QVE][SBP] %s cannot be opened: %s\n", made.c_str(), file.reason());
    return {{}, false, answer.presence};
  }
  const fcx::Result written = file.write(answer.contents);
  if (!written.ok()) {
    SBP_LOG("[QVE][SBP] %s cannot be written: %s\n", made.c_str(), written.reason());
  }
  return {made, written.ok(), answer.presence};
}

XmlReading read_copy(const Copy& copy) {
  XmlReading reading = fcx::read_device_xml(copy.path.c_str());
  if (reading.document == nullptr) {
    // The copy stays, on purpose: it can be looked at. Whatever became of it says nothing of the
    // file.
    if (!copy.is_whole || reading.found == XmlFound::absent) reading.found = XmlFound::failed;
    return reading;
  }
  if (fcx::remove_device_file(copy.path.c_str()).ok()) {
    SBP_LOG("[QVE][SBP] doc parsing finished and temp xml is removed= %s", copy.path.c_str());
  } else {
    SBP_LOG("[QVE][SBP] temp xml remove failed= %s", copy.path.c_str());
  }
  return reading;
}

}  // namespace

int is_system_path(const std::string& path) {
  return path.find("/product") != std::string::npos || path.find("/system") != std::string::npos
             ? 1
             : 0;
}

std::string get_halData_from_file(const std::string& path) {
  return read_through_service(path).contents;
}

int get_hal_copied_file(const std::string& path, std::string& copy) {
  const Copy made = copy_from_service(path);
  if (made.path.empty()) return 0;
  copy = made.path;
  return 1;
}

bool fcx::passes_as_copy(const char* path) { return goes_through_service(path); }

fcx::XmlReading fcx::read_package_xml(const char* path) {
  if (!e_is_overlayfs) return read_device_xml(path);
  const Copy copy = copy_from_service(path);
  if (!copy.path.empty()) return read_copy(copy);
  XmlReading reading = read_device_xml(path);
  // The service may have what cannot be opened here.
  const bool is_there = copy.original != Presence::absent;
  if (is_there && reading.found == XmlFound::absent) reading.found = XmlFound::failed;
  return reading;
}

_xmlDoc* getXmlParseFile(const char* name) {
  return name == nullptr ? nullptr : fcx::read_package_xml(name).document.release();
}

fcx::Presence fcx::find_package_file(const char* path) {
  return goes_through_service(path) ? read_through_service(path).presence : find_directly(path);
}

int fexists_hal(const char* path) {
  return path != nullptr && read_through_service(path).presence == Presence::present ? 1 : 0;
}

int fexists_direct(const char* path) {
  return path != nullptr && find_directly(path) == Presence::present ? 1 : 0;
}

int fexists(const char* path) {
  return path != nullptr && fcx::find_package_file(path) == Presence::present ? 1 : 0;
}

char* qve_get_tamra_file_path(const char* name, char* out) {
  if (out == nullptr) return nullptr;
  fcx::LongText path(fcx::package_state().root.load());
  if (name != nullptr) {
    if (e_is_overlayfs) path.append("/etc");
    path.append(name);
  }
  memcpy(out, path.c_str(), path.view().size() + 1);
  return out;
}
