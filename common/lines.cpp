#include "common/lines.h"

#include <fcntl.h>

#include <algorithm>

#include "common/text.h"

namespace fcx {

DeviceFileLines::DeviceFileLines(const char* device_path, size_t longest)
    : file_(device_path, O_RDONLY), longest_(std::min(longest, kLongest)) {}

void DeviceFileLines::fill() {
  if (is_at_end_ || unread_.size() >= longest_) return;
  std::copy(unread_.begin(), unread_.end(), buffer_.begin());
  size_t filled = unread_.size();
  const ReadResult got = file_.read(buffer_.data() + filled, buffer_.size() - filled);
  is_at_end_ = got.size() < buffer_.size() - filled;
  read_error_ = got.error();
  filled += got.size();
  // What a failure has cut short is no line.
  if (!got.has_content()) filled = std::string_view(buffer_.data(), filled).rfind('\n') + 1;
  unread_ = {buffer_.data(), filled};
}

std::optional<std::string_view> DeviceFileLines::next() {
  if (!is_open()) return std::nullopt;
  fill();
  return take_piece(unread_, longest_);
}

std::optional<std::string_view> take_piece(std::string_view& text, size_t longest) {
  if (text.empty()) return std::nullopt;
  const std::string_view piece = text.substr(0, longest);
  const size_t newline = piece.find('\n');
  const std::string_view line = piece.substr(0, newline);
  text.remove_prefix(newline == std::string_view::npos ? piece.size() : newline + 1);
  return bounded_text(line.data(), line.size());
}

std::optional<std::string_view> take_line(std::string_view& text) {
  if (text.empty()) return std::nullopt;
  const std::string_view line = take_until(text, '\n');
  return bounded_text(line.data(), line.size());
}

std::string_view take_until(std::string_view& text, char separator) {
  const size_t end = std::min(text.find(separator), text.size());
  const std::string_view taken = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  return taken;
}

std::optional<std::string_view> take_token(std::string_view& text, char separator) {
  text.remove_prefix(std::min(text.find_first_not_of(separator), text.size()));
  if (text.empty()) return std::nullopt;
  return take_until(text, separator);
}

std::string_view without_return(std::string_view text) {
  if (!text.empty() && text.back() == '\r') text.remove_suffix(1);
  return text;
}

}  // namespace fcx
