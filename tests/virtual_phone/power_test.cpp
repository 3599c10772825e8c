// What of a phone a power cut leaves.

#include <cutils/properties.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>

#include "platform/factory_item_library.h"
#include "tests/phone_fixture.h"
#include "virtual_phone/core/roll_back.h"
#include "virtual_phone/power/unflushed.h"

namespace fcx_test {
namespace {

using vp::Unflushed;

class PowerCut : public PhoneTest {
 protected:
  /// A connection whose writes nobody flushes.
  vp::Database open(vp::Database::Survives survives = vp::Database::Survives::kill) {
    return {directory() / "phone.db", survives};
  }
  fs::path note() { return directory() / "phone.db-power"; }
  void cut(Unflushed unflushed) { vp::roll_back_unsynced(phone(), unflushed); }

  /// All that the phone keeps.
  std::string kept() {
    std::string found;
    vp::Database database = open();
    for (const char* sql :
         {"SELECT * FROM item", "SELECT * FROM property WHERE name LIKE 'persist.%'",
          "SELECT * FROM build_property", "SELECT * FROM modem_value", "SELECT * FROM modem_nv",
          "SELECT * FROM sim"}) {
      for (vp::Query row = database.query(sql); row.step(); found += '\n') {
        for (int column = 0; column < row.columns(); ++column) found += row.text(column) + ' ';
      }
    }
    return found;
  }
  /// A result as the database prints it.
  std::string ask(const char* sql) {
    vp::Database database = open();
    vp::Query query = database.query(sql);
    return query.step() ? query.text(0) : "";
  }

  template <typename Work>
  static pid_t start(Work work) {
    const pid_t child = fork();
    if (child != 0) return child;
    work();
    _exit(kill(getpid(), SIGKILL));
  }
  static void expect_killed(pid_t child) {
    int status = 0;
    EXPECT_EQ(child, waitpid(child, &status, 0));
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << status;
  }
};

TEST_F(PowerCut, WhatThePhoneIsToKeepIsThereAfterEach) {
  const std::function<void()> writes[] = {
      [] { EXPECT_EQ(0, set_ftm_item(7, 3, "abc")); },
      [] { EXPECT_EQ(0, property_set("persist.a", "1")); },
      [&] { set_build_property("ro.a", "1"); },
      [&] { set_modem("pid", "1"); },
      [&] { EXPECT_TRUE(vp::remove_modem_value(phone(), "pid")); },
      [&] { insert_sim("89499770000000008157"); },
      [&] {
        vp::set_nv_item(phone(), 1, {NvState::active, "nv"});
      },
      [&] {
        {
          const std::lock_guard lock(phone().mutex());
          phone().fleeting().execute("INSERT INTO property VALUES('persist.b', '1')");
        }
        vp::make_durable(phone());
      },
  };
  for (const Unflushed unflushed : {Unflushed::dropped, Unflushed::torn}) {
    for (const auto& write : writes) {
      SCOPED_TRACE(&write - writes);
      open().execute(
          "DELETE FROM item; DELETE FROM property; DELETE FROM modem_nv;"
          "DELETE FROM sim; INSERT OR REPLACE INTO modem_value VALUES('pid', '')");
      cut(Unflushed::kept);
      write();
      const std::string written = kept();
      cut(unflushed);
      EXPECT_EQ(written, kept());
    }
  }
}

TEST_F(PowerCut, LosesWhatNobodyFlushed) {
  open().execute(R"(
INSERT INTO item VALUES(1, x'00FF'); INSERT INTO property VALUES('persist.a', ''), ('a', '1');
INSERT INTO modem_nv VALUES(1, 'active', x'01'); INSERT INTO modem_value VALUES('a', 'b'))");
  cut(Unflushed::kept);
  constexpr const char* kWrites[] = {
      "INSERT INTO item VALUES(2, x'00')",
      "UPDATE item SET value = x'00FE'",
      "UPDATE item SET value = '1'",
      "DELETE FROM item",
      "UPDATE property SET value = '2'",
      "INSERT INTO build_property VALUES('a', 'b')",
      "DELETE FROM modem_value",
      "UPDATE modem_nv SET state = 'inactive'",
      "INSERT INTO sim VALUES(1, 'inserted', x'01', 2, '')",
  };
  /// What happens before the write that is lost.
  constexpr const char* kBefore[] = {
      "SELECT 1",
      "PRAGMA wal_checkpoint(PASSIVE)",
      "PRAGMA wal_checkpoint(RESTART)",
      "PRAGMA wal_checkpoint(TRUNCATE)",
      "CREATE TABLE a(b); INSERT INTO a VALUES(randomblob(5000000))",  // the log begins anew
      "DROP TABLE a",
      "CREATE TABLE a(b); BEGIN; INSERT INTO a VALUES(randomblob(20000000)); ROLLBACK",
  };
  const std::string before = kept();
  const auto write = [&](const char* sql) {
    open().execute(
        "INSERT INTO event VALUES(null, 1, 'kind', 'detail');"
        "UPDATE property SET value = value || '+' WHERE name = 'a'");
    open().execute(sql);
  };
  const auto of_the_bench = [&] {
    return ask("SELECT (SELECT count(*) FROM event) || value FROM property WHERE name = 'a'");
  };
  for (const char* sql : kBefore) {
    SCOPED_TRACE(sql);
    open().execute(sql);
    for (const char* lost : kWrites) {
      SCOPED_TRACE(lost);
      for (const bool elsewhere : {false, true}) {
        elsewhere ? expect_killed(start([&] { write(lost); })) : write(lost);
        EXPECT_NE(before, kept());
        const std::string stays = of_the_bench();
        cut(elsewhere ? Unflushed::torn : Unflushed::dropped);
        cut(Unflushed::dropped);
        EXPECT_EQ(before, kept());
        EXPECT_EQ(stays, of_the_bench());
      }
    }
  }
  open().execute("DELETE FROM item");
  vp::cut_power(phone(), Unflushed::dropped);
  EXPECT_EQ(before, kept());
  EXPECT_EQ("ok", ask("PRAGMA integrity_check"));
  EXPECT_FALSE(fs::exists(directory() / "phone.db-cut"));
}

TEST_F(PowerCut, WhatIsNotNotedCountsAsFlushed) {
  const auto write = [&](const char* value) {
    vp::Database database = open();
    database.query("INSERT OR REPLACE INTO property VALUES('persist.a', ?)").bind(value).run();
  };
  const auto cut_to = [&](const char* expected) {
    cut(Unflushed::dropped);
    EXPECT_EQ(expected, property("persist.a"));
  };
  write("lost");
  cut_to("(not set)");
  write("before there was a note");
  write_file(note(), std::string(32, '\0'));
  cut_to("before there was a note");
  write("lost");
  cut_to("before there was a note");
  const std::string noted = read_file(note());
  write("past the note");
  write_file(note(), noted);
  write("lost");
  cut_to("past the note");
  write("past the note, at last");
  write_file(note(), noted);
  cut_to("past the note, at last");
  open().execute("PRAGMA wal_checkpoint(RESTART)");
  for (int i = 0; i < 9; ++i) write("lost");
  const std::string longer = read_file(note());
  open().execute("PRAGMA wal_checkpoint(RESTART)");
  for (const char* each : {"of", "another", "beginning"}) write(each);
  write_file(note(), longer);
  cut_to("beginning");
  write_file(note(), longer);
  write("lost");
  cut_to("beginning");
}

TEST_F(PowerCut, TearsBetweenTransactions) {
  const auto write = [&](int number, int items) {
    vp::Database database = open();
    vp::Transaction transaction(database);
    database.query("INSERT OR REPLACE INTO property VALUES('persist.a', ?)").bind(number).run();
    // They take one page each whatever their number, so that all transactions are as long.
    for (int i = 0; i < items; ++i) {
      database.query("INSERT OR REPLACE INTO item VALUES(?, zeroblob(3000 + ?))")
          .bind(i)
          .bind(number)
          .run();
    }
    transaction.commit();
  };
  for (const int items : {1, 2, 3, 30}) {
    for (const auto& [count, left] : {std::pair{1, 0}, {2, 1}, {3, 1}, {4, 2}, {9, 4}}) {
      SCOPED_TRACE(std::to_string(items) + " items, transactions: " + std::to_string(count));
      write(0, items);
      open().execute("PRAGMA wal_checkpoint(TRUNCATE)");
      for (int number = 1; number <= count; ++number) write(number, items);
      cut(Unflushed::torn);
      EXPECT_EQ(std::to_string(left), property("persist.a"));
      EXPECT_EQ(std::to_string(left),
                ask("SELECT group_concat(DISTINCT length(value) - 3000) FROM item"));
    }
  }
}

TEST_F(PowerCut, WhileAnotherWritesItLeavesWholeTransactionsAndWhatWasFlushed) {
  void* shared = mmap(nullptr, sizeof(std::atomic<int>), PROT_READ | PROT_WRITE,
                      MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(MAP_FAILED, shared);
  auto& flushed = *static_cast<std::atomic<int>*>(shared);
  std::atomic<bool> ends = false;
  const auto write = [&] {
    vp::Database lost = open();
    vp::Database durable = open(vp::Database::Survives::power_cut);
    for (int number = flushed + 1; !ends; ++number) {
      vp::Database& database = number % 8 == 0 ? durable : lost;
      vp::Transaction transaction(database);
      for (int i = 0; i < 20; ++i) {
        database.query("INSERT OR REPLACE INTO item VALUES(?, CAST(? AS BLOB) || zeroblob(3000))")
            .bind(i)
            .bind(number)
            .run();
      }
      transaction.commit();
      if (number % 8 == 0) flushed = number;
    }
  };
  const auto cut_often = [&] {
    for (int i = 0; i < 30; ++i) {
      const int before = flushed;
      ASSERT_TRUE(eventually([&] { return flushed > before; }));
      const int at_least = flushed;
      cut(i % 2 == 0 ? Unflushed::dropped : Unflushed::torn);
      const std::string found = ask(
          "SELECT count(DISTINCT value) || ' ' || CAST(substr(min(value), 1, 9) AS INT) FROM item");
      EXPECT_EQ("1 ", found.substr(0, 2));
      EXPECT_LE(at_least, std::stoi(found.substr(2)));
    }
  };
  const pid_t other = start(write);
  cut_often();
  kill(other, SIGKILL);
  expect_killed(other);
  std::thread same(write);
  cut_often();
  ends = true;
  same.join();
  EXPECT_EQ("ok", ask("PRAGMA integrity_check"));
  EXPECT_EQ(0, munmap(shared, sizeof flushed));
}

}  // namespace
}  // namespace fcx_test
