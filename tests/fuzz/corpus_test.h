// Plays what the fuzzers have found worth keeping.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "fuzz/targets.h"

inline void playAll(const char *name, void (*target)(const std::uint8_t *, std::size_t)) {
  std::size_t count = 0;
  for (const auto &entry : std::filesystem::directory_iterator(std::filesystem::path(ORVDB_FUZZ_CORPUS) / name)) {
    std::ifstream file(entry.path(), std::ios::binary);
    const std::vector<char> input(std::istreambuf_iterator<char>(file), {});
    EXPECT_NO_THROW(target(reinterpret_cast<const std::uint8_t *>(input.data()), input.size())) << entry.path();
    ++count;
  }
  EXPECT_GT(count, 10U);
}
