// What the tool's commands share: options, exit statuses, output.
#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "virtual_phone/core/phone.h"

namespace cli {

using Json = nlohmann::ordered_json;

enum ExitStatus {
  kDone = 0,
  kPhoneUnusable = 1,
  kUsage = 2,
  kCommandFailed = 3,  ///< delivered, and its `result` is not 0
};

/// A word on the command line that makes no sense. what() says why.
class UsageError : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// The options that every command takes, and the status that the tool ends with.
struct Invocation {
  std::string phone_directory;
  bool json = false;
  int exit_status = kDone;

  std::filesystem::path directory() const;
  /// Opens the phone for this process. Throws virtual_phone::Error.
  virtual_phone::Phone& open_phone() const;
};

/// Adds a command to the tool. Its last argument runs it.
CLI::App& add_command(CLI::App& parent, const char* name, const std::string& description,
                      const std::string& examples, std::function<void()> run);

/// Rows of text in columns as wide as they need.
class TextTable {
 public:
  explicit TextTable(std::vector<std::string> head);
  void add(std::vector<std::string> row);
  void print() const;

 private:
  std::vector<std::vector<std::string>> rows_;
};

void print(const Json& object);

std::string to_hex(std::string_view bytes);
/// Bytes from hexadecimal digits, which may stand apart. Throws UsageError.
std::string from_hex(std::string_view digits);
/// The bytes that a word stands for: hex:BYTES, or itself. Throws UsageError.
std::string bytes_of(const std::string& word);
bool is_printable(std::string_view bytes);
/// The bytes as they are, or as hex:... where they are not printable.
std::string shown(std::string_view bytes);
/// The text of an identity for a listing: all but its last four characters hidden.
std::string masked(std::string text);
/// "06:26:00.123" of a time since 1970.
std::string shown_time(int64_t time_us);
/// Of `words`, the ones nearest to `word`, for a message; empty when none is near.
std::string nearest(std::string_view word, const std::vector<std::string>& words);

/// A whole number, or UsageError that names `what`.
int64_t number_of(const std::string& text, const std::string& what);
/// The same, not negative.
size_t count_of(const std::string& text, const std::string& what);

}  // namespace cli
