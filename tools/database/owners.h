// Owners of what the library hands out.
#pragma once

#include <orvdb_client.h>

#include <memory>

template <auto release>
struct Releaser {
  template <class T>
  void operator()(T *object) const {
    release(object);
  }
};

using Handle = std::unique_ptr<_orv_db_handle_t, Releaser<orv_db_close>>;
using Result = std::unique_ptr<ResultSetInfo, Releaser<orv_db_free_result>>;
using Values = std::unique_ptr<_orv_db_content_values_t, Releaser<orv_db_free_content_values>>;
