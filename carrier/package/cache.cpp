#include "carrier/package/cache.h"

#include <fcntl.h>

#include <algorithm>
#include <map>
#include <new>

#include "fcx/customisation.h"

namespace fcx {

struct PackageCache::Files {
  std::map<std::string, ServiceAnswer> answers;
  std::map<std::string, std::string> contents;
  std::string unreadable;
};

namespace {

/// The cache that lives on this thread, or null.
thread_local PackageCache::Files* current = nullptr;

/// What a file holds, up to kLargestFile; nothing when it could not be read to its end.
std::string read_contents(const char* path) {
  constexpr size_t kStep = 4096;
  std::string contents;
  DeviceFile file(path, O_RDONLY);
  if (!file.is_open()) {
    if (!file.is_absent()) note_unreadable(path);
    return contents;
  }
  for (size_t filled = 0; filled < kLargestFile;) {
    contents.resize(std::min(filled + std::max(filled, kStep), kLargestFile));
    const ReadResult got = file.read(contents.data() + filled, contents.size() - filled);
    if (!got.has_content()) {
      note_unreadable(path);
      return {};
    }
    const bool is_over = got.size() < contents.size() - filled;
    filled += got.size();
    contents.resize(filled);
    if (is_over) break;
  }
  return contents;
}

}  // namespace

PackageCache::PackageCache() {
  if (current != nullptr) return;
  files_.reset(new (std::nothrow) Files);
  current = files_.get();
}

PackageCache::~PackageCache() {
  if (files_ != nullptr) current = nullptr;
}

const char* PackageCache::unreadable() const {
  return current == nullptr || current->unreadable.empty() ? nullptr : current->unreadable.c_str();
}

const ServiceAnswer* cached_answer(const std::string& path) {
  if (current == nullptr) return nullptr;
  const auto found = current->answers.find(path);
  return found == current->answers.end() ? nullptr : &found->second;
}

void keep_answer(const std::string& path, const ServiceAnswer& answer) {
  if (current == nullptr) return;
  current->answers.emplace(path, answer);
  if (answer.presence == Presence::unknown) note_unreadable(path.c_str());
}

const std::string* cached_contents(const char* path) {
  if (current == nullptr) return nullptr;
  const auto found = current->contents.find(path);
  if (found != current->contents.end()) return &found->second;
  return &current->contents.emplace(path, read_contents(path)).first->second;
}

void note_unreadable(const char* path) {
  if (current != nullptr && current->unreadable.empty()) current->unreadable = path;
}

}  // namespace fcx
