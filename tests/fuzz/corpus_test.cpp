// Plays what the fuzzers have found worth keeping.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "fuzz/targets.h"

namespace {

using Target = void (*)(const std::uint8_t *, std::size_t);

std::vector<std::uint8_t> contentsOf(const std::filesystem::path &path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

void playAll(const char *name, Target target) {
  std::size_t count = 0;
  for (const auto &entry : std::filesystem::directory_iterator(std::filesystem::path(ORVDB_FUZZ_CORPUS) / name)) {
    const std::vector<std::uint8_t> input = contentsOf(entry.path());
    EXPECT_NO_THROW(target(input.data(), input.size())) << entry.path();
    ++count;
  }
  EXPECT_GT(count, 10U);
}

TEST(FuzzCorpus, EveryStreamKeepsThePromises) { playAll("stream", playStream); }

TEST(FuzzCorpus, EverySequenceOfEventsKeepsThePromises) { playAll("events", playEvents); }

}  // namespace
