#include "common/log.h"
#include "common/properties.h"
#include "fcx/system_control.h"
#include "modem/link/requests.h"
#include "services/steps.h"

const char* const logservice[6] = {
    "persist.vendor.qve.service.kernel.enable", "persist.vendor.qve.service.power.enable",
    "persist.vendor.qve.service.main.enable",   "persist.vendor.qve.service.system.enable",
    "persist.vendor.qve.service.radio.enable",  "persist.vendor.qve.service.events.enable"};

int system_set_logservice(char* value) {
  if (value == nullptr) {
    DOMAIN_ERROR("%s: no value\n", __func__);
    return -1;
  }
  DOMAIN_INFO("system_set_logservice, onoff value is %s\n", value);
  bool is_set = false;
  for (const char* property : logservice) is_set = fcx::set_property(__func__, property, value);
  return is_set ? 0 : -1;
}

int system_get_logservice() {
  for (const char* property : logservice) {
    if (fcx::read_property(property, "0").c_str()[0] == '0') continue;
    DOMAIN_INFO("logservice is working\n");
    return 1;
  }
  DOMAIN_INFO("logservice is not working\n");
  return 0;
}

int system_factory_logservice_off() {
  DOMAIN_INFO("disabe factory logservice and erase /data/logger\n");
  fcx::set_property_or_log(__func__, "persist.vendor.qve.factory.log.enable", "0");
  return fcx::send_request(__func__, fcx::request::erase_logs);
}
