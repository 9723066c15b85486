// The library as a plug-in loads it, through its shared object; this program is not linked with it.
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <thread>

#include "support/notification_peer.h"

namespace {

std::size_t entries(const char *folder) {
  std::size_t count = 0;
  for ([[maybe_unused]] const auto &entry : std::filesystem::directory_iterator(folder))
    ++count;
  return count;
}

std::size_t threads() { return entries("/proc/self/task"); }
std::size_t descriptors() { return entries("/proc/self/fd"); }
std::size_t mappings() {
  std::ifstream file("/proc/self/maps");
  std::size_t count = 0;
  for (std::string line; std::getline(file, line);)
    count += line.find("liborvdb_client") == std::string::npos ? 0U : 1U;
  return count;
}
std::size_t residentKilobytes() {
  std::ifstream file("/proc/self/statm");
  std::size_t pages = 0;
  file >> pages >> pages;
  return pages * 4;
}

void loadAndUnload() {
  void *library = dlopen(ORVDB_CLIENT_LIBRARY, RTLD_NOW);
  ASSERT_NE(library, nullptr) << dlerror();
  ASSERT_EQ(dlclose(library), 0);
}

// Its thread is never joined, so its code stays mapped.
TEST(LibraryLoad, AThousandTimesLeavesOneThreadAndOneConnectionAndGrowsNothing) {
  NotificationPeer peer;
  std::thread([] {}).join();  // with the first thread, ThreadSanitizer starts one of its own
  const std::size_t threadsBefore = threads();
  loadAndUnload();
  peer.waitForConnection(0);
  const std::size_t descriptorsLoaded = descriptors();
  const std::size_t mappingsLoaded = mappings();
  ASSERT_GT(mappingsLoaded, 0U);
  for (int i = 0; i < 500; ++i)
    loadAndUnload();
  const std::size_t memory = residentKilobytes();
  for (int i = 0; i < 499; ++i)
    loadAndUnload();

  EXPECT_EQ(threads(), threadsBefore + 1);
  EXPECT_EQ(peer.connectionCount(), 1);
  EXPECT_FALSE(peer.isClosed(0));
  EXPECT_EQ(descriptors(), descriptorsLoaded);
  EXPECT_EQ(mappings(), mappingsLoaded);
  constexpr std::size_t kNoise = 8192;
  EXPECT_LT(residentKilobytes(), memory + kNoise);
}

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
