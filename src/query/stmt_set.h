// The rows of a prepared statement: stored in memory whole, each column converted when it is asked for.
#pragma once

#include <mysql.h>
#include <sys/types.h>

#include "query/inline_array.h"
#include "query/result_set.h"

class StmtSetInfo final : public ResultSetInfo {
 public:
  StmtSetInfo() : ResultSetInfo(kStatement) {}
  ~StmtSetInfo() override { release(); }

  // Stores the rows of an executed statement. 0: the set owns the statement. Otherwise a client error number or what
  // the failing call returned: the set is empty and the statement stays the caller's.
  int initialize(MYSQL_STMT *stmt);

  void free() override;
  long long rowCnt() override;
  unsigned int colCnt() override;
  unsigned int step() override;
  unsigned int reset() override;
  const char *colName(unsigned int index) override;
  unsigned int colType(unsigned int index, _orv_db_type_t *type) override;
  int colIndex(const char *name) override;
  unsigned int isColNull(unsigned int index, int *isNull) override;
  unsigned int colBytes(unsigned int index, unsigned long *bytes) override;
  unsigned int getChar(unsigned int index, char *out) override;
  unsigned int getUChar(unsigned int index, unsigned char *out) override;
  unsigned int getShortInt(unsigned int index, short *out) override;
  unsigned int getUShortInt(unsigned int index, unsigned short *out) override;
  unsigned int getInt(unsigned int index, int *out) override;
  unsigned int getUInt(unsigned int index, unsigned int *out) override;
  unsigned int getBigInt(unsigned int index, long long *out) override;
  unsigned int getUBigInt(unsigned int index, unsigned long long *out) override;
  unsigned int getFloat(unsigned int index, float *out) override;
  unsigned int getDouble(unsigned int index, double *out) override;
  unsigned int getText(unsigned int index, char *buf, unsigned long size) override;
  unsigned int getBlob(unsigned int index, unsigned char *buf, unsigned long size) override;

 private:
  friend struct stmt_set_test_access;
  static constexpr unsigned int kInlineColumns = 32;
  static constexpr unsigned long kScratchBytes = 16;

  // What every column is bound to, so that fetching a row stores its lengths and NULL flags and next to nothing else.
  // For dates and times the client library writes a whole MYSQL_TIME, whatever length it is told.
  union scratch {
    unsigned char bytes[kScratchBytes];
    MYSQL_TIME time;
  };

  int bindColumns(MYSQL_STMT *stmt);
  unsigned int check(unsigned int index, const void *out) const;
  template <class Out>
  unsigned int readNumber(unsigned int index, Out *out, enum_field_types type, bool isUnsigned);
  unsigned long fetch(unsigned int index, enum_field_types type, void *buffer, unsigned long size, bool isUnsigned);
  void release() ORV_EXCLUDES(m_mutex);

  bool m_hasRow = false;
  MYSQL_RES *m_meta = nullptr;
  MYSQL_STMT *m_stmt = nullptr;
  pid_t m_process = 0;  // the one that runs the statement: no other may send anything on its connection
  unsigned int m_colCnt = 0;
  inline_array<MYSQL_BIND, kInlineColumns> m_binds;
  inline_array<my_bool, kInlineColumns> m_isNull;
  inline_array<unsigned long, kInlineColumns> m_lengths;
  scratch m_scratch{};
};

// Before any handle's lock.
StmtSetInfo *allocStmtSetInfo() ORV_EXCLUDES(s_pStmtSetPoolMutex, &_orv_db_handle_t::lock);
void freeStmtSetInfo(StmtSetInfo *rs) ORV_EXCLUDES(s_pStmtSetPoolMutex, &_orv_db_handle_t::lock);
