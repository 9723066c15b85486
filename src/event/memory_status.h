// The boundary to callers in C.
#pragma once

#include <orvdb_client.h>

#include <new>

// Runs the body of an exported function; running out of memory in it becomes a status.
template <class Body>
int withMemoryStatus(Body body) {
  try {
    return body();
  } catch (const std::bad_alloc &) {
    return ORV_DB_NO_MEMORY;
  }
}
