#include "services/steps.h"

#include "common/log.h"
#include "common/properties.h"
#include "fcx/factory_items.h"
#include "platform/unified_sysfs.h"

namespace fcx {

bool set_property(const char* function, const char* name, const char* value) {
  if (write_property(name, value).ok()) return true;
  DOMAIN_ERROR("%s: %s cannot be set\n", function, name);
  return false;
}

void set_property_or_log(const char* function, const char* name, const char* value) {
  static_cast<void>(set_property(function, name, value));  // it has been logged
}

int send_request(const char* function, int number) {
  ModemAnswer answer;
  return send_request(function, number, {}, answer);
}

int send_request(const char* function, int number, std::string_view payload, ModemAnswer& answer) {
  const int code = ask(number, payload, answer);
  if (code != 0) DOMAIN_ERROR("%s: request %d failed with %d\n", function, number, code);
  return code;
}

std::optional<NodeText> read_node(const char* function, const char* path) {
  NodeText text;
  if (unified_sysfs_read(path, text.data(), static_cast<int>(text.capacity())) >= 0) return text;
  DOMAIN_ERROR("%s: %s cannot be read\n", function, path);
  return std::nullopt;
}

bool write_node(const char* path, std::string_view text) {
  return unified_sysfs_write(path, text.data(), static_cast<int>(text.size())) >= 0;
}

void write_node_or_log(const char* function, const char* path, std::string_view text) {
  if (!write_node(path, text)) DOMAIN_ERROR("%s: %s cannot be written\n", function, path);
}

int factory_status_for(const char* function) {
  const int status = get_factory_status();
  if (status < 0) DOMAIN_ERROR("%s: the factory status cannot be read\n", function);
  return status;
}

}  // namespace fcx
