// One start of the phone, as its daemon begins it, and what was seen of it.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "daemon/recorder.h"
#include "virtual_phone/core/phone.h"
#include "virtual_phone/modem/modem.h"
#include "virtual_phone/modem/sim.h"

namespace factory_daemon {

/// What carrier set-up had to decide on.
struct BootInputs {
  std::string profile;
  std::string build_type;
  std::string network_code;
  std::string mccmnc_list;
  std::string subset_list;
  virtual_phone::Sim sim;
  std::string permission;  ///< empty: the SIM may drive the profile
  std::string chip_vendor;
  std::string platform;
  bool is_on_overlay = false;
  std::string package_root;
  std::string rootdir;            ///< empty: the property is not set
  std::string carrier_code_date;  ///< of the package; empty when it has none
};

using BootMoment = Moment;

enum class BootOutcome {
  complete,
  out_of_time,  ///< the SIM was waited for as long as set-up waits
  put_off,      ///< the phone is encrypted: the framework has to restart first
  not_started,  ///< there could be no thread
};

/// Whether a start of the daemon is one of the phone, too.
enum class Uptime { begins, goes_on };

struct Boot {
  using Properties = std::map<std::string, std::string>;

  std::string phone;
  Uptime uptime = Uptime::begins;
  BootInputs inputs;
  Properties before;
  Properties after;
  std::vector<BootMoment> moments;  ///< in their order
  int64_t switched_on_us = 0;       ///< on the phone's clock, as the next two
  int64_t set_up_began_us = 0;
  int64_t set_up_ended_us = 0;
  bool is_logged = false;  ///< set-up wrote to the log, as on any build but "user"
  int polls = 0;           ///< of the SIM; 0 where they could not be seen
  BootOutcome outcome = BootOutcome::complete;
};

/// Does what the daemon does at its start: opens the item store, sets what depends on how the phone
/// was started, checks the identity, brings versions and product identifier in step, lets carrier
/// set-up run to its end, and takes up a power-off that was under way. The phone, which must be
/// open, is switched off and on before, or stays on. Throws virtual_phone::Error.
Boot boot(virtual_phone::Phone& phone, Uptime uptime = Uptime::begins);

}  // namespace factory_daemon
