#include "query/stmt_set.h"

#include <errmsg.h>
#include <unistd.h>

#include "core/load_order.h"
#include "core/locks.h"
#include "event/exit_emptied.h"
#include "query/result_fields.h"
#include "query/set_pool.h"

namespace {

exit_emptied<set_pool<StmtSetInfo>> s_stmtSets ORV_LOADED(kLoadStmtPool)(s_pStmtSetPoolMutex);

}  // namespace

StmtSetInfo *allocStmtSetInfo() { return s_stmtSets->take(); }

void freeStmtSetInfo(StmtSetInfo *rs) { s_stmtSets->giveBack(rs); }

int StmtSetInfo::initialize(MYSQL_STMT *stmt) {
  m_meta = mysql_stmt_result_metadata(stmt);
  if (m_meta == nullptr) return CR_OUT_OF_MEMORY;  // also said of a statement that returns no rows
  m_colCnt = mysql_num_fields(m_meta);
  int code = bindColumns(stmt);
  if (code == 0) code = mysql_stmt_store_result(stmt);
  if (code != 0) {
    free();
    return code;
  }
  m_stmt = stmt;
  m_process = getpid();
  return 0;
}

int StmtSetInfo::bindColumns(MYSQL_STMT *stmt) {
  const MYSQL_FIELD *fields = m_colCnt != 0 ? mysql_fetch_fields(m_meta) : nullptr;
  if (fields == nullptr) return CR_UNKNOWN_ERROR;
  if (!m_binds.resize(m_colCnt) || !m_isNull.resize(m_colCnt) || !m_lengths.resize(m_colCnt)) return CR_OUT_OF_MEMORY;
  for (unsigned int i = 0; i < m_colCnt; ++i) {
    MYSQL_BIND &bind = m_binds[i];
    bind.buffer = m_scratch.bytes;
    bind.buffer_length = kScratchBytes;
    bind.buffer_type = fields[i].type;
    bind.is_null = &m_isNull[i];
    bind.length = &m_lengths[i];
  }
  return mysql_stmt_bind_result(stmt, m_binds.data());
}

// A statement of another process is left alone: closing it would send a packet on a connection that is not ours.
void StmtSetInfo::release() {
  const mutex_guard releasing(&m_mutex);
  if (m_meta != nullptr) mysql_free_result(m_meta);
  m_meta = nullptr;
  if (m_stmt != nullptr && m_process == getpid()) mysql_stmt_close(m_stmt);
  m_stmt = nullptr;
  m_binds.release();
  m_isNull.release();
  m_lengths.release();
}

void StmtSetInfo::free() {
  release();
  m_hasRow = false;
  m_colCnt = 0;
}

long long StmtSetInfo::rowCnt() { return m_stmt != nullptr ? static_cast<long long>(mysql_stmt_num_rows(m_stmt)) : -1; }

unsigned int StmtSetInfo::colCnt() { return m_colCnt; }

unsigned int StmtSetInfo::step() {
  if (m_stmt == nullptr) return ORV_DB_ERROR;
  switch (mysql_stmt_fetch(m_stmt)) {
    case 0:
    case MYSQL_DATA_TRUNCATED:  // the rule, since the scratch holds only short values
      m_hasRow = true;
      return ORV_DB_ROW;
    case MYSQL_NO_DATA:
      m_hasRow = false;
      return ORV_DB_DONE;
    default:
      return ORV_DB_ERROR;
  }
}

// The current row stays readable until the next step.
unsigned int StmtSetInfo::reset() {
  if (m_stmt == nullptr) return ORV_DB_ERROR;
  mysql_stmt_data_seek(m_stmt, 0);
  return ORV_DB_OK;
}

const char *StmtSetInfo::colName(unsigned int index) { return index < m_colCnt ? fieldName(m_meta, index) : nullptr; }

unsigned int StmtSetInfo::colType(unsigned int index, _orv_db_type_t *type) {
  if (index >= m_colCnt) return ORV_DB_INVALID_ARGUMENT;
  return fieldType(m_meta, index, type);
}

int StmtSetInfo::colIndex(const char *name) { return fieldIndex(m_meta, m_colCnt, name); }

unsigned int StmtSetInfo::check(unsigned int index, const void *out) const {
  return checkColumn(m_hasRow, index, m_colCnt, out);
}

unsigned int StmtSetInfo::isColNull(unsigned int index, int *isNull) {
  const unsigned int status = check(index, isNull);
  if (status == ORV_DB_OK) *isNull = m_isNull[index] != 0 ? 1 : 0;
  return status;
}

// The client library leaves the length of the previous row behind for a NULL.
unsigned int StmtSetInfo::colBytes(unsigned int index, unsigned long *bytes) {
  const unsigned int status = check(index, bytes);
  if (status == ORV_DB_OK) *bytes = m_isNull[index] != 0 ? 0 : m_lengths[index];
  return status;
}

// Converts one column of the current row into `buffer`. Gives the value's full length. Failures leave the buffer as it
// is and are not reported.
unsigned long StmtSetInfo::fetch(unsigned int index, enum_field_types type, void *buffer, unsigned long size,
                                 bool isUnsigned) {
  unsigned long length = 0;
  my_bool isNull = 0;
  MYSQL_BIND bind{};
  bind.buffer_type = type;
  bind.buffer = buffer;
  bind.buffer_length = size;
  bind.is_unsigned = isUnsigned ? 1 : 0;
  bind.length = &length;
  bind.is_null = &isNull;
  mysql_stmt_fetch_column(m_stmt, &bind, index, 0);
  return length;
}

// NULL reads as 0.
template <class Out>
unsigned int StmtSetInfo::readNumber(unsigned int index, Out *out, enum_field_types type, bool isUnsigned) {
  const unsigned int status = check(index, out);
  if (status != ORV_DB_OK) return status;
  if (m_isNull[index] != 0) {
    *out = Out{};
  } else {
    fetch(index, type, out, sizeof *out, isUnsigned);
  }
  return ORV_DB_OK;
}

unsigned int StmtSetInfo::getChar(unsigned int index, char *out) {
  return readNumber(index, out, MYSQL_TYPE_TINY, false);
}
unsigned int StmtSetInfo::getUChar(unsigned int index, unsigned char *out) {
  return readNumber(index, out, MYSQL_TYPE_TINY, true);
}
unsigned int StmtSetInfo::getShortInt(unsigned int index, short *out) {
  return readNumber(index, out, MYSQL_TYPE_SHORT, false);
}
unsigned int StmtSetInfo::getUShortInt(unsigned int index, unsigned short *out) {
  return readNumber(index, out, MYSQL_TYPE_SHORT, true);
}
unsigned int StmtSetInfo::getInt(unsigned int index, int *out) {
  return readNumber(index, out, MYSQL_TYPE_LONG, false);
}
unsigned int StmtSetInfo::getUInt(unsigned int index, unsigned int *out) {
  return readNumber(index, out, MYSQL_TYPE_LONG, true);
}
unsigned int StmtSetInfo::getBigInt(unsigned int index, long long *out) {
  return readNumber(index, out, MYSQL_TYPE_LONGLONG, false);
}
unsigned int StmtSetInfo::getUBigInt(unsigned int index, unsigned long long *out) {
  return readNumber(index, out, MYSQL_TYPE_LONGLONG, true);
}
unsigned int StmtSetInfo::getFloat(unsigned int index, float *out) {
  return readNumber(index, out, MYSQL_TYPE_FLOAT, false);
}
unsigned int StmtSetInfo::getDouble(unsigned int index, double *out) {
  return readNumber(index, out, MYSQL_TYPE_DOUBLE, false);
}

unsigned int StmtSetInfo::getText(unsigned int index, char *buf, unsigned long size) {
  const unsigned int status = check(index, buf);
  if (status != ORV_DB_OK) return status;
  if (size == 0) return ORV_DB_INVALID_ARGUMENT;
  const unsigned long length = m_isNull[index] != 0 ? 0 : fetch(index, MYSQL_TYPE_STRING, buf, size, false);
  buf[length < size ? length : size - 1] = '\0';
  return ORV_DB_OK;
}

unsigned int StmtSetInfo::getBlob(unsigned int index, unsigned char *buf, unsigned long size) {
  const unsigned int status = check(index, buf);
  if (status != ORV_DB_OK) return status;
  if (size == 0) return ORV_DB_INVALID_ARGUMENT;
  if (m_isNull[index] != 0) {
    buf[0] = 0;
  } else {
    fetch(index, MYSQL_TYPE_BLOB, buf, size, false);
  }
  return ORV_DB_OK;
}
