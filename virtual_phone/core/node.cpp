#include "virtual_phone/core/node.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <mutex>
#include <utility>

#include "virtual_phone/core/error.h"

namespace virtual_phone {
namespace {

using android::base::unique_fd;

std::mutex observer_mutex;
std::function<void(const std::string&)> write_observer GUARDED_BY(observer_mutex);

[[noreturn]] void fail(std::string_view device_path) {
  throw Error(std::string(device_path) + ": " + strerror(errno));
}

}  // namespace

unique_fd open_node(const Phone& phone, std::string_view device_path, int flags) {
  const auto place = (std::filesystem::path("/") / device_path).lexically_normal();
  unique_fd node(open((phone.root() + place.string()).c_str(), flags | O_NONBLOCK | O_CLOEXEC));
  if (!node.ok() && errno == ENXIO) errno = ENOTSUP;  // a pipe that nobody reads
  if (!node.ok()) return {};
  struct stat found {};
  if (fstat(node.get(), &found) == 0 && S_ISREG(found.st_mode)) return node;
  node.reset();
  errno = ENOTSUP;
  return {};
}

std::optional<std::string> read_node(const Phone& phone, std::string_view device_path) {
  constexpr size_t kLongest = 1 << 20;
  const unique_fd node = open_node(phone, device_path, O_RDONLY);
  if (!node.ok() && (errno == ENOENT || errno == ENOTDIR)) return std::nullopt;
  if (!node.ok()) fail(device_path);
  std::string content;
  for (std::array<char, 4096> piece;;) {
    const ssize_t size = read(node.get(), piece.data(), piece.size());
    if (size < 0) fail(device_path);
    if (size == 0) return content;
    content.append(piece.data(), static_cast<size_t>(size));
    errno = EFBIG;
    if (content.size() > kLongest) fail(device_path);
  }
}

void write_node(const Phone& phone, std::string_view device_path, std::string_view content) {
  const unique_fd node = open_node(phone, device_path, O_WRONLY | O_TRUNC);
  if (!node.ok()) fail(device_path);
  errno = ENOSPC;  // of a short write
  if (write(node.get(), content.data(), content.size()) != static_cast<ssize_t>(content.size())) {
    fail(device_path);
  }
}

void observe_writes(std::function<void(const std::string&)> observer) {
  const std::lock_guard lock(observer_mutex);
  write_observer = std::move(observer);
}

void tell_of_write(const std::string& device_path) {
  const std::lock_guard lock(observer_mutex);
  if (write_observer) write_observer(device_path);
}

}  // namespace virtual_phone
