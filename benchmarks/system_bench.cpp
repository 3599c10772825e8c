// Version reports beside the properties, files, requests and lines that they are made of, and a
// restart beside the flush that it waits for.
#include <cutils/properties.h>
#include <fcntl.h>
#include <log/log.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <fstream>

#include "benchmarks/bench.h"
#include "benchmarks/empty_modem.h"
#include "benchmarks/fast_properties.h"
#include "benchmarks/quiet_home.h"
#include "fcx/background.h"
#include "fcx/factory_item_table.h"
#include "fcx/modem_link.h"
#include "fcx/qvcmd.h"
#include "fcx/single_binary.h"
#include "fcx/system_control.h"
#include "fcx/version_info.h"
#include "modem/link/requests.h"
#include "platform/device_home.h"
#include "platform/factory_item_library.h"
#include "virtual_phone/core/clock.h"
#include "virtual_phone/core/phone.h"

namespace {

constexpr int kAsBuilt = 1;
constexpr int kOfCarrier = 2;
constexpr char kCommandLine[] = "/proc/cmdline";
constexpr char kNetworkCode[] = R"("1","262,01F,FFFFFFFF,FFFFFFFF,11")";

const bench::Properties kProperties = {
    {"ro.boot.vendor.qve.model.factory", "QV-100"},
    {"ro.vendor.qve.build.target_operator", "OPEN"},
    {"ro.vendor.qve.factoryversion", "QV100AT-00-V10a-OPEN-EU-JUN-01-2020+0"},
};

struct DeviceFile {
  const char* path;
  const char* content;
};
constexpr DeviceFile kFiles[] = {
    {"/oem/OP/cust_path_mapping.cfg", "23415,12=/oem/OP/EU\n26201,11=/oem/OP/EU\n"},
    {"/oem/OP/open_path_mapping.cfg", "23415,12=CR2\n26201,11=CR1\n"},
    {"/oem/OP/cust_group_mapping.cfg", "ro.vendor.qve.other=1\n"},
    {"/oem/OP/EU/cust_CR1.prop",
     "ro.vendor.qve.swversion_short=V10a\nro.vendor.qve.swversion.postfix=CR1\n"},
};

std::filesystem::path device_file(const char* device_path) {
  return virtual_phone::selected().root() + device_path;
}

void prepare() {
  bench::reset_properties(kProperties);
  fcx::reload_carrier_set_up();
  bench::set_answer(fcx::request::read_type_code, "0");
  bench::set_answer(fcx::request::receive_bulk, kNetworkCode);
}

/// What one call has read.
struct Reads {
  size_t opens, reads, properties;
};
Reads of_carrier{}, as_built{}, of_hardware{};

Reads reads_so_far() { return {bench::file_opens(), bench::file_reads(), bench::property_reads()}; }

template <typename Call>
void measure_calls(benchmark::State& state, Reads& of_one, Call call) {
  prepare();
  const Reads before = reads_so_far();
  if (call() != 0) state.SkipWithError("there is no version");
  const Reads after = reads_so_far();
  of_one = {after.opens - before.opens, after.reads - before.reads,
            after.properties - before.properties};
  for (auto _ : state) call();
}

void version_of_carrier(benchmark::State& state) {
  std::array<char, 70> out{};
  int length = 0;
  measure_calls(state, of_carrier,
                [&] { return get_qve_factory_sw_version(kOfCarrier, out.data(), &length); });
}

void version_as_built(benchmark::State& state) {
  std::array<char, 70> out{};
  int length = 0;
  measure_calls(state, as_built,
                [&] { return get_qve_factory_sw_version(kAsBuilt, out.data(), &length); });
}

void hardware_revision(benchmark::State& state) {
  std::array<char, 5> out{};
  int length = 0;
  measure_calls(state, of_hardware, [&] { return get_qve_hw_version(out.data(), &length); });
}

template <typename... Arguments>
void line(const char* format, Arguments... arguments) {
  __android_log_buf_print(LOG_ID_SYSTEM, ANDROID_LOG_INFO, "Fcx", format, arguments...);
}

void read_whole(const char* device_path) {
  std::array<char, 4096> bytes;
  const int file = open(device_file(device_path).c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) return;
  benchmark::DoNotOptimize(read(file, bytes.data(), bytes.size()));
  close(file);
}

void read_property(const char* name) {
  std::array<char, PROPERTY_VALUE_MAX> value;
  property_get(name, value.data(), "");
  benchmark::DoNotOptimize(value);
}

void ask(int request) {
  std::array<char, QVCMD_DATA_SIZE> answer;
  int length = 0;
  request_to_system(request, nullptr, 0, answer.data(), &length, nullptr);
  benchmark::DoNotOptimize(answer);
}

/// What both types read and log.
void read_what_a_version_needs() {
  for (const char* name : {"ro.vendor.qve.factoryversion", "ro.boot.vendor.qve.model.factory",
                           "ro.vendor.qve.build.target_operator", "ro.vendor.qve.swversion_arb"}) {
    read_property(name);
  }
  read_whole("/oem/OP/cust_group_mapping.cfg");
  ask(fcx::request::read_type_code);
  const char text[] = "QV100AT-00-V10a-OPEN-EU-JUN-01-2020";
  line("GSM VERSION TYPE");
  line("ro.vendor.qve.factoryversion is [%s]\n", text);
  line("[QVE][SBP_VER]Model Name : %s = %s", "ro.boot.vendor.qve.model.factory", "QV-100");
  line("[QVE][SBP_VER]Model Name qv_v: %s", "QV");
  line("[QVE][SBP_VER]Model Name dev: %s", "100");
  line("[QVE][SBP_VER]Short Version Name: %s, MCC: %s, MNC: %s, Release Date : %s", "V10a", "262",
       "01", "JUN-01-2020");
  line("[QVE][SBP_VER]Software Version : %s", text);
  line("[QVE][SBP_VER]Final Software Version : %s", text);
}

/// The peer: the same reads, requests and lines, and nothing else.
void as_built_bare(benchmark::State& state) {
  prepare();
  for (auto _ : state) read_what_a_version_needs();
}

/// The peer: of the network code's and the package's, too, and the version is stored.
void of_carrier_bare(benchmark::State& state) {
  constexpr char kVersion[70] = "QV100AT-00-V10a-262-01-CR1-JUN-01-2020+0";
  prepare();
  for (auto _ : state) {
    for (const int request :
         {fcx::request::begin_bulk, fcx::request::read_ntcode, fcx::request::receive_bulk}) {
      ask(request);
    }
    read_property("ro.vendor.qve.build.target_country");
    for (const char* path : {"/oem/OP/cust_path_mapping.cfg", "/oem/OP/open_path_mapping.cfg",
                             "/oem/OP/EU/cust_CR1.prop"}) {
      read_whole(path);
    }
    for (int i = 0; i < 6; ++i) line("[QVE][SBP_VER]tamra root path: %s\n", "/oem/OP/EU");
    read_what_a_version_needs();
    set_ftm_item(fcx::item::sw_version, sizeof kVersion, kVersion);
  }
}

void hardware_bare(benchmark::State& state) {
  for (auto _ : state) {
    read_whole(kCommandLine);
    line("hw_rev : %s\n", "rev_10");
  }
}

/// Each leaves a thread that waits a second, on the fast clock a thousandth of it.
constexpr int kRestarts = 20;

void restart_up_to_its_return(benchmark::State& state) {
  prepare();
  virtual_phone::set_clock(virtual_phone::Clock::fast);
  int result = 0;
  for (auto _ : state) {
    result |= system_restart();
    state.PauseTiming();
    fcx::wait_for_background_work();
    state.ResumeTiming();
  }
  if (result != 0) state.SkipWithError("no restart");
}

/// The peer: the modem's answer, the flush of the files, and the lines.
void flush_bare(benchmark::State& state) {
  prepare();
  for (auto _ : state) {
    line("start system_restart\n");
    ask(fcx::request::sync_efs);
    line("system_efs_sync DONE\n");
    fcx::platform_sync();
    line("sync DONE\n");
    line("end system_restart\n");
  }
}

void print_reads(const bench::Medians& medians, const char* what, const std::string& name,
                 const Reads& reads) {
  const double whole = medians.of(name + "/library");
  if (whole == 0) return;  // filtered out
  const double bare = medians.of(name + "/bare");
  constexpr double kMicrosecond = 1e3;
  printf("%-36s %6.1f us beside %.1f us; %zu files opened, %zu read, %zu properties read\n", what,
         whole / kMicrosecond, bare / kMicrosecond, reads.opens, reads.reads, reads.properties);
}

}  // namespace

void bench::register_system() {
  for (const DeviceFile& file : kFiles) {
    std::filesystem::create_directories(device_file(file.path).parent_path());
    std::ofstream(device_file(file.path)) << file.content;
  }
  init_modem_interface();
  measure("version 2/library", version_of_carrier);
  measure("version 2/bare", of_carrier_bare);
  measure("version 1/library", version_as_built);
  measure("version 1/bare", as_built_bare);
  measure("hardware/library", hardware_revision);
  measure("hardware/bare", hardware_bare);
  measure("restart/library", restart_up_to_its_return)->Iterations(kRestarts)->UseRealTime();
  measure("restart/bare", flush_bare)->Iterations(kRestarts)->UseRealTime();
}

void bench::report_system(const Medians& medians) {
  print_reads(medians, "software version of the carrier", "version 2", of_carrier);
  print_reads(medians, "software version as built", "version 1", as_built);
  print_reads(medians, "hardware revision", "hardware", of_hardware);
  print_share(medians, "restart, beyond the flush (limit 1,000,000 ns)", "restart");
}
