// A ledger on a PostgreSQL server.
#include <sys/socket.h>

#include <algorithm>
#include <condition_variable>
#include <map>
#include <mutex>
#include <optional>
#include <pqxx/pqxx>
#include <thread>

#include "station/ledger_database.h"
#include "station/ledger_schema.h"
#include "station/ledger_text.h"

namespace station {
namespace {

using Transaction = pqxx::transaction<pqxx::isolation_level::read_committed>;

const Words kWords = {{"{serial}", "BIGSERIAL PRIMARY KEY"},
                      {"{skip locked}", "FOR UPDATE SKIP LOCKED"},
                      {"{lock}", "FOR UPDATE"},
                      {"{lock claims}", "LOCK TABLE identity IN SHARE ROW EXCLUSIVE MODE"},
                      {"{each}", "json_array_elements_text"},
                      {"{json}", "json"}};

/// What a connection is made with where its URL does not say otherwise: a server that is gone is
/// noticed in seconds, be it silent or not.
constexpr std::pair<const char*, const char*> kParameters[] = {
    {"connect_timeout", "5"},    {"keepalives_idle", "5"},      {"keepalives_interval", "2"},
    {"keepalives_count", "3"},   {"tcp_user_timeout", "10000"}, {"application_name", "fcx"},
    {"client_encoding", "UTF8"},
};

std::string with_parameters(std::string url) {
  for (const auto& [name, value] : kParameters) {
    const std::string given = std::string(name) + "=";
    if (url.find("?" + given) != std::string::npos || url.find("&" + given) != std::string::npos) {
      continue;
    }
    url += (url.find('?') == std::string::npos ? "?" : "&") + given + value;
  }
  return url;
}

/// Ends a connection whose server does not answer in time, as one that is stopped: who waits for it
/// finds it broken.
class Watch {
 public:
  Watch(int socket, std::chrono::seconds most)
      : thread_([this, socket, most] {
          std::unique_lock lock(mutex_);
          if (over_.wait_for(lock, most, [this] { return is_over_; })) return;
          // A socket that was closed meanwhile has broken by itself.
          static_cast<void>(shutdown(socket, SHUT_RDWR));
        }) {}
  ~Watch() {
    {
      const std::lock_guard lock(mutex_);
      is_over_ = true;
    }
    over_.notify_one();
    thread_.join();
  }
  Watch(const Watch&) = delete;
  Watch& operator=(const Watch&) = delete;

 private:
  std::mutex mutex_;
  std::condition_variable over_;
  bool is_over_ = false;
  std::thread thread_;
};

class PostgresLedger : public LedgerDatabase {
 public:
  PostgresLedger(const std::string& url, NoLedger otherwise)
      : url_(url), timeout_(ledger_timeout()) {
    change([&] {
      raise(otherwise);
      return true;
    });
  }

  void change(const std::function<bool()>& work) override {
    const auto begin = std::chrono::steady_clock::now();
    for (;;) {
      const bool is_new = connection_ == nullptr;
      const auto is_late = [&] { return std::chrono::steady_clock::now() - begin >= timeout_; };
      try {
        return once(work);
      } catch (const pqxx::in_doubt_error&) {
        // Whether it was done shows when it is done again, on another connection.
        connection_.reset();
        if (is_late()) fail("the server was gone before it said whether it was done");
      } catch (const pqxx::transaction_rollback& error) {
        // Others were in the way.
        if (is_late()) fail(error.what());
      } catch (const pqxx::sql_error& error) {
        const bool is_open = connection_ != nullptr && connection_->is_open();
        if (is_open) fail(error.what());
        connection_.reset();
        if (is_new || is_late()) fail(error.what());
      } catch (const pqxx::failure& error) {
        // A server that was restarted since the last operation: that one had a connection to it.
        connection_.reset();
        if (is_new || is_late()) fail(error.what());
      } catch (const pqxx::pqxx_exception& error) {
        connection_.reset();
        fail(error.base().what());
      }
    }
  }

  void look(const std::function<void()>& work) override {
    change([&] {
      work();
      return false;
    });
  }

  Rows run(const char* sql, const Row& values) override {
    std::string& name = statements_[sql];
    if (name.empty()) {
      name = "ledger" + std::to_string(statements_.size());
      connection_->prepare(name, with_words(sql, kWords));
    }
    const pqxx::result result =
        transaction_->exec_prepared(name, pqxx::prepare::make_dynamic_params(values));
    Rows found;
    for (const pqxx::row& row : result) {
      Row& texts = found.rows.emplace_back();
      for (const pqxx::field& field : row) texts.emplace_back(field.c_str(), field.size());
    }
    found.changed = static_cast<int64_t>(result.affected_rows());
    return found;
  }

 private:
  void once(const std::function<bool()>& work) {
    // Of one that broke while an operation was given up, nobody has heard.
    if (connection_ != nullptr && !connection_->is_open()) connection_.reset();
    connect();
    const Watch watch(connection_->sock(), timeout_ + std::chrono::seconds(1));
    Transaction transaction(*connection_);
    transaction_ = &transaction;
    if (work()) {
      transaction.commit();
    } else {
      transaction.abort();
    }
  }

  void connect() {
    if (connection_ != nullptr) return;
    auto made = std::make_unique<pqxx::connection>(with_parameters(url_));
    const Watch watch(made->sock(), timeout_ + std::chrono::seconds(1));
    const std::string most = "'" + std::to_string(timeout_.count()) + "s'";
    // The library sets them again where it connects anew by itself.
    const std::pair<const char*, std::string> settings[] = {
        {"synchronous_commit", "on"},
        {"statement_timeout", most},
        {"lock_timeout", most},
        // Of a station that hangs, the server lets go by itself.
        {"idle_in_transaction_session_timeout", most},
        {"search_path", kLedgerSchema}};
    for (const auto& [name, value] : settings) {
      made->set_variable(name, value);
    }
    statements_.clear();
    connection_ = std::move(made);
  }

  [[noreturn]] void fail(const std::string& why) const {
    throw LedgerError("the ledger " + shown_place(url_) + ": " + without_password(why));
  }

  /// What the server or its library says, in one line. The latter may repeat parts of the URL.
  std::string without_password(std::string text) const {
    for (const std::string& secret : secrets_of(url_)) text = with_words(text, {{secret, "***"}});
    std::replace(text.begin(), text.end(), '\n', ' ');
    text.erase(text.find_last_not_of(' ') + 1);
    return plain_text(text);
  }

  /// The only value that a statement gives.
  std::string value_of(const std::string& sql) {
    const pqxx::result result = transaction_->exec(sql);
    return result.empty() ? "" : result[0][0].c_str();
  }

  void raise(NoLedger otherwise) {
    const std::string schema = kLedgerSchema;
    // One station at a time makes or raises it.
    transaction_->exec("SELECT pg_advisory_xact_lock(" + std::to_string(kLedgerApplicationId) +
                       ")");
    const auto is_there = [&](const std::string& what) {
      return value_of("SELECT " + what + " IS NOT NULL") == "t";
    };
    int version = 0;
    if (is_there("to_regnamespace('" + schema + "')")) {
      if (!is_there("to_regclass('" + schema + ".version')")) {
        throw foreign_ledger("the schema " + schema + " in " + shown_place(url_));
      }
      const std::string text = value_of("SELECT MAX(number) FROM " + schema + ".version");
      version = text.empty() ? 0 : std::stoi(text);
    }
    if (version > kLedgerVersion) throw newer_ledger(url_, version);
    if (version == kLedgerVersion) return;
    if (version == 0) {
      if (otherwise == NoLedger::fail) throw no_ledger(url_);
      transaction_->exec("CREATE SCHEMA " + schema);
      transaction_->exec("CREATE TABLE " + schema + ".version(number INTEGER PRIMARY KEY)");
    }
    for (; version < kLedgerVersion; ++version) {
      transaction_->exec(with_words(kLedgerSteps[version], kWords));
      transaction_->exec("INSERT INTO version(number) VALUES(" + std::to_string(version + 1) + ")");
    }
  }

  std::string url_;
  std::chrono::seconds timeout_;
  std::unique_ptr<pqxx::connection> connection_;
  Transaction* transaction_ = nullptr;
  std::map<const char*, std::string> statements_;  ///< their names, in this connection
};

}  // namespace

std::unique_ptr<LedgerDatabase> open_postgres_ledger(const std::string& url, NoLedger otherwise) {
  return std::make_unique<PostgresLedger>(url, otherwise);
}

}  // namespace station
