#include "core/status.h"

#include <gtest/gtest.h>

#include <map>

namespace {

const std::map<unsigned int, int> kNotPlainFailures = {
    {0, 0}, {2006, 12}, {2008, 4}, {2013, 13}, {2031, 3}, {2033, 3}, {2034, 3}, {2036, 3},
};

}  // namespace

TEST(StatusOfClientError, IsThatOfTheTable) {
  for (const auto &[code, status] : kNotPlainFailures)
    EXPECT_EQ(statusOfClientError(code), status) << code;
}

TEST(StatusOfClientError, IsAPlainFailureForEveryOtherNumber) {
  for (unsigned int code = 1; code < 6000; ++code) {
    const bool isPlain = kNotPlainFailures.count(code) == 0;
    EXPECT_EQ(statusOfClientError(code) == 1, isPlain) << code;
  }
  EXPECT_EQ(statusOfClientError(static_cast<unsigned int>(-1)), 1);
}
