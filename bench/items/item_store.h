// What the benchmarks of the database path do. One class does it with the library, another one with the client library
// alone, in the way that the library has to: a statement is prepared, executed and closed for each call, and rows are
// stored first and read column by column.
#pragma once

#include <memory>
#include <string>

#include "frame/record_socket.h"
#include "support/database_server.h"

struct Item {
  char name[65] = "";
  int price = 0;
  long long stock = 0;
  double weight = 0;
  unsigned char code[33] = {};
  unsigned long codeLength = 0;
};

constexpr unsigned int kItemColumns = 5;

// The rows of a query, all in memory.
class Rows {
 public:
  virtual ~Rows() = default;
  // Reads the next row, every column with its type; false at the end.
  virtual bool next(Item &item) = 0;
  virtual void rewind() = 0;
};

// Failures are thrown.
class ItemStore {
 public:
  virtual ~ItemStore() = default;

  // Writes go to the table "work". Insert gives the new id.
  virtual unsigned long long insert(const Item &item) = 0;
  virtual void update(unsigned long long id, int price) = 0;
  virtual void remove(unsigned long long id) = 0;

  // Rows of the table "item", by a statement with a parameter and by SQL text.
  virtual std::unique_ptr<Rows> select(unsigned long long lastId) = 0;
  virtual std::unique_ptr<Rows> selectText(unsigned long long lastId) = 0;
  virtual std::unique_ptr<Rows> selectOne(unsigned long long id) = 0;
  virtual std::unique_ptr<Rows> selectOneText(unsigned long long id) = 0;
};

std::unique_ptr<ItemStore> openWithLibrary(const DatabaseServer &server, const std::string &db);

// Announces its writes by the socket; to nobody if there is none.
std::unique_ptr<ItemStore> openReference(const DatabaseServer &server, const std::string &db,
                                         const RecordSocket *listener);

// The same, except that an update's two statements are prepared once.
std::unique_ptr<ItemStore> openPreparedReference(const DatabaseServer &server, const std::string &db,
                                                 const RecordSocket *listener);
