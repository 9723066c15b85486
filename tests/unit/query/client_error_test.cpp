// From the client library's error numbers to statuses.
#include <gtest/gtest.h>

#include <map>

#include "core/status.h"

namespace {

const std::map<unsigned int, int> kMapped = {{0, 0},    {2006, 12}, {2008, 4}, {2013, 13},
                                             {2031, 3}, {2033, 3},  {2034, 3}, {2036, 3}};

TEST(ClientError, SevenErrorsHaveAStatusOfTheirOwn) {
  for (const auto &[code, status] : kMapped)
    EXPECT_EQ(statusOfClientError(code), status) << "client error " << code;
}

TEST(ClientError, EveryOtherNumberIsAPlainFailure) {
  for (unsigned int code = 1; code < 6000; ++code) {
    if (kMapped.count(code) == 0) {
      EXPECT_EQ(statusOfClientError(code), 1) << "client error " << code;
    }
  }
  EXPECT_EQ(statusOfClientError(static_cast<unsigned int>(-1)), 1);
}

}  // namespace
