// orvdb watch and orvdb notify
#include <gmock/gmock.h>
#include <signal.h>

#include <nlohmann/json.hpp>
#include <regex>

#include "tools/tool_fixture.h"

namespace {

using nlohmann::json;
using testing::AnyOf;
using testing::EndsWith;

class ToolWatch : public NotifiedToolTest {
 protected:
  void notify(const Words &more) const { EXPECT_EQ(run(withName("notify", more)), (Answer{0, "", ""})); }
};
class ToolWatchEnd : public ToolWatch, public testing::WithParamInterface<int> {};
class ToolWatchWithoutServer : public ToolTest {
 protected:
  // Of one that its test ends and starts.
  RunningTool startWatchOf(Program &server) const {
    RunningTool watch = startWatch({"item"});
    server.signal(SIGKILL);
    server.waitForExit();
    return watch;
  }
};

bool hasSaid(const RunningTool &watch, const std::string &text) {
  return waitUntil([&] { return watch.errors().find(text) != std::string::npos; });
}

std::string withoutTimes(const std::string &output) {
  return std::regex_replace(output, std::regex(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} )"), "TIME ");
}

TEST_F(ToolWatch, PrintsALineForEachChangeAndSaysInWordsWhichRows) {
  RunningTool watch = startWatch({"--count", "6", "item", "long_name"});
  notify({"item", "insert", "010"});
  notify({"item", "update"});
  notify({"long_name", "delete", "18446744073709551614"});
  notify({"item", "all"});
  notify({"item", "update", "0"});
  notify({"item", "insert,delete", "3"});
  EXPECT_EQ(withoutTimes(watch.waitForEnd().output),
            "TIME  item       insert  row 10\n"
            "TIME  item       update  unknown or several rows\n"
            "TIME  long_name  delete  row 18446744073709551614\n"
            "TIME  item       all     the whole table may have changed\n"
            "TIME  item       update  read the table again\n"
            "TIME  item       insert+delete  row 3\n");
}

TEST_F(ToolWatch, PrintsJsonObjects) {
  RunningTool watch = startWatch({"--json", "--count", "3", "item"});
  notify({"item", "insert", "18446744073709551614"});
  notify({"item", "delete"});
  notify({"item", "all"});
  std::istringstream lines(watch.waitForEnd().output);
  std::vector<json> changes;
  for (std::string line; std::getline(lines, line);) {
    changes.push_back(json::parse(line));
    EXPECT_TRUE(std::regex_match(changes.back()["time"].get<std::string>(),
                                 std::regex(R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}[+-]\d{4})")));
    changes.back().erase("time");
  }
  const std::string name = db();
  EXPECT_EQ(
      changes,
      (std::vector<json>{
          {{"database", name},
           {"table", "item"},
           {"actions", {"insert"}},
           {"scope", "row"},
           {"row_id", 18446744073709551614U}},
          {{"database", name}, {"table", "item"}, {"actions", {"delete"}}, {"scope", "unknown"}, {"row_id", nullptr}},
          {{"database", name},
           {"table", "item"},
           {"actions", {"insert", "update", "delete"}},
           {"scope", "table"},
           {"row_id", nullptr}}}));
}

TEST_F(ToolWatch, ShowsWhatTheWritingCommandsAnnounce) {
  admin().query("CREATE TABLE item (_id INT AUTO_INCREMENT PRIMARY KEY, name TEXT)");
  RunningTool watch = startWatch({"--count", "3", "item"});
  EXPECT_EQ(run(onDatabase("insert", {"item", "name=a"})).status, 0);
  EXPECT_EQ(run(onDatabase("update", {"item", "name=b", "--all"})).status, 0);
  EXPECT_EQ(run(onDatabase("delete", {"item", "--all"})).status, 0);
  EXPECT_EQ(withoutTimes(watch.waitForEnd().output),
            "TIME  item  insert  row 1\n"
            "TIME  item  update  row 1\n"
            "TIME  item  delete  unknown or several rows\n");
}

TEST_F(ToolWatch, PrintsTheActionsOfInterestAlone) {
  RunningTool watch = startWatch({"--action", "insert,delete", "--count", "2", "item"});
  notify({"item", "insert", "1"});
  notify({"item", "update", "2"});
  notify({"item", "delete", "3"});
  EXPECT_EQ(withoutTimes(watch.waitForEnd().output), "TIME  item  insert  row 1\nTIME  item  delete  row 3\n");
}

TEST_F(ToolWatch, PrintsChangesOfItsDatabaseAndTablesAlone) {
  RunningTool watch = startWatch({"--count", "1", "item"});
  notify({"other", "insert", "1"});
  EXPECT_EQ(run({"notify", "-d", "other", "item", "insert", "2"}).status, 0);
  notify({"item", "insert", "3"});
  EXPECT_EQ(withoutTimes(watch.waitForEnd().output), "TIME  item  insert  row 3\n");
}

TEST_F(ToolWatch, TableMayHaveTheNameOfACommandAndBeNamedTwice) {
  RunningTool watch = startWatch({"--count", "1", "status", "status"});
  EXPECT_EQ(watch.errors(), "watching " + std::string(db()) + ".status\n");
  notify({"status", "insert", "3"});
  EXPECT_EQ(withoutTimes(watch.waitForEnd().output), "TIME  status  insert  row 3\n");
}

TEST_F(ToolWatch, LineIsThereAtOnce) {
  RunningTool watch = startWatch({"item"});
  notify({"item", "insert", "1"});
  watch.waitForOutput("row 1\n");
}

TEST_P(ToolWatchEnd, SignalEndsItWithStatus0) {
  RunningTool watch = startWatch({"item", "--count", "2", "--timeout", "1000"});
  notify({"item", "insert", "1"});
  watch.waitForOutput("row 1\n");
  watch.signal(GetParam());
  EXPECT_EQ(watch.waitForEnd().status, 0);
  EXPECT_THAT(watch.output(), EndsWith("row 1\n"));
}

INSTANTIATE_TEST_SUITE_P(Signals, ToolWatchEnd, testing::Values(SIGTERM, SIGINT));

TEST_F(ToolWatch, TimeOutBeforeTheCountIsStatus3) {
  const std::string name = db();
  EXPECT_EQ(run(withName("watch", {"item", "--count", "2", "--timeout", "0.2"})),
            (Answer{3, "", "watching " + name + ".item\norvdb: 0 of 2 changes came in time\n"}));
}

TEST_F(ToolWatch, TimeOutWithoutACountIsStatus0) {
  const std::string name = db();
  EXPECT_EQ(run(withName("watch", {"item", "--timeout", "0.2"})), (Answer{0, "", "watching " + name + ".item\n"}));
}

TEST_F(ToolWatch, OutputThatCannotBeWrittenEndsIt) {
  Program watch({"/bin/sh", "-c", "exec \"$0\" watch -d \"$1\" item >/dev/full", ORVDB_TOOL, db()}, folder() / "full");
  watch.waitForOutput("watching");
  notify({"item", "insert", "1"});
  EXPECT_EQ(watch.waitForExit(), 1);
  EXPECT_THAT(watch.output(), EndsWith("orvdb: cannot write: No space left on device\n"));
}

TEST_F(ToolWatch, CountIsNotExceeded) {
  RunningTool watch = startWatch({"item", "--count", "1", "--timeout", "1000"});
  watch.signal(SIGSTOP);
  for (const char *row : {"1", "2", "3"}) {
    notify({"item", "insert", row});
  }
  watch.signal(SIGCONT);
  EXPECT_EQ(withoutTimes(watch.waitForEnd().output), "TIME  item  insert  row 1\n");
}

// The reader's end is noticed although no change comes.
TEST_F(ToolWatch, ReaderThatHasEnoughEndsItQuietly) {
  Program watch({"/bin/sh", "-c", "{ \"$0\" \"$@\"; echo \"status $?\" >&2; } | head -n 1", ORVDB_TOOL, "watch", "-d",
                 db(), "item"},
                folder() / "pipe");
  watch.waitForOutput("watching");
  notify({"item", "insert", "1"});
  EXPECT_EQ(watch.waitForExit(), 0);
  // The shell's line and that of `head` come in any order.
  const std::string printed = withoutTimes(std::regex_replace(watch.output(), std::regex("watching .*\n"), ""));
  EXPECT_THAT(printed, AnyOf("TIME  item  insert  row 1\nstatus 0\n", "status 0\nTIME  item  insert  row 1\n"));
}

TEST_F(ToolWatch, SaysThatTheNotificationServerDoesNotConfirm) {
  server_.signal(SIGSTOP);
  EXPECT_EQ(run(withName("watch", {"item"})),
            (Answer{1, "",
                    "orvdb: cannot watch " + std::string(db()) +
                        ".item: the notification server did not confirm within 2 seconds: is orvdb_server stopped or "
                        "overloaded?\n"}));
}

TEST_F(ToolWatchWithoutServer, SaysThatAServerIsGoneAndThatItIsBack) {
  Program server = startServer();
  RunningTool watch = startWatchOf(server);
  EXPECT_TRUE(hasSaid(watch, "orvdb: the notification server is gone: changes are missed until it is back\n"));
  const Program next = startServer();
  EXPECT_TRUE(hasSaid(watch, "orvdb: the notification server is back: changes may have been missed\n"));
  EXPECT_EQ(run(withName("notify", {"item", "insert", "1"})), (Answer{0, "", ""}));
  watch.waitForOutput("row 1\n");
}

TEST_F(ToolWatchWithoutServer, SaysThatNoNotificationServerRuns) {
  EXPECT_EQ(run(withName("watch", {"item"})),
            (Answer{1, "",
                    "orvdb: cannot watch " + std::string(db()) +
                        ".item: no notification server is running: start orvdb_server\n"}));
}

TEST_F(ToolWatchWithoutServer, NotifySaysThatNoNotificationServerRuns) {
  EXPECT_EQ(run(withName("notify", {"item", "all"})),
            (Answer{1, "",
                    "orvdb: cannot announce a change of " + std::string(db()) +
                        ".item: no notification server is running: start orvdb_server\n"}));
}

}  // namespace
