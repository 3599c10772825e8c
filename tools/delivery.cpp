#include "tools/delivery.h"

#include "daemon/server/client.h"
#include "tools/command_name.h"
#include "tools/text.h"

namespace cli {
namespace {

using factory_daemon::data_of;
using factory_daemon::Delivery;

}  // namespace

std::string_view ShownDelivery::data() const { return data_of(response); }

ShownDelivery shown_delivery(const Delivery& delivery) {
  ShownDelivery shown{delivery.opcode,
                      delivery.row != nullptr,
                      command_name(delivery.handler),
                      delivery.response,
                      {},
                      {}};
  for (const virtual_phone::LogEntry& entry : delivery.complaints) {
    std::string message = entry.message;
    while (!message.empty() && message.back() == '\n') message.pop_back();
    shown.complaints.push_back(entry.tag + ": " + message);
  }
  for (const auto& event : delivery.events) shown.events.push_back({event.kind, event.detail});
  return shown;
}

ShownDelivery shown_delivery(int32_t opcode, const factory_daemon::CommandAnswer& answer) {
  const auto details = Json::parsed(answer.details);
  if (!details.has_value()) {
    throw factory_daemon::ServerError("the server's details make no sense");
  }
  ShownDelivery shown{
      opcode, details->get("known").is_true(), details->get("name").text(), answer.response, {},
      {}};
  for (const Json& line : details->get("complaints").values()) {
    shown.complaints.push_back(line.text());
  }
  for (const Json& event : details->get("events").values()) {
    shown.events.push_back({event.get("kind").text(), event.get("detail").text()});
  }
  return shown;
}

Json delivery_json(const ShownDelivery& delivery) {
  Json object = {{"opcode", delivery.opcode},
                 {"known", delivery.is_known},
                 {"name", delivery.name.empty() ? Json() : Json(delivery.name)},
                 {"result", delivery.response.result},
                 {"data_len", delivery.response.data_len},
                 {"data", is_printable(delivery.data()) ? Json(delivery.data()) : Json()},
                 {"data_hex", to_hex(delivery.data())},
                 {"complaints", delivery.complaints}};
  for (const ShownDelivery::Event& event : delivery.events) {
    object["events"].push_back({{"kind", event.kind}, {"detail", event.detail}});
  }
  return object;
}

}  // namespace cli
