// Steps that services take. A failure is logged in the name of the function that takes the step.
#pragma once

#include <optional>
#include <string_view>

#include "common/text.h"
#include "modem/link/command_link.h"

namespace fcx {

/// Sets a property. Whether that worked.
[[nodiscard]] bool set_property(const char* function, const char* name, const char* value);
/// The same where nothing depends on it.
void set_property_or_log(const char* function, const char* name, const char* value);

/// Sends a request whose answer's text nobody needs. @return as request_to_system()
[[nodiscard]] int send_request(const char* function, int number);
/// The same with what is sent and answered.
[[nodiscard]] int send_request(const char* function, int number, std::string_view payload,
                               ModemAnswer& answer);

// Nodes of power and display, through the unified sysfs library.

constexpr char kBrightnessNode[] = "/proc/qve_power/lcd/brightness";

/// What a node shows at its start.
using NodeText = TextBuffer<20>;

/// A node's text, or nothing when it cannot be read, which is logged.
std::optional<NodeText> read_node(const char* function, const char* path);

/// Writes a node. Whether that worked: a failure is for the caller to log.
[[nodiscard]] bool write_node(const char* path, std::string_view text);
/// The same, with a failure logged.
void write_node_or_log(const char* function, const char* path, std::string_view text);

/// The factory status, or -1 when it cannot be read, which is logged.
[[nodiscard]] int factory_status_for(const char* function);

}  // namespace fcx
