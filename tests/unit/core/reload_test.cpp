// A program that loads and unloads the library, again and again.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>

#include "support/child_program.h"
#include "support/notification_peer.h"

// There only in a program with a sanitizer.
extern "C" __attribute__((weak)) size_t __sanitizer_get_current_allocated_bytes();

namespace {

using RetryInit = int (*)();

std::ptrdiff_t entriesOf(const char *folder) {
  return std::distance(std::filesystem::directory_iterator(folder), std::filesystem::directory_iterator());
}

std::size_t heapBytes() {
  return __sanitizer_get_current_allocated_bytes != nullptr ? __sanitizer_get_current_allocated_bytes()
                                                            : mallinfo2().uordblks;
}

std::ptrdiff_t mappings() {
  std::ifstream maps("/proc/self/maps");
  return static_cast<std::ptrdiff_t>(std::count(std::istreambuf_iterator<char>(maps), {}, '\n'));
}

// What each round might leave behind.
struct Footprint {
  std::ptrdiff_t threads = entriesOf("/proc/self/task");
  std::ptrdiff_t descriptors = entriesOf("/proc/self/fd");
  std::ptrdiff_t memoryMappings = mappings();
  std::size_t heap = heapBytes();
};

void loadOnce() {
  void *library = dlopen(ORVDB_CLIENT_LIBRARY, RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(library, nullptr) << dlerror();
  const auto retryInit = reinterpret_cast<RetryInit>(dlsym(library, "orv_db_retry_init"));
  ASSERT_NE(retryInit, nullptr) << dlerror();
  EXPECT_EQ(retryInit(), 0);
  EXPECT_EQ(dlclose(library), 0);
}

CHILD_PROGRAM(LoadsAndUnloads) {
  constexpr int kRounds = 1000;
  constexpr std::size_t kHeapTolerance = 16 * 1024;
  constexpr std::ptrdiff_t kMappingTolerance = 8;
  // A sanitizer has its own thread once there is any.
  std::thread([] {}).join();
  const Footprint before;
  loadOnce();
  const Footprint first;
  EXPECT_EQ(first.threads, before.threads + 1);
  for (int round = 1; round < kRounds; ++round)
    loadOnce();
  const Footprint last;
  EXPECT_EQ(last.threads, first.threads);
  EXPECT_EQ(last.descriptors, first.descriptors);
  EXPECT_LE(last.memoryMappings, first.memoryMappings + kMappingTolerance);
  EXPECT_LE(last.heap, first.heap + kHeapTolerance);
  return 0;
}

}  // namespace

TEST(Reload, AThousandTimesLeavesOneThreadAndOneConnectionAndNoGrowth) {
  NotificationPeer peer;
  EXPECT_EQ(run(LoadsAndUnloads), exited(0));
  EXPECT_EQ(peer.connectionCount(), 1);
  EXPECT_TRUE(peer.isClosed(0));
}
