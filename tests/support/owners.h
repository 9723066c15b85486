// Owners of what the library hands out.
#pragma once

#include <orvdb_client.h>

#include <memory>

struct CloseHandle {
  void operator()(_orv_db_handle_t *handle) const { orv_db_close(handle); }
};
using Handle = std::unique_ptr<_orv_db_handle_t, CloseHandle>;

struct FreeContentValues {
  void operator()(_orv_db_content_values_t *values) const { orv_db_free_content_values(values); }
};
using ContentValues = std::unique_ptr<_orv_db_content_values_t, FreeContentValues>;

struct FreeResult {
  void operator()(ResultSetInfo *result) const { orv_db_free_result(result); }
};
using Result = std::unique_ptr<ResultSetInfo, FreeResult>;
