#include "query/raw_set.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "core/load_order.h"
#include "core/locks.h"
#include "event/exit_emptied.h"
#include "query/result_fields.h"
#include "query/set_pool.h"
#include "query/text_number.h"

namespace {

exit_emptied<set_pool<RawSetInfo>> s_rawSets ORV_LOADED(kLoadRawPool)(s_pRawSetPoolMutex);

long long textToInt64(const char *text) { return std::strtoll(text, nullptr, 10); }
unsigned long long textToUInt64(const char *text) { return std::strtoull(text, nullptr, 10); }
float textToFloat(const char *text) { return std::strtof(text, nullptr); }
double textToDouble(const char *text) { return std::strtod(text, nullptr); }

}  // namespace

RawSetInfo *allocRawSetInfo() { return s_rawSets->take(); }

void freeRawSetInfo(RawSetInfo *rs) { s_rawSets->giveBack(rs); }

void RawSetInfo::fill(MYSQL_RES *result, unsigned int columnCount) {
  m_res = result;
  m_colCnt = columnCount;
}

void RawSetInfo::release() {
  const mutex_guard releasing(&m_mutex);
  if (m_res != nullptr) mysql_free_result(m_res);
  m_res = nullptr;
}

void RawSetInfo::free() {
  release();
  m_hasRow = false;
  m_colCnt = 0;
  m_row = nullptr;
  m_lengths = nullptr;
}

long long RawSetInfo::rowCnt() { return m_res != nullptr ? static_cast<long long>(mysql_num_rows(m_res)) : -1; }

unsigned int RawSetInfo::colCnt() { return m_colCnt; }

unsigned int RawSetInfo::step() {
  if (m_res == nullptr) return ORV_DB_ERROR;
  m_row = mysql_fetch_row(m_res);
  m_hasRow = m_row != nullptr;
  if (!m_hasRow) return ORV_DB_DONE;
  m_lengths = mysql_fetch_lengths(m_res);
  return ORV_DB_ROW;
}

// The current row stays readable until the next step.
unsigned int RawSetInfo::reset() {
  if (m_res == nullptr) return ORV_DB_ERROR;
  mysql_data_seek(m_res, 0);
  return ORV_DB_OK;
}

const char *RawSetInfo::colName(unsigned int index) { return index < m_colCnt ? fieldName(m_res, index) : nullptr; }

unsigned int RawSetInfo::colType(unsigned int index, _orv_db_type_t *type) {
  if (index >= m_colCnt) return ORV_DB_INVALID_ARGUMENT;
  return fieldType(m_res, index, type);
}

int RawSetInfo::colIndex(const char *name) { return fieldIndex(m_res, m_colCnt, name); }

unsigned int RawSetInfo::check(unsigned int index, const void *out) const {
  return checkColumn(m_hasRow, index, m_colCnt, out);
}

unsigned int RawSetInfo::isColNull(unsigned int index, int *isNull) {
  const unsigned int status = check(index, isNull);
  if (status == ORV_DB_OK) *isNull = m_row[index] == nullptr ? 1 : 0;
  return status;
}

unsigned int RawSetInfo::colBytes(unsigned int index, unsigned long *bytes) {
  const unsigned int status = check(index, bytes);
  if (status == ORV_DB_OK) *bytes = m_row[index] != nullptr ? m_lengths[index] : 0;
  return status;
}

// NULL reads as 0; the number is cut to the width of the output.
template <class Out, class Convert>
unsigned int RawSetInfo::readNumber(unsigned int index, Out *out, Convert convert) const {
  const unsigned int status = check(index, out);
  if (status == ORV_DB_OK) *out = m_row[index] != nullptr ? static_cast<Out>(convert(m_row[index])) : Out{};
  return status;
}

unsigned int RawSetInfo::getChar(unsigned int index, char *out) { return readNumber(index, out, textToLong); }
unsigned int RawSetInfo::getUChar(unsigned int index, unsigned char *out) {
  return readNumber(index, out, textToUnsignedLong);
}
unsigned int RawSetInfo::getShortInt(unsigned int index, short *out) { return readNumber(index, out, textToLong); }
unsigned int RawSetInfo::getUShortInt(unsigned int index, unsigned short *out) {
  return readNumber(index, out, textToUnsignedLong);
}
unsigned int RawSetInfo::getInt(unsigned int index, int *out) { return readNumber(index, out, textToLong); }
unsigned int RawSetInfo::getUInt(unsigned int index, unsigned int *out) {
  return readNumber(index, out, textToUnsignedLong);
}
unsigned int RawSetInfo::getBigInt(unsigned int index, long long *out) { return readNumber(index, out, textToInt64); }
unsigned int RawSetInfo::getUBigInt(unsigned int index, unsigned long long *out) {
  return readNumber(index, out, textToUInt64);
}
unsigned int RawSetInfo::getFloat(unsigned int index, float *out) { return readNumber(index, out, textToFloat); }
unsigned int RawSetInfo::getDouble(unsigned int index, double *out) { return readNumber(index, out, textToDouble); }

unsigned int RawSetInfo::getText(unsigned int index, char *buf, unsigned long size) {
  const unsigned int status = check(index, buf);
  if (status != ORV_DB_OK) return status;
  if (size == 0) return ORV_DB_INVALID_ARGUMENT;
  const unsigned long length = m_row[index] != nullptr ? std::min(m_lengths[index], size - 1) : 0;
  if (length != 0) std::memcpy(buf, m_row[index], length);
  buf[length] = '\0';
  return ORV_DB_OK;
}

unsigned int RawSetInfo::getBlob(unsigned int index, unsigned char *buf, unsigned long size) {
  const unsigned int status = check(index, buf);
  if (status != ORV_DB_OK) return status;
  if (size == 0) return ORV_DB_INVALID_ARGUMENT;
  if (m_row[index] == nullptr) {
    buf[0] = 0;
  } else {
    std::memcpy(buf, m_row[index], std::min(m_lengths[index], size));
  }
  return ORV_DB_OK;
}
