// Text files line by line.
#pragma once

#include <array>
#include <optional>
#include <string_view>

#include "common/files.h"

namespace fcx {

/// The lines of a device file, without their newline. A line of `longest` characters or more comes
/// in several pieces, each of which counts as a line; a line ends at a NUL too.
class DeviceFileLines {
 public:
  static constexpr size_t kLongest = 2047;

  /// @param longest at most kLongest
  DeviceFileLines(const char* device_path, size_t longest);

  bool is_open() const { return file_.is_open(); }
  /// Why it could not be opened, or not be read on; 0 while nothing of the kind has happened.
  int error() const { return file_.is_open() ? read_error_ : file_.error(); }
  /// The next line, good until the next call; nothing at the end of the file.
  std::optional<std::string_view> next();

 private:
  /// Reads on until a whole piece is there, or the file ends.
  void fill();

  DeviceFile file_;
  size_t longest_;
  std::array<char, 4 * (kLongest + 1)> buffer_;
  std::string_view unread_;
  bool is_at_end_ = false;
  int read_error_ = 0;
};

/// Takes the first line off a text, or its first `longest` characters, as DeviceFileLines does;
/// nothing when the text is empty.
std::optional<std::string_view> take_piece(std::string_view& text, size_t longest);

/// Takes the first line off a text; nothing when the text is empty.
std::optional<std::string_view> take_line(std::string_view& text);

/// Takes what stands before the first `separator` off a text, and the separator with it; the whole
/// text when it has none.
std::string_view take_until(std::string_view& text, char separator);

/// The same without empty pieces, as strtok() does; nothing when no piece is left.
std::optional<std::string_view> take_token(std::string_view& text, char separator);

/// The text without the carriage return at its end, if it has one.
std::string_view without_return(std::string_view text);

}  // namespace fcx
