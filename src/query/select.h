#pragma once

#include <string>

// The text of a SELECT: all columns when there is no list, no WHERE and no ORDER BY for null texts. A null column name
// ends the text there, and the server refuses the statement.
std::string selectText(const char *table, const char *const *columns, unsigned int columnCount, const char *where,
                       const char *orderBy);
