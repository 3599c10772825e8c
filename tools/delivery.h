// What came of a command, for people and for programs.
#pragma once

#include <string>
#include <vector>

#include "daemon/deliver.h"
#include "tools/json.h"

namespace cli {

/// The name of what the request was for, "" when it has none.
std::string name_of(const factory_daemon::Delivery& delivery);

/// What the library has logged as a warning or an error, as "TAG: message".
std::vector<std::string> complaint_lines(const factory_daemon::Delivery& delivery);

Json delivery_json(const factory_daemon::Delivery& delivery);

}  // namespace cli
