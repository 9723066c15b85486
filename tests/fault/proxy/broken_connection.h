// Conversations over connections that break, and the judgement of what came of them.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <mutex>
#include <ostream>
#include <string>
#include <tuple>
#include <vector>

#include "fault/proxy/conversation.h"
#include "fault/proxy/tcp_proxy.h"
#include "support/connected_peer.h"
#include "support/handle.h"
#include "support/watchdog.h"

struct FaultName {
  Fault fault;
  const char *name;
};
std::ostream &operator<<(std::ostream &out, const FaultName &fault);

// In place of a status, where there was no handle.
constexpr int kNotOpened = -1;

// What came of breaking one direction.
struct Figures {
  std::map<int, int> statuses;
  int broken = 0;
  int lostCommits = 0;  // the documented exception
  int failedAfterwards = 0;
  double longest = 0;
};
std::ostream &operator<<(std::ostream &out, const Figures &figures);

class BrokenConnection : public DatabaseTest, public testing::WithParamInterface<std::tuple<Conversation, FaultName>> {
 public:
  const Conversation &conversation() const { return std::get<0>(GetParam()); }
  Fault fault() const { return std::get<1>(GetParam()).fault; }
  Handle open(const TcpProxy &proxy) const;
  RunNumber nextRun() { return nextRun_++; }

  // What happened in one run, on any thread.
  void count(const Plan &plan, const Outcome &outcome, int failedAfterwards, double seconds, bool hasBroken);
  void countLostCommit() { ++lostCommits_; }

 protected:
  void SetUp() override;

  // What is said when nothing breaks.
  std::string rehearse(Direction direction);
  // In each of the places, with so many threads at once.
  const Figures &breakAt(Direction direction, const std::vector<std::size_t> &places, int threadCount);

  // Being broken never makes the client library repeat what has been done.
  void expectNothingWrittenTwice();
  void expectAnnouncements();

 private:
  void note(const Outcome &outcome);

  ConnectedPeer peer_;
  std::atomic<RunNumber> nextRun_{kFirstRun};
  std::atomic<int> lostCommits_{0};
  std::mutex mutex_;
  std::map<Direction, Figures> figures_;
  int leastAnnouncements_ = 0;
  int mostAnnouncements_ = 0;
};

// Breaks one connection after the other, on one thread.
class BreakingThread {
 public:
  BreakingThread(BrokenConnection &test, Watchdog &watchdog, const std::string &name);

  void run(const Plan &plan);

 private:
  void judge(const Plan &plan, RunNumber run, const Outcome &outcome);
  void judgeSuccess(RunNumber run, const Outcome &outcome);
  int useAfterwards(_orv_db_handle_t *handle, RunNumber run, Fault fault);

  BrokenConnection &test_;
  TcpProxy proxy_;
  AdminConnection admin_;
  WatchedThread here_;
};
