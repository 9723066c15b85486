// What both kinds of result tell of their columns, from the client library's list of fields.
#pragma once

#include <mysql.h>
#include <orvdb_client.h>

_orv_db_type_t typeOfField(enum_field_types fieldType);

// The result may be null in all three; the index must be in range.
const char *fieldName(MYSQL_RES *fields, unsigned int index);
unsigned int fieldType(MYSQL_RES *fields, unsigned int index, _orv_db_type_t *type);
int fieldIndex(MYSQL_RES *fields, unsigned int count, const char *name);

// What every getter checks before it reads a column.
constexpr unsigned int checkColumn(bool hasRow, unsigned int index, unsigned int count, const void *out) {
  if (!hasRow) return ORV_DB_NO_ROW;
  return out == nullptr || index >= count ? ORV_DB_INVALID_ARGUMENT : ORV_DB_OK;
}
