// The typed value of one column.
#pragma once

#include <orvdb_client.h>

#include <cstddef>
#include <iosfwd>
#include <vector>

class db_value {
 public:
  using scalar = decltype(_orv_db_param_t::value);

  // SQL NULL.
  db_value() = default;

  // A number, in the member of the union that belongs to its type.
  template <class Number>
  db_value(_orv_db_type_t type, bool isUnsigned, Number scalar::*member, Number number)
      : m_type(type), m_isUnsigned(isUnsigned) {
    m_value.*member = number;
  }

  // A text or blob; the bytes are copied.
  db_value(_orv_db_type_t type, const void *bytes, std::size_t length);

  // The parameter points at this value's bytes, which must stay until the statement has run.
  _orv_db_param_t toParam() const;

  // As a literal of SQL, for the log. Deliberately plain: signs are those of the signed types, an 8-bit integer is a
  // character, a blob is its bytes.
  friend std::ostream &operator<<(std::ostream &out, const db_value &value);

 private:
  static constexpr int kNull = 0;

  int m_type = kNull;
  bool m_isUnsigned = false;
  scalar m_value{};
  std::vector<char> m_data;
};
