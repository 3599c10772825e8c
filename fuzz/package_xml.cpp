// XML of the customisation package, through a whole carrier set-up.
//
// On the first three lines the number that the SIM answers, the network code, and what the device
// is like: any of "overlay", "simbase", "mtk". Then carrier_code.xml, feature_code.xml,
// client_id.xml, petname.xml and the carrier_code.xml that an earlier start stored, each up to
// "====".
#include <libxml/tree.h>

#include <memory>
#include <string>
#include <string_view>

#include "benchmarks/empty_modem.h"
#include "benchmarks/fast_properties.h"
#include "fcx/customisation.h"
#include "fcx/mcc_lookup.h"
#include "fcx/network_code.h"
#include "fcx/single_binary.h"
#include "fuzz/bench_phone.h"
#include "fuzz/target.h"
#include "modem/link/requests.h"

namespace {

constexpr const char* kPackageFiles[] = {
    "/product/OP/config/carrier_code.xml",
    "/product/OP/config/feature_code.xml",
    "/product/OP/config/client_id.xml",
    "/system/etc/petname.xml",
};
constexpr char kKept[] = "/mnt/vendor/persist-qv/kelp";
constexpr char kStoredCarrierCodes[] = "/mnt/vendor/persist-qv/kelp/carrier_code.xml";
constexpr char kPropertyCache[] = "/mnt/vendor/persist-qv/property";

/// The lists that another component has published, as far as a property holds them.
void publish_lists(std::string_view code, bench::Properties& properties) {
  const auto mccmncs = fuzz::buffer(fuzz::kText);
  const auto subsets = fuzz::buffer(fuzz::kText);
  qve_parse_ntcode(fuzz::buffer(fuzz::kText, code).get(), mccmncs.get(), subsets.get());
  const auto shorten = [](const char* list) {
    return std::string(list).substr(0, fuzz::kProperty - 1);
  };
  properties["persist.vendor.qve.mccmnc-list"] = shorten(mccmncs.get());
  properties["persist.vendor.qve.subset-list"] = shorten(subsets.get());
}

bool has(std::string_view device, const char* word) {
  return device.find(word) != std::string_view::npos;
}

void set_properties(std::string_view sim, std::string_view code, std::string_view device) {
  const std::string published(sim.substr(0, fuzz::kProperty - 1));
  bench::Properties properties = {
      {"ro.build.type", "userdebug"},
      {"ro.vendor.qve.build.target_country", "EU"},
      {"ro.vendor.qve.build.target_operator", "OPEN"},
      {"ro.vendor.qve.capp_tamra.rootdir", "/product/OP"},
      {"ro.vendor.qve.chip.vendor", has(device, "mtk") ? "mtk" : "other"},
      {"ro.vendor.qve.kelp", "1"},
      {"ro.vendor.qve.simbase", has(device, "simbase") ? "1" : "0"},
      {"vendor.ril.iccid.sim1", published},
      {"vendor.ril.iccid.sim2", published},
  };
  bench::reset_properties(properties);
  publish_lists(code, properties);
  bench::reset_properties(properties);
}

void parse(const char* file) {
  const std::unique_ptr<xmlDoc, void (*)(xmlDoc*)> document(getXmlParseFile(file), xmlFreeDoc);
  fuzz::require(document == nullptr || xmlDocGetRootElement(document.get()) != nullptr,
                "a document has a root");
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::need_phone();
  fuzz::Input input(data, size);
  const std::string sim = input.line().substr(0, fuzz::kText);
  const std::string code = input.line().substr(0, fuzz::kText);
  const std::string device = input.line();
  for (const char* file : kPackageFiles) fuzz::put_file(file, input.part());
  fuzz::empty_directory(kKept);
  fuzz::empty_directory(kPropertyCache);
  fuzz::put_file(kStoredCarrierCodes, input.rest());
  bench::set_answer(fcx::request::read_sim, sim);
  set_ntcode(code.data(), static_cast<int>(code.size()));
  set_properties(sim, code, device);

  fcx::reload_carrier_set_up();
  e_is_overlayfs = has(device, "overlay");
  qve_sbp_set_timer();
  single_binary_event(nullptr);
  for (const char* file : kPackageFiles) parse(file);
  return 0;
}
