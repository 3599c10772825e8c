#include "virtual_phone/core/flush.h"

#include <android-base/unique_fd.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "virtual_phone/core/error.h"

namespace virtual_phone {
namespace {

namespace fs = std::filesystem;

bool is_flushed(const fs::path& path) {
  const android::base::unique_fd file(
      open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  return file.ok() && fsync(file.get()) == 0;
}

/// Calls `work` with each regular file and directory of a tree, the tree itself last.
template <typename Work>
void for_each_in(const fs::path& tree, fs::directory_options options, Work work) {
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(tree, options)) {
    const fs::file_type type = entry.symlink_status().type();
    if (type == fs::file_type::regular || type == fs::file_type::directory) work(entry.path());
  }
  work(tree);
}

}  // namespace

void flush(const fs::path& path) {
  if (!is_flushed(path)) throw Error(path.string() + ": " + strerror(errno));
}

void flush_tree(const fs::path& tree) { for_each_in(tree, fs::directory_options::none, flush); }

void sync_tree(const fs::path& tree) noexcept {
  try {
    for_each_in(tree, fs::directory_options::skip_permission_denied,
                [](const fs::path& path) { static_cast<void>(is_flushed(path)); });  // see above
  } catch (const fs::filesystem_error&) {
    // Somebody changes the tree meanwhile.
  }
}

}  // namespace virtual_phone
