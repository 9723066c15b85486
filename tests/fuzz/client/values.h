// Content values with a model of them: how each is kept, written and bound, told by the table of put functions.
#pragma once

#include <mysql.h>
#include <orvdb_client.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "fuzz/input.h"
#include "support/owners.h"

// What a put function is given. A number is its bits; those of narrower types come first.
struct Value {
  std::size_t kind;
  std::uint64_t bits;
  std::string bytes;
};

constexpr std::size_t kValueKinds = 13;

// How it has to be bound to a statement.
struct ExpectedBind {
  enum_field_types type;
  bool isUnsigned;
  std::string bytes;
};

// `longest` limits texts and blobs.
Value readValue(Input &input, std::size_t kind, std::size_t longest);
int put(_orv_db_content_values_t *content, const std::string &column, const Value &value);
std::string literalOf(const Value &value);
ExpectedBind bindOf(const Value &value);
// Of a parameter by its type's code; SQL NULL for a code that is none.
ExpectedBind bindOf(const _orv_db_param_t &param);

// Ordered by the bytes of the names.
using ExpectedEntries = std::vector<std::pair<std::string, Value>>;

// A container that was put into, emptied, and put into again, and what it has to hold.
class Filled {
 public:
  explicit Filled(Input &input);

  const _orv_db_content_values_t *get() const { return m_content.get(); }
  const ExpectedEntries &entries() const { return m_entries; }

 private:
  void step(Input &input);
  void keep(const std::string &column, const Value &value);

  ContentValues m_content{orv_db_get_content_values()};
  ExpectedEntries m_entries;
};
