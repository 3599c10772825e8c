#include "fcx/factory_items.h"

#include <array>
#include <cstdio>
#include <cstring>

#include "common/files.h"
#include "common/log.h"
#include "common/properties.h"
#include "common/text.h"
#include "ftm/store.h"

namespace {

using fcx::factory_item;
using fcx::FactoryItem;
using fcx::kLongestItem;
namespace item = fcx::item;

constexpr char kFactoryStatusProperty[] = "persist.vendor.qve.factory.status";
constexpr char kAgreeFactoryFile[] = "/mnt/vendor/persist-qv/agree_factory";

/// The accessors' convention: 0, or -1 for a negative return of the store.
int status_of(int store_return) { return store_return < 0 ? -1 : 0; }

int read_flag(int index) {
  uint8_t flag = 0;
  return fcx::read_store(index, &flag, 1) < 0 ? -1 : flag;
}

int write_flag(int index, int value) {
  const auto flag = static_cast<uint8_t>(value);
  return status_of(fcx::write_store(index, &flag, 1));
}

int read_whole(const FactoryItem& item, char* buffer) {
  return status_of(fcx::read_item(item, buffer, item.length));
}

int write_text(const FactoryItem& item, const char* text) {
  if (text == nullptr) return -1;
  return status_of(fcx::write_item(item, fcx::bounded_text(text, item.length)));
}

int write_whole(const FactoryItem& item, const char* bytes) {
  if (bytes == nullptr) return -1;
  return status_of(fcx::write_store(item.index, bytes, item.length));
}

/// Zeroes the item in a write of its own, so that nothing of an old value outlives a new one.
int clear(const FactoryItem& item) { return status_of(fcx::write_item(item, {})); }

/// A number in its decimal form, of which there is room for one character.
char first_digit(int number) {
  std::array<char, 2> text{};
  snprintf(text.data(), text.size(), "%d", number);
  return text[0];
}

void remove_agree_factory_file() {
  fcx::Result removed = fcx::remove_device_file(kAgreeFactoryFile);
  // Else a power cut brings it back.
  if (removed.ok()) removed = fcx::flush_directory_of(kAgreeFactoryFile);
  if (removed.ok()) return;
  DOMAIN_ERROR("set_factory_status: %s: %s\n", kAgreeFactoryFile, removed.reason());
}

/// How a trace is shown: 236 as 2>3>6>.
class ShownTrace {
 public:
  explicit ShownTrace(std::string_view trace) {
    char* out = text_.data();
    for (const char status : trace) {
      *out++ = status;
      *out++ = '>';
    }
  }
  const char* c_str() const { return text_.data(); }

 private:
  std::array<char, 2 * kLongestItem + 1> text_{};
};

}  // namespace

namespace fcx {

int read_item(const FactoryItem& item, char* buffer, size_t size) {
  if (buffer == nullptr || size < item.length) return -1;
  // Read aside, for the store may give fewer bytes than were asked for, or fail half-way.
  std::array<char, kLongestItem> bytes;
  memset(bytes.data(), 0, item.length);
  const int result = read_store(item.index, bytes.data(), item.length);
  if (result < 0) return result;
  memcpy(buffer, bytes.data(), item.length);
  memset(buffer + item.length, 0, size - item.length);
  return result;
}

int write_item(const FactoryItem& item, std::string_view text) {
  std::array<char, kLongestItem> bytes;
  const size_t length = text.copy(bytes.data(), item.length);
  memset(bytes.data() + length, 0, item.length - length);
  return write_store(item.index, bytes.data(), item.length);
}

}  // namespace fcx

// The accessors of fcx/factory_items.def whose form says all about them.
#define READER_flag(index, name) \
  int name() { return read_flag(index); }
#define READER_text(index, name) \
  int name(char* buffer) { return read_whole(factory_item<index>(), buffer); }
#define READER_raw(index, name) READER_text(index, name)
#define READER_own(index, name)
#define READER_handler(index, name)
#define READER_none(index, name)
#define WRITER_flag(index, name) \
  int name(int value) { return write_flag(index, value); }
#define WRITER_text(index, name) \
  int name(const char* text) { return write_text(factory_item<index>(), text); }
#define WRITER_raw(index, name) \
  int name(const char* bytes) { return write_whole(factory_item<index>(), bytes); }
#define WRITER_own(index, name)
#define WRITER_handler(index, name)
#define WRITER_none(index, name)
#define FCX_ITEM(index, name, length, encoding, privacy, reading, reader, writing, writer, \
                 meaning)                                                                  \
  READER_##reading(index, reader) WRITER_##writing(index, writer)
#include "fcx/factory_items.def"
#undef FCX_ITEM

int get_suffix_item(char* buffer) {
  fcx::TextBuffer<factory_item<item::suffix>().length> suffix;
  const int result = read_whole(factory_item<item::suffix>(), suffix.data());
  DOMAIN_INFO("Get SUFFIX : %s", suffix.c_str());
  if (buffer == nullptr || result != 0) return -1;
  memcpy(buffer, suffix.data(), suffix.capacity());
  return 0;
}

int set_suffix_item(const char* text) {
  if (text == nullptr) return -1;
  DOMAIN_INFO("Set SUFFIX : %s", text);
  return write_text(factory_item<item::suffix>(), text);
}

int set_saatresult(const char* text) {
  if (text == nullptr || clear(factory_item<item::saat_result>()) != 0) return -1;
  return write_text(factory_item<item::saat_result>(), text);
}

int set_midauto_result(const char* text) {
  if (text == nullptr || clear(factory_item<item::midauto_result>()) != 0) return -1;
  return write_text(factory_item<item::midauto_result>(), text);
}

int get_midauto_crc_list(char* buffer) {
  constexpr const FactoryItem& list = factory_item<item::midauto_crc_list>();
  fcx::TextBuffer<list.length> slots;
  // Not status_of(): a positive return is a failure here, and only here, on purpose.
  if (buffer == nullptr || fcx::read_item(list, slots.data(), list.length) != 0) return -1;
  memcpy(buffer, slots.c_str(), list.length);
  return 0;
}

int set_midauto_crc_list(const char* bytes) {
  if (bytes == nullptr || clear(factory_item<item::midauto_crc_list>()) != 0) return -1;
  return write_whole(factory_item<item::midauto_crc_list>(), bytes);
}

int set_factory_status(int status) {
  const char digit[] = {first_digit(status), '\0'};
  // The property comes first and stays set when the item cannot be written, on purpose.
  if (!fcx::write_property(kFactoryStatusProperty, digit).ok()) {
    DOMAIN_ERROR("set_factory_status: %s cannot be set\n", kFactoryStatusProperty);
  }
  DOMAIN_INFO("set_factory_status:[%d] \n", status);
  if (status == 3) remove_agree_factory_file();
  if (write_flag(item::factory_status, status) != 0) {
    DOMAIN_INFO("Set ftm Error! Item : %d", item::factory_status);
    return -1;
  }
  // A trace that cannot be written has been logged, and is no failure of the status.
  static_cast<void>(set_frst_trace(status));
  return 0;
}

int get_frst_trace(char* buffer) {
  if (read_whole(factory_item<item::frst_trace>(), buffer) != 0) {
    DOMAIN_INFO("get ftm Error!");
    return -1;
  }
  DOMAIN_INFO("trace value : %.*s", static_cast<int>(kLongestItem), buffer);
  return 0;
}

int set_frst_trace(int status) {
  constexpr size_t kFullTrace = kLongestItem - 1;
  fcx::TextBuffer<kLongestItem> trace;
  if (read_whole(factory_item<item::frst_trace>(), trace.data()) != 0) {
    // It counts as empty.
    DOMAIN_ERROR("set_frst_trace: item %d cannot be read\n", item::frst_trace);
  }
  size_t length = trace.view().size();
  if (length >= kFullTrace) {
    DOMAIN_INFO("Full QVFTM_FRST_TRACE, initialize this item");
    length = 0;
  }
  trace.data()[length] = first_digit(status);
  // Nothing after the trace is kept: it would become part of it.
  memset(trace.data() + length + 1, 0, kLongestItem - length - 1);
  if (write_whole(factory_item<item::frst_trace>(), trace.c_str()) != 0) {
    DOMAIN_INFO("Set ftm Error! Item : %s", "QVFTM_FRST_TRACE");
    return -1;
  }
  DOMAIN_INFO("trace value : %s", ShownTrace(trace.view()).c_str());
  return 0;
}

int get_crcwizard(char* buffer) {
  DOMAIN_INFO("CWCWIZARD get_crcwizard pass\n");
  fcx::TextBuffer<factory_item<item::crc_wizard>().length> digit;
  const int result = read_whole(factory_item<item::crc_wizard>(), digit.data());
  DOMAIN_INFO("CWCWIZARD get_crcwizard(%s)\n", digit.c_str());
  if (buffer == nullptr || result != 0) return -1;
  buffer[0] = digit.c_str()[0];
  return 0;
}

int set_crcwizard(int value) {
  const char digit[] = {first_digit(value), '\0'};
  DOMAIN_INFO("CWCWIZARD set_crcwizard(%s)\n", digit);
  return write_whole(factory_item<item::crc_wizard>(), digit);
}

int set_workfrstmodeon_status(int on) {
  DOMAIN_INFO("set_workfrstmodeon_status:[%d] \n", on);
  return write_flag(item::workfrstmodeon, on);
}

int set_lcd_break_mode(int mode) {
  DOMAIN_INFO("set_lcd_break_status:[%d] \n", mode);
  return write_flag(item::lcd_break_mode, mode);
}

int get_string_ftm_by_index(int index, char* buffer) {
  const FactoryItem any{
      index, "", kLongestItem, fcx::Encoding::bytes, fcx::Privacy::open, nullptr, nullptr, ""};
  return read_whole(any, buffer);
}

int get_int_ftm_by_index(int index) { return read_flag(index); }
