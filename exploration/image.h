// Copies of a phone.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "virtual_phone/core/phone.h"

namespace exploration {

/// What a phone's directory holds, in memory, with all that belongs to it but its log: read once,
/// and written as often as it takes.
class PhoneImage {
 public:
  /// Of a phone that others may be using. Throws virtual_phone::Error, and
  /// std::filesystem::filesystem_error.
  explicit PhoneImage(const std::filesystem::path& phone);

  /// Makes `to`, and a phone in it that nobody uses yet. Throws
  /// std::filesystem::filesystem_error.
  void write_to(const std::filesystem::path& to) const;

 private:
  struct Piece {
    off_t offset = 0;
    std::string bytes;
  };
  /// In an order in which a directory comes before what is in it.
  struct Entry {
    std::filesystem::path path;
    mode_t mode = 0;
    off_t size = 0;
    /// Of a file what is not a hole: the partition of the items is nearly all holes.
    std::vector<Piece> pieces;
    std::string link;
  };

  void read_tree(const std::filesystem::path& top, const std::filesystem::path& path);
  static Entry read_entry(const std::filesystem::path& top, const std::filesystem::path& path);
  static void write_entry(const Entry& entry, const std::filesystem::path& to);

  std::vector<Entry> entries_;
};

}  // namespace exploration
