#include "virtual_phone/core/usb.h"

#include "virtual_phone/core/node.h"

namespace virtual_phone {
namespace {

constexpr int64_t kChargerMicrovolts = 5'000'000;

std::optional<std::string> line_of(const Phone& phone, const char* node) {
  auto content = read_node(phone, node);
  if (content.has_value()) content->erase(content->find_last_not_of('\n') + 1);
  return content;
}

}  // namespace

Usb usb(const Phone& phone) {
  return {line_of(phone, kUsbStateNode), line_of(phone, kUsbLockNode), line_of(phone, kUsbInNode)};
}

void set_usb_in(const Phone& phone, int64_t microvolts) {
  write_node(phone, kUsbInNode, std::to_string(microvolts) + "\n");
}

void set_cable(const Phone& phone, Cable cable) {
  if (read_node(phone, kUsbInNode).has_value()) {
    set_usb_in(phone, cable == Cable::disconnected ? 0 : kChargerMicrovolts);
  }
  write_node(phone, kUsbStateNode, std::string(name_of(cable)) + "\n");
}

}  // namespace virtual_phone
