// A phone with a customisation package, and its starts.
#pragma once

#include "tests/phone_fixture.h"

namespace fcx_test {

class CarrierTest : public PhoneTest {
 protected:
  CarrierTest();

  /// Places a device file: over the trees of an overlay product, which only the file-handle service
  /// sees, or in the phone's own tree.
  void place(const std::string& path, std::string_view content);
  void make_overlay_product();
  /// What a device file holds, "(none)" when it is not there.
  std::string content(const char* path);

  /// Stores a network code, and its lists as the other component publishes them.
  void set_network_code(std::string code);
  /// A start of the phone: properties that do not persist are gone, and carrier set-up runs to its
  /// end.
  void boot();
  /// A new start of the daemon alone.
  void reload();
  /// As read_sim's requests: how often the modem was asked for the SIM since the last call.
  size_t polls();

  static constexpr char kOneMcc[] = R"("1","310,410,FFFFFFFF,FFFFFFFF,02")";
  static constexpr char kTwoMccs[] =
      R"("2","262,01F,FFFFFFFF,FFFFFFFF,11","234,15F,FFFFFFFF,FFFFFFFF,21")";
  static constexpr char kGermanIccid[] = "89492000000000000017";
  static constexpr char kBritishIccid[] = "89441500000000000023";
};

}  // namespace fcx_test
