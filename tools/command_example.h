// The example of a command, run on a phone that is made for it.
#pragma once

#include <string>
#include <vector>

#include "daemon/deliver.h"
#include "fcx/command_table.h"

namespace cli {

struct Exchange {
  std::string data;  ///< that was sent
  factory_daemon::Delivery delivery;
};

/// Sends what the row's example says to a fresh phone of that profile, which is then this process's
/// selected one, and gone: open another before anything else. Throws virtual_phone::Error.
std::vector<Exchange> run_example(const fcx::Command& row, const std::string& profile);

}  // namespace cli
