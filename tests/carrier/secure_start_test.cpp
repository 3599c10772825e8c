// Encrypted starts: the carrier is restored while the framework is awaited.

#include "tests/carrier/fixture.h"

namespace {

class SecureStart : public fcx_test::CarrierTest {
 protected:
  /// An encrypted phone whose SIM's profile an earlier start has kept.
  SecureStart() {
    use_package();
    set_network_code(kTwoMccs);
    insert_sim(kGermanIccid);
    boot();
    set_build_property("ro.crypto.state", "encrypted");
    set_build_property("ro.crypto.type", "block");
    set_build_property("vold.decrypt", "trigger_restart_min_framework");
    lock_properties();
    told();
  }
  /// They are not yet decrypted.
  void lock_properties() { set_all("sim.operator= sim.operator.sub= sim.country="); }

  static constexpr char kCreated[] = "Created  Single Binary ICCID thread...";
};

TEST_F(SecureStart, RestoresTheCarrierAndWaitsThreeSecondsForTheFramework) {
  constexpr char kWaits[] = "vold.decrypt: trigger_restart_min_framework\\n";
  boot();
  std::string story = told();
  EXPECT_EQ(12, count(story, kWaits));
  EXPECT_EQ(1, count(story, kCreated));
  for (const char* line : {kWaits, kCreated}) {  // the daemon's own thread tells them meanwhile
    for (size_t at; (at = story.find(rows(line))) != story.npos;) story.erase(at, strlen(line) + 1);
  }
  constexpr char kRestored[] = R"(I Fcx: [QVE][SBP][ICCID] buffer: 89492000000000000017, length: 20
I Fcx: [QVE][SBP][ICCID] Inserted SIM-ICCID: 89492000000000000017
NAO: 0, GCID: 0, FASTPROFILE: 1, LATEPROFILE: 1 | No iccid, Continue
found matched carrier code : [89492000000000000017]: [DTM]
secure boot :  restored property [persist.vendor.qve.sim.operator]: [DTM]\n
secure boot :  restored property [persist.vendor.qve.sim.country]: [DE]\n
secure boot :  restored property [persist.vendor.qve.sim.operator.sub]: [DTM_B]\n
restored property [persist.vendor.qve.sim.operator]: [DTM]\n
restored property [persist.vendor.qve.sim.country]: [DE]\n
restored property [persist.vendor.qve.sim.operator.sub]: [DTM_B]\n
)";
  const std::string restored = part(story, "I Fcx: [QVE][SBP][ICCID] buffer");
  EXPECT_EQ(rows(kRestored), restored) << "and nothing is set up";
  EXPECT_EQ("DTM DTM_B DE", carrier());
  EXPECT_EQ(1, count(story_of(qve_secure_sim_profile_from_iccid), "~sim.operator=DTM"));
  EXPECT_EQ(1, count(story_of(qve_secure_startup_parse_iccid), "~iccid-mcc=262"));
}

TEST_F(SecureStart, SetsUpOnceTheFrameworkStarts) {
  restart();
  virtual_phone::set_clock(virtual_phone::Clock::stopped);
  std::thread daemon([] { EXPECT_EQ(1, sbpCreateThread()); });
  EXPECT_TRUE(fcx_test::eventually([&] { return carrier() == "DTM DTM_B DE"; }))
      << "the other thread's";
  set_property("vold.decrypt", "trigger_restart_framework");
  virtual_phone::set_clock(virtual_phone::Clock::fast);
  daemon.join();
  fcx::wait_for_background_work();
  const std::string story = told();
  EXPECT_EQ(1, count(story, "vold.decrypt: trigger_restart_min_framework\\n"));
  EXPECT_EQ(1, count(story, "vold.decrypt: trigger_restart_framework\\n"));
  EXPECT_EQ(1, count(story, "qve_single_binary_init"));
  EXPECT_EQ(0, qve_secure_startup_read_iccid()) << "too late to restore anything";
  EXPECT_EQ("", told());
}

TEST_F(SecureStart, RestoresWhatIsPermitted) {
  for (const auto& [permission, restored] : {std::pair{"unknown", "DTM DTM_B DE"}, {"1", "  "}}) {
    set_property("persist.vendor.qve.sim.profile.permission", permission);
    std::filesystem::remove(file(kKelpProp));
    lock_properties();
    boot();
    EXPECT_EQ(restored, carrier()) << permission;
  }
}

TEST_F(SecureStart, AStartIsPutOffOnlyWithoutACryptoState) {
  // State, type, decryption; restoring threads, passes of set-up, polls.
  const std::tuple<const char*, const char*, const char*, int, int, int> cases[] = {
      {"", "", "trigger_restart_min_framework", 0, 0, 0},
      {"", "", "trigger_restart_min_framework.", 0, 1, 0},
      {"unencrypted", "", "trigger_restart_min_framework", 0, 1, 0},
      {"encrypted", "file", "trigger_restart_min_framework", 0, 1, 0},
      {"encrypted", "block", "trigger_restart_framework", 0, 1, 1},
      {"encrypted", "block", "trigger_restart_framework.", 0, 0, 12},
      {"encrypted", "block", "trigger_restart_min_framework.", 1, 0, 12}};
  for (const auto& [state, type, decrypt, created, passes, waits] : cases) {
    SCOPED_TRACE(state + std::string(" ") + type + " " + decrypt);
    set_build_property("ro.crypto.state", state);
    set_build_property("ro.crypto.type", type);
    set_build_property("vold.decrypt", decrypt);
    boot();
    const std::string story = told();
    EXPECT_EQ(created, count(story, kCreated));
    EXPECT_EQ(passes, count(story, "qve_single_binary_init"));
    EXPECT_EQ(waits, count(story, "vold.decrypt: " + std::string(decrypt) + "\\n"));
    if (created + passes + waits > 0) continue;
    EXPECT_EQ(
        rows("Crypto status: , Crypto type: , Decrypt status: trigger_restart_min_framework\\n"
             " | Waiting.. Start SBP thread during encryption\\n"),
        story);
  }
}

}  // namespace
