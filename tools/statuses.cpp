#include "statuses.h"

#include <orvdb_client.h>

namespace {

struct Meaning {
  unsigned int status;
  const char *text;
};

constexpr Meaning kNotification[] = {
    {ORV_DB_GONE, "no notification server is running: start orvdb_server"},
    {ORV_DB_NO_REPLY,
     "the notification server did not confirm within 2 seconds: is orvdb_server stopped or overloaded?"},
    {ORV_DB_LOST, "the connection to the notification server is lost: try again in a moment"},
    {ORV_DB_NO_EVENT_MANAGER, "out of memory"},
    {ORV_DB_NO_MEMORY, "out of memory"},
};

constexpr Meaning kStatement[] = {
    {ORV_DB_INVALID_ARGUMENT, "too few or too many values for the placeholders"},
    {ORV_DB_NO_MEMORY, "out of memory"},
    {ORV_DB_GONE, "the database server is not connected"},
    {ORV_DB_LOST, "the connection broke; whether the statement was done is unknown"},
};

template <class Table>
std::string meaning(const Table &table, unsigned int status) {
  for (const Meaning &entry : table) {
    if (entry.status == status) return entry.text;
  }
  return "status " + std::to_string(status);
}

}  // namespace

std::string notificationProblem(int status) { return meaning(kNotification, static_cast<unsigned int>(status)); }

std::string statementProblem(unsigned int status) {
  const std::string text = orv_db_get_error_str();
  return text.empty() ? meaning(kStatement, status) : text;
}
