// A socket by which those announce and hear who do without the library.
#pragma once

#include <string>

#include "event/message.h"
#include "support/unique_fd.h"

class RecordSocket {
 public:
  explicit RecordSocket(UniqueFd socket) : m_socket(std::move(socket)) {}

  // Throws when nobody listens there.
  static RecordSocket connect(const std::string &path);
  static bool answers(const std::string &path);

  int descriptor() const { return m_socket.get(); }

  // A record of the size and content that the library sends. Throws, like all else, when nobody is there any more.
  void announce(const std::string &db, const std::string &table, int action, unsigned long long rowId) const;
  // Returns when the server has answered.
  void registerFor(const std::string &db, const std::string &table) const;
  _ORV_DB_MESSAGE receive() const;

 private:
  void send(const _ORV_DB_MESSAGE &record) const;

  UniqueFd m_socket;
};
