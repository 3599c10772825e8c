// The part of libhidlbase's call results that generated HIDL code and its users need.
#pragma once

#include <hidl/HidlSupport.h>
#include <utils/Errors.h>
#include <utils/StrongPointer.h>

#include <cstdint>
#include <string>
#include <utility>

namespace android::hardware {

/// How a call through HIDL itself went, apart from what the service answered.
class Status final {
 public:
  enum Exception : int32_t {
    EX_NONE = 0,
    EX_SECURITY = -1,
    EX_ILLEGAL_ARGUMENT = -3,
    EX_NULL_POINTER = -4,
    EX_ILLEGAL_STATE = -5,
    EX_UNSUPPORTED_OPERATION = -7,
    EX_TRANSACTION_FAILED = -129,  ///< the call did not get through
  };

  /// Success.
  Status() = default;
  static Status ok() { return {}; }
  static Status fromExceptionCode(int32_t exception) { return {exception, OK, ""}; }
  static Status fromExceptionCode(int32_t exception, const char* message) {
    return {exception, OK, message};
  }
  /// A call that did not get through, or success for OK.
  static Status fromStatusT(status_t error) {
    return {error == OK ? EX_NONE : EX_TRANSACTION_FAILED, error, ""};
  }

  bool isOk() const { return exception_ == EX_NONE; }
  int32_t exceptionCode() const { return exception_; }
  const char* exceptionMessage() const { return message_.c_str(); }
  /// Why a call did not get through; OK when it did.
  status_t transactionError() const { return error_; }
  /// All of it in one line, for a log.
  std::string description() const;

 private:
  Status(int32_t exception, status_t error, const char* message)
      : exception_(exception), error_(error), message_(message) {}

  int32_t exception_ = EX_NONE;
  status_t error_ = OK;
  std::string message_;
};

namespace details {

/// What every Return has. A failure that nobody has asked about aborts the process when its Return
/// goes, as on a phone: a caller that could be misled by it is never let on.
class return_status {
 public:
  return_status() = default;
  return_status(Status status) : status_(std::move(status)) {}
  ~return_status() { abort_if_overlooked(); }

  return_status(return_status&& other) noexcept;
  return_status& operator=(return_status&& other) noexcept;
  return_status(const return_status&) = delete;
  return_status& operator=(const return_status&) = delete;

  /// Whether the call went through. To have asked is the caller's duty, whatever the answer.
  bool isOk() const {
    was_asked_ = true;
    return status_.isOk();
  }
  /// Whether it did not because the service's process is gone. Counts as having asked.
  bool isDeadObject() const {
    was_asked_ = true;
    return status_.transactionError() == DEAD_OBJECT;
  }
  /// For a log; does not count as having asked.
  std::string description() const { return status_.description(); }

 protected:
  /// Aborts the process unless the call went through.
  void assertOk() const;

 private:
  void abort_if_overlooked() const;

  Status status_;
  mutable bool was_asked_ = false;
};

}  // namespace details

/// What a call gives: a value, or a failure of the call.
template <typename T>
class [[nodiscard]] Return : public details::return_status {
 public:
  Return(T value) : value_(std::move(value)) {}
  Return(Status status) : return_status(std::move(status)) {}

  /// The value. Aborts the process when the call failed.
  operator T() const {
    assertOk();
    return value_;
  }
  /// The value, or `other` when the call failed. Counts as having asked.
  T withDefault(T other) const { return isOk() ? value_ : other; }

 private:
  T value_{};
};

/// What a call gives that has no value, or hands its values to a callback.
template <>
class [[nodiscard]] Return<void> : public details::return_status {
 public:
  Return() = default;
  Return(Status status) : return_status(std::move(status)) {}
};

/// Success.
inline Return<void> Void() { return {}; }

}  // namespace android::hardware
