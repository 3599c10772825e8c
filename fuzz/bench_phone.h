// The virtual phone that fuzz targets work on, and what they share.
//
// One phone for each process, in the temporary directory. Properties and factory items are kept in
// memory, the modem answers at once, nobody sleeps or waits for a disk, no fault strikes, nothing
// is recorded, a reboot leaves everything as it is, and log lines are formatted, then dropped:
// thousands of tries a second instead of tens.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace fuzz {

/// Sizes of the text buffers that the library's callers have.
constexpr size_t kText = 2048;
constexpr size_t kValue = 128;
constexpr size_t kProperty = 92;

/// Makes the phone when it is not there yet. Each target does so before all else.
void need_phone();

/// Writes a device file; no content at all removes it.
void put_file(const char* device_path, std::string_view content);
/// Empties a device directory, and makes it when there is none.
void empty_directory(const char* device_path);

/// Empties all factory items. No write to one may be longer than it is.
void empty_items();

/// A buffer of just that many bytes, so that a byte too many is noticed. Zero-filled, but for the
/// text, which is cut to leave room for its NUL.
std::unique_ptr<char[]> buffer(size_t size, std::string_view text = {});

/// Ends the process with `promise` when it was not kept.
void require(bool kept, const char* promise);

/// Input that has several parts.
class Input {
 public:
  Input(const uint8_t* data, size_t size) : rest_(reinterpret_cast<const char*>(data), size) {}

  /// What stands before the next line break.
  std::string line() { return std::string(take("\n")); }
  /// What stands before the next line of "====".
  std::string_view part() { return take("====\n"); }
  std::string_view rest() const { return rest_; }

 private:
  std::string_view take(std::string_view separator);

  std::string_view rest_;
};

}  // namespace fuzz
