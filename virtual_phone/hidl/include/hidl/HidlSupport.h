// The part of libhidlbase's types that generated HIDL code and its users need.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>

namespace android::hardware {

namespace details {

/// Marks an interface's class.
struct i_tag {};
/// Marks a wrapper around an implementation in the same process.
struct bs_tag {};

/// "0x" and the digits, lower case, as few as it takes.
std::string toHexString(uint64_t value);

// Generated code specialises what is here in each file that includes it: so each has its own.
inline namespace {

/// The values of an enum, in their order.
template <typename Enum>
constexpr std::array<Enum, 0> hidl_enum_values{};

}  // namespace

}  // namespace details

/// Several values of an enum in one number.
template <typename Enum>
using hidl_bitfield = std::underlying_type_t<Enum>;

/// Text that it owns, or that somebody else does. Always ends in a NUL, which its size does not
/// count. 16 bytes on every machine: generated code asserts the offsets of what follows it.
/// Memory that cannot be had ends the process, as on a phone.
class hidl_string {
 public:
  hidl_string() = default;
  ~hidl_string();

  /// Copies the text; null counts as empty.
  hidl_string(const char* text);
  hidl_string(const char* text, size_t length);
  hidl_string(const std::string& text);
  /// A copy owns its text, even where the original refers to somebody else's.
  hidl_string(const hidl_string& other);
  hidl_string(hidl_string&& other) noexcept;

  hidl_string& operator=(const char* text);
  hidl_string& operator=(const std::string& text);
  hidl_string& operator=(const hidl_string& other);
  hidl_string& operator=(hidl_string&& other) noexcept;

  /// Refers to `text` without copying it: it must outlive this object and stay as it is.
  /// @param size without the NUL that must follow it; the process aborts when there is none
  void setToExternal(const char* text, size_t size);
  void clear();

  const char* c_str() const { return text_; }
  size_t size() const { return size_; }
  bool empty() const { return size_ == 0; }
  /// All of it, NULs within included.
  operator std::string() const { return {text_, size_}; }

 private:
  void swap(hidl_string& other) noexcept;

  // Text that is owned comes from a unique_ptr and goes back into one: that pointer itself would
  // leave no room for the size in 16 bytes beside one to somebody else's text.
  alignas(8) const char* text_ = "";
  alignas(8) uint32_t size_ = 0;
  bool is_owned_ = false;
};
static_assert(sizeof(hidl_string) == 16 && alignof(hidl_string) == 8);

// These compare as C does: up to the first NUL.
bool operator==(const hidl_string& left, const hidl_string& right);
bool operator==(const hidl_string& left, const char* right);
bool operator!=(const hidl_string& left, const hidl_string& right);
bool operator!=(const hidl_string& left, const char* right);

/// A fixed number of values, which it owns. 16 bytes on every machine. Memory that cannot be had
/// ends the process here too.
template <typename T>
class hidl_vec {
 public:
  hidl_vec() = default;
  hidl_vec(std::initializer_list<T> values) : hidl_vec(values.begin(), values.size()) {}
  hidl_vec(const hidl_vec& other) : hidl_vec(other.begin(), other.size()) {}
  hidl_vec(hidl_vec&& other) noexcept { swap(other); }
  hidl_vec& operator=(hidl_vec other) noexcept {
    swap(other);
    return *this;
  }

  size_t size() const { return size_; }
  T& operator[](size_t index) { return values_[index]; }
  const T& operator[](size_t index) const { return values_[index]; }
  T* begin() { return values_.get(); }
  T* end() { return values_.get() + size_; }
  const T* begin() const { return values_.get(); }
  const T* end() const { return values_.get() + size_; }

 private:
  hidl_vec(const T* values, size_t size) noexcept
      : values_(std::make_unique<T[]>(size)), size_(static_cast<uint32_t>(size)) {
    std::copy(values, values + size, values_.get());
  }
  void swap(hidl_vec& other) noexcept {
    std::swap(values_, other.values_);
    std::swap(size_, other.size_);
  }

  alignas(8) std::unique_ptr<T[]> values_;
  alignas(8) uint32_t size_ = 0;
};
static_assert(sizeof(hidl_vec<char>) == 16 && alignof(hidl_vec<char>) == 8);

/// For people to read: a number in decimal.
template <typename Number, typename = std::enable_if_t<std::is_arithmetic_v<Number>>>
std::string toString(Number number) {
  return std::to_string(number);
}
/// The text in double quotes.
std::string toString(const hidl_string& text);

}  // namespace android::hardware
