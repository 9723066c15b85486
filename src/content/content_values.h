#pragma once

#include <map>
#include <string>

#include "content/db_value.h"

// Columns and their values, in byte order of the names, which is the order in which statements list them.
struct _orv_db_content_values_t {
  std::map<std::string, db_value> values;
};
