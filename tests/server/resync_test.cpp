// Whom orvdb_server tells, with row id 0, that changes may have been missed. This process is older than its server,
// children are younger.
#include <signal.h>
#include <time.h>
#include <unistd.h>

#include <iostream>
#include <iterator>
#include <regex>

#include "server/process_state.h"
#include "server/server_fixture.h"
#include "support/child_program.h"

namespace {

constexpr std::uint8_t kInsert = 1;
constexpr std::uint8_t kAll = 7;

std::vector<RecordBytes> wholeTable(const std::string &table, std::uint8_t actions) {
  std::vector<RecordBytes> records;
  for (unsigned int bit = 1; bit <= 0x80; bit <<= 1) {
    if ((actions & bit) != 0) records.push_back(changeRecord("shop", table, static_cast<std::uint8_t>(bit), 0));
  }
  return records;
}

void expectRecords(ServerClient &client, const std::vector<RecordBytes> &records) {
  for (const RecordBytes &record : records)
    EXPECT_EQ(client.receive(), record);
}

void registerAndBeTold(ServerClient &client, const std::string &table, std::uint8_t actions) {
  client.registerFor("shop", table, actions);
  expectRecords(client, wholeTable(table, actions));
}

// --- what young processes do -----------------------------------------------------------------------------------------

// Expects to hear of one change, and of nothing before it.
CHILD_PROGRAM(HearsOneChange) {
  ServerClient client(arguments.at(0));
  client.registerFor("shop", "articles", kAll);
  std::cout << "registered" << std::endl;
  EXPECT_EQ(client.receive(), changeRecord("shop", "articles", kInsert, 5));
  return 0;
}

// Stays until it is answered: a process that is gone when the server looks at it counts as old.
CHILD_PROGRAM(Announces) {
  ServerClient client(arguments.at(0));
  client.registerFor("shop", "nothing", kInsert);
  client.send(changeRecord("shop", "articles", kInsert, 5));
  return 0;
}

CHILD_PROGRAM(RegistersAndIsTold) {
  ServerClient client(arguments.at(0));
  registerAndBeTold(client, "articles", kAll);
  return 0;
}

// Expects to be told of two tables, twice, without anything that it does itself.
CHILD_PROGRAM(WaitsToBeToldTwice) {
  ServerClient client(arguments.at(0));
  client.registerFor("shop", "articles", kAll);
  client.registerFor("shop", "prices", 0x82);
  std::cout << "registered" << std::endl;
  for (int i = 0; i < 2; ++i) {
    expectRecords(client, wholeTable("articles", kAll));
    expectRecords(client, wholeTable("prices", 0x82));
  }
  return 0;
}

CHILD_PROGRAM(IsCutAndTold) {
  ServerClient first(arguments.at(0));
  first.send(record(9, 0, "shop", "articles", kInsert, 0));
  first.waitForEnd();
  ServerClient second(arguments.at(0));
  registerAndBeTold(second, "articles", kAll);
  return 0;
}

// The only connection that its user may have is its own, so the second one is refused.
CHILD_PROGRAM(IsRefusedAndTold) {
  ServerClient first(arguments.at(0));
  first.registerFor("shop", "articles", kAll);
  ServerClient(arguments.at(0)).waitForEnd();
  first.close();
  const auto comesBack = [&] {
    try {
      ServerClient next(arguments.at(0));
      registerAndBeTold(next, "articles", kAll);
      return true;
    } catch (const std::exception &) {  // the end of the first connection has not been seen yet
      return false;
    }
  };
  EXPECT_TRUE(waitUntil(comesBack));
  return 0;
}

// ----------------------------------------------------------------------------------------------------------------------

struct Resyncs {
  std::uint64_t done;
  std::uint64_t scheduled;  // those that come with time alone, 2, 4, 8 ... seconds after the start

  bool operator>(const Resyncs &other) const { return done + other.scheduled > other.done + scheduled; }
};

// The moment as it is written down for a process that starts now.
std::uint64_t ticksNow() {
  timespec now{};
  clock_gettime(CLOCK_BOOTTIME, &now);
  const auto ticks = static_cast<std::uint64_t>(sysconf(_SC_CLK_TCK));
  return static_cast<std::uint64_t>(now.tv_sec) * ticks +
         static_cast<std::uint64_t>(now.tv_nsec) * ticks / 1'000'000'000;
}

// Processes that start later are younger than a server that listens now.
void waitForNextTick() {
  const std::uint64_t now = ticksNow();
  ASSERT_TRUE(waitUntil([now] { return ticksNow() > now; }));
}

class ResyncAuto : public ServerTest {
 protected:
  explicit ResyncAuto(const std::vector<std::string> &options = {}) : ServerTest(options) { waitForNextTick(); }

  std::uint64_t status(const std::string &name) const { return report().at(name); }

  Resyncs resyncs() const {
    const nlohmann::json found = report();
    Resyncs resyncs{found.at("resyncs"), 0};
    for (std::uint64_t second = 2; second <= found.at("uptime_seconds"); second *= 2)
      ++resyncs.scheduled;
    return resyncs;
  }

  // Sees `connect` make a connection that is the reason for a resync. It is made again when the resync has come at the
  // same moment as a scheduled one.
  template <typename Connect>
  void connectAndAwaitResync(Connect connect) {
    const Resyncs before = resyncs();
    EXPECT_TRUE(waitUntil([&] {
      const std::uint64_t done = resyncs().done;
      connect();
      EXPECT_TRUE(waitUntil([this, done] { return resyncs().done > done; }));
      return resyncs() > before;
    }));
  }
  void connectOldProcess() {
    connectAndAwaitResync([this] { connectClient().registerFor("shop", "nothing", kInsert); });
  }

  ProgramArguments path() const { return {socketPath()}; }
};

TEST_F(ResyncAuto, OldProcessIsToldOfEachRegisteredActionAfterTheAcknowledgement) {
  ServerClient client = connectClient();
  registerAndBeTold(client, "articles", 0xff);
}

TEST_F(ResyncAuto, OldProcessIsToldOfTheRegisteredKeyAndActionsAlone) {
  ServerClient client = connectClient();
  registerAndBeTold(client, "articles", 5);
  registerAndBeTold(client, "prices", 2);
}

TEST_F(ResyncAuto, EveryConnectionIsToldWhenAnOldProcessConnects) {
  ServerClient first = connectClient();
  registerAndBeTold(first, "articles", 3);
  registerAndBeTold(first, "prices", 0x84);
  for (int i = 0; i < 2; ++i) {
    connectOldProcess();
    expectRecords(first, wholeTable("articles", 3));
    expectRecords(first, wholeTable("prices", 0x84));
  }
}

TEST_F(ResyncAuto, YoungProcessesAreToldWhenAnOldOneConnects) {
  ChildProgram reader(WaitsToBeToldTwice, path());
  reader.waitForOutput("registered");
  connectOldProcess();
  connectOldProcess();
  EXPECT_EQ(reader.wait(), exited(0)) << reader.output();
}

TEST_F(ResyncAuto, EveryConnectionIsToldTwoAndFourSecondsAfterTheStart) {
  ChildProgram reader(WaitsToBeToldTwice, path());
  EXPECT_EQ(reader.wait(), exited(0)) << reader.output();
  const Resyncs now = resyncs();
  EXPECT_GE(now.done, 2U);
  EXPECT_LE(now.done, now.scheduled);
}

// Should a scheduled sweep come in between, nothing is learnt: then once more. The pauses between them grow.
TEST_F(ResyncAuto, YoungProcessIsNotToldWhenItRegisters) {
  Ending ending{};
  EXPECT_TRUE(waitUntil([&] {
    const Resyncs before = resyncs();
    ChildProgram reader(HearsOneChange, path());
    reader.waitForOutput("registered");
    EXPECT_EQ(run(Announces, path()), exited(0));
    ending = reader.wait();
    return before.done == before.scheduled && resyncs().scheduled == before.scheduled;
  }));
  EXPECT_EQ(ending, exited(0));
}

TEST_F(ResyncAuto, NobodyIsToldWhenAYoungProcessConnects) {
  // The sweep that a connection asks for comes with the next look at the clock: there are many in four seconds.
  while (resyncs().done < 2) {
    ASSERT_EQ(run(Announces, path()), exited(0));
  }
  const Resyncs now = resyncs();
  EXPECT_LE(now.done, now.scheduled);
  // The counter counts: an old process makes the difference.
  connectOldProcess();
}

TEST_F(ResyncAuto, ProcessWhoseConnectionWasCutCountsAsOld) {
  connectAndAwaitResync([this] { EXPECT_EQ(run(IsCutAndTold, path()), exited(0)); });
}

// Whoever waited meanwhile, and what it had registered, was not known to the passes by which changes were fanned out.
TEST_F(ResyncAuto, EverybodyIsToldAfterAPauseInWhichNobodyCouldBeAccepted) {
  ASSERT_EQ(run(Announces, path()), exited(0));
  const Resyncs now = resyncs();
  ASSERT_LE(now.done, now.scheduled) << "who comes is young, and no reason";
  connectAndAwaitResync([this] {
    const auto complaints = [this] {
      const std::string output = server_.output();
      const std::regex complaint("can't accept connections: ");
      return std::distance(std::sregex_iterator(output.begin(), output.end(), complaint), std::sregex_iterator());
    };
    const auto before = complaints();
    limitDescriptors(server_.pid(), 3);
    ChildProgram caller(Announces, path());
    EXPECT_TRUE(waitUntil([&] { return complaints() > before; }));
    limitDescriptors(server_.pid(), 1000);
    EXPECT_EQ(caller.wait(), exited(0));
  });
}

class ResyncRefused : public ResyncAuto {
 protected:
  ResyncRefused() : ResyncAuto({"--max-user-connections=1"}) {}
};

TEST_F(ResyncRefused, ProcessThatWasRefusedCountsAsOld) {
  connectAndAwaitResync([this] { EXPECT_EQ(run(IsRefusedAndTold, path()), exited(0)); });
}

class ResyncFewKeys : public ResyncAuto {
 protected:
  ResyncFewKeys() : ResyncAuto({"--max-connection-keys=1"}) {}
};

TEST_F(ResyncFewKeys, OldProcessIsToldOfAKeyThatIsOneTooMany) {
  ServerClient client = connectClient();
  registerAndBeTold(client, "articles", kAll);
  registerAndBeTold(client, "prices", 0x85);
}

// --- readers that do not read ----------------------------------------------------------------------------------------

class ResyncBlocked : public ResyncAuto {
 protected:
  ResyncBlocked() : ResyncAuto({"--queue-limit=28200"}) { registerAndBeTold(reader_, "articles", kAll); }

  // Returns once the changes are in the reader's queue or socket, or have been collapsed.
  void announce(std::uint64_t count) {
    const std::uint64_t wanted = handedOver() + count;
    for (std::uint64_t i = 0; i < count; ++i)
      writer_.send(changeRecord("shop", "articles", kInsert, ++announced_));
    ASSERT_TRUE(waitUntil([&] { return handedOver() >= wanted; }));
  }

  std::uint64_t handedOver() const { return status("records_out") + status("collapsed"); }

  // Announces inserts until some wait in the server, and returns the last row that the reader's socket has taken.
  std::uint64_t block() {
    constexpr std::uint64_t kRecordSize = sizeof(RecordBytes);
    std::uint64_t queued = 0;
    while ((queued = status("queued_bytes")) < 10 * kRecordSize)
      announce(20);
    return announced_ - queued / kRecordSize;
  }

  std::uint8_t takeWholeTable(const RecordBytes &record) {
    const std::uint8_t action = record[kAction];
    EXPECT_EQ(record, changeRecord("shop", "articles", action, 0));
    return action;
  }

  // Takes all rows up to this one, and returns the actions that were told of the whole table among them.
  std::uint8_t takeRowsUpTo(std::uint64_t row) {
    unsigned int told = 0;
    while (lastRow_ < row) {
      const RecordBytes next = reader_.receive();
      if (next == changeRecord("shop", "articles", kInsert, lastRow_ + 1)) {
        ++lastRow_;
      } else {
        told |= takeWholeTable(next);
      }
    }
    return static_cast<std::uint8_t>(told);
  }

  static constexpr std::size_t kAction = 132;  // its offset

  ServerClient writer_ = connectClient();
  ServerClient reader_ = connectClient();
  std::uint64_t announced_ = 0;
  std::uint64_t lastRow_ = 0;  // that the reader has got one by one
};

// What is told goes ahead of the queue.
TEST_F(ResyncBlocked, ReaderWithAQueueIsToldAndGetsItsQueueToo) {
  const std::uint64_t taken = block();
  ASSERT_EQ(status("overflows"), 0U);
  connectOldProcess();
  takeRowsUpTo(taken);
  EXPECT_EQ(takeRowsUpTo(announced_), kAll);
}

TEST_F(ResyncBlocked, ReaderWhoseQueueIsCollapsedIsToldOfActionsThatNobodyAnnounced) {
  const std::uint64_t taken = block();
  while (status("overflows") == 0)
    announce(20);
  connectOldProcess();
  takeRowsUpTo(taken);
  unsigned int told = takeWholeTable(reader_.receive());
  lastRow_ = announced_;
  announce(1);
  told |= takeRowsUpTo(announced_);
  EXPECT_EQ(told, kAll);
}

// --- without choice --------------------------------------------------------------------------------------------------

class ResyncAlways : public ResyncAuto {
 protected:
  ResyncAlways() : ResyncAuto({"--resync=always"}) {}
};

TEST_F(ResyncAlways, YoungProcessCountsAsOld) {
  connectAndAwaitResync([this] { EXPECT_EQ(run(RegistersAndIsTold, path()), exited(0)); });
}

class ResyncNever : public ResyncAuto {
 protected:
  ResyncNever() : ResyncAuto({"--resync=never"}) {}
};

TEST_F(ResyncNever, NobodyIsToldWhateverHappens) {
  ServerClient reader = connectClient();
  reader.registerFor("shop", "articles", kAll);
  ServerClient writer = connectClient();
  ASSERT_TRUE(waitUntil([this] { return resyncs().scheduled >= 2; }));
  writer.send(changeRecord("shop", "articles", kInsert, 5));
  EXPECT_EQ(reader.receive(), changeRecord("shop", "articles", kInsert, 5));
  EXPECT_EQ(resyncs().done, 0U);
}

}  // namespace
