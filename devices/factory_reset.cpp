// Asking for a factory reset. Nothing is deleted here: whoever carries it out reads what is noted.

#include "common/log.h"
#include "common/properties.h"
#include "common/text.h"
#include "devices/sd_card.h"
#include "fcx/device_functions.h"
#include "fcx/factory_items.h"
#include "fcx/system_control.h"

namespace {

namespace item = fcx::item;

constexpr char kNoteProperty[] = "persist.vendor.qve.factory.reset";
constexpr int kDone = 0;
constexpr int kFailed = 1;
constexpr int kNotSupported = 2;

/// Notes a reset for `function`. Whether it is noted; all is as it was if not.
bool note(const char* function, const char* reset) {
  constexpr const fcx::FactoryItem& kRunning = fcx::factory_item<item::frst_running>();
  char before = 0;
  if (fcx::read_item(kRunning, &before, 1) < 0) {
    DOMAIN_ERROR("%s: item %d cannot be read\n", function, kRunning.index);
    return false;
  }
  if (set_frst_running(1) != 0) {
    DOMAIN_ERROR("%s: item %d cannot be written\n", function, kRunning.index);
    return false;
  }
  if (fcx::write_property(kNoteProperty, reset).ok()) return true;
  DOMAIN_ERROR("%s: %s cannot be set\n", function, kNoteProperty);
  if (set_frst_running(before) != 0) {
    DOMAIN_ERROR("%s: item %d cannot be put back\n", function, kRunning.index);
  }
  return false;
}

/// Notes a reset and leaves the running system for it. What fails then leaves the note.
int note_and_leave(const char* function, const char* reset, int (*leave)()) {
  return note(function, reset) && leave() == 0 ? kDone : kFailed;
}

/// The same with the card.
int reset_with_card(const char* function, const char* reset, int (*leave)()) {
  fcx::CardPath card;
  switch (fcx::find_card(function, card)) {
    case fcx::Presence::absent:
      DOMAIN_ERROR("%s: no SD card\n", function);
      return kNotSupported;
    case fcx::Presence::unknown:
      return kFailed;
    case fcx::Presence::present:
      break;
  }
  return note_and_leave(function, reset, leave);
}

struct Mode {
  int number;
  const char* text;
  bool restarts;
};
constexpr Mode kModes[] = {
    {0, "0", false}, {1, "1", false}, {100, "100", true}, {101, "101", true}, {102, "102", true}};

}  // namespace

int qve_reset_production(int mode) {
  for (const Mode& row : kModes) {
    if (row.number != mode) continue;
    if (row.restarts) return note_and_leave(__func__, row.text, system_restart);
    return note(__func__, row.text) ? kDone : kFailed;
  }
  DOMAIN_ERROR("%s: there is no mode %d\n", __func__, mode);
  return kNotSupported;
}

int hidden_factoryreset_sdcard() { return reset_with_card(__func__, "sdcard", system_restart); }

int hidden_factoryreset_sdcard_power_off() {
  return reset_with_card(__func__, "sdcard,poweroff", system_poweroff);
}
