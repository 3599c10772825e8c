#include "fcx/usb_mode.h"

#include <fcntl.h>

#include <cstring>
#include <string_view>

#include "common/files.h"
#include "common/log.h"
#include "common/properties.h"
#include "common/text.h"
#include "common/threads.h"
#include "fcx/sync.h"
#include "fcx/sysfs.h"
#include "platform/device_home.h"
#include "platform/immortal.h"

namespace {

constexpr char kLockNode[] = "/sys/class/android_usb/android0/lock";
constexpr char kStateNode[] = "/sys/class/android_usb/android0/state";
constexpr char kConfigProperty[] = "vendor.qve.usb.config";
constexpr char kStateProperty[] = "vendor.qve.usb.state";
constexpr char kSkipProperty[] = "vendor.qve.usb.adb_skip_auth";
constexpr uint64_t kModeChangeUs = 100'000;

/// What a failed open of the lock node means, with its log lines.
int lock_node_failed(const char* function, const fcx::DeviceFile& node) {
  DOMAIN_INFO("USB PATH : %s FAILED\n", function);
  if (!node.is_absent()) return -1;
  DOMAIN_INFO("USB PATH : %s does not exist\n", kLockNode);
  return 0;
}

int lock_access_failed(const char* function) {
  DOMAIN_INFO("USB PATH : %s FAILED\n", function);
  return -1;
}

/// Sets a property of the USB connection and waits for the state that it brings, which does not
/// stop anything by not coming.
void switch_usb(const char* property, const char* value) {
  if (!fcx::write_property(property, value).ok()) {
    DOMAIN_ERROR("usb_path_change_thread: %s cannot be set\n", property);
  }
  static_cast<void>(wait_for_state(value));  // it has logged that the state has not come
}

void change_path() {
  const int lock = get_usb_lock();
  if (lock == -1) return;
  if (lock == 1)
    static_cast<void>(set_usb_lock(0));  // it has logged its failure, and the rest goes on
  switch_usb(kConfigProperty, "none");
  // "skip" is waited for as a state, too, on purpose.
  switch_usb(kSkipProperty, "skip");
  switch_usb(kConfigProperty, "factory,adb");
}

struct PathChange {
  Mutex mutex;
};

/// Writes the lock node as a kernel attribute. A failure is logged there and stops nothing.
void write_lock(const char* digit) { static_cast<void>(write_sysfs(kLockNode, digit, 1)); }

int set_config(const char* function, const char* config) {
  if (fcx::write_property(kConfigProperty, config).ok()) return 0;
  DOMAIN_ERROR("%s: %s cannot be set\n", function, kConfigProperty);
  return 1;
}

int unlock_and_configure(const char* function, const char* config) {
  write_lock("0");
  fcx::platform_sleep_us(kModeChangeUs);
  return set_config(function, config);
}

/// Which state a text says, the longer name first: it holds the shorter one.
int usb_state_of(std::string_view text) {
  constexpr std::string_view kStates[] = {"DISCONNECTED", "CONNECTED", "CONFIGURED"};
  int number = 1;
  for (const std::string_view state : kStates) {
    if (text.substr(0, state.size()) == state) return number;
    ++number;
  }
  DOMAIN_INFO("UNKNOWN USB State");
  return 0;
}

}  // namespace

int wait_for_state(const char* state) {
  constexpr int kReads = 20;
  constexpr uint64_t kPauseUs = 50'000;
  if (state == nullptr) return 0;
  for (int read = 1;; ++read) {
    if (fcx::read_property(kStateProperty).view() == state) return 1;
    if (read == kReads) break;
    fcx::platform_sleep_us(kPauseUs);
  }
  DOMAIN_ERROR("USB PATH : %s(%s) FAILED\n", __func__, state);
  return 0;
}

int get_usb_lock() {
  fcx::DeviceFile node(kLockNode, O_RDWR);
  if (!node.is_open()) return lock_node_failed(__func__, node);
  char lock = 0;
  if (node.read(&lock, 1).size() != 1) return lock_access_failed(__func__);
  return lock - '0';
}

int set_usb_lock(int v) {
  fcx::DeviceFile node(kLockNode, O_RDWR);
  if (!node.is_open()) return lock_node_failed(__func__, node);
  const char lock = static_cast<char>('0' + static_cast<uint8_t>(v));
  return node.write({&lock, 1}).ok() ? 0 : lock_access_failed(__func__);
}

int usb_path_change(void* arg) {
  const int error = fcx::start_detached(fcx::LibraryThread::usb_path, usb_path_change_thread, arg);
  if (error == 0) return 0;
  DOMAIN_INFO("Unable to create pm reset thread : %s\n", strerror(error));
  return -1;
}

void* usb_path_change_thread(void*) {
  Mutex& mutex = fcx::immortal<PathChange>().mutex;
  if (mutex.tryLock() != 0) {
    DOMAIN_INFO("USB PATH : %s is already running\n", __func__);
    return reinterpret_cast<void*>(intptr_t{-1});
  }
  change_path();
  static_cast<void>(mutex.unlock());  // held: nothing else can be said
  return nullptr;
}

int usb_mode_change_user() { return unlock_and_configure(__func__, "factory,adb"); }

int usb_mode_change_factory() {
  if (set_config(__func__, "factory") != 0) return 1;
  fcx::platform_sleep_us(kModeChangeUs);
  write_lock("1");
  return 0;
}

int usb_mode_change_cpdm() { return unlock_and_configure(__func__, "qmicm,adb"); }

int get_usbstate_from_sys() {
  fcx::TextBuffer<1024> text;
  fcx::DeviceFile node(kStateNode, O_RDONLY);
  if (!node.is_open()) {
    DOMAIN_INFO("Error while opening the file %s : %s \n", kStateNode, node.reason());
    return 0;
  }
  if (const fcx::ReadResult read = node.read(text.data(), text.capacity()); !read.has_content()) {
    DOMAIN_INFO("Error while reading the file %s : %s\n", kStateNode, read.reason());
    return 0;
  }
  DOMAIN_INFO("USB State: %s", text.c_str());
  const int state = usb_state_of(text.view());
  DOMAIN_INFO("The value returned from %s is %d ", kStateNode, state);
  return state;
}
