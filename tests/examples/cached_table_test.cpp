#include <fstream>

#include "examples/example_fixture.h"
#include "support/notification_peer.h"

namespace {

class CachedTable : public ExampleTest {
 protected:
  Program startCache() { return start(ORVDB_CACHED_TABLE); }

  Program startRegisteredCache() {
    Program cache = startCache();
    cache.waitForOutput("told of changes\n");
    return cache;
  }

  std::string table() {
    std::string text;
    for (const Row &row : admin().query("SELECT name, value FROM settings ORDER BY _id"))
      text += ' ' + *row[0] + '=' + *row[1];
    return text;
  }

  // Long before the cache looks by itself, if it is told of changes.
  testing::AssertionResult becomesTheTable(const Program &cache) {
    const std::string expected = table();
    const auto last = [&] {
      const Words copies = linesOf(cache, "settings:");
      return copies.empty() ? "nothing" : copies.back();
    };
    if (waitUntil([&] { return last() == expected; })) return testing::AssertionSuccess();
    return testing::AssertionFailure() << "the table holds" << expected << ", the copy" << last();
  }

  void set(const std::string &name, const std::string &value) {
    insert("settings", rowOf({{"name", name}, {"value", value}}));
  }

  // Returns how many rows that were.
  unsigned long long changeTo(const std::string &value, const char *where) {
    const ContentValues row = rowOf({{"value", value}});
    unsigned long long count = 0;
    EXPECT_EQ(orv_db_update(handle().get(), "settings", row.get(), where, nullptr, 0, &count), ORV_DB_OK);
    return count;
  }
};

TEST_F(CachedTable, HoldsTheTableAfterEachKindOfChange) {
  startServer();
  admin().query("INSERT INTO settings (name, value) VALUES ('here', 'before')");
  Program cache = startRegisteredCache();
  EXPECT_TRUE(becomesTheTable(cache)) << "at the start";
  for (const char *name : {"a", "b", "c", "d"})
    set(name, "1");
  EXPECT_TRUE(becomesTheTable(cache)) << "after inserts";
  EXPECT_EQ(changeTo("2", "name IN ('b', 'c', 'd')"), 3U);
  EXPECT_TRUE(becomesTheTable(cache)) << "after an update of several rows";
  ASSERT_EQ(orv_db_delete(handle().get(), "settings", "name IN ('a', 'c')", nullptr, 0, nullptr), ORV_DB_OK);
  EXPECT_TRUE(becomesTheTable(cache)) << "after a delete";
  admin().query("TRUNCATE settings");
  ASSERT_EQ(orv_db_notify_change(db(), "settings", ORV_DB_ACTION_ALL, 0), ORV_DB_OK);
  EXPECT_TRUE(becomesTheTable(cache)) << "after a truncation that was announced as a change of the whole table";
}

TEST_F(CachedTable, HoldsTheTableAfterACommitAndNothingOfARollback) {
  startServer();
  set("colour", "red");
  Program cache = startRegisteredCache();
  EXPECT_TRUE(becomesTheTable(cache));
  orv_db_begin_transaction(handle().get());
  set("size", "4");
  changeTo("blue", "name='colour'");
  ASSERT_EQ(orv_db_commit_transaction(handle().get()), ORV_DB_OK);
  EXPECT_TRUE(becomesTheTable(cache));
  orv_db_begin_transaction(handle().get());
  set("lost", "1");
  orv_db_rollback_transaction(handle().get());
  set("kept", "1");
  EXPECT_TRUE(becomesTheTable(cache));
}

TEST_F(CachedTable, ReadsAllOnAnInsertOfAnUnknownRow) {
  startServer();
  set("colour", "red");
  Program cache = startRegisteredCache();
  EXPECT_TRUE(becomesTheTable(cache));
  admin().query("INSERT INTO settings (name, value) VALUES ('a', '1'), ('b', '2')");
  ASSERT_EQ(orv_db_notify_change(db(), "settings", ORV_DB_ACTION_INSERT, ~0ULL), ORV_DB_OK);
  EXPECT_TRUE(becomesTheTable(cache));
  admin().query("INSERT INTO settings (name, value) VALUES ('c', '3'), ('d', '4')");
  ASSERT_EQ(orv_db_notify_change(db(), "settings", ORV_DB_ACTION_INSERT, 0), ORV_DB_OK);
  EXPECT_TRUE(becomesTheTable(cache));
}

// A truncated table counts from 1 again.
TEST_F(CachedTable, ReadsARowAnewWhoseNumberItHas) {
  startServer();
  set("colour", "red");
  Program cache = startRegisteredCache();
  EXPECT_TRUE(becomesTheTable(cache));
  admin().query("TRUNCATE settings");
  set("size", "4");
  EXPECT_TRUE(becomesTheTable(cache));
}

TEST_F(CachedTable, IsRightAfterARestartOfTheNotificationServer) {
  startServer({});
  set("colour", "red");
  Program cache = startRegisteredCache();
  EXPECT_TRUE(becomesTheTable(cache));
  killServer();
  admin().query("INSERT INTO settings (name, value) VALUES ('told to', 'nobody')");
  startServer({});
  EXPECT_TRUE(becomesTheTable(cache)) << "of what it missed";
  set("size", "4");
  EXPECT_TRUE(becomesTheTable(cache)) << "of what came then";
}

TEST_F(CachedTable, IsRightAfterItsConnectionToTheDatabaseWasLost) {
  startServer();
  Program cache = startRegisteredCache();
  set("colour", "red");
  EXPECT_TRUE(becomesTheTable(cache));
  handle();
  killConnections();
  orv_db_test_connection(handle().get());
  set("size", "4");
  EXPECT_TRUE(becomesTheTable(cache));
}

TEST_F(CachedTable, IsRightAgainAfterTheDatabaseHasFailed) {
  startServer();
  set("colour", "red");
  Program cache = startRegisteredCache();
  EXPECT_TRUE(becomesTheTable(cache));
  admin().query("RENAME TABLE settings TO elsewhere");
  ASSERT_EQ(orv_db_notify_change(db(), "settings", ORV_DB_ACTION_ALL, 0), ORV_DB_OK);
  cache.waitForOutput("doesn't exist");
  admin().query("INSERT INTO elsewhere (name, value) VALUES ('size', '4')");
  admin().query("RENAME TABLE elsewhere TO settings");
  EXPECT_TRUE(becomesTheTable(cache));
}

TEST_F(CachedTable, HoldsTextsBeyondAsciiWithTheCharacterSetOfTheOptionsFile) {
  std::ofstream("/etc/my.cnf") << "[client]\ndefault-character-set=utf8mb4\n";
  startServer();
  admin().query("INSERT INTO settings (name, value) VALUES ('größe', x'F09F948C')");
  Program cache = startRegisteredCache();
  EXPECT_TRUE(waitUntil([&] { return linesOf(cache, "settings:") == Words{" größe=\xF0\x9F\x94\x8C"}; }));
}

TEST_F(CachedTable, IsRightWithoutANotificationServerAndRegistersWhenThereIsOne) {
  Program cache = startCache();
  cache.waitForOutput("not told of changes: status 12\n");
  admin().query("INSERT INTO settings (name, value) VALUES ('colour', 'red')");
  EXPECT_TRUE(becomesTheTable(cache));
  startServer();
  EXPECT_TRUE(waitUntil([&] { return !linesOf(cache, "told of changes").empty(); }));
  set("size", "4");
  EXPECT_TRUE(becomesTheTable(cache));
}

TEST_F(CachedTable, IsRightWhileTheNotificationServerDoesNotAnswerAndRegistersWhenItDoes) {
  NotificationPeer peer;
  peer.answerRegistrations(Answer::silence);
  Program cache = startCache();
  cache.waitForOutput("not told of changes: status 7\n");
  admin().query("INSERT INTO settings (name, value) VALUES ('colour', 'red')");
  EXPECT_TRUE(becomesTheTable(cache));
  peer.answerRegistrations(Answer::accept);
  EXPECT_TRUE(waitUntil([&] { return !linesOf(cache, "told of changes").empty(); }));
}

}  // namespace
