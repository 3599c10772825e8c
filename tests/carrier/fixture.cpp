#include "tests/carrier/fixture.h"

#include "fcx/background.h"
#include "fcx/customisation.h"
#include "fcx/mcc_lookup.h"
#include "fcx/network_code.h"
#include "fcx/single_binary.h"
#include "modem/link/requests.h"

namespace fcx_test {

CarrierTest::CarrierTest() {
  set_build_property("ro.build.type", "userdebug");
  set_build_property("ro.vendor.qve.build.target_operator", "OPEN");
  set_build_property("ro.vendor.qve.build.target_country", "EU");
  reload();
}

void CarrierTest::place(const std::string& path, std::string_view text) {
  const bool is_overlaid = e_is_overlayfs && is_system_path(path) != 0;
  const std::filesystem::path target =
      (is_overlaid ? (directory() / "overlay").string() : phone().root()) + path;
  std::filesystem::create_directories(target.parent_path());
  write_file(target, text);
}

void CarrierTest::make_overlay_product() {
  set_build_property("ro.vendor.qve.product.overlayfs", "true");
  reload();
}

std::string CarrierTest::content(const char* path) {
  return std::filesystem::exists(file(path)) ? read_file(file(path)) : "(none)";
}

void CarrierTest::set_network_code(std::string code) {
  ASSERT_EQ(0, set_ntcode(code.data(), static_cast<int>(code.size())));
  char mccmncs[2048];
  char subsets[2048];
  qve_parse_ntcode(code.data(), mccmncs, subsets);
  set_property("persist.vendor.qve.mccmnc-list", mccmncs);
  set_property("persist.vendor.qve.subset-list", subsets);
}

void CarrierTest::boot() {
  restart();
  reload();
  EXPECT_EQ(1, sbpCreateThread());
  fcx::wait_for_background_work();
}

void CarrierTest::reload() { fcx::reload_carrier_set_up(); }

size_t CarrierTest::polls() {
  const auto asked = requests();
  return static_cast<size_t>(std::count_if(asked.begin(), asked.end(), [](const auto& request) {
    return request.opcode == fcx::request::read_sim;
  }));
}

}  // namespace fcx_test
