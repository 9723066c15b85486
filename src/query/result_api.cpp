// The exported accessors: each checks its pointers and leaves the rest to the result set.
#include "query/raw_set.h"
#include "query/stmt_set.h"

namespace {

template <class Out>
unsigned int read(ResultSetInfo *result, unsigned int (ResultSetInfo::*getter)(unsigned int, Out *), unsigned int index,
                  Out *out) {
  if (result == nullptr || out == nullptr) return ORV_DB_INVALID_ARGUMENT;
  return (result->*getter)(index, out);
}

template <class Byte>
unsigned int readBytes(ResultSetInfo *result,
                       unsigned int (ResultSetInfo::*getter)(unsigned int, Byte *, unsigned long), unsigned int index,
                       Byte *buf, unsigned long size) {
  if (result == nullptr || buf == nullptr) return ORV_DB_INVALID_ARGUMENT;
  return (result->*getter)(index, buf, size);
}

}  // namespace

extern "C" {

void orv_db_free_result(ResultSetInfo *result) {
  if (result == nullptr) return;
  if (result->m_kind == ResultSetInfo::kRaw) {
    freeRawSetInfo(static_cast<RawSetInfo *>(result));
  } else {
    freeStmtSetInfo(static_cast<StmtSetInfo *>(result));
  }
}

long long orv_db_result_row_count(ResultSetInfo *result) { return result != nullptr ? result->rowCnt() : -1; }

int orv_db_result_column_count(ResultSetInfo *result) {
  return result != nullptr ? static_cast<int>(result->colCnt()) : -1;
}

unsigned int orv_db_result_step(ResultSetInfo *result) {
  if (result == nullptr) return ORV_DB_INVALID_ARGUMENT;
  return result->step();
}

unsigned int orv_db_result_reset(ResultSetInfo *result) {
  if (result == nullptr) return ORV_DB_INVALID_ARGUMENT;
  return result->reset();
}

const char *orv_db_result_column_name(ResultSetInfo *result, unsigned int index) {
  return result != nullptr ? result->colName(index) : nullptr;
}

unsigned int orv_db_result_column_type(ResultSetInfo *result, unsigned int index, _orv_db_type_t *type) {
  return read(result, &ResultSetInfo::colType, index, type);
}

int orv_db_result_column_index(ResultSetInfo *result, const char *name) {
  return result != nullptr && name != nullptr ? result->colIndex(name) : -1;
}

unsigned int orv_db_result_column_is_null(ResultSetInfo *result, unsigned int index, int *isNull) {
  return read(result, &ResultSetInfo::isColNull, index, isNull);
}

unsigned int orv_db_result_column_bytes(ResultSetInfo *result, unsigned int index, unsigned long *bytes) {
  return read(result, &ResultSetInfo::colBytes, index, bytes);
}

unsigned int orv_db_result_column_char(ResultSetInfo *result, unsigned int index, char *out) {
  return read(result, &ResultSetInfo::getChar, index, out);
}

unsigned int orv_db_result_column_uchar(ResultSetInfo *result, unsigned int index, unsigned char *out) {
  return read(result, &ResultSetInfo::getUChar, index, out);
}

unsigned int orv_db_result_column_short_int(ResultSetInfo *result, unsigned int index, short *out) {
  return read(result, &ResultSetInfo::getShortInt, index, out);
}

unsigned int orv_db_result_column_short_uint(ResultSetInfo *result, unsigned int index, unsigned short *out) {
  return read(result, &ResultSetInfo::getUShortInt, index, out);
}

unsigned int orv_db_result_column_int(ResultSetInfo *result, unsigned int index, int *out) {
  return read(result, &ResultSetInfo::getInt, index, out);
}

unsigned int orv_db_result_column_uint(ResultSetInfo *result, unsigned int index, unsigned int *out) {
  return read(result, &ResultSetInfo::getUInt, index, out);
}

unsigned int orv_db_result_column_int64(ResultSetInfo *result, unsigned int index, long long *out) {
  return read(result, &ResultSetInfo::getBigInt, index, out);
}

unsigned int orv_db_result_column_uint64(ResultSetInfo *result, unsigned int index, unsigned long long *out) {
  return read(result, &ResultSetInfo::getUBigInt, index, out);
}

unsigned int orv_db_result_column_float(ResultSetInfo *result, unsigned int index, float *out) {
  return read(result, &ResultSetInfo::getFloat, index, out);
}

unsigned int orv_db_result_column_double(ResultSetInfo *result, unsigned int index, double *out) {
  return read(result, &ResultSetInfo::getDouble, index, out);
}

unsigned int orv_db_result_column_text(ResultSetInfo *result, unsigned int index, char *buf, unsigned long size) {
  return readBytes(result, &ResultSetInfo::getText, index, buf, size);
}

unsigned int orv_db_result_column_blob(ResultSetInfo *result, unsigned int index, unsigned char *buf,
                                       unsigned long size) {
  return readBytes(result, &ResultSetInfo::getBlob, index, buf, size);
}
}
