#include "tools/connect.h"

#include <cstdlib>
#include <fstream>

namespace cli {

factory_daemon::Client Connect::client(const Invocation& invocation) const {
  /// Longer than a server takes for any request that it has not been given another limit for.
  constexpr int64_t kLimitMs = 150'000;
  if (!invocation.phone_directory.empty()) {
    throw UsageError("give --phone or --connect: a server has its own phone");
  }
  return factory_daemon::Client(*address, token_in(token_file), kLimitMs);
}

std::shared_ptr<const Connect> takes_connection(Verb& verb) {
  auto connect = std::make_shared<Connect>();
  verb.add_option("--connect", connect->address,
                  "A running server in place of a phone: its socket's path, or HOST:PORT")
      .type_name("ADDRESS")
      .completes(Names::file);
  verb.add_option("--token-file", connect->token_file,
                  "The file with the token that the server asks for; $FCX_TOKEN when not given")
      .type_name("FILE")
      .completes(Names::file);
  return connect;
}

std::string token_in(const std::optional<std::string>& file) {
  if (!file.has_value()) {
    const char* variable = getenv("FCX_TOKEN");
    return variable == nullptr ? "" : variable;
  }
  std::ifstream in(*file);
  std::string token;
  if (!std::getline(in, token) || token.empty()) {
    throw NotThere(*file + " cannot be read, or has no token in its first line");
  }
  return token;
}

}  // namespace cli
