#include "content/db_value.h"

#include <ostream>

namespace {

// A single question mark stays the placeholder that it is in the statement.
void writeText(std::ostream &out, const std::vector<char> &text) {
  if (text.size() == 1 && text.front() == '?') {
    out << '?';
    return;
  }
  out << '\'';
  for (const char byte : text) {
    if (byte == '\'') out << '\\';
    out << byte;
  }
  out << '\'';
}

}  // namespace

db_value::db_value(_orv_db_type_t type, const void *bytes, std::size_t length)
    : m_type(type), m_data(static_cast<const char *>(bytes), static_cast<const char *>(bytes) + length) {}

_orv_db_param_t db_value::toParam() const {
  _orv_db_param_t param{};
  if (m_type < ORV_DB_TYPE_CHAR || m_type > ORV_DB_TYPE_BLOB) return param;  // SQL NULL
  param.type = static_cast<_orv_db_type_t>(m_type);
  param.is_unsigned = m_isUnsigned ? 1 : 0;
  switch (m_type) {
    case ORV_DB_TYPE_TEXT:
    case ORV_DB_TYPE_BLOB:
      param.value.data = m_data.empty() ? nullptr : m_data.data();
      param.length = static_cast<unsigned long>(m_data.size());
      break;
    default:
      param.value = m_value;
  }
  return param;
}

std::ostream &operator<<(std::ostream &out, const db_value &value) {
  switch (value.m_type) {
    case db_value::kNull:
      return out << "NULL";
    case ORV_DB_TYPE_CHAR:
      return out << value.m_value.c;
    case ORV_DB_TYPE_SHORT_INT:
      return out << value.m_value.s;
    case ORV_DB_TYPE_INT:
      return out << value.m_value.i;
    case ORV_DB_TYPE_INT64:
      return out << value.m_value.i64;
    case ORV_DB_TYPE_FLOAT:
      return out << static_cast<double>(value.m_value.f);
    case ORV_DB_TYPE_DOUBLE:
      return out << value.m_value.d;
    case ORV_DB_TYPE_TEXT:
      writeText(out, value.m_data);
      return out;
    case ORV_DB_TYPE_BLOB:
      return out.write(value.m_data.data(), static_cast<std::streamsize>(value.m_data.size()));
    default:
      return out;
  }
}
