#include "tools/extract.h"

#include <string>

#include "fcx/make_zip_file.h"
#include "tools/temporary_phone.h"

namespace cli {
namespace {

namespace fs = std::filesystem;
namespace vp = virtual_phone;
using factory_daemon::Lines;

constexpr char kArchive[] = "/archive.zip";

/// A directory that is empty, or was made for this: so it is again unless it is kept.
class Target {
 public:
  explicit Target(const fs::path& directory)
      : is_new_(fs::create_directory(directory)), directory_(fs::canonical(directory)) {
    if (!fs::is_directory(directory_)) throw vp::Error(directory.string() + " is no directory");
    if (!fs::is_empty(directory_))
      throw vp::Error(directory.string() + " is not empty: left alone");
    is_mine_ = true;
  }
  ~Target() {
    if (!is_mine_) return;
    std::error_code ignored;
    for (const auto& entry : fs::directory_iterator(directory_, ignored))
      fs::remove_all(entry, ignored);
    if (is_new_) fs::remove(directory_, ignored);
  }
  Target(const Target&) = delete;
  Target& operator=(const Target&) = delete;

  const fs::path& directory() const { return directory_; }
  void keep() { is_mine_ = false; }

 private:
  bool is_new_;
  fs::path directory_;
  bool is_mine_ = false;
};

class OpenArchive {
 public:
  bool open(std::string path) { return archive_.OpenUnZip(path.data()); }
  bool extract(const Extraction& wanted) {
    constexpr int kOverwrite = 1;
    return archive_.FolderFromZip(wanted.is_flat ? 1 : 0, kOverwrite,
                                  wanted.password ? wanted.password->c_str() : nullptr) == 0;
  }
  // It was only read.
  ~OpenArchive() { static_cast<void>(archive_.CloseUnZip()); }
  OpenArchive() = default;
  OpenArchive(const OpenArchive&) = delete;
  OpenArchive& operator=(const OpenArchive&) = delete;

 private:
  MakeZipFile archive_;
};

void empty(const fs::path& directory) {
  for (const auto& entry : fs::directory_iterator(directory)) fs::remove_all(entry);
}

std::optional<Lines> extract_into(Target& target, const Extraction& wanted) {
  Lines lines;
  {
    // In the target's own file system, from where the result needs not be copied.
    const TemporaryPhone temporary("blank", target.directory());
    const fs::path root = temporary.phone().root();
    empty(root);
    // While the archive is open its name is free for an entry.
    std::error_code refused;
    fs::create_symlink(fs::canonical(wanted.archive), root.string() + kArchive, refused);
    // Not every file system has links.
    if (refused) fs::copy_file(wanted.archive, root.string() + kArchive);
    const factory_daemon::Listener listener(lines);
    OpenArchive archive;
    const bool is_open = archive.open(kArchive);
    fs::remove(root.string() + kArchive);
    if (!is_open) throw vp::Error(wanted.archive.string() + " cannot be opened as a zip archive");
    if (!archive.extract(wanted)) return lines;
    for (const auto& entry : fs::directory_iterator(root)) {
      fs::rename(entry.path(), target.directory() / entry.path().filename());
    }
  }
  target.keep();
  return std::nullopt;
}

}  // namespace

std::optional<Lines> extract(const Extraction& wanted) {
  try {
    Target target(wanted.directory);
    return extract_into(target, wanted);
  } catch (const fs::filesystem_error& error) {
    throw vp::Error(error.path1().string() + ": " + error.code().message());
  }
}

}  // namespace cli
