// Waiting for a condition that another thread or process brings about: never a fixed sleep, always a deadline.
//
//   ASSERT_TRUE(waitUntil([&] { return called.load(); }));
#pragma once

#include <chrono>
#include <thread>

// Generous on purpose: a busy machine must not fail a test, and a test that passes never waits so long.
constexpr std::chrono::seconds kPatience{ORVDB_TEST_PATIENCE};

template <typename Condition>
bool waitUntil(Condition &&condition, std::chrono::steady_clock::duration patience = kPatience) {
  const auto deadline = std::chrono::steady_clock::now() + patience;
  while (!condition()) {
    if (std::chrono::steady_clock::now() >= deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}
