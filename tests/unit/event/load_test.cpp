// The library as a plug-in loads it, through its shared object; this program is not linked with it.
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/notification_peer.h"

namespace {

void loadAndUnload() {
  void *library = dlopen(ORVDB_CLIENT_LIBRARY, RTLD_NOW);
  ASSERT_NE(library, nullptr) << dlerror();
  ASSERT_EQ(dlclose(library), 0);
}

// Its thread is never joined, so its code stays mapped.
TEST(LibraryLoad, ThatIsTakenBackLeavesTheClientWorking) {
  NotificationPeer peer;
  loadAndUnload();
  void *library = dlopen(ORVDB_CLIENT_LIBRARY, RTLD_NOW | RTLD_NOLOAD);
  ASSERT_NE(library, nullptr) << "the library has been unmapped";
  using notify_change = int (*)(const char *, const char *, int, unsigned long long);
  const auto notify = reinterpret_cast<notify_change>(dlsym(library, "orv_db_notify_change"));
  ASSERT_NE(notify, nullptr);
  ASSERT_EQ(dlclose(library), 0);
  EXPECT_EQ(notify("d", "t", 1, 7), 0);
  EXPECT_THAT(peer.remainingRecords(), ::testing::ElementsAre(PeerRecord{0, changeRecord("d", "t", 1, 7)}));
}

}  // namespace
