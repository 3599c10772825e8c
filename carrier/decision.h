// The properties that carry what a first start decides. As long as the last value of one of them
// was refused, the start is not done: otherwise the device would keep for ever what it began with.
#pragma once

#include "carrier/properties.h"

namespace fcx {

class DecidedProperty {
 public:
  explicit DecidedProperty(const char* name) : name_(name) {}

  void set(const char* value) {
    wanted_ = PropertyText(value);
    is_pending_ = !set_property(name_, wanted_);
  }
  void set(const PropertyText& value) { set(value.c_str()); }
  /// As if the value had been refused.
  void postpone(const char* value) {
    wanted_ = PropertyText(value);
    is_pending_ = true;
  }
  /// Tries again what was refused.
  void publish() {
    if (is_pending_) is_pending_ = !set_property(name_, wanted_);
  }
  bool is_pending() const { return is_pending_; }
  /// The value that holds for this start, published or not.
  PropertyText value() const { return is_pending_ ? wanted_ : read_property(name_); }

 private:
  const char* name_;
  PropertyText wanted_;
  bool is_pending_ = false;
};

/// One that a first start begins with, and the SIM's carrier replaces. No later start sets it.
class DefaultProperty {
 public:
  explicit DefaultProperty(const char* name) : name_(name) {}

  void set(const PropertyText& value) {
    before_ = read_property(name_);
    wanted_ = value;
    is_refused_ = !set_property(name_, value);
  }
  /// Tries again what was refused.
  void publish() {
    if (is_pending()) is_refused_ = !set_property(name_, wanted_);
  }
  /// Not where it has been replaced since.
  bool is_pending() const { return is_refused_ && read_property(name_).view() == before_.view(); }

 private:
  const char* name_;
  PropertyText before_;
  PropertyText wanted_;
  bool is_refused_ = false;
};

struct Defaults {
  DefaultProperty sim_changed{kSimChangedProperty};
  DefaultProperty sim_operator{kSimOperatorProperty};
  DefaultProperty sim_country{kSimCountryProperty};
  DefaultProperty second_operator{"persist.vendor.qve.sim2.operator"};
  DefaultProperty second_country{"persist.vendor.qve.sim2.country"};
  DefaultProperty iccid{kIccidProperty};
  DefaultProperty last_iccid{kLastIccidProperty};

  void publish() {
    for (DefaultProperty* each : {&sim_changed, &sim_operator, &sim_country, &second_operator,
                                  &second_country, &iccid, &last_iccid}) {
      each->publish();
    }
  }
  bool are_pending() const {
    return sim_changed.is_pending() || sim_operator.is_pending() || sim_country.is_pending() ||
           second_operator.is_pending() || second_country.is_pending() || iccid.is_pending() ||
           last_iccid.is_pending();
  }
};

struct Decision {
  Defaults defaults;
  DecidedProperty mcc_list{kMccListProperty};
  DecidedProperty first_mcc{kFirstMccProperty};
  DecidedProperty first_mccmnc{kFirstMccMncProperty};
  DecidedProperty first_boot{kFirstBootProperty};

  /// The first start is done once all that it vouches for can be read.
  void complete_first_boot() {
    has_pending_value() ? first_boot.postpone("1") : first_boot.set("1");
  }
  /// Tries again what was refused. @return whether all of it is published now
  bool publish() {
    defaults.publish();
    for (DecidedProperty* each : {&mcc_list, &first_mcc, &first_mccmnc}) each->publish();
    if (!has_pending_value()) first_boot.publish();
    return is_published();
  }
  bool is_published() const { return !has_pending_value() && !first_boot.is_pending(); }

 private:
  bool has_pending_value() const {
    return defaults.are_pending() || mcc_list.is_pending() || first_mcc.is_pending() ||
           first_mccmnc.is_pending();
  }
};

}  // namespace fcx
