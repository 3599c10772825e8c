// Asking a running server in place of a phone.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "daemon/server/client.h"
#include "tools/cli.h"

namespace cli {

/// What was typed of a server.
struct Connect {
  std::optional<std::string> address;
  std::optional<std::string> token_file;

  bool is_asked_for() const { return address.has_value(); }
  /// A connection to it. Throws ServerError, and UsageError when a phone was typed, too.
  factory_daemon::Client client(const Invocation& invocation) const;
};

/// Gives a verb --connect and --token-file.
std::shared_ptr<const Connect> takes_connection(Verb& verb);

/// The token that a file holds, without its line end; $FCX_TOKEN when no file is given, and
/// nothing without either. Throws NotThere for a file that cannot be read, or has none.
std::string token_in(const std::optional<std::string>& file);

}  // namespace cli
