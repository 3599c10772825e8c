// The bench's part of libhidlbase: text, and what becomes of a call.
#include <hidl/HidlSupport.h>
#include <hidl/Status.h>
#include <log/log.h>

#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <limits>
#include <new>

namespace android::hardware {
namespace {

constexpr char kTag[] = "HidlSupport";

[[noreturn]] void fail(const char* reason) { __android_log_assert(nullptr, kTag, "%s", reason); }

uint32_t checked_size(size_t size) {
  if (size >= std::numeric_limits<uint32_t>::max()) fail("A string's size does not fit 32 bits.");
  return static_cast<uint32_t>(size);
}

}  // namespace

namespace details {

std::string toHexString(uint64_t value) {
  std::array<char, 24> text;
  snprintf(text.data(), text.size(), "0x%" PRIx64, value);
  return text.data();
}

return_status::return_status(return_status&& other) noexcept
    : status_(std::move(other.status_)), was_asked_(std::exchange(other.was_asked_, true)) {}

return_status& return_status::operator=(return_status&& other) noexcept {
  if (this == &other) return *this;
  abort_if_overlooked();
  status_ = std::move(other.status_);
  was_asked_ = std::exchange(other.was_asked_, true);
  return *this;
}

void return_status::assertOk() const {
  if (isOk()) return;
  fail(("A failed HIDL call's value was taken: " + description()).c_str());
}

void return_status::abort_if_overlooked() const {
  if (was_asked_ || status_.isOk()) return;
  fail(("Nobody asked whether a failed HIDL call was: " + description()).c_str());
}

}  // namespace details

hidl_string::~hidl_string() { clear(); }

hidl_string::hidl_string(const char* text)
    : hidl_string(text, text == nullptr ? 0 : std::strlen(text)) {}

hidl_string::hidl_string(const char* text, size_t length) {
  if (length == 0) return;
  const uint32_t size = checked_size(length);
  std::unique_ptr<char[]> owned(new (std::nothrow) char[length + 1]);
  if (owned == nullptr) fail("There is no memory for a string.");
  std::memcpy(owned.get(), text, length);
  owned[length] = '\0';
  text_ = owned.release();
  size_ = size;
  is_owned_ = true;
}

hidl_string::hidl_string(const std::string& text) : hidl_string(text.data(), text.size()) {}

hidl_string::hidl_string(const hidl_string& other) : hidl_string(other.text_, other.size_) {}

hidl_string::hidl_string(hidl_string&& other) noexcept { swap(other); }

hidl_string& hidl_string::operator=(const char* text) { return *this = hidl_string(text); }

hidl_string& hidl_string::operator=(const std::string& text) { return *this = hidl_string(text); }

hidl_string& hidl_string::operator=(const hidl_string& other) { return *this = hidl_string(other); }

hidl_string& hidl_string::operator=(hidl_string&& other) noexcept {
  hidl_string taken(std::move(other));
  swap(taken);
  return *this;
}

void hidl_string::setToExternal(const char* text, size_t size) {
  const uint32_t checked = checked_size(size);
  if (text[size] != '\0') fail("Text that a string refers to must end in a NUL.");
  clear();
  text_ = text;
  size_ = checked;
}

void hidl_string::clear() {
  if (is_owned_) const std::unique_ptr<const char[]> last_owner(text_);
  text_ = "";
  size_ = 0;
  is_owned_ = false;
}

void hidl_string::swap(hidl_string& other) noexcept {
  std::swap(text_, other.text_);
  std::swap(size_, other.size_);
  std::swap(is_owned_, other.is_owned_);
}

bool operator==(const hidl_string& left, const hidl_string& right) { return left == right.c_str(); }
bool operator==(const hidl_string& left, const char* right) {
  return std::strcmp(left.c_str(), right) == 0;
}
bool operator!=(const hidl_string& left, const hidl_string& right) { return !(left == right); }
bool operator!=(const hidl_string& left, const char* right) { return !(left == right); }

std::string toString(const hidl_string& text) { return '"' + std::string(text) + '"'; }

std::string Status::description() const {
  if (isOk()) return "no error";
  std::string text = "exception " + std::to_string(exception_);
  if (error_ != OK) {
    text += ", error " + std::to_string(error_);
    // The errors of the operating system have its numbers; the platform's own have no text here.
    if (error_ > -4096) text += std::string(" (") + std::strerror(-error_) + ")";
  }
  if (!message_.empty()) text += ": " + message_;
  return text;
}

}  // namespace android::hardware
