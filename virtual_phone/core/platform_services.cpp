// The platform's services that leave a mark on the phone: reboot, wake locks, file labels, the HIDL
// thread pool; and what a home supplies beside them.
#include <cutils/android_reboot.h>
#include <hardware_legacy/power.h>
#include <hidl/HidlTransportSupport.h>
#include <selinux/android.h>

#include <filesystem>
#include <string>

#include "platform/device_home.h"
#include "virtual_phone/core/clock.h"
#include "virtual_phone/core/events.h"
#include "virtual_phone/core/flush.h"
#include "virtual_phone/core/node.h"
#include "virtual_phone/core/platform_call.h"
#include "virtual_phone/core/power.h"
#include "virtual_phone/faults/faults.h"

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
    if (vp::strike(phone, vp::Part::service, service, vp::Access::call).has_value()) return -1;
    vp::record_event(phone, kind, detail);
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

int android_reboot(unsigned command, int, const char* reason) {
  return vp::platform_call("android_reboot", -1, [&](vp::Phone& phone) {
    if (vp::strike(phone, vp::Part::service, "reboot", vp::Access::call).has_value()) return -1;
    vp::end_uptime(phone, vp::kRebootEvent, reboot_detail(command, reason));
    return 0;
  });
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
  return record("selinux_android_restorecon", "restorecon",
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

void platform_sleep_us(uint64_t microseconds) { vp::sleep_us(microseconds); }

void platform_sync() {
  vp::platform_call("platform_sync", -1, [](vp::Phone& phone) {
    vp::sync_tree(phone.root());
    return 0;
  });
}

int platform_thread_fault(LibraryThread thread) {
  return vp::platform_call("platform_thread_fault", 0, [&](vp::Phone& phone) {
    const auto fault = vp::strike(phone, vp::Part::thread, vp::name_of(thread), vp::Access::any);
    return fault.has_value() ? static_cast<int>(fault->value) : 0;
  });
}

FileFault platform_file_fault(const char* device_path, FileOperation operation) {
  FileFault met;
  vp::platform_call("platform_file_fault", 0, [&](vp::Phone& phone) {
    using vp::Access;
    constexpr Access kAccess[] = {
        Access::open,   Access::read,   Access::write, Access::sync,  Access::sync_directory,
        Access::rename, Access::remove, Access::stat,  Access::chmod, Access::chown,
        Access::mkdir,  Access::seek,   Access::close, Access::ioctl, Access::mmap};
    const std::string path = vp::normal(std::filesystem::path("/") / device_path);
    const auto fault =
        vp::strike(phone, vp::Part::file, path, kAccess[static_cast<size_t>(operation)]);
    const bool fails = fault.has_value() && fault->effect == vp::Effect::fail;
    if (operation == FileOperation::write && !fails) vp::tell_of_write(path);
    if (!fault.has_value()) return 0;
    if (fails) {
      met.error = static_cast<int>(fault->value);
    } else if (fault->effect == vp::Effect::size) {
      met.size = fault->value;
    } else {
      met.limit = static_cast<size_t>(fault->value);
    }
    return 0;
  });
  return met;
}

}  // namespace fcx
