#include "fcx/usb_mode.h"

#include <cutils/properties.h>
#include <fcntl.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <string_view>

#include "common/files.h"
#include "common/immortal.h"
#include "common/log.h"
#include "common/text.h"
#include "common/threads.h"
#include "fcx/sync.h"
#include "fcx/sysfs.h"
#include "platform/device_home.h"

namespace {

constexpr char kLockNode[] = "/sys/class/android_usb/android0/lock";
constexpr char kStateNode[] = "/sys/class/android_usb/android0/state";
constexpr char kConfigProperty[] = "vendor.qve.usb.config";
constexpr char kStateProperty[] = "vendor.qve.usb.state";
constexpr char kSkipProperty[] = "vendor.qve.usb.adb_skip_auth";
constexpr uint64_t kModeChangeUs = 100'000;

/// What a failed open of the lock node means, with its log lines.
int lock_node_failed(const char* function) {
  const int error = errno;
  DOMAIN_INFO("USB PATH : %s FAILED\n", function);
  if (error != ENOENT) return -1;
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
  property_set(property, value);
  static_cast<void>(wait_for_state(value));
}

void change_path() {
  const int lock = get_usb_lock();
  if (lock == -1) return;
  if (lock == 1) set_usb_lock(0);
  switch_usb(kConfigProperty, "none");
  // "skip" is waited for as a state, too, on purpose.
  switch_usb(kSkipProperty, "skip");
  switch_usb(kConfigProperty, "factory,adb");
}

struct PathChange {
  Mutex mutex;
};

/// Writes the lock node as a kernel attribute. A failure is logged there and stops nothing.
void write_lock(const char* digit) { write_sysfs(kLockNode, digit, 1); }

int set_config(const char* config) { return property_set(kConfigProperty, config) == 0 ? 0 : 1; }

int unlock_and_configure(const char* config) {
  write_lock("0");
  fcx::platform_sleep_us(kModeChangeUs);
  return set_config(config);
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
    std::array<char, PROPERTY_VALUE_MAX> now{};
    property_get(kStateProperty, now.data(), "");
    if (std::string_view(now.data()) == state) return 1;
    if (read == kReads) break;
    fcx::platform_sleep_us(kPauseUs);
  }
  DOMAIN_ERROR("USB PATH : %s(%s) FAILED\n", __func__, state);
  return 0;
}

int get_usb_lock() {
  const fcx::UniqueFd node = fcx::open_device_file(kLockNode, O_RDWR);
  if (!node.is_open()) return lock_node_failed(__func__);
  char lock = 0;
  if (fcx::read_device_file(node, kLockNode, &lock, 1) != 1) return lock_access_failed(__func__);
  return lock - '0';
}

int set_usb_lock(int v) {
  const fcx::UniqueFd node = fcx::open_device_file(kLockNode, O_RDWR);
  if (!node.is_open()) return lock_node_failed(__func__);
  const char lock = static_cast<char>('0' + static_cast<uint8_t>(v));
  if (fcx::write_device_file(node, kLockNode, {&lock, 1}) != 0) return lock_access_failed(__func__);
  return 0;
}

int usb_path_change(void* arg) {
  const int error = fcx::start_detached(usb_path_change_thread, arg);
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
  mutex.unlock();
  return nullptr;
}

int usb_mode_change_user() { return unlock_and_configure("factory,adb"); }

int usb_mode_change_factory() {
  if (set_config("factory") != 0) return 1;
  fcx::platform_sleep_us(kModeChangeUs);
  write_lock("1");
  return 0;
}

int usb_mode_change_cpdm() { return unlock_and_configure("qmicm,adb"); }

int get_usbstate_from_sys() {
  fcx::TextBuffer<1024> text;
  const fcx::UniqueFd node = fcx::open_device_file(kStateNode, O_RDONLY);
  if (!node.is_open()) {
    DOMAIN_INFO("Error while opening the file %s : %s \n", kStateNode, strerror(errno));
    return 0;
  }
  if (fcx::read_device_file(node, kStateNode, text.data(), text.capacity()) < 0) {
    DOMAIN_INFO("Error while reading the file %s : %s\n", kStateNode, strerror(errno));
    return 0;
  }
  DOMAIN_INFO("USB State: %s", text.c_str());
  const int state = usb_state_of(text.view());
  DOMAIN_INFO("The value returned from %s is %d ", kStateNode, state);
  return state;
}
