#include "fault/system_calls/life.h"

#include <sys/ioctl.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <thread>

#include "fault/system_calls/failing_calls.h"

namespace {

constexpr int kDescriptorsOfAClient = 3;  // its socket and both ends of its pipe

// Fallen where it has no consequence, a fault goes unnoticed.
Fault withConsequence(Fault fault, int nth) {
  if (fault.occurrences != 0 && nth > fault.occurrences) fault.consequence = Fault::unnoticed;
  return fault;
}

bool isTorn(const Fault &fault) { return fault.error != 0 && fault.bytes != kWholly; }

}  // namespace

std::size_t openDescriptors() {
  const std::filesystem::directory_iterator entries("/proc/self/fd");
  return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

Life::Life(const Fault &fault, int nth)
    : fault_(withConsequence(fault, nth)),
      effect_([this]() -> Effect {
        switch (fault_.consequence) {
          case Fault::startFails:
            return {1, 0, 0};
          case Fault::sendingFails:
            return {0, 13, 13};
          case Fault::connectionIsLost:
            return {0, 12, 0};
          case Fault::waitEnds:
            return {0, 7, 0};
          default:
            return {0, 0, 0};
        }
      }()),
      cutsStream_(fault_.consequence == Fault::sendingFails && isTorn(fault_)),
      descriptorsBefore_(openDescriptors()) {
  planFault(fault, nth);
}

void Life::live() {
  start();
  registerTable(kTable);
  registerTable("other");
  cancelTable("other");
  announce();
  hearOfAChange();
  loseConnection();
  hearOfAChange();
  registerTable("control");
  announce();
  hearOfAChange();
  expectNothingLeftOver();
}

// A start that failed leaves nothing open, and the next announcement repeats it.
void Life::start() {
  const int status = inLibrary(orv_db_retry_init);
  settle();
  EXPECT_EQ(status, fallsHere() ? effect_.start : 0);
  if (status != 0) {
    EXPECT_FALSE(EventMgr::running());
    EXPECT_EQ(openDescriptors(), descriptorsBefore_);
    EXPECT_EQ(inLibrary([] { return notifyItems(); }), 0);
    EXPECT_EQ(inLibrary(orv_db_retry_init), 0);
    settle();
  }
  connection_ = peer_.connectionCount() - 1;
  recover();
}

void Life::registerTable(const std::string &table) {
  call([&] { return registration(table); }, effect_.registration);
}

// Where it fails, the entry is gone all the same, and there is nothing to cancel any more.
void Life::cancelTable(const std::string &table) {
  call([&] { return inLibrary([&] { return orv_db_cancel_callback(kDb, table.c_str(), ORV_DB_ACTION_ALL); }); },
       effect_.sending);
}

void Life::announce() {
  const unsigned long long rowId = ++rowId_;
  call([&] { return inLibrary([&] { return notifyItems(rowId); }); }, effect_.sending);
  if (ended_) return;
  const RecordBytes expected = itemsChange(ORV_DB_ACTION_INSERT, rowId);
  for (const PeerRecord &record : peer_.remainingRecords())
    heard_.push_back(record);
  EXPECT_THAT(bytesOf(heard_), ::testing::Contains(expected));
}

template <class Call>
void Life::call(Call call, int statusAtFault) {
  const bool wasEnded = ended_;
  const int status = call();
  settle();
  if (wasEnded) {
    EXPECT_EQ(status, 12);
    return;
  }
  EXPECT_EQ(status, fallsHere() ? statusAtFault : 0);
  recover();
  if (status != 0) {
    EXPECT_EQ(call(), 0);
    settle();
  }
}

// The reply is sent when the client waits for it: the wait is one of the calls that may go wrong.
int Life::registration(const std::string &table) {
  forgetAwaitedReply();
  peer_.remainingRecords();
  peer_.answerRegistrations(Answer::silence);
  std::atomic<bool> returned{false};
  std::thread server([&] {
    waitUntil([&] { return replyIsAwaited() || returned; });
    if (!replyIsAwaited()) return;
    peer_.sendRecord(connection_, acceptance(peer_.waitForRecords(1).at(0).bytes));
  });
  const int status =
      inLibrary([&] { return orv_db_register_callback(kDb, table.c_str(), ORV_DB_ACTION_ALL, nullptr, 0, f); });
  returned = true;
  server.join();
  peer_.answerRegistrations(Answer::accept);
  EXPECT_EQ(EventMgr::registeredActions(kDb, table.c_str()), status == 0 ? ORV_DB_ACTION_ALL : 0);
  return status;
}

// What was on its way when the connection was lost is lost with it.
void Life::hearOfAChange() {
  if (ended_) return;
  const bool arrived = changeArrives();
  const bool lost = fallsHere() && fault_.consequence == Fault::connectionIsLost;
  EXPECT_EQ(arrived, !lost);
  recover();
  if (!lost) return;
  EXPECT_TRUE(changeArrives());
}

bool Life::changeArrives() {
  const unsigned long long rowId = ++rowId_;
  peer_.sendRecord(connection_, itemsChange(ORV_DB_ACTION_UPDATE, rowId));
  settle();
  const std::vector<Call> calls = callLog().waitFor(0);
  if (calls.empty()) return false;
  EXPECT_THAT(calls, ::testing::ElementsAre(Call{'f', kDb, kTable, ORV_DB_ACTION_UPDATE, rowId}));
  return true;
}

// A replay that could not be written whole leaves the new connection in use until it is lost, too.
void Life::loseConnection() {
  if (ended_) return;
  peer_.closeConnection(connection_);
  awaitConnection(connection_ + 1);
  const bool replayFailed = fallsHere() && fault_.consequence == Fault::sendingFails;
  recover();
  if (!replayFailed || cutsStream_) return;
  peer_.closeConnection(connection_);
  awaitConnection(connection_ + 1);
}

void Life::expectNothingLeftOver() const {
  EXPECT_EQ(openDescriptors(), descriptorsBefore_ + kDescriptorsOfAClient);
  EXPECT_TRUE(waitUntil([this] { return clientThreads() == (ended_ ? 0 : 1); }));
}

// The message thread has dealt with everything that has been sent to it, or has ended.
void Life::settle() const {
  const auto rests = [] {
    if (!EventMgr::running()) return EventMgr::exitPipe(0) < 0 || EventMgr::exitMarkIsThere();
    const PollState before = pollState();
    int unread = 0;
    if (ioctl(EventMgr::socket(), FIONREAD, &unread) != 0 || unread != 0) return false;
    const PollState after = pollState();
    return before.inside && after.inside && before.calls == after.calls;
  };
  ASSERT_TRUE(waitUntil(rests));
}

// Every registration has been repeated, unless that is where the fault fell.
bool Life::isReconnected(int connection) {
  if (!EventMgr::running()) return true;
  if (!fallen_ && faultHasFallen() && fault_.consequence == Fault::sendingFails) return true;
  for (const PeerRecord &record : peer_.remainingRecords())
    heard_.push_back(record);
  const auto repeated = std::count_if(heard_.begin(), heard_.end(), [=](const PeerRecord &record) {
    return record.connection == connection && record.message().type == MSG_REGISTER;
  });
  return static_cast<std::size_t>(repeated) >= EventMgr::registry().size();
}

void Life::awaitConnection(int connection) {
  peer_.waitForConnection(connection);
  ASSERT_TRUE(waitUntil([&] { return isReconnected(connection); }));
  settle();
  connection_ = peer_.connectionCount() - 1;
  if (connection_ != connection) awaitConnection(connection_);
}

// Whether the fault has fallen since the last step.
bool Life::fallsHere() { return faultHasFallen() && !fallen_; }

// What a fault in this step leaves to be done.
void Life::recover() {
  if (!fallsHere()) return;
  fallen_ = true;
  if (fault_.consequence == Fault::threadEnds) {
    ended_ = true;
    EXPECT_FALSE(EventMgr::running());
    return;
  }
  if (cutsStream_) peer_.closeConnection(connection_);
  if (cutsStream_ || fault_.consequence == Fault::connectionIsLost) {
    // It may be there already.
    awaitConnection(std::max(connection_ + (cutsStream_ ? 1 : 0), peer_.connectionCount() - 1));
  }
}
