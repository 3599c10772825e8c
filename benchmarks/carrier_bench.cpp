// Carrier set-up beside a bare pass of libxml2 over the same file, a pass that waits for the SIM,
// the lookups it is made of, and what it leaves.
#include <cutils/properties.h>
#include <libxml/parser.h>
#include <log/log.h>
#include <malloc.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <unordered_map>

#include "benchmarks/bench.h"
#include "benchmarks/bench_phone.h"
#include "benchmarks/empty_modem.h"
#include "benchmarks/fast_properties.h"
#include "carrier/calling_codes.h"
#include "fcx/background.h"
#include "fcx/customisation.h"
#include "fcx/mcc_lookup.h"
#include "fcx/modem_link.h"
#include "fcx/network_code.h"
#include "fcx/qvcmd.h"
#include "fcx/single_binary.h"
#include "modem/link/requests.h"
#include "virtual_phone/core/phone.h"

namespace {

constexpr int kProfiles = 10'000;
constexpr int kKeys = 10'000;
constexpr char kProfilesFile[] = "/oem/OP/config/carrier_code.xml";
constexpr char kKeysFile[] = "/oem/OP/values.cfg";
constexpr char kLastKey[] = "bench.key.09999";
constexpr char kIccid[] = "89490200001234567890";
constexpr char kLastProfile[] =
    R"(  <profile iccid="894902" carrier_code_fast="LAST" carrier_code_sub="" country="DE"/>)";
constexpr char kOperatorProperty[] = "persist.vendor.qve.sim.operator";
constexpr char kNetworkCode[] =
    "\"13\","
    "\"310,410,FFFFFFFF,FFFFFFFF,01\",\"310,26F,FFFFFFFF,FFFFFFFF,02\","
    "\"311,480,FFFFFFFF,FFFFFFFF,03\",\"262,01F,FFFFFFFF,FFFFFFFF,04\","
    "\"234,15F,FFFFFFFF,FFFFFFFF,05\",\"208,10F,FFFFFFFF,FFFFFFFF,06\","
    "\"222,88F,FFFFFFFF,FFFFFFFF,07\",\"214,FFF,FFFFFFFF,FFFFFFFF,08\","
    "\"FFF,FFF,FFFFFFFF,FFFFFFFF,09\",\"450,08F,FFFFFFFF,FFFFFFFF,10\","
    "\"440,10F,FFFFFFFF,FFFFFFFF,11\",\"302,720,FFFFFFFF,FFFFFFFF,12\","
    "\"724,05F,FFFFFFFF,FFFFFFFF,13\"";

/// A start whose first SIM decides the carrier.
const bench::Properties kBeforeStart = {
    {"ro.build.type", "userdebug"},
    {"ro.crypto.state", "encrypted"},
    {"ro.crypto.type", "file"},
    {"ro.vendor.qve.build.target_country", "EU"},
    {"ro.vendor.qve.build.target_operator", "OPEN"},
    {"ro.vendor.qve.capp_tamra.rootdir", "/oem/OP"},
    {"ro.vendor.qve.kelp", "1"},
};

std::filesystem::path device_file(const char* device_path) {
  return virtual_phone::selected().root() + device_path;
}

std::ofstream new_device_file(const char* device_path) {
  const std::filesystem::path file = device_file(device_path);
  std::filesystem::create_directories(file.parent_path());
  return std::ofstream(file);
}

/// Nothing but the last profile matches the SIM.
void write_profiles() {
  std::ofstream out = new_device_file(kProfilesFile);
  out << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<profiles date=\"2020-06-01\">\n";
  for (int i = 1; i < kProfiles; ++i) {
    std::array<char, 128> line;
    snprintf(line.data(), line.size(),
             "  <profile iccid=\"8988%05d\" carrier_code_fast=\"C%d\" carrier_code_sub=\"S%d\""
             " country=\"C%d\"/>\n",
             i, i, i, i % 10);
    out << line.data();
  }
  out << kLastProfile << "\n</profiles>\n";
}

void write_keys() {
  std::ofstream out = new_device_file(kKeysFile);
  for (int i = 0; i < kKeys; ++i) {
    std::array<char, 64> line;
    snprintf(line.data(), line.size(), "bench.key.%05d=value %d\n", i, i);
    out << line.data();
  }
}

/// A phone whose SIM answers with this from now on, before its set-up.
void before_start(std::string_view sim_answer) {
  bench::set_answer(fcx::request::read_sim, sim_answer);
  bench::reset_properties(kBeforeStart);
  fcx::reload_carrier_set_up();
}

std::string property(const char* name) {
  std::array<char, PROPERTY_VALUE_MAX> value{};
  property_get(name, value.data(), "");
  return value.data();
}

void set_up_once() {
  before_start(kIccid);
  sbpCreateThread();
  fcx::wait_for_background_work();
}

void set_up(benchmark::State& state) {
  for (auto _ : state) set_up_once();
  if (property(kOperatorProperty) != "LAST") state.SkipWithError("the profile was not found");
}

/// What four files cost that must be on disk before set-up is done: as above, in the temporary
/// directory.
void set_up_on_disk(benchmark::State& state) {
  const bench::Phone phone(std::filesystem::temp_directory_path(), "disk");
  write_profiles();
  set_up(state);
}

struct FreeXml {
  void operator()(xmlDoc* document) const { xmlFreeDoc(document); }
  void operator()(xmlChar* text) const { xmlFree(text); }
};

/// The peer: the file is parsed, and each profile asked once for what is compared.
void profiles_by_libxml2(benchmark::State& state) {
  const std::string file = device_file(kProfilesFile);
  for (auto _ : state) {
    const std::unique_ptr<xmlDoc, FreeXml> document(xmlParseFile(file.c_str()));
    for (xmlNode* child = xmlDocGetRootElement(document.get())->children; child != nullptr;
         child = child->next) {
      const std::unique_ptr<xmlChar, FreeXml> iccid(
          child->type == XML_ELEMENT_NODE ? xmlGetProp(child, BAD_CAST "iccid") : nullptr);
      benchmark::DoNotOptimize(iccid.get());
    }
  }
}

void poll_pass(benchmark::State& state) {
  before_start("NOT YET");
  int result = qve_single_binary_init();
  for (auto _ : state) result = qve_single_binary_init();
  if (result != 1) state.SkipWithError("set-up did not wait for the SIM");
}

using Text = std::array<char, QVCMD_DATA_SIZE>;

void mcc_list(benchmark::State& state) {
  Text list;
  for (auto _ : state) {
    Text code{};
    memcpy(code.data(), kNetworkCode, sizeof kNetworkCode);
    qve_get_mcc_list(code.data(), list.data());
    benchmark::DoNotOptimize(list);
  }
}

void mccmnc_list(benchmark::State& state) {
  Text list;
  Text subsets;
  for (auto _ : state) {
    Text code{};
    memcpy(code.data(), kNetworkCode, sizeof kNetworkCode);
    qve_parse_ntcode(code.data(), list.data(), subsets.data());
    benchmark::DoNotOptimize(list);
  }
}

void key_by_the_library(benchmark::State& state) {
  std::array<char, 128> value;
  int result = 1;
  for (auto _ : state) {
    result = qve_get_value_from_file_direct(kKeysFile, kLastKey, value.data());
    benchmark::DoNotOptimize(value);
  }
  if (result != 0) state.SkipWithError("the key was not found");
}

/// The peer: the same lines by std::getline().
void key_by_getline(benchmark::State& state) {
  const std::filesystem::path file = device_file(kKeysFile);
  const std::string_view key = kLastKey;
  for (auto _ : state) {
    std::ifstream in(file);
    std::string line;
    while (std::getline(in, line)) {
      if (std::string_view(line).substr(0, line.find('=')) == key) break;
    }
    benchmark::DoNotOptimize(line);
  }
}

struct LookUp {
  const char* name;
  const char* code;  ///< three characters
};
constexpr LookUp kLookUps[] = {{"first", "20 "}, {"last", "998"}, {"unknown", "999"}};

void code_by_the_library(benchmark::State& state) {
  const LookUp& look_up = kLookUps[state.range(0)];
  for (auto _ : state) {
    std::array<char, 4> code;
    memcpy(code.data(), look_up.code, code.size());
    benchmark::DoNotOptimize(searchMccFromMap(code.data()));
  }
}

template <typename... Arguments>
void line(const char* format, Arguments... arguments) {
  __android_log_buf_print(LOG_ID_SYSTEM, ANDROID_LOG_INFO, "Fcx", format, arguments...);
}

/// The peer: as many properties read and lines logged around a hash table.
void code_by_hash_table(benchmark::State& state) {
  std::unordered_map<std::string_view, const char*> mccs;
  for (const auto& row : fcx::kCodes2) mccs.emplace(row.code, row.mcc);
  for (const auto& row : fcx::kCodes9) mccs.emplace(row.code, row.mcc);
  const LookUp& look_up = kLookUps[state.range(0)];
  for (auto _ : state) {
    std::array<char, PROPERTY_VALUE_MAX> value;
    property_get("ro.vendor.qve.build.target_operator", value.data(), "");
    property_get("ro.vendor.qve.build.target_country", value.data(), "");
    line("[QVE][SBP] searchMccFromMap : ccid = %s", look_up.code);
    line("[QVE][SBP] prefix: %c", look_up.code[0]);
    const char* mcc = nullptr;
    for (size_t length = 3; length > 1 && mcc == nullptr; --length) {
      const std::string code(look_up.code, length);
      line("[QVE][SBP] searchMccinPre2Map(%zu str compare) = %s", length, code.c_str());
      const auto found = mccs.find(code);
      if (found != mccs.end()) mcc = found->second;
    }
    line("[QVE][SBP] Matched MCC = %s", mcc == nullptr ? "" : mcc);
    benchmark::DoNotOptimize(mcc);
  }
}

std::ptrdiff_t entries(const char* directory) {
  return std::distance(std::filesystem::directory_iterator(directory), {});
}

/// What the process holds.
struct Held {
  std::ptrdiff_t descriptors = entries("/proc/self/fd");
  size_t bytes = mallinfo2().uordblks;
};

/// Waits for each thread to be gone altogether: two at once would leave a second stack for reuse.
void set_up_many_times(int times) {
  for (int i = 0; i < times; ++i) {
    set_up_once();
    while (entries("/proc/self/task") > 1) std::this_thread::yield();
  }
}

/// Of many, so that it shows beside what the allocator keeps for itself.
void report_what_is_left() {
  constexpr int kSetUps = 100;
  set_up_many_times(kSetUps);
  const Held before;
  set_up_many_times(kSetUps);
  const Held after;
  printf("%-52s %zd descriptors, %zd bytes\n", "100 further set-ups leave behind (limit 0, 0)",
         after.descriptors - before.descriptors, static_cast<ssize_t>(after.bytes - before.bytes));
}

void print_limited(const bench::Medians& medians, const char* what, const std::string& name,
                   double limit_ns) {
  const double time = medians.of(name);
  if (time == 0) return;  // filtered out
  constexpr double kMillisecond = 1e6;
  printf("%-52s %9.3f ms; limit %.3f ms\n", what, time / kMillisecond, limit_ns / kMillisecond);
}

void print_time(const bench::Medians& medians, const char* what, const std::string& name) {
  const double time = medians.of(name);
  if (time != 0) printf("%-52s %9.1f ns\n", what, time);
}

}  // namespace

void bench::register_carrier() {
  write_profiles();
  write_keys();
  init_modem_interface();
  set_ntcode(kNetworkCode, sizeof kNetworkCode - 1);

  // The work is done on another thread: time counts, not what this one uses of it.
  measure("set-up/library", set_up)->UseRealTime();
  measure("set-up on disk", set_up_on_disk)->UseRealTime();
  measure("set-up/peer", profiles_by_libxml2)->UseRealTime();
  measure("poll pass", poll_pass);
  measure("mcc list", mcc_list);
  measure("mccmnc list", mccmnc_list);
  measure("key/library", key_by_the_library);
  measure("key/peer", key_by_getline);
  for (size_t i = 0; i < std::size(kLookUps); ++i) {
    const std::string name = std::string("code ") + kLookUps[i].name;
    measure(name + "/library", code_by_the_library)->Arg(static_cast<int64_t>(i));
    measure(name + "/peer", code_by_hash_table)->Arg(static_cast<int64_t>(i));
  }
}

void bench::report_carrier(const Medians& medians) {
  constexpr double kMillisecond = 1e6;
  if (const double peer = medians.of("set-up/peer"); peer != 0) {
    const double limit = 1.3 * peer + 5 * kMillisecond;
    print_limited(medians, "set-up with 10,000 profiles (1.3 x libxml2 + 5 ms)", "set-up/library",
                  limit);
    print_limited(medians, "the same where files wait for the disk", "set-up on disk", limit);
  }
  print_limited(medians, "a further pass that waits for the SIM", "poll pass", kMillisecond);
  print_time(medians, "MCCs of a network code of 13 entries", "mcc list");
  print_time(medians, "MCC-MNCs of it", "mccmnc list");
  print_ratio(medians, "last of 10,000 keys, beside std::getline", "key");
  print_ratio(medians, "first calling code, beside a hash table", "code first");
  print_ratio(medians, "last calling code", "code last");
  print_ratio(medians, "unknown calling code", "code unknown");
  if (medians.of("set-up/library") != 0) report_what_is_left();
}
