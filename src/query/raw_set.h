// The rows of a raw query: a result of the text protocol, held in memory whole.
#pragma once

#include <mysql.h>

#include "query/result_set.h"

struct free_result {
  void operator()(MYSQL_RES *result) const { mysql_free_result(result); }
};

class RawSetInfo final : public ResultSetInfo {
 public:
  RawSetInfo() : ResultSetInfo(kRaw) {}
  ~RawSetInfo() override { release(); }

  // The set must be empty; it owns the result from now on.
  void fill(MYSQL_RES *result, unsigned int columnCount);

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
  unsigned int check(unsigned int index, const void *out) const;
  template <class Out, class Convert>
  unsigned int readNumber(unsigned int index, Out *out, Convert convert) const;
  void release() ORV_EXCLUDES(m_mutex);

  MYSQL_RES *m_res = nullptr;
  bool m_hasRow = false;
  unsigned int m_colCnt = 0;
  MYSQL_ROW m_row = nullptr;
  unsigned long *m_lengths = nullptr;
};

// Before any handle's lock.
RawSetInfo *allocRawSetInfo() ORV_EXCLUDES(s_pRawSetPoolMutex, &_orv_db_handle_t::lock);
void freeRawSetInfo(RawSetInfo *rs) ORV_EXCLUDES(s_pRawSetPoolMutex, &_orv_db_handle_t::lock);
