// A socket by which the references announce their writes.
#pragma once

#include <string>

#include "support/unique_fd.h"

class RecordSocket {
 public:
  explicit RecordSocket(UniqueFd socket) : m_socket(std::move(socket)) {}

  // A record of the size and content that the library sends. Throws when nobody reads any more.
  void announce(const std::string &db, const std::string &table, int action, unsigned long long rowId) const;

 private:
  UniqueFd m_socket;
};
