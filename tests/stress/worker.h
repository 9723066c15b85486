// One of many threads' work with a table, which knows what the database has to hold and what has to be announced.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "support/handle.h"
#include "support/notification_peer.h"

constexpr std::uint64_t kWholeTable = 0;

// The rows that are to be there, with their values, and how often each record is to be announced.
struct Deeds {
  std::map<unsigned long long, int> rows;
  std::map<RecordBytes, int> announced;
};

class Worker {
 public:
  Worker(std::string db, std::string table, _orv_db_handle_t *handle);

  // One row is inserted and changed; every third is deleted again.
  void liveThrough(int round);
  // Of two rows in one transaction, both stay or none.
  void transact(int round);
  // Sees exactly its own rows, by a statement and by text.
  void query() const;

  const std::string &table() const { return table_; }
  const Deeds &deeds() const { return deeds_; }

 private:
  unsigned long long insert(int value);
  void update(unsigned long long row, int value);
  void remove(unsigned long long row);
  void expectRows(const Result &rows) const;
  void announce(int action, unsigned long long row);

  const std::string db_;
  const std::string table_;
  _orv_db_handle_t *const handle_;
  Deeds deeds_;
};
