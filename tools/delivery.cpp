#include "tools/delivery.h"

#include "tools/command_name.h"
#include "tools/text.h"

namespace cli {

using factory_daemon::Delivery;

std::string name_of(const Delivery& delivery) { return command_name(delivery.handler); }

std::vector<std::string> complaint_lines(const Delivery& delivery) {
  std::vector<std::string> lines;
  for (const virtual_phone::LogEntry& entry : delivery.complaints) {
    std::string message = entry.message;
    while (!message.empty() && message.back() == '\n') message.pop_back();
    lines.push_back(entry.tag + ": " + message);
  }
  return lines;
}

Json delivery_json(const Delivery& delivery) {
  Json object = {{"opcode", delivery.opcode},
                 {"known", delivery.row != nullptr},
                 {"name", delivery.handler == nullptr ? Json() : Json(name_of(delivery))},
                 {"result", delivery.response.result},
                 {"data_len", delivery.response.data_len},
                 {"data", is_printable(delivery.data()) ? Json(delivery.data()) : Json()},
                 {"data_hex", to_hex(delivery.data())},
                 {"complaints", complaint_lines(delivery)}};
  for (const virtual_phone::Event& event : delivery.events) {
    object["events"].push_back({{"kind", event.kind}, {"detail", event.detail}});
  }
  return object;
}

}  // namespace cli
