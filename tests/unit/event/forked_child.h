// Forked children that check expectations of their own.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <exception>

#include "unit/core/in_child.h"

// The child's exit status is 0 if all its expectations are met.
template <class Body>
pid_t startChecks(Body body) {
  std::fflush(stdout);
  return startChild([&] {
    try {
      body();
    } catch (const std::exception &problem) {
      ADD_FAILURE() << problem.what();
    }
    std::fflush(stdout);
    return ::testing::Test::HasFailure() ? 1 : 0;
  });
}
