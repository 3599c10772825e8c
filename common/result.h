// What operations that can fail come to. Results that nobody looks at do not compile.
#pragma once

#include <cerrno>
#include <cstddef>
#include <cstring>

namespace fcx {

/// Done, or the errno value that says why not.
class [[nodiscard]] Result {
 public:
  Result() = default;
  static Result failed(int error) {
    Result result;
    result.error_ = error;
    return result;
  }
  /// Of a call that leaves its error in errno: 0 and more is done.
  static Result of(long returned) { return returned >= 0 ? Result() : failed(errno); }

  bool ok() const { return error_ == 0; }
  int error() const { return error_; }
  const char* reason() const { return strerror(error_); }

 private:
  int error_ = 0;
};

/// What a read found. That there is nothing to read, and that it cannot be read, are two outcomes.
class [[nodiscard]] ReadResult {
 public:
  static ReadResult content(size_t size) { return {0, size}; }
  static ReadResult failed(int error) { return {error, 0}; }

  bool has_content() const { return error_ == 0; }
  bool is_absent() const { return is_absence(error_); }
  bool has_failed() const { return error_ != 0 && !is_absent(); }
  /// Bytes of the content, which may be 0; 0 without one.
  size_t size() const { return size_; }
  int error() const { return error_; }
  const char* reason() const { return strerror(error_); }

  /// Whether an errno value says that there is no such file.
  static constexpr bool is_absence(int error) { return error == ENOENT || error == ENOTDIR; }

 private:
  ReadResult(int error, size_t size) : error_(error), size_(size) {}

  int error_;
  size_t size_;
};

}  // namespace fcx
