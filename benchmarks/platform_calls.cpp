#include "benchmarks/platform_calls.h"

#include <cutils/properties.h>
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <hidl/HidlTransportSupport.h>
#include <log/log.h>
#include <pthread.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vendor/qve/hardware/qvatcmd/1.0/IQvAtCmd.h>

#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <tuple>
#include <utility>

#include "fcx/qvcmd.h"
#include "platform/device_home.h"
#include "platform/factory_item_library.h"
#include "platform/modem_interface.h"
#include "platform/unified_sysfs.h"
#include "virtual_phone/hidl/services.h"

namespace {

using vendor::qve::hardware::qvatcmd::V1_0::IQvAtCmd;
using vendor::qve::hardware::qvatcmd::V1_0::QVATCMDRequest;

/// Where this thread's calls are noted, or null.
thread_local bench::PlatformCalls* recording = nullptr;

struct Body {
  void* (*body)(void*);
  void* argument;
};

/// Threads that this one has wanted to start while it held them.
struct Held {
  bool holds = false;
  std::vector<Body> bodies;
};
thread_local Held held;

/// Stops the recording while the platform does its work, and keeps errno as it was left.
class Pause {
 public:
  Pause() : record_(std::exchange(recording, nullptr)) {}
  ~Pause() {
    const int error = errno;
    recording = record_;
    errno = error;
  }
  Pause(const Pause&) = delete;
  Pause& operator=(const Pause&) = delete;

  bench::PlatformCalls* record() const { return record_; }

 private:
  bench::PlatformCalls* record_;
};

/// Where calls that are made again may write.
char* scratch() {
  static std::array<char, 256 << 10> bytes;
  return bytes.data();
}

/// Bytes that a call reads.
struct Bytes {
  const void* start;
  size_t size;
};

/// An argument as it is kept for another call: text and bytes as they were, results go to the
/// scratch area.
template <typename T>
struct Kept {
  explicit Kept(T given) : value(given) {}
  T value;
  T get() const { return value; }
};
template <>
struct Kept<const char*> {
  explicit Kept(const char* given) : is_null(given == nullptr), text(is_null ? "" : given) {}
  bool is_null;
  std::string text;
  const char* get() const { return is_null ? nullptr : text.c_str(); }
};
template <>
struct Kept<Bytes> {
  explicit Kept(Bytes given) : text(static_cast<const char*>(given.start), given.size) {}
  std::string text;
  Bytes get() const { return {text.data(), text.size()}; }
};
template <>
struct Kept<char*> {
  explicit Kept(char*) {}
  char* get() const { return scratch(); }
};
template <>
struct Kept<void*> {
  explicit Kept(void*) {}
  void* get() const { return scratch(); }
};
template <>
struct Kept<struct stat*> {
  explicit Kept(struct stat*) {}
  struct stat* get() const {
    return reinterpret_cast<struct stat*>(scratch());
  }
};
template <>
struct Kept<qvcmd_request*> {
  explicit Kept(qvcmd_request* given) : request(*given) {}
  mutable qvcmd_request request;
  qvcmd_request* get() const { return &request; }
};
template <>
struct Kept<qvcmd_response*> {
  explicit Kept(qvcmd_response*) {}
  qvcmd_response* get() const { return reinterpret_cast<qvcmd_response*>(scratch()); }
};

/// Calls the platform's function, and notes the call where somebody records.
template <typename Function, typename... Arguments>
auto pass(Function function, Arguments... arguments) {
  const Pause pause;
  const auto result = function(arguments...);
  const int error = errno;
  if (pause.record() != nullptr) {
    const auto again = [function, kept = std::tuple(Kept<Arguments>(arguments)...)] {
      std::apply([&](const auto&... each) { return function(each.get()...); }, kept);
    };
    pause.record()->push_back(again);
  }
  errno = error;
  return result;
}

/// The function of that name that comes after this program's own.
template <typename Function>
Function* platform_function(const char* name) {
  void* found = dlsym(RTLD_NEXT, name);
  if (found == nullptr) {
    fprintf(stderr, "the platform has no %s\n", name);
    abort();
  }
  return reinterpret_cast<Function*>(found);
}

/// Opens again, under the same descriptor: what follows uses it.
template <typename Open>
int pass_opening(Open open_again) {
  const Pause pause;
  const int opened = open_again();
  const int error = errno;
  if (pause.record() != nullptr) {
    pause.record()->push_back([open_again, opened] {
      if (const int fd = open_again(); fd != opened) {
        fprintf(stderr, "opened again as %d, not %d\n", fd, opened);
        abort();
      }
    });
  }
  errno = error;
  return opened;
}

}  // namespace

#define PLATFORM(name) static const auto real = platform_function<decltype(name)>(#name)

extern "C" {

int get_ftm_item(int index, int length, void* buffer) {
  PLATFORM(get_ftm_item);
  return pass(real, index, length, buffer);
}

int set_ftm_item(int index, int length, const void* buffer) {
  PLATFORM(set_ftm_item);
  return pass([](int number,
                 Bytes bytes) { return real(number, static_cast<int>(bytes.size), bytes.start); },
              index, Bytes{buffer, static_cast<size_t>(length)});
}

int property_get(const char* key, char* value, const char* default_value) {
  PLATFORM(property_get);
  return pass(real, key, value, default_value);
}

int property_set(const char* key, const char* value) {
  PLATFORM(property_set);
  return pass(real, key, value);
}

int request_to_modem_via_dmi(qvcmd_request* request, qvcmd_response* response) {
  PLATFORM(request_to_modem_via_dmi);
  return pass(real, request, response);
}

int unified_sysfs_read(const char* path, char* buffer, int length) {
  PLATFORM(unified_sysfs_read);
  return pass(real, path, buffer, length);
}

int unified_sysfs_write(const char* path, const char* buffer, int length) {
  PLATFORM(unified_sysfs_write);
  return pass(real, path, buffer, length);
}

}  // extern "C"

namespace {

/// The most arguments that a line has.
constexpr size_t kMostArguments = 12;
using Words = std::array<uintptr_t, kMostArguments>;

struct Line {
  int buffer, priority;
  std::string tag, format;
  Words words;
  std::vector<std::string> texts;  ///< those that words point to
};

/// As many words as there can be, of which the format takes what it needs: each integer and each
/// pointer is one.
int print_words(int buffer, int priority, const char* tag, const char* format, const Words& w) {
  static const auto real =
      platform_function<int(int, int, const char*, const char*, ...)>("__android_log_buf_print");
  return real(buffer, priority, tag, format, w[0], w[1], w[2], w[3], w[4], w[5], w[6], w[7], w[8],
              w[9], w[10], w[11]);
}

/// Copies the texts that a line's words point to.
void keep_texts(Line& line) {
  const std::string& format = line.format;
  line.texts.reserve(kMostArguments);
  size_t word = 0;
  for (size_t i = format.find('%'); i != std::string::npos; i = format.find('%', i + 1)) {
    size_t longest = SIZE_MAX;
    for (++i; strchr("-+ #0123456789.*lhzjt", format[i]) != nullptr && format[i] != '\0'; ++i) {
      if (format[i] == '*') longest = static_cast<size_t>(static_cast<int>(line.words[word++]));
    }
    if (format[i] == '%') continue;
    if (word >= line.words.size() || strchr("feg", format[i]) != nullptr) {
      fprintf(stderr, "a line that cannot be made again: %s\n", format.c_str());
      abort();
    }
    uintptr_t& argument = line.words[word++];
    if (format[i] != 's' || argument == 0) continue;
    const auto* text = reinterpret_cast<const char*>(argument);
    line.texts.emplace_back(text, strnlen(text, longest));
    argument = reinterpret_cast<uintptr_t>(line.texts.back().c_str());
  }
}

}  // namespace

extern "C" int __android_log_buf_print(int buffer, int priority, const char* tag,
                                       const char* format, ...) {
  Words words;
  va_list arguments;
  va_start(arguments, format);
  for (uintptr_t& word : words) word = va_arg(arguments, uintptr_t);
  va_end(arguments);
  const Pause pause;
  if (pause.record() != nullptr) {
    const auto line = std::make_shared<Line>(Line{buffer, priority, tag, format, words, {}});
    keep_texts(*line);
    pause.record()->push_back([line] {
      print_words(line->buffer, line->priority, line->tag.c_str(), line->format.c_str(),
                  line->words);
    });
  }
  return print_words(buffer, priority, tag, format, words);
}

extern "C" {

int open(const char* path, int flags, ...) {
  PLATFORM(open);
  va_list arguments;
  va_start(arguments, flags);
  const auto mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  if (recording == nullptr) return real(path, flags, mode);
  return pass_opening(
      [kept = std::string(path), flags, mode] { return real(kept.c_str(), flags, mode); });
}

int openat(int directory, const char* path, int flags, ...) {
  PLATFORM(openat);
  va_list arguments;
  va_start(arguments, flags);
  const auto mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  if (recording == nullptr) return real(directory, path, flags, mode);
  return pass_opening([directory, kept = std::string(path), flags, mode] {
    return real(directory, kept.c_str(), flags, mode);
  });
}

int close(int fd) {
  static const auto real = platform_function<int(int)>("close");
  return pass(real, fd);
}

ssize_t read(int fd, void* buffer, size_t size) {
  PLATFORM(read);
  return pass(real, fd, buffer, size);
}

ssize_t write(int fd, const void* buffer, size_t size) {
  PLATFORM(write);
  return pass([](int to, Bytes bytes) { return real(to, bytes.start, bytes.size); }, fd,
              Bytes{buffer, size});
}

off_t lseek(int fd, off_t offset, int whence) noexcept {
  PLATFORM(lseek);
  return pass(real, fd, offset, whence);
}

int fsync(int fd) {
  PLATFORM(fsync);
  return pass(real, fd);
}

int fstat(int fd, struct stat* found) noexcept {
  PLATFORM(fstat);
  return pass(real, fd, found);
}

int stat(const char* path, struct stat* found) noexcept {
  static const auto real = platform_function<int(const char*, struct stat*)>("stat");
  return pass(real, path, found);
}

int lstat(const char* path, struct stat* found) noexcept {
  PLATFORM(lstat);
  return pass(real, path, found);
}

int access(const char* path, int mode) noexcept {
  PLATFORM(access);
  return pass(real, path, mode);
}

int rename(const char* from, const char* to) noexcept {
  PLATFORM(rename);
  return pass(real, from, to);
}

int unlink(const char* path) noexcept {
  PLATFORM(unlink);
  return pass(real, path);
}

int fchmod(int fd, mode_t mode) noexcept {
  PLATFORM(fchmod);
  return pass(real, fd, mode);
}

int fchown(int fd, uid_t owner, gid_t group) noexcept {
  PLATFORM(fchown);
  return pass(real, fd, owner, group);
}

int flock(int fd, int operation) noexcept {
  PLATFORM(flock);
  return pass(real, fd, operation);
}

}  // extern "C"

namespace {

/// Directories that are open, in the order in which they were opened: reading one again goes by its
/// place.
std::vector<DIR*>& open_directories() {
  thread_local std::vector<DIR*> all;
  return all;
}

size_t place_of(DIR* directory) {
  auto& all = open_directories();
  for (size_t i = 0; i < all.size(); ++i) {
    if (all[i] == directory) return i;
  }
  all.push_back(directory);
  return all.size() - 1;
}

}  // namespace

extern "C" {

DIR* opendir(const char* path) {
  PLATFORM(opendir);
  const Pause pause;
  DIR* const opened = real(path);
  if (pause.record() != nullptr && opened != nullptr) {
    pause.record()->push_back([place = place_of(opened), kept = std::string(path)] {
      open_directories()[place] = real(kept.c_str());
    });
  }
  return opened;
}

struct dirent* readdir(DIR* directory) {
  PLATFORM(readdir);
  const Pause pause;
  if (pause.record() != nullptr) {
    pause.record()->push_back([place = place_of(directory)] { real(open_directories()[place]); });
  }
  return real(directory);
}

int closedir(DIR* directory) {
  PLATFORM(closedir);
  const Pause pause;
  if (pause.record() != nullptr) {
    pause.record()->push_back(
        [place = place_of(directory)] { real(std::exchange(open_directories()[place], nullptr)); });
    open_directories()[place_of(directory)] = nullptr;
  }
  return real(directory);
}

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*),
                   void* argument) noexcept {
  PLATFORM(pthread_create);
  if (!held.holds) return real(thread, attributes, body, argument);
  held.bodies.push_back({body, argument});
  *thread = 0;
  return 0;
}

int pthread_detach(pthread_t thread) noexcept {
  PLATFORM(pthread_detach);
  return held.holds ? 0 : real(thread);
}

}  // extern "C"

// Nobody waits: what is measured after a sleep finds the processor cold.
void fcx::platform_sync() {}
void fcx::platform_sleep_us(uint64_t) {}

void android::hardware::configureRpcThreadpool(size_t threads, bool caller_joins) {
  static const auto real =
      platform_function<void(size_t, bool)>("_ZN7android8hardware22configureRpcThreadpoolEmb");
  const Pause pause;
  real(threads, caller_joins);
  if (pause.record() != nullptr) {
    pause.record()->push_back([threads, caller_joins] { real(threads, caller_joins); });
  }
}

namespace {

constexpr char kAtService[] = "atservice";

/// Asks the service as the library does: looked up for each request.
void ask_again(const QVATCMDRequest& request) {
  const auto service = IQvAtCmd::getService(kAtService, false);
  const auto call = service->request(request, [](const auto&) {});
  if (!call.isOk()) abort();
}

/// The phone's service, seen.
class WatchedService : public IQvAtCmd {
 public:
  explicit WatchedService(android::sp<IQvAtCmd> service) : service_(std::move(service)) {}

  android::hardware::Return<void> request(const QVATCMDRequest& request, request_cb give) override {
    bench::PlatformCalls* const record = recording;
    if (record != nullptr) record->push_back([request] { ask_again(request); });
    // What the library does with the answer is its own work, and its lines are its own calls.
    std::optional<Pause> pause(std::in_place);
    return service_->request(request, [&](const auto& answer) {
      pause.reset();
      give(answer);
      pause.emplace();
    });
  }

 private:
  android::sp<IQvAtCmd> service_;
};

}  // namespace

bench::PlatformCalls bench::record_platform_calls(const std::function<void()>& work) {
  PlatformCalls calls;
  recording = &calls;
  work();
  recording = nullptr;
  return calls;
}

bench::HeldThreads::HeldThreads() { held.holds = true; }

bench::HeldThreads::~HeldThreads() {
  held.holds = false;
  for (const Body& each : std::exchange(held.bodies, {})) each.body(each.argument);
}

void bench::watch_system_side() {
  const android::sp<IQvAtCmd> watched(new (std::nothrow)
                                          WatchedService(IQvAtCmd::getService(kAtService, true)));
  virtual_phone::register_service(IQvAtCmd::descriptor, kAtService,
                                  [watched](virtual_phone::Phone&) { return watched; });
}
