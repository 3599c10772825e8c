// The platform's services that leave a mark on the phone: reboot, wake locks, file labels, the HIDL
// thread pool; and what a home supplies beside them.
#include <cutils/android_reboot.h>
#include <hardware_legacy/power.h>
#include <hidl/HidlTransportSupport.h>
#include <selinux/android.h>
#include <sys/stat.h>

#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <optional>
#include <string>

#include "platform/device_home.h"
#include "virtual_phone/core/clock.h"
#include "virtual_phone/core/events.h"
#include "virtual_phone/core/flush.h"
#include "virtual_phone/core/node.h"
#include "virtual_phone/core/platform_call.h"
#include "virtual_phone/core/power.h"
#include "virtual_phone/core/simulated_time.h"
#include "virtual_phone/faults/accesses.h"
#include "virtual_phone/power/unflushed.h"

namespace vp = virtual_phone;

namespace {

int record(const char* function, const char* kind, const std::string& detail) {
  return vp::platform_call(function, -1, [&](vp::Phone& phone) {
    vp::record_event(phone, kind, detail);
    return 0;
  });
}

/// The same by a service that a fault may keep from it.
int record_by(const char* service, const char* function, const char* kind,
              const std::string& detail) {
  return vp::platform_call(function, -1, [&](vp::Phone& phone) {
    vp::Accessing accessing(phone, {vp::Part::service, service, vp::Access::call, detail});
    if (accessing.strike().has_value()) return -1;
    vp::record_event(phone, kind, detail);
    accessing.ends(0);
    return 0;
  });
}

std::string reboot_detail(unsigned command, const char* reason) {
  std::string detail = command == ANDROID_RB_POWEROFF   ? vp::kPowerOff
                       : command == ANDROID_RB_THERMOFF ? vp::kThermalPowerOff
                                                        : "restart";
  if (reason != nullptr) detail += std::string(", reason ") + reason;
  return detail;
}

}  // namespace

namespace virtual_phone {
namespace {

std::atomic<void (*)()> ended_by_reboot = nullptr;

}  // namespace

void when_rebooted(void (*ended)()) { ended_by_reboot = ended; }

}  // namespace virtual_phone

int android_reboot(unsigned command, int, const char* reason) {
  const int result = vp::platform_call("android_reboot", -1, [&](vp::Phone& phone) {
    const std::string detail = reboot_detail(command, reason);
    vp::Accessing accessing(phone, {vp::Part::service, "reboot", vp::Access::call, detail});
    if (accessing.strike().has_value()) return -1;
    vp::end_uptime(phone, vp::kRebootEvent, detail);
    accessing.ends(0);
    accessing.changes();
    return 0;
  });
  const auto ended = vp::ended_by_reboot.load();
  if (result == 0 && ended != nullptr) ended();
  return result;
}

int acquire_wake_lock(int, const char* id) {
  return record_by("wakelock", "acquire_wake_lock", vp::kWakeLockEvent,
                   std::string(vp::kAcquire) + id);
}

int release_wake_lock(const char* id) {
  return record_by("wakelock", "release_wake_lock", vp::kWakeLockEvent,
                   std::string(vp::kRelease) + id);
}

int selinux_android_restorecon(const char* path, unsigned int flags) {
  return record_by("restorecon", "selinux_android_restorecon", "restorecon",
                   std::string(path) + " flags " + std::to_string(flags));
}

namespace android::hardware {

void configureRpcThreadpool(size_t maxThreads, bool callerWillJoin) {
  record("configureRpcThreadpool", "rpc_threadpool",
         std::to_string(maxThreads) + (callerWillJoin ? " threads, caller joins" : " threads"));
}

}  // namespace android::hardware

namespace fcx {

const char* device_root() {
  const vp::Phone* phone = vp::selected_or_null();
  // Without a phone there are no device files; never the developer's own.
  return phone == nullptr ? "/nonexistent" : phone->root().c_str();
}

void platform_sleep_us(uint64_t microseconds) {
  constexpr int kNoPhone = -1;
  const int slept = vp::platform_call("platform_sleep_us", kNoPhone, [&](vp::Phone& phone) {
    vp::PlatformAccess sleep{vp::Part::clock, "", vp::Access::sleep};
    sleep.size = static_cast<int64_t>(microseconds);
    vp::Accessing accessing(phone, std::move(sleep));
    vp::sleep_us(microseconds);
    accessing.ends(0);
    return 0;
  });
  if (slept == kNoPhone) vp::sleep_us(microseconds);
}

int64_t platform_time() { return vp::now_us() / 1'000'000; }

void platform_sync() {
  vp::platform_call("platform_sync", -1, [](vp::Phone& phone) {
    vp::Accessing accessing(phone, {vp::Part::file, "/", vp::Access::sync});
    const vp::FileTurn turn(phone);
    vp::sync_tree(phone.root());
    vp::note_tree_flushed(phone, "root");
    accessing.ends(0);
    return 0;
  });
}

int platform_thread_fault(LibraryThread thread) {
  int error = 0;
  vp::platform_call("platform_thread_fault", 0, [&](vp::Phone& phone) {
    vp::Accessing accessing(phone, {vp::Part::thread, vp::name_of(thread), vp::Access::start});
    if (const auto fault = accessing.strike()) error = static_cast<int>(fault->value);
    accessing.ends(error);
    return 0;
  });
  // The one program is a process of its own.
  if (error == 0 && thread != LibraryThread::screencap) vp::thread_is_started();
  return error;
}

void platform_thread_begins() { vp::thread_begins(); }

void platform_thread_ends() { vp::thread_ends(); }

namespace {

vp::Access access_of(FileOperation operation) {
  using vp::Access;
  constexpr Access kAccess[] = {
      Access::open,   Access::read,   Access::write, Access::sync,  Access::sync_directory,
      Access::rename, Access::remove, Access::stat,  Access::chmod, Access::chown,
      Access::mkdir,  Access::seek,   Access::close, Access::ioctl, Access::mmap};
  return kAccess[static_cast<size_t>(operation)];
}

/// Whether it is told of with its flags, or a mode.
bool has_flags(FileOperation operation) {
  return operation == FileOperation::open || operation == FileOperation::mkdir ||
         operation == FileOperation::chmod;
}

std::string normal_path(const char* device_path) {
  return vp::normal(std::filesystem::path("/") / device_path);
}

/// The operation that each thread is about to do, from its beginning to its end. One does not
/// begin within another.
struct AccessOfFile {
  vp::Accessing accessing;
  bool changes = false;
  bool is_flushed = false;                ///< by platform_flush()
  std::optional<vp::FileTurn> turn = {};  ///< over before the access is, which may cut the power

  AccessOfFile(vp::Phone& phone, vp::PlatformAccess access) : accessing(phone, std::move(access)) {}
};
thread_local std::optional<AccessOfFile> file_access;

FileFault met_by(const vp::Fault& fault) {
  FileFault met;
  if (fault.effect == vp::Effect::fail) {
    met.error = static_cast<int>(fault.value);
  } else if (fault.effect == vp::Effect::size) {
    met.size = fault.value;
  } else {
    met.limit = static_cast<size_t>(fault.value);
  }
  return met;
}

/// What stands where somebody has looked; a link is told as such, also by who has followed it.
std::string found_at(const FileAccess& access) {
  struct stat found {};
  const bool is_seen = access.fd >= 0 ? fstat(access.fd, &found) == 0
                                      : access.path != nullptr && lstat(access.path, &found) == 0;
  if (!is_seen) return "";
  if (S_ISLNK(found.st_mode)) return "link";
  if (S_ISDIR(found.st_mode)) return "directory";
  return S_ISREG(found.st_mode) ? "file of " + std::to_string(found.st_size) + " bytes" : "device";
}

}  // namespace

FileFault platform_file_begins(const FileAccess& access) {
  FileFault met;
  vp::platform_call("platform_file_begins", 0, [&](vp::Phone& phone) {
    const std::string path = normal_path(access.device_path);
    vp::PlatformAccess told{vp::Part::file, path, access_of(access.operation)};
    told.given = access.content;
    told.size = has_flags(access.operation) ? access.flags : access.size;
    if (access.new_device_path != nullptr) told.new_target = normal_path(access.new_device_path);
    file_access.emplace(phone, std::move(told));
    if (const auto fault = file_access->accessing.strike()) met = met_by(*fault);
    if (met.error != 0) return 0;
    if (access.operation == FileOperation::write) vp::tell_of_write(path);
    file_access->turn.emplace(phone, access);
    vp::Accessing::stop_when_off();
    file_access->changes = vp::keep_flushed(phone, access);
    return 0;
  });
  return met;
}

int platform_flush(int fd) {
  const int result = fsync(fd);
  if (file_access.has_value()) file_access->is_flushed = result == 0;
  return result;
}

void platform_file_ends(const FileAccess& access, int error, std::string_view bytes) {
  if (!file_access.has_value()) return;
  vp::platform_call("platform_file_ends", 0, [&](vp::Phone& phone) {
    const bool tells = access.operation == FileOperation::stat && error == 0 &&
                       file_access->accessing.is_observed();
    file_access->accessing.ends(error, tells ? found_at(access) : bytes);
    // What a write has left that failed is another content, too.
    const bool may_differ = error == 0 || access.operation == FileOperation::write;
    if (file_access->changes && may_differ) file_access->accessing.changes();
    if (error != 0) return 0;
    // What says that it flushes, and does not, has flushed nothing.
    const bool flushes = access.operation == FileOperation::sync ||
                         access.operation == FileOperation::sync_directory;
    if (!flushes || file_access->is_flushed) vp::note_flushed(phone, access);
    return 0;
  });
  file_access.reset();
}

}  // namespace fcx
