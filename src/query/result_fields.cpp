#include "query/result_fields.h"

#include <strings.h>

// Narrow on purpose: what is not listed is unknown, MYSQL_TYPE_INT24 and the other sizes of blob among it.
_orv_db_type_t typeOfField(enum_field_types fieldType) {
  struct mapping {
    enum_field_types field;
    _orv_db_type_t type;
  };
  static constexpr mapping kMappings[] = {
      {MYSQL_TYPE_TINY, ORV_DB_TYPE_CHAR},         {MYSQL_TYPE_SHORT, ORV_DB_TYPE_SHORT_INT},
      {MYSQL_TYPE_LONG, ORV_DB_TYPE_INT},          {MYSQL_TYPE_LONGLONG, ORV_DB_TYPE_INT64},
      {MYSQL_TYPE_FLOAT, ORV_DB_TYPE_FLOAT},       {MYSQL_TYPE_DOUBLE, ORV_DB_TYPE_DOUBLE},
      {MYSQL_TYPE_NEWDECIMAL, ORV_DB_TYPE_DOUBLE}, {MYSQL_TYPE_VARCHAR, ORV_DB_TYPE_TEXT},
      {MYSQL_TYPE_VAR_STRING, ORV_DB_TYPE_TEXT},   {MYSQL_TYPE_STRING, ORV_DB_TYPE_TEXT},
      {MYSQL_TYPE_BLOB, ORV_DB_TYPE_BLOB},
  };
  for (const mapping &entry : kMappings) {
    if (entry.field == fieldType) return entry.type;
  }
  return ORV_DB_TYPE_UNKNOWN;
}

const char *fieldName(MYSQL_RES *fields, unsigned int index) {
  if (fields == nullptr) return nullptr;
  const MYSQL_FIELD *field = mysql_fetch_field_direct(fields, index);
  return field != nullptr ? field->name : nullptr;
}

unsigned int fieldType(MYSQL_RES *fields, unsigned int index, _orv_db_type_t *type) {
  if (type == nullptr || fields == nullptr) return ORV_DB_INVALID_ARGUMENT;
  const MYSQL_FIELD *field = mysql_fetch_field_direct(fields, index);
  if (field != nullptr) *type = typeOfField(field->type);
  return ORV_DB_OK;
}

int fieldIndex(MYSQL_RES *fields, unsigned int count, const char *name) {
  if (name == nullptr || fields == nullptr) return -1;
  const MYSQL_FIELD *list = mysql_fetch_fields(fields);
  if (list == nullptr) return -1;
  for (unsigned int index = 0; index < count; ++index) {
    if (list[index].name != nullptr && strcasecmp(list[index].name, name) == 0) return static_cast<int>(index);
  }
  return -1;
}
