#include "daemon/open.h"

#include "fcx/factory_items.h"
#include "fcx/single_binary.h"
#include "fcx/system_control.h"
#include "virtual_phone/modem/modem.h"

namespace factory_daemon {

virtual_phone::Phone& open(const std::filesystem::path& directory) {
  virtual_phone::select(directory);
  fcx::reload_carrier_set_up();  // what was found out at load was another phone's, or nobody's
  open_item_store();
  virtual_phone::Phone& phone = virtual_phone::selected();
  modem_flight_status = virtual_phone::modem_value(phone, "flight") == "1" ? 1 : 0;
  return phone;
}

void open_item_store() {
  if (init_factory_item() != 0) {
    throw virtual_phone::Error("the factory item store cannot be opened");
  }
}

}  // namespace factory_daemon
