#include "station/books.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <functional>
#include <iterator>

#include "station/ledger_text.h"

namespace station {
namespace {

using android::base::unique_fd;

/// A name that only one process of the machine has at a time. It is gone with the process, however
/// that ends.
unique_fd held_name(const std::string& where, const std::string& station) {
  std::error_code ignored;  // a place that is no path is a name as well
  const auto path = std::filesystem::weakly_canonical(where, ignored);
  const std::string place =
      ignored || where.find("://") != std::string::npos ? where : path.string();
  const std::string name = "fcx-station-" + std::to_string(geteuid()) + "-" +
                           std::to_string(std::hash<std::string>()(place + "\n" + station));
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  // The first byte is a NUL: this is no file's name.
  name.copy(address.sun_path + 1, sizeof address.sun_path - 1);
  const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + name.size());
  unique_fd fd(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  if (!fd.ok() || bind(fd.get(), reinterpret_cast<const sockaddr*>(&address), size) != 0) {
    if (errno != EADDRINUSE) throw LedgerError(std::string("a name: ") + strerror(errno));
    throw LedgerError("a station called \"" + plain_text(station) +
                      "\" is at work with this ledger: give one of the two another name with "
                      "--station");
  }
  return fd;
}

/// The run of a key that the station has made.
std::string run_of(const std::string& key) { return key.substr(0, key.find('.')); }

std::string kind_in_ledger(const std::string& identity) {
  return identity == "imei2" ? "imei" : identity;
}

std::string told(const ClaimConflict& conflict) {
  const ClaimedIdentity& other = conflict.other;
  const std::string whose = other.unit.empty() ? "no unit yet" : other.unit;
  return other.identity.kind + " " + other.identity.value +
         (conflict.is_drawn ? " was drawn for " : " is that of ") + whose + ", at " +
         other.station + ", " + other.at;
}

}  // namespace

Books::Books(const std::string& where, std::string station, const Plan& plan)
    : station_(std::move(station)),
      plan_(plain_text(plan.name)),
      lock_(held_name(where, station_)) {
  const std::lock_guard lock(ledger_mutex_);
  ledger_ = open_ledger(where, NoLedger::make);
  take_up(plan);
  run_ = ledger_->begin_run(plan_, station_);
}

void Books::take_up(const Plan& plan) {
  for (const LedgerRun& run : ledger_->runs("")) {
    const bool is_ours = run.station == station_ && run.plan == plan_;
    if (is_ours && run.ended_at.empty()) died_.insert(run.id);
  }
  for (const Variable& variable : plan.variables) {
    if (variable.from == Variable::From::pool) pools_[variable.pool].push_back(variable.name);
  }
  for (const auto& [pool, variables] : pools_) {
    for (const PoolNumber& number : ledger_->numbers(pool, "drawn")) {
      const bool is_ours = number.station == station_ && died_.count(run_of(number.unit)) > 0;
      const bool is_known = std::find(left_.begin(), left_.end(), number.unit) != left_.end();
      if (is_ours && !is_known) left_.push_back(number.unit);
    }
  }
}

std::string Books::key_of(uint64_t unit) {
  const std::lock_guard lock(ledger_mutex_);
  if (left_.empty()) return run_ + "." + std::to_string(unit);
  std::string key = std::move(left_.front());
  left_.pop_front();
  return key;
}

Values Books::draw(const std::string& key) {
  Values values;
  {
    const std::lock_guard lock(ledger_mutex_);
    for (const auto& [pool, variables] : pools_) {
      const auto numbers = ledger_->draw(pool, key, station_, variables.size());
      for (size_t i = 0; i < numbers.size(); ++i) values[variables[i]] = numbers[i];
    }
  }
  keep_waiting();
  return values;
}

Claimed Books::claim(const std::string& key, const std::string& kind, const std::string& value) {
  Claimed claimed;
  try {
    const std::lock_guard lock(ledger_mutex_);
    const auto conflicts = ledger_->claim(key, station_, {{kind_in_ledger(kind), value}});
    if (!conflicts.empty()) claimed = {told(conflicts.front()), conflicts.front().other.unit};
  } catch (const virtual_phone::Refused& refused) {
    claimed.why_not = refused.what();
  }
  keep_waiting();
  return claimed;
}

void Books::note(LedgerResult result) {
  result.run = run_;
  result.at = time_now();
  {
    const std::lock_guard lock(noted_mutex_);
    noted_.push_back(std::move(result));
  }
  keep_waiting();
}

void Books::keep_waiting() {
  // Whoever has the ledger looks after it, and keeps what has come meanwhile.
  while (has_noted() && ledger_mutex_.try_lock()) {
    const std::lock_guard lock(ledger_mutex_, std::adopt_lock);
    keep_noted();
  }
}

bool Books::has_noted() {
  const std::lock_guard lock(noted_mutex_);
  return !noted_.empty();
}

void Books::settle() {
  const std::lock_guard lock(ledger_mutex_);
  keep_noted();
}

void Books::keep_noted() {
  std::vector<LedgerResult> noted;
  {
    const std::lock_guard lock(noted_mutex_);
    noted.swap(noted_);
  }
  if (noted.empty()) return;
  try {
    ledger_->record(noted, station_);
  } catch (const LedgerError&) {
    // Other units' are among them: each of them is told.
    const std::lock_guard lock(noted_mutex_);
    noted_.insert(noted_.begin(), std::make_move_iterator(noted.begin()),
                  std::make_move_iterator(noted.end()));
    throw;
  }
}

void Books::end(const std::string& verdict) {
  const std::lock_guard lock(ledger_mutex_);
  keep_noted();
  for (const std::string& key : left_) died_.erase(run_of(key));
  // Nothing of them is left to be taken up.
  for (const std::string& id : died_) ledger_->end_run(id, "died");
  ledger_->end_run(run_, verdict);
}

}  // namespace station
