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

struct Decision {
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
    for (DecidedProperty* each : {&mcc_list, &first_mcc, &first_mccmnc}) each->publish();
    if (!has_pending_value()) first_boot.publish();
    return is_published();
  }
  bool is_published() const { return !has_pending_value() && !first_boot.is_pending(); }

 private:
  bool has_pending_value() const {
    return mcc_list.is_pending() || first_mcc.is_pending() || first_mccmnc.is_pending();
  }
};

}  // namespace fcx
