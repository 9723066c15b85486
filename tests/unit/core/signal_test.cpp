// An application's signals stay the application's.
#include <gtest/gtest.h>
#include <orvdb_client.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <iostream>

#include "support/child_program.h"
#include "support/notification_peer.h"

namespace {

// The library's thread was there before the program blocked the signals, so it has not inherited the block.
CHILD_PROGRAM(ReadsItsSignalsFromADescriptor) {
  sigset_t own;
  sigemptyset(&own);
  for (const int signal : {SIGTERM, SIGINT, SIGHUP, SIGUSR1, SIGRTMIN})
    sigaddset(&own, signal);
  if (sigprocmask(SIG_BLOCK, &own, nullptr) != 0) return 1;
  const int descriptor = signalfd(-1, &own, SFD_CLOEXEC);
  for (const int signal : {SIGTERM, SIGINT, SIGHUP, SIGUSR1, SIGRTMIN}) {
    signalfd_siginfo info{};
    if (kill(getpid(), signal) != 0) return 2;
    if (read(descriptor, &info, sizeof info) != sizeof info) return 3;
    if (info.ssi_signo != static_cast<unsigned int>(signal)) return 4;
  }
  return orv_db_notify_change("d", "t", ORV_DB_ACTION_INSERT, 1);
}

}  // namespace

TEST(Signals, ReachAProgramThatReadsThemFromADescriptor) {
  NotificationPeer peer;
  EXPECT_EQ(run(ReadsItsSignalsFromADescriptor), exited(0));
  EXPECT_EQ(peer.remainingRecords(), (std::vector{PeerRecord{0, changeRecord("d", "t", 1, 1)}}));
}
