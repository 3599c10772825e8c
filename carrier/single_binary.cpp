#include "fcx/single_binary.h"

#include <cutils/properties.h>

#include "common/log.h"

namespace {

constexpr char kMccListProperty[] = "persist.vendor.qve.mcc-list";
constexpr char kMccMncListProperty[] = "persist.vendor.qve.mccmnc-list";
constexpr char kCodeChangedProperty[] = "persist.vendor.qve.ntcode-changed";
constexpr char kDelegatedCodeProperty[] = "persist.vendor.qve.tavrin.ntcode";
constexpr char kEmptyNetworkCode[] = "\"0\",\"FFF,FFF,FFFFFFFF,FFFFFFFF,FF\"";

void set(const char* property, const char* value) {
  if (property_set(property, value) != 0) DOMAIN_ERROR("%s cannot be set\n", property);
}

}  // namespace

void sbpSetDefaultMCCLists() {
  set(kMccListProperty, "");
  set(kMccMncListProperty, "");
}

void sbpSetDefaultNTcode() {
  set(kCodeChangedProperty, "3");
  set(kDelegatedCodeProperty, kEmptyNetworkCode);
}
