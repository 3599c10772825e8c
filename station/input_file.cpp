#include "station/input_file.h"

#include <android-base/unique_fd.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>

namespace station {

std::optional<std::string> read_input_file(const std::filesystem::path& file, size_t most,
                                           std::string& wrong) {
  const auto fail = [&wrong](int error) {
    wrong = std::generic_category().message(error);
    return std::nullopt;
  };
  const android::base::unique_fd opened(
      open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  if (opened.get() < 0) return fail(errno);
  struct stat status {};
  if (fstat(opened.get(), &status) != 0) return fail(errno);
  if (!S_ISREG(status.st_mode)) {
    wrong = S_ISDIR(status.st_mode) ? "it is a directory" : "it is no regular file";
    return std::nullopt;
  }
  std::string content;
  std::array<char, 65536> piece{};
  while (content.size() <= most) {
    const ssize_t size =
        read(opened.get(), piece.data(), std::min(piece.size(), most + 1 - content.size()));
    if (size < 0 && errno == EINTR) continue;
    if (size < 0) return fail(errno);
    if (size == 0) break;
    content.append(piece.data(), static_cast<size_t>(size));
  }
  return content;
}

}  // namespace station
