#include "virtual_phone/profiles/samples.h"

#include <zlib.h>

#include <array>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <list>

#include "virtual_phone/core/error.h"
#include "virtual_phone/core/item_store.h"

namespace virtual_phone {
namespace {

/// Text as printf() makes it, of at most 255 characters.
[[gnu::format(printf, 1, 2)]] std::string line(const char* format, ...) {
  std::array<char, 256> text{};
  va_list values;
  va_start(values, format);
  vsnprintf(text.data(), text.size(), format, values);
  va_end(values);
  return text.data();
}

/// Numbers that look like nothing in particular, and are the same every time: one in an expression,
/// since nobody says which of two is taken first.
class Numbers {
 public:
  explicit Numbers(uint32_t seed) : state_(seed) {}
  unsigned below(unsigned limit) {
    state_ = state_ * 1664525 + 1013904223;
    return (state_ >> 8) % limit;
  }

 private:
  uint32_t state_;
};

/// The 32-bit number as the phone stores it, its low byte first.
std::string word(uint32_t value) {
  std::string bytes;
  for (int shift = 0; shift < 32; shift += 8) bytes += static_cast<char>(value >> shift & 0xFF);
  return bytes;
}

// Kernel logs.

struct KernelSource {
  const char* name;
  const char* message;  ///< with one number in it
  unsigned below;
};

constexpr KernelSource kKernelSources[] = {
    {"qv_battery", "capacity %u%%, charging", 101},
    {"qv_battery", "temperature %u, in tenths of a degree", 420},
    {"qv_touch", "baseline of channel %u is settled", 18},
    {"qv_panel", "brightness is set to %u", 256},
    {"qv_pmic", "regulator l%u is on", 25},
    {"f2fs", "checkpoint %u is written", 9000},
    {"usb", "new high-speed device number %u", 127},
    {"modem_ctl", "heartbeat %u", 60000},
    {"thermal", "zone %u is below its first trip point", 12},
    {"binder", "transaction buffer %u is free again", 4096},
};

/// So many lines of a kernel that was switched on a moment before, and the last ones as they are.
std::string kernel_log(uint32_t seed, int lines, const std::vector<const char*>& last) {
  Numbers numbers(seed);
  unsigned us = 0;
  const auto time = [&] { return line("[%5u.%06u] ", us / 1'000'000, us % 1'000'000); };
  std::string text = time() + "Starting on physical CPU 0\n" + time() + "Machine model: QV-100\n";
  for (int i = 0; i < lines; ++i) {
    us += 1 + numbers.below(90'000);
    const KernelSource& source = kKernelSources[numbers.below(std::size(kKernelSources))];
    text += time() + source.name + ": " + line(source.message, numbers.below(source.below)) + "\n";
  }
  for (const char* each : last) {
    us += 1 + numbers.below(900);
    text += time() + each + "\n";
  }
  return text;
}

// Crash reports.

struct Crash {
  int item;  ///< of its first block
  const char* summary;
  const char* thread;
  unsigned stack_rows;
};

constexpr int kCrashCounter = 230;
constexpr size_t kCrashReport = 7500;

/// The second one fills its record; the first ends before that, in zeros.
constexpr Crash kCrashes[] = {
    {231, "modem assertion, mm/attach.c line 1482", "mm_attach", 40},
    {235, "watchdog bite, CPU 2 has not answered for 11 s", "kworker/2:1", 400},
};

std::string crash_record(const Crash& crash) {
  Numbers numbers(static_cast<uint32_t>(crash.item));
  std::string record = "CRSH" + word(1) + word(static_cast<uint32_t>(crash.item));
  record.resize(32, '\0');
  record += "Software QV100AT-00-V10a-OPEN-EU-JUN-01-2020+0\nUp 3842 s, reset reason 0x7765\n";
  record += line("Crash Handler: %s\nThread %s\n", crash.summary, crash.thread);
  for (unsigned i = 0; i < 16; ++i) record += line("x%-2u 0x%08x\n", i, numbers.below(1 << 24));
  for (unsigned i = 0; i < crash.stack_rows; ++i) {
    const unsigned low = numbers.below(1 << 24), high = numbers.below(1 << 24);
    record += line("%08x: %08x %08x\n", 0x0C3FF000 + 8 * i, low, high);
  }
  if (record.size() > kCrashReport) record.resize(kCrashReport);
  return record;
}

// Last logs.

struct LastLog {
  size_t block;
  uint32_t seed;
  std::vector<const char*> last;
};

/// A chunk of a record: its length, and its text as zlib packs it.
std::string chunk(const std::string& text) {
  uLongf size = compressBound(static_cast<uLong>(text.size()));
  std::string packed(size, '\0');
  if (compress(reinterpret_cast<Bytef*>(packed.data()), &size,
               reinterpret_cast<const Bytef*>(text.data()),
               static_cast<uLong>(text.size())) != Z_OK) {
    throw Error("the last log of a sample cannot be packed");
  }
  packed.resize(size);
  return word(static_cast<uint32_t>(size)) + packed;
}

std::string last_log_record(const LastLog& log) {
  constexpr size_t kPerChunk = 2048;
  constexpr uint32_t kIsThere = 1;
  const std::string text = kernel_log(log.seed, 90, log.last);
  std::string record = word(kIsThere);
  for (size_t at = 0; at < text.size(); at += kPerChunk)
    record += chunk(text.substr(at, kPerChunk));
  return record + word(0);
}

// Files.

std::string item_changes() {
  constexpr const char* kNames[] = {"serial_number", "imei", "sku", "csn", "saat_result"};
  Numbers numbers(11);
  std::string text;
  for (int minute = 0; minute < 40; ++minute) {
    const unsigned second = numbers.below(60);
    const char* name = kNames[numbers.below(std::size(kNames))];
    const unsigned station = numbers.below(4) + 1;
    text += line("2020-06-01 09:%02d:%02u  %-14s written by station %u\n", minute, second, name,
                 station);
  }
  return text;
}

/// NV items as they lie in the modem's memory, with all the bytes that there are.
std::string nv_image() {
  Numbers numbers(453);
  std::string bytes = "NVDUMP" + std::string("\0\1", 2);
  for (int i = 0; i < 1016; ++i) bytes += static_cast<char>(numbers.below(256));
  return bytes;
}

std::string capacitances() {
  Numbers numbers(100);
  std::string text;
  for (int row = 0; row < 36; ++row) {
    for (int column = 0; column < 18; ++column) {
      text += (column == 0 ? "" : ",") + std::to_string(2900 + numbers.below(200));
    }
    text += "\n";
  }
  return text;
}

std::string system_log(const char* tag) {
  Numbers numbers(static_cast<uint32_t>(tag[0]));
  std::string text;
  for (int i = 0; i < 50; ++i) {
    const unsigned second = numbers.below(60), ms = numbers.below(1000);
    const unsigned thread = 1021 + numbers.below(40), step = numbers.below(30);
    text += line("06-01 09:%02d:%02u.%03u  1021  %u D %s: step %u of the start is done\n", i,
                 second, ms, thread, tag, step);
  }
  return text;
}

/// Words for the host, which takes them in pieces.
std::string touch_result() {
  Numbers numbers(18);
  std::string text = "TOUCH_SELF_TEST QV-100 FIRMWARE 1.07\n";
  for (int i = 0; i < 96; ++i) {
    text += line("CH%02d=%u", i, 2900 + numbers.below(200));
    text += i % 6 == 5 ? " OK\n" : " OK ";
  }
  return text + "OPEN=0 SHORT=0 RESULT=PASS\n";
}

}  // namespace

const std::vector<ProfileFile>& sample_logs() {
  static const std::vector<ProfileFile> all = {
      {"/data/logger/kernel/kernel.log.1", kernel_log(5, 40, {"reboot: restarting"})},
      {"/data/logger/main.log", system_log("FactoryApp")},
      {"/data/logger/radio.log", system_log("Radio")},
      {"/data/touch/touch_self_test.txt", touch_result()},
      {"/data/vendor/factory/dbdump/boot_history.txt",
       "1 power key\n2 restart, reason dload\n3 power key\n4 charger"},
      {"/data/vendor/factory/dbdump/items/changes of 2020-06-01.txt", item_changes()},
      {"/data/vendor/factory/dbdump/items/pending", ""},
      {"/data/vendor/factory/nvdump/nv.bin", nv_image()},
      {"/data/vendor/factory/nvdump/nv_453.txt", "453 00000000\n"},
      {"/data/vendor/touch/capacitance.csv", capacitances()},
      {"/data/vendor/touch/firmware.txt", "controller QVT18\nfirmware 1.07\n"},
  };
  return all;
}

const std::vector<ProfileItem>& sample_crashes() {
  static const std::vector<ProfileItem> all = [] {
    static std::list<std::string> kept;  // of what the items hold
    std::vector<ProfileItem> items;
    kept.push_back(std::string(8, '\0') + word(std::size(kCrashes)) + std::string(4, '\0'));
    items.push_back({kCrashCounter, kept.back()});
    for (const Crash& crash : kCrashes) {
      const std::string record = crash_record(crash);
      for (size_t at = 0; at < record.size(); at += kItemBlock) {
        kept.push_back(record.substr(at, kItemBlock));
        items.push_back({crash.item + static_cast<int>(at / kItemBlock), kept.back()});
      }
    }
    return items;
  }();
  return all;
}

const std::vector<ProfileRecord>& sample_last_logs() {
  static const std::vector<ProfileRecord> all = [] {
    const LastLog logs[] = {
        {3848,
         3,
         {"Kernel panic: the storage has not answered for 30 s", "entering download mode"}},
        {3600, 4, {"modem_ctl: fatal error of the modem", "entering download mode"}},
    };
    std::vector<ProfileRecord> records;
    for (const LastLog& log : logs) records.push_back({log.block, last_log_record(log)});
    return records;
  }();
  return all;
}

std::string sample_kernel_log() { return kernel_log(1, 30, {"qv_factory: the daemon is up"}); }

}  // namespace virtual_phone
