// What came of a command, for people and for programs.
#pragma once

#include <string>
#include <vector>

#include "daemon/deliver.h"
#include "daemon/server/frames.h"
#include "tools/json.h"

namespace cli {

/// What is shown of a command that was delivered here, or by a server.
struct ShownDelivery {
  struct Event {
    std::string kind;
    std::string detail;
  };
  int32_t opcode = 0;
  bool is_known = false;
  std::string name;  ///< of what the request was for; "" when it has none
  qvcmd_response response{};
  std::vector<std::string>
      complaints;             ///< what was logged as a warning or an error: "TAG: message"
  std::vector<Event> events;  ///< what happened to the phone

  /// The answer's bytes, within its record.
  std::string_view data() const;
};

ShownDelivery shown_delivery(const factory_daemon::Delivery& delivery);
/// Of an answer with details, which are delivery_json()'s text. Throws ServerError when they are
/// not.
ShownDelivery shown_delivery(int32_t opcode, const factory_daemon::CommandAnswer& answer);

Json delivery_json(const ShownDelivery& delivery);

}  // namespace cli
