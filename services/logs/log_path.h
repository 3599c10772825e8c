// Paths of log files.
#pragma once

#include <array>
#include <cstddef>
#include <initializer_list>
#include <string_view>

namespace fcx {

/// A path of at most Longest characters, which grows and is cut back as a folder is walked. It
/// always ends in a NUL.
template <size_t Longest>
class BoundedPath {
 public:
  static constexpr size_t kLongest = Longest;

  const char* c_str() const { return path_.data(); }
  std::string_view view() const { return {path_.data(), size_}; }
  size_t size() const { return size_; }

  /// Adds all parts, or nothing when they do not fit: a path that was cut would name another file.
  [[nodiscard]] bool append(std::initializer_list<std::string_view> parts) {
    size_t end = size_;
    for (const std::string_view part : parts) {
      if (part.size() > kLongest - end) {
        path_[size_] = '\0';
        return false;
      }
      end += part.copy(path_.data() + end, part.size());
    }
    size_ = end;
    path_[size_] = '\0';
    return true;
  }
  /// Adds the name of an entry of this folder, which may have a '/' at its end already.
  [[nodiscard]] bool append_entry(std::string_view name) {
    const bool has_slash = size_ > 0 && path_[size_ - 1] == '/';
    return append({has_slash ? "" : "/", name});
  }
  /// Takes off what was added since the path had that size.
  void cut(size_t size) {
    size_ = size;
    path_[size_] = '\0';
  }

 private:
  std::array<char, kLongest + 1> path_{};
  size_t size_ = 0;
};

/// Of files that are copied, written or removed.
using LogPath = BoundedPath<255>;
/// Of files that are packed.
using PackedPath = BoundedPath<999>;

}  // namespace fcx
