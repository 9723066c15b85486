// Threads with a connection each, all at work at once: what one call takes of the time of all of them together.
#include <chrono>
#include <stdexcept>
#include <thread>

#include "curves.h"
#include "items/item_store.h"
#include "items/read_all.h"

namespace {

constexpr std::size_t kMostThreads = 8;
constexpr std::size_t kCalls = 50;

using Stores = std::vector<std::unique_ptr<ItemStore>>;
using Call = void (*)(ItemStore &store);

void insertOne(ItemStore &store) { store.insert({}); }

void readOne(ItemStore &store) {
  if (readAll(*store.selectOne(1)) == 0) std::terminate();
}

double secondsPerCall(const Stores &stores, std::size_t threadCount, Call call) {
  const auto begin = std::chrono::steady_clock::now();
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < threadCount; ++i) {
    threads.emplace_back([&store = *stores[i], call] {
      unpinThread();
      for (std::size_t done = 0; done < kCalls; ++done)
        call(store);
    });
  }
  for (std::thread &thread : threads)
    thread.join();
  const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - begin;
  return passed.count() / static_cast<double>(threadCount * kCalls);
}

}  // namespace

void measureThreads(Bench &bench, Ground &ground) {
  Stores library;
  Stores reference;
  for (std::size_t i = 0; i < kMostThreads; ++i) {
    library.push_back(openWithLibrary(ground.server, ground.db));
    reference.push_back(openReference(ground.server, ground.db, &ground.listener.socket()));
  }
  const auto measure = [&](const std::string &work, Call call) {
    for (std::size_t count = 1; count <= kMostThreads; count *= 2)
      bench.compareValues(
          pointOf(work, "threads", count, "as many threads by hand"),
          [&] { return secondsPerCall(library, count, call); }, [&] { return secondsPerCall(reference, count, call); });
  };
  measure("insert of 5 columns", insertOne);
  measure("query of 1 row", readOne);
}
