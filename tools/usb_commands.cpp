// usb: the cable.
#include <memory>

#include "tools/commands.h"
#include "tools/json.h"
#include "tools/table.h"
#include "tools/text.h"
#include "virtual_phone/core/properties.h"
#include "virtual_phone/core/usb.h"

namespace cli {
namespace {

namespace vp = virtual_phone;

constexpr char kConfig[] = "vendor.qve.usb.config";
constexpr char kSwitchedTo[] = "vendor.qve.usb.state";

void show_usb(const Invocation& invocation, vp::Phone& phone) {
  const vp::Usb usb = vp::usb(phone);
  const struct {
    const char* key;
    const char* name;
    std::optional<std::string> value;
    const char* where;
  } rows[] = {
      {"state", "cable", usb.state, vp::kUsbStateNode},
      {"usb_in", "charger, microvolts", usb.usb_in, vp::kUsbInNode},
      {"lock", "lock", usb.lock, vp::kUsbLockNode},
      {"config", "functions wanted", vp::get_property(phone, kConfig), kConfig},
      {"switched_to", "functions switched to", vp::get_property(phone, kSwitchedTo), kSwitchedTo},
  };
  Json object;
  TextTable table({"USB", "VALUE", "NODE OR PROPERTY"});
  for (const auto& row : rows) {
    object[row.key] = row.value ? Json(shown(*row.value)) : Json();
    table.add({row.name, row.value ? shown(*row.value) : "-", row.where});
  }
  invocation.json ? print(object) : table.print();
}

void add_cable(Verb& group, Invocation& invocation, const char* name, const char* meaning,
               vp::Cable cable) {
  add_command(group, name, meaning, std::string("  fcx usb ") + name, [&invocation, cable] {
    vp::Phone& phone = invocation.open_phone();
    vp::set_cable(phone, cable);
    show_usb(invocation, phone);
  });
}

}  // namespace

void add_usb(Verb& tool, Invocation& invocation) {
  Verb& group =
      add_command(tool, "usb", "Look at the cable, plug it in, and pull it",
                  "  fcx usb               what the kernel's nodes and the properties say of it\n"
                  "  fcx usb connect       a cable is plugged in; nobody has configured it yet\n"
                  "  fcx usb configure     and the computer at its other end has\n"
                  "  fcx usb disconnect    it is pulled\n"
                  "\n"
                  "A charger's voltage comes and goes with the cable.",
                  {});
  group.callback([&group, &invocation] {
    if (!group.has_subcommand()) show_usb(invocation, invocation.open_phone());
  });
  add_cable(group, invocation, "connect", "Plug a cable in: CONNECTED", vp::Cable::connected);
  add_cable(group, invocation, "configure",
            "Let the computer at its other end configure it: CONFIGURED", vp::Cable::configured);
  add_cable(group, invocation, "disconnect", "Pull the cable: DISCONNECTED",
            vp::Cable::disconnected);
}

}  // namespace cli
