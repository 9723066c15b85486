// What the server answers, as a table for people or as data for programs.
#pragma once

#include <orvdb_client.h>

enum class Format { kTable, kCsv, kJson };

struct Outcome {
  unsigned long long affectedRows;
  unsigned long long insertId;  // 0: none
};

void printRows(ResultSetInfo *result, Format format);

void printOutcome(const Outcome &outcome, Format format);
