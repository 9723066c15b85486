// The container's exported functions.
#include "content/content_values.h"

#include <cstring>
#include <utility>

namespace {

int put(_orv_db_content_values_t *content, const char *column, db_value value) {
  if (content == nullptr || column == nullptr) return ORV_DB_INVALID_ARGUMENT;
  content->values.insert_or_assign(column, std::move(value));
  return ORV_DB_OK;
}

template <class Number>
int putNumber(_orv_db_content_values_t *content, const char *column, _orv_db_type_t type, bool isUnsigned,
              Number db_value::scalar::*member, Number number) {
  return put(content, column, db_value(type, isUnsigned, member, number));
}

// Missing bytes leave the column as it was, which is no failure.
int putBytes(_orv_db_content_values_t *content, const char *column, _orv_db_type_t type, const void *bytes,
             std::size_t length) {
  if (content == nullptr || column == nullptr) return ORV_DB_INVALID_ARGUMENT;
  return bytes != nullptr ? put(content, column, db_value(type, bytes, length)) : ORV_DB_OK;
}

using scalar = db_value::scalar;

}  // namespace

extern "C" {

_orv_db_content_values_t *orv_db_get_content_values(void) { return new _orv_db_content_values_t; }

void orv_db_free_content_values(_orv_db_content_values_t *content) { delete content; }

void orv_db_content_clear(_orv_db_content_values_t *content) {
  if (content != nullptr) content->values.clear();
}

int orv_db_content_put_null(_orv_db_content_values_t *content, const char *column) {
  return put(content, column, db_value());
}

int orv_db_content_put_char(_orv_db_content_values_t *content, const char *column, char value) {
  return putNumber(content, column, ORV_DB_TYPE_CHAR, false, &scalar::c, value);
}

int orv_db_content_put_uchar(_orv_db_content_values_t *content, const char *column, unsigned char value) {
  return putNumber(content, column, ORV_DB_TYPE_CHAR, true, &scalar::c, static_cast<char>(value));
}

int orv_db_content_put_short_int(_orv_db_content_values_t *content, const char *column, short value) {
  return putNumber(content, column, ORV_DB_TYPE_SHORT_INT, false, &scalar::s, value);
}

int orv_db_content_put_short_uint(_orv_db_content_values_t *content, const char *column, unsigned short value) {
  return putNumber(content, column, ORV_DB_TYPE_SHORT_INT, true, &scalar::s, static_cast<short>(value));
}

int orv_db_content_put_int(_orv_db_content_values_t *content, const char *column, int value) {
  return putNumber(content, column, ORV_DB_TYPE_INT, false, &scalar::i, value);
}

int orv_db_content_put_uint(_orv_db_content_values_t *content, const char *column, unsigned int value) {
  return putNumber(content, column, ORV_DB_TYPE_INT, true, &scalar::i, static_cast<int>(value));
}

int orv_db_content_put_int64(_orv_db_content_values_t *content, const char *column, long long value) {
  return putNumber(content, column, ORV_DB_TYPE_INT64, false, &scalar::i64, value);
}

int orv_db_content_put_uint64(_orv_db_content_values_t *content, const char *column, unsigned long long value) {
  return putNumber(content, column, ORV_DB_TYPE_INT64, true, &scalar::i64, static_cast<long long>(value));
}

int orv_db_content_put_float(_orv_db_content_values_t *content, const char *column, float value) {
  return putNumber(content, column, ORV_DB_TYPE_FLOAT, false, &scalar::f, value);
}

int orv_db_content_put_double(_orv_db_content_values_t *content, const char *column, double value) {
  return putNumber(content, column, ORV_DB_TYPE_DOUBLE, false, &scalar::d, value);
}

int orv_db_content_put_text(_orv_db_content_values_t *content, const char *column, const char *text) {
  return putBytes(content, column, ORV_DB_TYPE_TEXT, text, text != nullptr ? std::strlen(text) : 0);
}

int orv_db_content_put_blob(_orv_db_content_values_t *content, const char *column, const void *data,
                            unsigned int length) {
  return putBytes(content, column, ORV_DB_TYPE_BLOB, data, length);
}
}
