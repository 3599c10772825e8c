// The file-handle service, instance "default": reads files of the system and product trees for
// processes that may not. Only it sees what an overlay lays over them.
#include <android-base/unique_fd.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <utils/Errors.h>
#include <vendor/qve/hardware/filehandle/1.0/IFileHandle.h>

#include <algorithm>
#include <cerrno>
#include <new>

#include "platform/device_home.h"
#include "virtual_phone/core/platform_call.h"
#include "virtual_phone/faults/accesses.h"
#include "virtual_phone/hidl/services.h"

namespace virtual_phone {
namespace {

namespace fs = std::filesystem;

using android::base::unique_fd;
using android::hardware::hidl_string;
using android::hardware::Return;
using android::hardware::Status;
using android::hardware::Void;
using vendor::qve::hardware::filehandle::V1_0::Error;
using vendor::qve::hardware::filehandle::V1_0::IFileHandle;

constexpr char kName[] = "filehandle";
constexpr size_t kLargestFile = 4 << 20;
/// A process of the vendor partition may read none of these itself.
constexpr std::string_view kTrees[] = {"/system/", "/product/", "/mnt/product/"};

struct Answer {
  std::string contents;
  Error error = Error::NONE;
};

Answer failure(Error error) { return {"", error}; }

Answer failure_of(int error) {
  return failure(error == ENOENT || error == ENOTDIR ? Error::NOT_FOUND : Error::IO);
}

bool is_readable_for_others(const std::string& path) {
  return std::any_of(std::begin(kTrees), std::end(kTrees), [&](std::string_view tree) {
    return path.compare(0, tree.size(), tree) == 0;
  });
}

/// Where a device path's file lies: on the overlay, else below it.
fs::path place_of(const Phone& phone, const std::string& path) {
  const fs::path overlaid = (phone.directory() / kOverlayName).string() + path;
  std::error_code ignored;
  return fs::exists(overlaid, ignored) ? overlaid : fs::path(phone.root() + path);
}

Answer read_whole(const unique_fd& file, size_t limit) {
  struct stat found {};
  if (fstat(file.get(), &found) != 0) return failure_of(errno);
  if (!S_ISREG(found.st_mode)) return failure(Error::IO);
  if (found.st_size > static_cast<off_t>(kLargestFile)) return failure(Error::TOO_LARGE);
  Answer answer;
  answer.contents.resize(std::min(limit, static_cast<size_t>(found.st_size)));
  size_t done = 0;
  while (done < answer.contents.size()) {
    const ssize_t got =
        read(file.get(), answer.contents.data() + done, answer.contents.size() - done);
    if (got < 0) return failure_of(errno);
    if (got == 0) break;
    done += static_cast<size_t>(got);
  }
  // What ends before its size says is not the whole file.
  if (done < static_cast<size_t>(found.st_size)) return failure(Error::IO);
  return answer;
}

Answer read_for_others(Phone& phone, const std::string& asked) {
  // A path ends at its NUL, for the file system as for the check.
  const std::string path = fs::path(asked.c_str()).lexically_normal();
  if (!is_readable_for_others(path)) return failure(Error::DENIED);
  constexpr int kFlags = O_RDONLY | O_NONBLOCK | O_CLOEXEC;
  const fcx::FileAccess opening{path.c_str(), fcx::FileOperation::open, nullptr, -1, kFlags};
  int error = fcx::platform_file_begins(opening).error;
  unique_fd file;
  if (error == 0) {
    file.reset(open(place_of(phone, path).c_str(), kFlags));
    error = file.ok() ? 0 : errno;
  }
  fcx::platform_file_ends(opening, error);
  if (error != 0) return failure_of(error);
  const fcx::FileAccess reading{path.c_str(), fcx::FileOperation::read};
  const fcx::FileFault fault = fcx::platform_file_begins(reading);
  const Answer answer = fault.error != 0 ? failure_of(fault.error) : read_whole(file, fault.limit);
  const bool has_own_error = fault.error == 0 && answer.error != Error::NONE;
  fcx::platform_file_ends(reading, has_own_error ? EIO : fault.error, answer.contents);
  return answer;
}

class FileHandleService : public IFileHandle {
 public:
  Return<void> readFile(const hidl_string& path, readFile_cb give) override {
    Answer answer = failure(Error::IO);
    const int failed = platform_call(kName, -1, [&](Phone& phone) {
      Accessing accessing(phone, {Part::service, kName, Access::call, path});
      if (accessing.strike().has_value()) return -1;
      answer = read_for_others(phone, path);
      accessing.ends(0);
      return 0;
    });
    if (failed != 0) return Status::fromStatusT(android::DEAD_OBJECT);
    give(answer.contents, answer.error);
    return Void();
  }
};

Service file_handle_service(Phone&) {
  static const android::sp<FileHandleService> service(new (std::nothrow) FileHandleService);
  return service;
}

[[maybe_unused]] const bool is_registered =
    (register_service(IFileHandle::descriptor, "default", file_handle_service, kName), true);

}  // namespace
}  // namespace virtual_phone
