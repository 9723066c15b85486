// A forked child has a client of its own; the parent's goes on as if nothing had happened.
#include <sys/stat.h>

#include <atomic>
#include <filesystem>
#include <set>
#include <thread>

#include "event_mgr_access.h"
#include "event_support.h"
#include "forked_child.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;

// What an open descriptor refers to.
using FileId = std::pair<dev_t, ino_t>;

FileId fileId(int fd) {
  struct stat status {};
  fstat(fd, &status);
  return {status.st_dev, status.st_ino};
}

std::set<FileId> openFiles() {
  std::set<FileId> all;
  for (const auto &entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    all.insert(fileId(std::stoi(entry.path().filename())));
  }
  return all;
}

using ForkedChild = NotificationClient;

TEST_F(ForkedChild, AnnouncesOnAConnectionOfItsOwn) {
  const pid_t child = startChecks([] { EXPECT_EQ(notifyItems(5), 0); });
  EXPECT_EQ(peer.waitForConnection(1), child);
  EXPECT_THAT(peer.waitForRecords(1), ElementsAre(PeerRecord{1, itemsChange(1, 5)}));
  EXPECT_EQ(waitFor(child), exited(0));
  EXPECT_THAT(peer.waitForClose(1), IsEmpty());

  EXPECT_FALSE(peer.isClosed(0));
  EXPECT_EQ(notifyItems(6), 0);
  EXPECT_THAT(peer.waitForRecords(1), ElementsAre(PeerRecord{0, itemsChange(1, 6)}));
}

TEST_F(ForkedChild, KeepsNoDescriptorOfTheParents) {
  const std::set<FileId> parents{fileId(EventMgr::socket()), fileId(EventMgr::exitPipe(0))};
  ASSERT_THAT(openFiles(), ::testing::IsSupersetOf(parents));
  const pid_t child = startChecks([&] {
    for (const FileId &file : parents)
      EXPECT_THAT(openFiles(), Not(::testing::Contains(file)));
  });
  EXPECT_EQ(waitFor(child), exited(0));
}

TEST_F(ForkedChild, HasNoRegistrationsButThoseItMakesItself) {
  ASSERT_EQ(registerItems(1, f), 0);
  recordsSent();
  const pid_t child = startChecks([] {
    EXPECT_THAT(EventMgr::registry(), IsEmpty());
    EXPECT_EQ(orv_db_register_callback("own", "own", ORV_DB_ACTION_ALL, nullptr, 3, g), 0);
    EXPECT_EQ(notifyItems(), 0);  // tells the parent that the registration has been made
    EXPECT_THAT(callLog().waitFor(1), ElementsAre(Call{'g', "own", "own", 2, 2}));
  });
  EXPECT_EQ(peer.waitForConnection(1), child);
  EXPECT_THAT(peer.waitForRecords(2),
              ElementsAre(PeerRecord{1, registerRecord("own", "own", 7, 3)}, PeerRecord{1, itemsChange(1, 0)}));
  peer.sendRecord(1, itemsChange(1, 1));
  peer.sendChange(1, "own", "own", 2, 2);
  EXPECT_EQ(waitFor(child), exited(0));

  EXPECT_THAT(callsFor({changeRecord("own", "own", 2, 2), itemsChange(1, 3)}),
              ElementsAre(Call{'f', kDb, kTable, 1, 3}));
}

TEST_F(ForkedChild, HasFreshLocksAndAbandonsTheOldOnes) {
  const EventMgr::Locks parents;
  const pid_t child = startChecks([&] {
    const EventMgr::Locks own;
    EXPECT_NE(own.run, parents.run);
    EXPECT_NE(own.reg, parents.reg);
    EXPECT_NE(own.map, parents.map);
    EXPECT_NE(own.sock, parents.sock);
    EXPECT_FALSE(EventMgr::isHeld(own.run) || EventMgr::isHeld(own.reg) || EventMgr::isHeld(own.map));
    EXPECT_TRUE(EventMgr::isHeld(parents.run) && EventMgr::isHeld(parents.reg) && EventMgr::isHeld(parents.map) &&
                EventMgr::isHeld(parents.sock));
  });
  EXPECT_EQ(waitFor(child), exited(0));
  EXPECT_FALSE(EventMgr::isHeld(parents.run) || EventMgr::isHeld(parents.reg) || EventMgr::isHeld(parents.map) ||
               EventMgr::isHeld(parents.sock));
}

TEST_F(ForkedChild, HasAChildWithAConnectionOfItsOwn) {
  const pid_t child = startChecks([] {
    const pid_t grandchild = startChecks([] { EXPECT_EQ(notifyItems(2), 0); });
    EXPECT_EQ(waitFor(grandchild), exited(0));
    EXPECT_EQ(notifyItems(1), 0);
  });
  EXPECT_EQ(peer.waitForConnection(1), child);
  EXPECT_NE(peer.waitForConnection(2), child);
  EXPECT_EQ(waitFor(child), exited(0));
  EXPECT_THAT(peer.remainingRecords(),
              ::testing::UnorderedElementsAre(PeerRecord{1, itemsChange(1, 1)}, PeerRecord{2, itemsChange(1, 2)}));
}

TEST_F(ForkedChild, ConnectsLaterWhenTheServerWasDownAtTheFork) {
  ASSERT_EQ(registerItems(1, f), 0);
  peer.stop();
  waitUntilRecovering();
  recordsSent();
  int seen[2];
  ASSERT_EQ(pipe(seen), 0);
  const pid_t child = startChecks([&] {
    EXPECT_TRUE(EventMgr::needsInit());
    EXPECT_EQ(notifyItems(), 12);
    EXPECT_EQ(registerItems(1, f), 12);
    // The start of the parent's client succeeded once, so it counts as in place here, too.
    EXPECT_EQ(orv_db_retry_init(), 0);
    EXPECT_EQ(write(seen[1], "", 1), 1);
    EXPECT_TRUE(waitUntil([] { return notifyItems(9) == 0; }));
    EXPECT_EQ(registerItems(1, f), 0);
  });
  char byte = 0;
  ASSERT_EQ(read(seen[0], &byte, 1), 1);
  peer.restart();
  EXPECT_EQ(waitFor(child), exited(0));
  // The child's announcement and registration, the parent's two registrations.
  std::vector<RecordBytes> childs;
  for (const PeerRecord &one : peer.waitForRecords(4)) {
    if (peer.waitForConnection(one.connection) == child) childs.push_back(one.bytes);
  }
  EXPECT_THAT(childs, ElementsAre(itemsChange(1, 9), registerRecord(kDb, kTable, 1, 0)));
}

TEST_F(ForkedChild, WorksAtAnyMomentOfOtherThreadsWork) {
  std::atomic<bool> enough{false};
  std::vector<std::thread> threads(2);
  for (std::thread &thread : threads) {
    thread = std::thread([&enough] {
      while (!enough) {
        EXPECT_EQ(registerItems(1, f), 0);
        EXPECT_EQ(notifyItems(), 0);
        EXPECT_EQ(cancelItems(1), 0);
      }
    });
  }
  for (int i = 0; i < 30; ++i) {
    const pid_t child = startChecks([] {
      EXPECT_EQ(notifyItems(), 0);
      EXPECT_EQ(registerItems(1, f), 0);
      EXPECT_EQ(cancelItems(1), 0);
    });
    EXPECT_EQ(waitFor(child), exited(0));
  }
  enough = true;
  for (std::thread &thread : threads)
    thread.join();
  EXPECT_EQ(peer.connectionCount(), 31);
}

}  // namespace
