// The rows of a query, as the accessors see them.
#pragma once

#include <orvdb_client.h>

#include "core/handle.h"

// A set is empty, then filled by a query, then read by one thread at a time, then emptied for the next query or
// deleted. It lives in the pool of its kind or, when that is exhausted, on the heap.
struct ResultSetInfo {
  enum kind : unsigned int { kRaw = 0, kStatement = 1 };
  static constexpr unsigned char kNoSlot = 255;  // of a set on the heap, and of one that lies unused in its pool

  ResultSetInfo(const ResultSetInfo &) = delete;
  ResultSetInfo &operator=(const ResultSetInfo &) = delete;

  virtual ~ResultSetInfo() = default;
  virtual void free() = 0;
  virtual long long rowCnt() = 0;
  virtual unsigned int colCnt() = 0;
  virtual unsigned int step() = 0;
  virtual unsigned int reset() = 0;
  virtual const char *colName(unsigned int index) = 0;
  virtual unsigned int colType(unsigned int index, _orv_db_type_t *type) = 0;
  virtual int colIndex(const char *name) = 0;
  virtual unsigned int isColNull(unsigned int index, int *isNull) = 0;
  virtual unsigned int colBytes(unsigned int index, unsigned long *bytes) = 0;
  virtual unsigned int getChar(unsigned int index, char *out) = 0;
  virtual unsigned int getUChar(unsigned int index, unsigned char *out) = 0;
  virtual unsigned int getShortInt(unsigned int index, short *out) = 0;
  virtual unsigned int getUShortInt(unsigned int index, unsigned short *out) = 0;
  virtual unsigned int getInt(unsigned int index, int *out) = 0;
  virtual unsigned int getUInt(unsigned int index, unsigned int *out) = 0;
  virtual unsigned int getBigInt(unsigned int index, long long *out) = 0;
  virtual unsigned int getUBigInt(unsigned int index, unsigned long long *out) = 0;
  virtual unsigned int getFloat(unsigned int index, float *out) = 0;
  virtual unsigned int getDouble(unsigned int index, double *out) = 0;
  virtual unsigned int getText(unsigned int index, char *buf, unsigned long size) = 0;
  virtual unsigned int getBlob(unsigned int index, unsigned char *buf, unsigned long size) = 0;

  const unsigned int m_kind;
  unsigned char m_poolSlot = kNoSlot;

 protected:
  explicit ResultSetInfo(kind setKind) : m_kind(setKind) { m_mutex.init(); }

  // Held while native resources are released.
  mutex m_mutex ORV_ACQUIRED_AFTER(&_orv_db_handle_t::lock);
};
