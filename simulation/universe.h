// The SIMs, network codes and products among which lives are drawn, with what is true of each. They
// are written down here and not asked of the library, which is held against them.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace simulation {

/// What the customisation package of a product has for a SIM.
struct Carrier {
  const char* name = "";  ///< empty: the package does not know the SIM
  const char* sub = "";
  const char* country = "";
  /// What it has besides, of which "feature" is NAME=VALUE below "persist.vendor.qve.feature.".
  std::vector<const char*> features = {};
  const char* client = "";  ///< the client identifier that becomes permanent; empty for none
};

struct SimCard {
  const char* iccid;
  const char* mcc;  ///< of its calling code; empty where that has none
  Carrier in_europe = {};
  Carrier in_america = {};
};

struct NetworkCode {
  const char* text;
  const char* mccs;
  const char* mccmncs;
  const char* subsets;
  /// Of the software's version: MCC and MNC of the first entry, and the carrier's postfix.
  const char* version;
  const char* client = "";  ///< the client identifier that the package has for it
};

struct Product {
  const char* profile;
  bool has_fast_profile;
  bool has_late_profile;
  bool is_mtk;       ///< the radio layer publishes the SIM
  bool is_sim_base;  ///< the SIM decides the country
  const char* target_country;
  const char* sim_profile;                     ///< what the SIM may decide
  const char* pet_name;                        ///< empty: none
  const char* calling_mcc;                     ///< of every SIM; empty: what its calling code says
  const char* version;                         ///< as it was built
  const char *version_before, *version_after;  ///< of what the network code says
  /// Without /oem/OP the operator's identifier is the user data's: a factory reset takes it away.
  bool has_user_data_identifier;
  const Carrier SimCard::*carrier;        ///< null: it has no package
  const char* package;                    ///< where that has its files
  std::vector<const NetworkCode*> codes;  ///< the first is the factory's
};

const std::vector<Product>& products();
const Product* find_product(std::string_view profile);

const std::vector<SimCard>& sim_cards();
/// Null for an ICCID that is none of theirs.
const SimCard* find_sim_card(std::string_view iccid);

const NetworkCode* find_network_code(std::string_view text);

}  // namespace simulation
