#include "simulation/universe.h"

#include <algorithm>

namespace simulation {
namespace {

// clang-format off
const NetworkCode kEurope{R"("3","262,01F,FFFFFFFF,FFFFFFFF,11","234,15F,FFFFFFFF,FFFFFFFF,12","222,10F,FFFFFFFF,FFFFFFFF,13")",
                          "262,234,222", "26201,23415,22210", "11,12,13", "262-01-CR1", "android-qve-eu"};
const NetworkCode kTurned{R"("2","222,10F,FFFFFFFF,FFFFFFFF,13","262,01F,FFFFFFFF,FFFFFFFF,11")",
                          "222,262", "22210,26201", "13,11", "222-10-CR3", "android-qve-eu"};
const NetworkCode kBritain{R"("1","234,15F,FFFFFFFF,FFFFFFFF,12")", "234", "23415", "12", "234-15-CR2",
                           "android-qve-gb"};
const NetworkCode kAmerica{R"("2","310,410,FFFFFFFF,FFFFFFFF,31","302,720,FFFFFFFF,FFFFFFFF,32")",
                           "310,302", "310410,302720", "31,32", "310-410-NA1"};
const NetworkCode kCanada{R"("1","302,720,FFFFFFFF,FFFFFFFF,32")", "302", "302720", "32", "302-720-NA3"};
const NetworkCode kStates{R"("1","310,410,FFFFFFFF,FFFFFFFF,FF")", "310", "310410", "FF", "310-410"};
const NetworkCode kMexico{R"("1","334,020,FFFFFFFF,FFFFFFFF,FF")", "334", "334020", "FF", "334-020"};
const NetworkCode kAny{R"("1","FFF,FFF,FFFFFFFF,FFFFFFFF,FF")", "FFF", "FFFFFF", "FF", ""};

const std::vector<SimCard> kSims = {
    {"89449800000000012349", "234", {"CR2", "CR2_GB", "GB", {"volte=1", "vowifi=1"}, "android-qve-cr2"}, {}},
    {"89499770000000008157", "262", {"CR1", "CR1_BIZ", "DE", {"tethering=0"}, "android-qve-cr1"}, {}},
    {"89499700000000000017", "262", {"CR1", "CR1", "DE", {"volte=1"}, "android-qve-cr1"}, {}},
    {"8939990000000000021",  "222", {"CR3", "CR3_IT", "IT", {"volte=0"}, "android-qve-cr3"}, {}},
    {"8949020000000000045",  "262", {}, {}},                   // a carrier nobody knows, of a known MCC
    {"8933100000000000033",  "208", {}, {}},                   // of a foreign one
    {"8924600000000000021",  "",    {}, {}},                   // of a calling code without an MCC
    {"8901410000000000001",  "310", {}, {}},
    {"8901970000000042421",  "310", {}, {"NA1", "NA1_PRE", "US", {"hotspot=0"}, ""}},
    {"8901980000000000013",  "310", {}, {"NA2", "NA2", "US", {}, "android-qve-na2"}},
    {"8901990000000000029",  "310", {}, {"NA3", "NA3", "CA", {}, ""}},
};

constexpr char kEuropeanVersion[] = "QV100AT-00-V10a-OPEN-EU-JUN-01-2020+0";
constexpr char kAmericanVersion[] = "QV100AT-00-V10b-OPEN-NA-JUN-01-2020+0";
constexpr char kV10a[] = "QV100AT-00-V10a-";
constexpr char kV10b[] = "QV100AT-00-V10b-";
constexpr char kDate[] = "-JUN-01-2020+0";

const std::vector<Product> kProducts = {
    {"open",    true,  true,  false, false, "EU", "both", "QV 100 EU", "",    kEuropeanVersion, kV10a, kDate, false,
     &SimCard::in_europe,  "/oem/OP/OPEN_EU/config/", {&kEurope, &kTurned, &kBritain, &kAny}},
    {"mtk",     true,  false, true,  true,  "US", "fast", "QV 100 Go", "310", kAmericanVersion, kV10b, kDate, false,
     &SimCard::in_america, "/oem/OP/NAO/config/", {&kAmerica, &kCanada, &kStates, &kAny}},
    {"overlay", true,  true,  false, false, "EU", "both", "QV 100 EU", "",    kEuropeanVersion, kV10a, kDate, true,
     &SimCard::in_europe,  "/mnt/product/OP/OPEN_EU/config/", {&kEurope, &kTurned, &kBritain, &kAny}},
    {"single",  false, false, false, false, "",   "none", "",          "",    kEuropeanVersion, kV10a, kDate, true,
     nullptr,              "", {&kStates, &kMexico, &kAny}},
};
// clang-format on

}  // namespace

const std::vector<Product>& products() { return kProducts; }

const Product* find_product(std::string_view profile) {
  const auto found = std::find_if(kProducts.begin(), kProducts.end(),
                                  [&](const Product& each) { return each.profile == profile; });
  return found == kProducts.end() ? nullptr : &*found;
}

const std::vector<SimCard>& sim_cards() { return kSims; }

const SimCard* find_sim_card(std::string_view iccid) {
  const auto found = std::find_if(kSims.begin(), kSims.end(),
                                  [&](const SimCard& each) { return each.iccid == iccid; });
  return found == kSims.end() ? nullptr : &*found;
}

const NetworkCode* find_network_code(std::string_view text) {
  for (const NetworkCode* each :
       {&kEurope, &kTurned, &kBritain, &kAmerica, &kCanada, &kStates, &kMexico, &kAny}) {
    if (each->text == text) return each;
  }
  return nullptr;
}

}  // namespace simulation
