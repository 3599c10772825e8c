#include <array>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string_view>

#include "common/local_time.h"
#include "common/log.h"
#include "common/properties.h"
#include "common/text.h"
#include "fcx/factory_items.h"
#include "fcx/qvcmd.h"
#include "fcx/system_control.h"
#include "platform/device_home.h"
#include "services/steps.h"
#include "services/sysfs.h"

namespace {

namespace item = fcx::item;

constexpr char kQem[] = "vendor.qve.factory.qem";
constexpr char kPif[] = "vendor.qve.factory.pif";
constexpr char kCrashService[] = "persist.vendor.qve.service.crash.enable";
constexpr char kSuffix[] = "ro.vendor.qve.suffix";

constexpr size_t kTextSize = QVCMD_DATA_SIZE;

void set_modes(const char* function, std::string_view bootmode) {
  const std::string_view mode = bootmode.substr(0, 3);
  const bool is_qem = mode == "qem";
  fcx::set_property_or_log(function, kQem, is_qem ? "1" : "0");
  fcx::set_property_or_log(function, kPif, is_qem || mode == "pif" ? "1" : "0");
  if (is_qem) fcx::set_property_or_log(function, kCrashService, "1");
}

void set_suffix(const char* function) {
  fcx::TextBuffer<fcx::factory_item<item::suffix>().length> suffix;
  if (get_suffix_item(suffix.data()) != 0) {
    DOMAIN_ERROR("%s: item %d cannot be read\n", function, item::suffix);
    return;
  }
  // It can be set once until the next restart: a later start of the daemon finds it set already.
  if (!fcx::write_property(kSuffix, suffix.c_str()).ok() &&
      fcx::read_property(kSuffix).view() != suffix.view()) {
    DOMAIN_ERROR("%s: %s cannot be set\n", function, kSuffix);
  }
  DOMAIN_INFO("[QVE][FCX] %s : %s\n", kSuffix, suffix.c_str());
}

/// What an attribute of a processor's frequency shows, without its last character: the newline.
using Frequency = fcx::TextBuffer<19>;

fcx::ReadResult read_frequency(int cpu, const char* attribute, Frequency& frequency) {
  std::array<char, 64> path{};
  snprintf(path.data(), path.size(), "/sys/devices/system/cpu/cpu%d/cpufreq/scaling_%s_freq", cpu,
           attribute);
  const fcx::ReadResult read =
      fcx::read_attribute(path.data(), frequency.data(), frequency.capacity());
  if (read.size() > 0) {
    const std::string_view text = frequency.view();
    frequency = Frequency(text.substr(0, text.empty() ? 0 : text.size() - 1));
  }
  return read;
}

}  // namespace

void system_set_env_property() {
  const fcx::PropertyText bootmode = fcx::read_property("ro.bootmode");
  set_modes(__func__, bootmode.view());
  DOMAIN_INFO("[QVE][FCX] bootmode: %s \n", bootmode.c_str());
  set_suffix(__func__);
}

void show_current_time() {
  const auto now = static_cast<time_t>(fcx::platform_time());
  tm local{};
  fcx::local_time(now, local);
  std::array<char, 30> text{};
  strftime(text.data(), text.size(), "%Y/%m/%d %H:%M:%S", &local);
  DOMAIN_INFO("Current time is %s\n", text.data());
}

int get_cpu_freq(char* out, int* len) {
  constexpr int kCpus = 8;
  if (out == nullptr || len == nullptr) {
    DOMAIN_ERROR("%s: no buffer\n", __func__);
    return 1;
  }
  const std::string_view before = fcx::bounded_text(out, kTextSize - 1);
  fcx::TextBuffer<kTextSize - 1> text(before);
  for (int cpu = 0; cpu < kCpus; ++cpu) {
    Frequency current;
    const fcx::ReadResult read = read_frequency(cpu, "cur", current);
    if (read.has_failed()) {
      DOMAIN_ERROR("%s: the frequency of processor %d: %s\n", __func__, cpu, read.reason());
    }
    if (read.size() == 0) continue;
    // Also where it is the first, on purpose.
    if (cpu != 0) text.append(",");
    const char digit = static_cast<char>('0' + cpu);
    text.append({&digit, 1});
    text.append(",");
    text.append(current.view());
    for (const char* attribute : {"max", "min"}) {
      Frequency limit;
      const fcx::ReadResult found = read_frequency(cpu, attribute, limit);
      if (!found.has_content()) {
        DOMAIN_ERROR("%s: the %simum frequency of processor %d: %s\n", __func__, attribute, cpu,
                     found.reason());
      }
      text.append(",");
      text.append(limit.view());
    }
  }
  const std::string_view all = text.view();
  memcpy(out, text.c_str(), all.size() + 1);
  *len = static_cast<int>(all.size());
  return 0;
}

char* get_mcc_list(char* in, char* out) {
  if (in == nullptr || out == nullptr) {
    DOMAIN_ERROR("%s: no list\n", __func__);
    return out;
  }
  // Each string but the first gives its three digits and its closing quote, in whose place the
  // comma comes.
  constexpr size_t kCodeSize = 4;
  size_t count = 0;
  size_t quotes = 0;
  for (const char* c = in; *c != '\0'; ++c) {
    if (*c == '"') ++quotes;
    const bool is_inside = quotes % 2 == 1;
    const size_t most = is_inside ? std::min((quotes - 1) / 2 * kCodeSize, kTextSize) : 0;
    if (count < most) out[count++] = c[1];
  }
  for (size_t p = kCodeSize - 1; p < count; p += kCodeSize) out[p] = ',';
  out[count == 0 ? 0 : count - 1] = '\0';
  return out + count;
}
