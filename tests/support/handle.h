// Handles of a test's own database.
//
//   const Handle handle = openHandle(*this);   // in a DatabaseTest
//   ASSERT_TRUE(handle) << orv_db_get_error_str();
#pragma once

#include "support/database.h"
#include "support/owners.h"

inline Handle openHandle(const DatabaseTest &test) {
  return Handle(orv_db_open(test.host(), test.user(), test.password(), test.db(), test.port()));
}
