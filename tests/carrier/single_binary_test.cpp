// The threads of carrier set-up: whole starts of the ready-made phones, a row for each step, and
// how long a SIM is waited for. The form of a story is told at story_of().

#include "tests/carrier/fixture.h"

namespace {

constexpr char kSingle[] = R"(Crypto status: , Crypto type: , Decrypt status: \n
FRST status 2 | MTK chipset: 0 | Set Timer: 5000000
Default Carrier OPEN\n | Default Iccid 89000000000000000000\n
Default Country \n | Default Timer 5000000\n
qve_single_binary_init | BUILD: userdebug, DEBUG: 1 | Firstboot status: F, First mcc: 
SBP Ver:  | TAMRA-ROOT: /oem/OP
NAO: 0, GCID: 0, FASTPROFILE: 0, LATEPROFILE: 0
~sim.profile=none | =ro.vendor.qve.sim.operator.use=false | USE SIM PROFILE: none
SETUP default setting | ~first-mcc=FFF | ~first-boot=0 | ~mcc-list=FFF | ~sim-changed=F
normal mcc: 310, mnc: 410\n | ntcode_count: 1, mcc-list: [310]\n | ~mcc-list=310
NTCODE MCC: 310, MCCMNC: 310410
MCC-list: 310, length: 3 | Only one MCC-list
~first-mcc=310 | ~first-mccmnc=310410 | ~first-boot=1
Saved ICCID: 89000000000000000000 | Size: 20
(asks) | buffer: 8901410000000000001, length: 19 | Inserted SIM-ICCID: 8901410000000000001
SIM CHANGED! | ~sim-changed=1 | ~iccid=8901410000000000001
searchMccFromMap : ccid = 014 | prefix: 0 | searchMccinPre0Map(USA) = 014, 310~316 ???;
I Fcx: [QVE][SBP][SIMBASE] property ro.vendor.qve.simbase disable.
MCC from Calling Code : 310 | ~iccid-mcc=310 | ~first-mcc=310 | ~first-boot=1
)";

/// Rows that begin with "+" are told where the package is read through the file-handle service.
constexpr char kEurope[] = R"(Crypto status: encrypted, Crypto type: file, Decrypt status: \n
FRST status 2 | MTK chipset: 0 | Set Timer: 5000000
Default Carrier OPEN\n | Default Iccid 89000000000000000000\n
Default Country EU\n | Default Timer 5000000\n
qve_single_binary_init | BUILD: userdebug, DEBUG: 1 | Firstboot status: F, First mcc: 
SBP Ver:  | TAMRA-ROOT: /oem/OP
NAO: 0, GCID: 1, FASTPROFILE: 1, LATEPROFILE: 1
~sim.profile=both | =ro.vendor.qve.sim.operator.use=true | USE SIM PROFILE: both
SETUP default setting | ~first-mcc=FFF | ~first-boot=0 | ~mcc-list=FFF | ~sim-changed=F
qve_set_sap_default_property | ~sim.operator=OPEN | ~iccid=89000000000000000000
~last-iccid=89000000000000000000 | ~sim.country=EU
normal mcc: 262, mnc: 01F\n | normal mcc: 234, mnc: 15F\n | normal mcc: 222, mnc: 10F\n
ntcode_count: 3, mcc-list: [262,234,222]\n | ~mcc-list=262,234,222
NTCODE MCC: 262,234,222, MCCMNC: 26201,23415,22210
+doc parsing finished and temp xml is removed= /mnt/vendor/persist-qv/kelp/client_id.xml
=ro.com.google.clientidbase=android-qve-eu
+doc parsing finished and temp xml is removed= /mnt/vendor/persist-qv/kelp/petname.xml
~petname=QV 100 EU
MCC-list: 262,234,222, length: 11 | 2 More MCC-lists
~first-mcc=FFF | ~first-mccmnc=FFFFF | ~first-boot=1
Saved ICCID: 89000000000000000000 | Size: 20
(asks) | buffer: 89449800000000012349, length: 20 | Inserted SIM-ICCID: 89449800000000012349
SIM CHANGED! | ~sim-changed=1 | ~iccid=89449800000000012349
+doc parsing finished and temp xml is removed= /mnt/vendor/persist-qv/kelp/carrier_code.xml
~carriercode.date=2020-06-01 | found matched carrier code : [89449800000000012349]: [CR2]
~sim.operator=CR2 | ~sim.country=GB | ~sim.operator.sub=CR2_GB
+doc parsing finished and temp xml is removed= /mnt/vendor/persist-qv/kelp/feature_code.xml
+doc parsing finished and temp xml is removed= /mnt/vendor/persist-qv/kelp/client_id.xml
~last-iccid=89449800000000012349
searchMccFromMap : ccid = 449 | prefix: 4 | searchMccinPre4Map(3 str compare) = 449
searchMccinPre4Map(2 str compare) = 44 | Matched MCC = 234
I Fcx: [QVE][SBP][SIMBASE] property ro.vendor.qve.simbase disable.
MCC from Calling Code : 234 | ~iccid-mcc=234 | ~first-mcc=234 | ~first-boot=1
~sim.operator=CR2 | restored property [persist.vendor.qve.sim.operator]: [CR2]\n
~sim.country=GB | restored property [persist.vendor.qve.sim.country]: [GB]\n
~sim.operator.sub=CR2_GB | restored property [persist.vendor.qve.sim.operator.sub]: [CR2_GB]\n
~feature.volte=1 | ~feature.vowifi=1
)";

/// A "user" build tells nothing once it knows that it is one.
constexpr char kMtk[] = R"(Crypto status: , Crypto type: , Decrypt status: \n
FRST status 2 | MTK chipset: 1 | Set Timer: 25000000
Default Carrier OPEN\n | Default Iccid 89000000000000000000\n
Default Country US\n | Default Timer 25000000\n
qve_single_binary_init | ~sim.profile=fast | =ro.vendor.qve.sim.operator.use=true
~first-mcc=FFF | ~first-boot=0 | ~mcc-list=FFF | ~sim-changed=F
~sim.operator=OPEN | ~iccid=89000000000000000000 | ~last-iccid=89000000000000000000
~mcc-list=310,302 | ~petname=QV 100 Go | ~first-mcc=FFF | ~first-mccmnc=FFFFF | ~first-boot=1
~sim-changed=1 | ~iccid=8901970000000042421
~carriercode.date=2020-06-01 | ~sim.operator=NA1 | ~sim.country=US | ~sim.operator.sub=NA1_PRE
~last-iccid=8901970000000042421
=vendor.qve.sim_country=US | ~sim_country_fixed=US | =vendor.qve.sim_country_changed=1
=ro.com.google.clientidbase=android-qve-us | ~iccid-mcc=310 | ~first-mcc=310 | ~first-boot=1
~sim.operator=NA1 | ~sim.country=US | ~sim.operator.sub=NA1_PRE | ~feature.hotspot=0
)";

class SingleBinary : public fcx_test::CarrierTest {
 protected:
  static std::string europe(bool is_overlay) {
    std::string story;
    std::istringstream lines(kEurope);
    for (std::string line; std::getline(lines, line);) {
      const bool is_marked = line[0] == '+';
      if (is_overlay || !is_marked) story += line.substr(is_marked ? 1 : 0) + "\n";
    }
    return rows(story);
  }
  std::string start_of(const char* profile) {
    use_profile(profile);
    return boot_story();
  }
};

TEST_F(SingleBinary, AStartOfOneCarrier) { EXPECT_EQ(rows(kSingle), start_of("single")); }
TEST_F(SingleBinary, AStartOfSeveralCountries) { EXPECT_EQ(europe(false), start_of("open")); }
TEST_F(SingleBinary, AStartOnAnOverlay) { EXPECT_EQ(europe(true), start_of("overlay")); }
TEST_F(SingleBinary, AStartOfAUserBuildWithMtk) { EXPECT_EQ(rows(kMtk), start_of("mtk")); }

TEST_F(SingleBinary, TheFirstFiveSecondsOfAMediaTekChipsetAreWaitedOut) {
  make_mtk();
  for (const auto& [factory_status, passes] : {std::pair{2, 40}, {6, 30}}) {  // 25 and 20 seconds
    restart();
    set_item(2, std::string(1, static_cast<char>(factory_status)));
    start();
    EXPECT_EQ(passes, count(told(), "qve_single_binary_init")) << factory_status;
  }
}

}  // namespace
