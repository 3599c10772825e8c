// The bench's SIM, read over both routes as the library reads it.

#include <cutils/properties.h>

#include "fcx/customisation.h"
#include "fcx/single_binary.h"
#include "tests/phone_fixture.h"

namespace fcx_test {
namespace {

using vp::SimState;

constexpr char kIccid[] = "8901410000000000001";
constexpr char kSlots[2][22] = {"vendor.ril.iccid.sim1", "vendor.ril.iccid.sim2"};

class VirtualSim : public PhoneTest {
 protected:
  /// What the library reads of it, from where this phone's chipset has it; its code without an
  /// answer.
  static std::string read() {
    qve_check_mtk_chipset();
    char answer[2048];
    int length = 0;
    const int code = qve_read_sim(answer, &length, request::read_sim);
    return code == 0 ? std::string(answer, static_cast<size_t>(length))
                     : "code " + std::to_string(code);
  }

  /// "SIM1 SIM2" as the library finds them, in this order, with N/A for what is not set.
  static std::string published() {
    std::string found;
    for (const char* slot : kSlots) {
      char value[PROPERTY_VALUE_MAX];
      property_get(slot, value, "N/A");
      found += (found.empty() ? "" : " ") + std::string(value);
    }
    return found;
  }
};

TEST_F(VirtualSim, TheModemReadsWhatIsInserted) {
  EXPECT_EQ("NO SIM ERROR", read());
  for (const std::string& iccid : {""s, "8901"s, "\xFF\0\n\x01"s, std::string(2048, '8')}) {
    insert_sim(iccid);
    EXPECT_EQ(iccid, read());
  }
  EXPECT_THROW(insert_sim(std::string(2049, '8')), Refused);
  EXPECT_THROW(insert_sim(kIccid, -1), Refused);
  EXPECT_EQ(std::string(2048, '8'), read()) << "what was refused changes nothing";
  request_fault(request::read_sim, Effect::refuse);
  EXPECT_EQ("NO SIM READ ERROR", read());
  for (const char* message : {"NO SIM ERROR", "NO SIM READ ERROR", "NOT YET"}) {
    EXPECT_TRUE(vp::is_modem_message(request::read_sim, message)) << message;
  }
  EXPECT_FALSE(vp::is_modem_message(request::read_sim, kIccid));
}

TEST_F(VirtualSim, TheRadioLayerOfAMediaTekChipsetPublishesIt) {
  insert_sim(kIccid);
  EXPECT_EQ("N/A N/A", published()) << "another chipset";
  set_property(kSlots[0], "by hand");
  insert_sim("1");
  EXPECT_EQ("by hand N/A", published());

  set_build_property("ro.vendor.qve.chip.vendor", "mtk");
  const std::pair<vp::Sim, std::string> cases[] = {
      {{SimState::inserted, kIccid, 0}, kIccid + std::string("f NODEF")},
      {{SimState::inserted, "", 0}, std::string(20, 'f') + " NODEF"},
      {{SimState::inserted, std::string(91, '8'), 0}, std::string(91, '8') + " NODEF"},
      {{SimState::inserted, std::string(92, '8'), 0}, "N/A NODEF"},
      {{SimState::inserted, std::string("8\0", 2), 0}, "N/A NODEF"},
      {{SimState::absent, "", 0}, "NODEF NODEF"},
      {{SimState::error, kIccid, 0}, "N/A N/A"}};
  for (const auto& [sim, expected] : cases) {
    vp::set_sim(phone(), sim);
    EXPECT_EQ(expected, published());
    for (const char* slot : kSlots) set_property(slot, "by hand");
    EXPECT_EQ("by hand by hand", published());
    restart();
    EXPECT_EQ(expected, published()) << "after a restart";
  }
}

TEST_F(VirtualSim, ADelayBeginsWithEachStartAndKeepsTheRadioLayerSilent) {
  const std::tuple<const char*, SimState, std::string, std::string> cases[] = {
      {"qcom", SimState::inserted, "NOT YET", kIccid},
      {"qcom", SimState::absent, "NOT YET", "NO SIM ERROR"},
      {"mtk", SimState::inserted, "code 1", kIccid + std::string("f")},
      {"mtk", SimState::absent, "code 1", "NO SIM ERROR"}};
  for (const auto& [chip, state, not_yet, answer] : cases) {
    set_build_property("ro.vendor.qve.chip.vendor", chip);
    vp::set_sim(phone(), {state, kIccid, 2});
    for (int start = 0; start < 2; ++start) {
      EXPECT_EQ("(not set)", property(kSlots[0])) << "to look is no poll";
      EXPECT_EQ(2, vp::polls_to_wait(phone()));
      for (const std::string& said : {not_yet, not_yet, answer}) EXPECT_EQ(said, read()) << answer;
      restart();
    }
  }
  set_property(kSlots[0], "by hand");
  for (int read = 0; read < 4; ++read) EXPECT_EQ("by hand N/A", published());
}

TEST_F(VirtualSim, AnIccidIsDigitsAndPadding) {
  for (const char* iccid : {"890141000000000000", "890141000000000000ff", "8901410000000000001f",
                            "89014100000000000012"}) {
    EXPECT_NO_THROW(vp::check_iccid(iccid)) << iccid;
  }
  for (const char* iccid :
       {"", "89014100000000000", "89014100000000000fff", "890141000000000000012",
        "8901410000000000F01", "8901410000000000001ff", "890141000000000000f1",
        "890141000000000000FF", " 8901410000000000001"}) {
    EXPECT_THROW(vp::check_iccid(iccid), Refused) << iccid;
  }
}

}  // namespace
}  // namespace fcx_test
