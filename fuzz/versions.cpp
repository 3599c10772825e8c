// Version strings, and what else is made of properties, nodes and lists.
//
// On the first five lines the factory-version property, the model's name, the modem's type code,
// the network code, and what the device is like: "overlay" or nothing. Then the command line, a
// build identifier, the carrier's property file, the mapping of groups, that of names, and a list
// of quoted codes, each up to "====".
#include <cstring>
#include <string>
#include <string_view>

#include "benchmarks/empty_modem.h"
#include "benchmarks/fast_properties.h"
#include "fcx/customisation.h"
#include "fcx/single_binary.h"
#include "fcx/system_control.h"
#include "fcx/version_info.h"
#include "fuzz/bench_phone.h"
#include "fuzz/target.h"
#include "modem/link/requests.h"

namespace {

constexpr size_t kVersion = 69;
constexpr size_t kFixedArea = 49;
constexpr char kModel[] = "ro.boot.vendor.qve.model.factory";

// The carrier's files lie where both ways reach them.
constexpr char kRoot[] = "/mnt/product/OP/EU";
constexpr const char* kIdentifierFiles[] = {"/vendor/etc/ap.ubid", "/cust/cust.ubid",
                                            "/data/.OP/userdata.ubid", "/product/etc/op.ubid",
                                            "/data/.userdataid"};
constexpr const char* kFrequencyFiles[] = {"/sys/devices/system/cpu/cpu0/cpufreq/scaling_cur_freq",
                                           "/sys/devices/system/cpu/cpu7/cpufreq/scaling_cur_freq"};

/// A version in memory of just its size.
template <typename Getter>
void read_version(size_t size, Getter get) {
  const auto out = fuzz::buffer(size);
  int length = 0;
  const int code = get(out.get(), &length);
  fuzz::require(code == 0 || code == 1, "there is a version or none");
  fuzz::require(length >= 0 && static_cast<size_t>(length) <= size, "a version fits");
}

void read_versions() {
  for (const int type : {1, 2, 3}) {
    read_version(kVersion, [type](char* out, int* length) {
      return get_qve_factory_sw_version(type, out, length);
    });
    fcx::FactoryVersion model;
    const int code = fcx::read_factory_version(type, model);
    fuzz::require(code != 0 || strnlen(model.text, sizeof model.text) <= kVersion,
                  "a version's text ends");
  }
  read_version(kFixedArea, get_qve_factory_sw_fixed_area_version);
  read_version(5, get_qve_hw_version);
  read_version(fuzz::kProperty, get_qve_android_sw_version);
  read_version(3, get_qve_bynary_revision);
}

void control_system(std::string_view list) {
  system_update_settings_from_cust();
  userdata_tamra_version_update();
  system_write_version_info();
  const auto name = fuzz::buffer(256);
  system_get_factory_model_name(name.get());
  fuzz::require(strnlen(name.get(), 256) < 256, "a model's name ends in its buffer");
  const auto out = fuzz::buffer(fuzz::kText);
  int length = 0;
  get_cpu_freq(out.get(), &length);
  fuzz::require(length >= 0 && static_cast<size_t>(length) == strnlen(out.get(), fuzz::kText),
                "the frequencies are as long as they say");
  const auto codes = fuzz::buffer(fuzz::kText);
  const char* end = get_mcc_list(fuzz::buffer(fuzz::kText, list).get(), codes.get());
  fuzz::require(end >= codes.get() && end <= codes.get() + fuzz::kText,
                "codes end in their buffer");
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::need_phone();
  fuzz::Input input(data, size);
  const auto property = [&input] { return input.line().substr(0, fuzz::kProperty - 1); };
  const std::string version = property();
  const std::string model = property();
  bench::set_answer(fcx::request::read_type_code, input.line().substr(0, fuzz::kText));
  bench::set_answer(fcx::request::receive_bulk, input.line().substr(0, 254));
  const bool is_on_overlay = input.line() == "overlay";
  bench::reset_properties({{"ro.vendor.qve.factoryversion", version},
                           {kModel, model},
                           {"ro.build.version.release", version},
                           {"ro.vendor.qve.build.target_operator", "OPEN"},
                           {"ro.vendor.qve.swversion_arb", model.substr(0, 5)}});
  fuzz::put_file("/proc/cmdline", input.part());
  const std::string_view identifier = input.part();
  for (const char* file : kIdentifierFiles) fuzz::put_file(file, identifier);
  for (const char* file : kFrequencyFiles) fuzz::put_file(file, identifier);
  const std::string_view carrier = input.part();
  for (const char* name : {"/cust.prop", "/cust_A_B.prop", "/cust_A_B_C.prop"}) {
    fuzz::put_file((std::string(kRoot) + name).c_str(), carrier);
  }
  fuzz::put_file("/mnt/product/OP/CR1/cust_sub.prop", carrier);
  fuzz::put_file("/oem/OP/cust_group_mapping.cfg", input.part());
  fuzz::put_file("/oem/OP/open_path_mapping.cfg", input.part());
  fuzz::put_file("/oem/OP/cust_path_mapping.cfg", std::string("26201,11=") + kRoot + "\n");
  fuzz::put_file("/mnt/product/OP/product_ext/etc/cust_path_mapping.cfg", "26201,11=CR1:EU\n");

  fcx::reload_carrier_set_up();
  e_is_overlayfs = is_on_overlay;
  read_versions();
  control_system(input.rest());
  return 0;
}
