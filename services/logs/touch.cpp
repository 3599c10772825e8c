#include <fcntl.h>

#include <array>
#include <charconv>
#include <cinttypes>
#include <cstring>

#include "common/files.h"
#include "common/log.h"
#include "common/text.h"
#include "fcx/factory_items.h"
#include "fcx/log_collection.h"

namespace {

using fcx::DeviceFile;
using fcx::Presence;
using fcx::ReadResult;
using fcx::Result;

constexpr char kResultFile[] = "/data/touch/touch_self_test.txt";
/// Where the next piece begins; there while pieces remain.
constexpr char kOffsetFile[] = "/data/auto_touch_offset";
/// A piece ends with the word that takes it past this.
constexpr size_t kPiece = 512;

using PieceText = fcx::TextBuffer<2047>;
/// A word that has room in a piece of its own, with its blank.
constexpr size_t kLongestWord = PieceText::capacity() - 1;

/// What the C library takes for white space, and the NUL that no text has.
bool is_separator(char character) {
  return std::string_view(" \t\n\v\f\r\0", 7).find(character) != std::string_view::npos;
}

/// The words of a file that is read from a position on.
class Words {
 public:
  enum class Next { word, none, failed };

  Words(DeviceFile& file, int64_t position) : file_(file), position_(position) {}

  /// Finds the next word.
  Next find();
  std::string_view word() const { return {word_.data(), length_}; }
  /// Where the file goes on after that word.
  int64_t position() const { return position_; }
  /// Why it failed.
  const char* reason() const { return strerror(error_); }

 private:
  /// The character at the position; 0 is for the end, too. False when it cannot be read.
  bool see(char& character);
  void step() { ++position_, ++read_; }

  DeviceFile& file_;
  int64_t position_;
  std::array<char, 4096> buffer_;
  size_t read_ = 0, filled_ = 0;  ///< in the buffer
  bool is_at_end_ = false;
  int error_ = 0;
  std::array<char, kLongestWord> word_;
  size_t length_ = 0;
};

bool Words::see(char& character) {
  character = '\0';
  if (read_ == filled_ && !is_at_end_) {
    const ReadResult read = file_.read(buffer_.data(), buffer_.size());
    error_ = read.error();
    read_ = 0;
    filled_ = read.size();
    is_at_end_ = filled_ == 0;
  }
  if (error_ != 0) return false;
  if (!is_at_end_) character = buffer_[read_];
  return true;
}

Words::Next Words::find() {
  length_ = 0;
  char character;
  for (;; step()) {
    if (!see(character)) return Next::failed;
    if (is_at_end_) return Next::none;
    if (!is_separator(character)) break;
  }
  while (!is_separator(character) && length_ < kLongestWord) {
    word_[length_++] = character;
    step();
    if (!see(character)) return Next::failed;
  }
  return Next::word;
}

/// The first word of the kept position, as text.
std::string_view first_word(std::string_view text) {
  while (!text.empty() && is_separator(text.front())) text.remove_prefix(1);
  size_t end = 0;
  while (end < text.size() && !is_separator(text[end])) ++end;
  return text.substr(0, end);
}

/// The position that a word says. What is no position within the file is its start.
int64_t position_of(std::string_view word, int64_t size) {
  int64_t position = 0;
  const char* end = word.data() + word.size();
  const auto [stop, error] = std::from_chars(word.data(), end, position);
  const bool is_position = error == std::errc() && stop == end && position >= 0 && position <= size;
  return is_position ? position : 0;
}

bool failed(const char* path, const char* reason) {
  DOMAIN_ERROR("scan_auto_touch_result: %s: %s\n", path, reason);
  return false;
}

/// Goes to where the piece begins, and begins its text. Whether both is known.
bool begin_piece(DeviceFile& file, int64_t& position, PieceText& text) {
  fcx::TextBuffer<64> kept;
  const ReadResult read = fcx::read_device_file(kOffsetFile, kept.data(), kept.capacity());
  if (read.has_failed()) return failed(kOffsetFile, read.reason());
  if (read.is_absent()) {
    DOMAIN_INFO("fd_start from zero");
    fcx::TextBuffer<64> pid;
    if (get_pid(pid.data()) == 0) {
      DOMAIN_INFO("pid: %s\n", pid.c_str());
    } else {
      DOMAIN_ERROR("get_pid error!");
      pid = fcx::TextBuffer<64>("pid read error");
    }
    text.append(pid.view());
    text.append(" ");
    return true;
  }
  const std::string_view word = first_word(kept.view());
  DOMAIN_INFO("fd_starting point: %.*s", static_cast<int>(word.size()), word.data());
  position = position_of(word, static_cast<int64_t>(file.size()));
  const Result sought = file.seek(position);
  return sought.ok() || failed(kResultFile, sought.reason());
}

/// Without it a power cut lets this piece come once more.
void flush_position() {
  const Result flushed = fcx::flush_directory_of(kOffsetFile);
  if (!flushed.ok())
    static_cast<void>(failed(kOffsetFile, flushed.reason()));  // it has logged that
}

/// Keeps where the next piece begins.
bool keep_position(int64_t position) {
  DOMAIN_INFO("fd_end: %" PRId64, position);
  std::array<char, 20> digits;
  const auto [end, error] = std::to_chars(digits.data(), digits.data() + digits.size(), position);
  static_cast<void>(error);  // a number of 64 bits has room
  fcx::FileReplacement file(kOffsetFile);
  Result kept = file.write({digits.data(), static_cast<size_t>(end - digits.data())});
  if (kept.ok()) kept = file.put_in_place();
  if (!kept.ok()) return failed(kOffsetFile, kept.reason());
  flush_position();
  return true;
}

bool end_transfer() {
  const Result removed = fcx::remove_device_file(kOffsetFile);
  if (!removed.ok()) return failed(kOffsetFile, removed.reason());
  flush_position();
  return true;
}

/// Adds words to the piece until it is full or there are no more. Whether the position is kept.
bool fill_piece(Words& words, PieceText& text) {
  size_t size = 0;
  for (int64_t taken = words.position();; taken = words.position()) {
    const Words::Next next = words.find();
    if (next == Words::Next::failed) return failed(kResultFile, words.reason());
    if (next == Words::Next::none) return end_transfer();
    const std::string_view word = words.word();
    if (text.view().size() + word.size() + 1 > PieceText::capacity()) return keep_position(taken);
    text.append(word);
    text.append(" ");
    size += word.size() + 1;
    DOMAIN_INFO("dj_debug buf_size: %zu, data_buf: %.*s", size, static_cast<int>(word.size()),
                word.data());
    if (size > kPiece) return keep_position(words.position());
  }
}

}  // namespace

int scan_auto_touch_result(char* out) {
  if (out == nullptr) return -1;
  out[0] = '\0';
  DOMAIN_INFO("data_file name: %s\n", kResultFile);
  DeviceFile file(kResultFile, O_RDONLY);
  if (!file.is_open()) {
    DOMAIN_ERROR("fail to open the file");
    return -1;
  }
  int64_t position = 0;
  PieceText text;
  if (!begin_piece(file, position, text)) return -1;
  Words words(file, position);
  if (!fill_piece(words, text)) return -1;
  DOMAIN_INFO("%s", text.c_str());
  memcpy(out, text.c_str(), text.view().size() + 1);
  return 0;
}

int logsave_aat_touch(char* out) {
  if (out == nullptr) return -1;
  DOMAIN_INFO("logsave_aat_touch()");
  return scan_auto_touch_result(out);
}

int check_transfer_status(char* out) {
  if (out == nullptr) return 1;
  DOMAIN_INFO("check_transfer_status()");
  const Presence offset = fcx::presence_of(kOffsetFile);
  if (offset == Presence::unknown) {
    DOMAIN_ERROR("%s: %s cannot be looked up\n", __func__, kOffsetFile);
  }
  const bool is_over = offset == Presence::absent;
  out[0] = is_over ? '0' : '1';
  out[1] = '\0';
  if (is_over) {
    DOMAIN_INFO("transfer has completed! data: %s", out);
    return 0;
  }
  DOMAIN_INFO("being transfered.. data: %s", out);
  return 1;
}
