// Where a ledger is.
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdlib>
#include <filesystem>
#include <utility>
#include <vector>

#include "station/ledger.h"
#include "station/ledger_database.h"
#include "station/ledger_schema.h"

namespace station {
namespace {

std::string variable(const char* name) {
  const char* value = getenv(name);
  return value == nullptr ? "" : value;
}

/// Where passwords begin in a URL and how long they are, the last one first. Nothing of a file.
std::vector<std::pair<size_t, size_t>> passwords_in(const std::string& url) {
  constexpr std::string_view kScheme = "://";
  constexpr std::string_view kParameter = "password=";
  std::vector<std::pair<size_t, size_t>> found;
  const size_t scheme = url.find(kScheme);
  if (scheme == std::string::npos) return found;
  // Of USER:PASSWORD@HOST, whatever the password has in it: an @ of a query only hides more.
  const size_t at_sign = url.rfind('@');
  const size_t colon = url.find(':', scheme + kScheme.size());
  const size_t end = at_sign != std::string::npos && colon < at_sign ? at_sign : 0;
  for (size_t at = url.size(); (at = url.rfind(kParameter, at)) != std::string::npos && at > end;) {
    const size_t begin = at + kParameter.size();
    found.emplace_back(begin, std::min(url.find('&', begin), url.size()) - begin);
    --at;
  }
  if (end > 0) found.emplace_back(colon + 1, end - colon - 1);
  return found;
}

}  // namespace

std::string default_ledger() {
  namespace fs = std::filesystem;
  if (std::string ledger = variable("FCX_LEDGER"); !ledger.empty()) return ledger;
  // A relative one counts as not set.
  if (const std::string state = variable("XDG_STATE_HOME"); state.substr(0, 1) == "/") {
    return fs::path(state) / "fcx" / "ledger.db";
  }
  if (const std::string home = variable("HOME"); !home.empty()) {
    return fs::path(home) / ".local" / "state" / "fcx" / "ledger.db";
  }
  throw LedgerError("it is not said where the ledger is. Set FCX_LEDGER, or give --ledger.");
}

std::string default_station() {
  if (std::string station = variable("FCX_STATION"); !station.empty()) return station;
  std::array<char, 256> name{};
  // A name that was cut, or none, is as good as any other: it has an end here, and is not empty.
  if (gethostname(name.data(), name.size() - 1) != 0 || name.front() == '\0') return "station";
  return name.data();
}

std::chrono::seconds ledger_timeout() {
  constexpr int kUsual = 10;
  constexpr int kMost = 600;
  const std::string typed = variable("FCX_LEDGER_TIMEOUT");
  if (typed.empty()) return std::chrono::seconds(kUsual);
  int seconds = 0;
  const auto [end, error] = std::from_chars(typed.data(), typed.data() + typed.size(), seconds);
  if (error != std::errc() || end != typed.data() + typed.size() || seconds < 1 ||
      seconds > kMost) {
    throw virtual_phone::Refused("FCX_LEDGER_TIMEOUT is 1 to " + std::to_string(kMost) +
                                 " seconds, not \"" + typed + "\"");
  }
  return std::chrono::seconds(seconds);
}

std::string shown_place(const std::string& where) {
  std::string shown = where;
  for (const auto& [begin, size] : passwords_in(where)) shown.replace(begin, size, "***");
  return shown;
}

std::vector<std::string> secrets_of(const std::string& url) {
  constexpr size_t kShortest = 3;
  constexpr char kMarks[] = "/:?#@&=[] ";
  std::vector<std::string> secrets;
  for (const auto& [at, size] : passwords_in(url)) {
    const std::string password = url.substr(at, size);
    if (!password.empty()) secrets.push_back(password);
    for (size_t begin = 0; begin < password.size();) {
      const size_t end = std::min(password.find_first_of(kMarks, begin), password.size());
      if (end - begin >= kShortest) secrets.push_back(password.substr(begin, end - begin));
      begin = end + 1;
    }
  }
  std::stable_sort(secrets.begin(), secrets.end(),
                   [](const auto& a, const auto& b) { return a.size() > b.size(); });
  return secrets;
}

std::string with_words(std::string text, const Words& words) {
  for (const auto& [word, in_its_place] : words) {
    for (size_t at = 0; (at = text.find(word, at)) != std::string::npos;) {
      text.replace(at, word.size(), in_its_place);
      at += in_its_place.size();
    }
  }
  return text;
}

LedgerError no_ledger(const std::string& where) {
  return LedgerError("there is no ledger in " + shown_place(where) +
                     ". The first claim, or `fcx ledger pool add`, makes one.");
}

LedgerError foreign_ledger(const std::string& where) {
  return LedgerError(shown_place(where) + " is no ledger, but something else: left as it is.");
}

LedgerError newer_ledger(const std::string& where, int64_t version) {
  return LedgerError(shown_place(where) + " was made by a newer fcx (ledger version " +
                     std::to_string(version) + ", this one knows " +
                     std::to_string(kLedgerVersion) + "). Update this one, or use another ledger.");
}

}  // namespace station
