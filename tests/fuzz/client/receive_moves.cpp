// What the notification server and the application do.
#include <orvdb_client.h>

#include <array>
#include <cstring>
#include <utility>

#include "fuzz/broken.h"
#include "fuzz/client/receive_session.h"

namespace {

const std::array<std::string, 6> kNames = {"", "a", "ab", "B", std::string(63, 'n'), std::string(70, 'n')};

template <int Function>
void call(const char *db, const char *table, _orv_db_action_t action, unsigned long long rowId, void *user) {
  ReceiveSession::current()->called({Function, reinterpret_cast<std::uintptr_t>(user)}, db, table,
                                    static_cast<int>(action), rowId);
}
constexpr std::array<orv_db_change_cb, 3> kFunctions = {nullptr, call<1>, call<2>};

}  // namespace

void ReceiveSession::called(const Callback &callback, const char *db, const char *table, int action,
                            std::uint64_t rowId) {
  const bool isExpected = !m_model.calls().empty();
  mustHold(isExpected, "a callback is called for nothing");
  if (!isExpected) return;
  const ExpectedCall expected = m_model.calls().front();
  m_model.calls().pop_front();
  mustHold(callback == expected.callback && db == expected.db && table == expected.table && action == expected.action &&
               rowId == expected.rowId,
           "a callback is called for " + shown(db) + '.' + shown(table) + ", not for " + shown(expected.db) + '.' +
               shown(expected.table));
  m_isInCallback = true;
  switch (m_input.choice(16)) {
    case 0:
      cancelOne();
      break;
    case 1:
      notifyOne();
      break;
    case 2:
      if (!m_isAnswering) registerOne();  // or it would wait for its own thread
      break;
    default:
      break;
  }
  m_isInCallback = false;
}

void ReceiveSession::serve() {
  switch (m_input.choice(16)) {
    case 0:
      m_isClosed = true;
      break;
    case 1:
      m_incoming += m_input.bytes(m_input.choice(200));
      break;
    case 2:
      m_incoming += reply();
      break;
    default:
      m_incoming += change();
  }
}

const std::string &ReceiveSession::name() { return kNames[m_input.choice(kNames.size())]; }

int ReceiveSession::action() {
  return m_input.oneIn(8) ? m_input.number<std::uint16_t>() : static_cast<int>(m_input.choice(8));
}

// Some of type and status are not those of a change, some names lack their zero byte, and behind it stands anything.
std::string ReceiveSession::change() {
  const std::size_t oddity = m_input.choice(16);
  const std::uint8_t type = oddity == 0 ? m_input.byte() : std::uint8_t{2};
  const std::string &db = name();
  const std::string &table = name();
  const int mask = action();
  std::string record = recordOf(type, db, table, mask, m_input.number<std::uint64_t>());
  if (oddity == 1) record[1] = static_cast<char>(m_input.byte());
  if (oddity >= 12) {
    for (const std::size_t field : {4U, 68U}) {
      for (std::size_t i = std::strlen(record.c_str() + field) + (oddity == 12 ? 0 : 1); i < 64; ++i)
        record[field + i] = 'n';
    }
  }
  return record;
}

std::string ReceiveSession::reply() {
  std::string record = recordOf(0, name(), "", 0, 0);
  record[1] = static_cast<char>(m_input.oneIn(4) ? m_input.byte() : 1);
  return record;
}

void ReceiveSession::registerOne() {
  const std::string &db = name();
  const std::string &table = name();
  const int mask = action();
  const auto flag = m_input.byte();
  const Callback callback{static_cast<int>(m_input.choice(3)), m_input.choice(3)};
  m_reply = m_input.oneIn(6) ? "" : reply();
  m_model.beginRegistration();
  const int status = orv_db_register_callback(db.c_str(), table.c_str(), static_cast<_orv_db_action_t>(mask),
                                              reinterpret_cast<void *>(callback.user), flag,
                                              kFunctions[static_cast<std::size_t>(callback.function)]);
  const bool isAccepted = m_model.endRegistration();
  m_sent.insert(0, std::exchange(m_sentBefore, ""));
  if ((mask & 7) == 0) return mustHaveSent("", status, ORV_DB_INVALID_ARGUMENT);
  const std::string record = recordOf(0, db, table, mask, flag);
  if (std::exchange(m_sendingFails, false)) return mustHaveSent(record, status, ORV_DB_LOST);
  mustHaveSent(record, status, isAccepted ? ORV_DB_OK : ORV_DB_NO_REPLY);
  if (isAccepted) m_model.registered({db, table, mask, flag, callback});
}

void ReceiveSession::cancelOne() {
  const std::string &db = name();
  const std::string &table = name();
  const int mask = action();
  const int status = orv_db_cancel_callback(db.c_str(), table.c_str(), static_cast<_orv_db_action_t>(mask));
  if ((mask & 7) == 0) return mustHaveSent("", status, ORV_DB_INVALID_ARGUMENT);
  if (!m_model.cancel(db, table, mask)) return mustHaveSent("", status, ORV_DB_OK);
  mustHaveSent(recordOf(1, db, table, mask, 0), status, sendingStatus());
}

void ReceiveSession::notifyOne() {
  const std::string &db = name();
  const std::string &table = name();
  const int mask = action();
  const auto rowId = m_input.number<std::uint64_t>();
  const int status = orv_db_notify_change(db.c_str(), table.c_str(), static_cast<_orv_db_action_t>(mask), rowId);
  if ((mask & 7) == 0) return mustHaveSent("", status, ORV_DB_INVALID_ARGUMENT);
  mustHaveSent(recordOf(2, db, table, mask, rowId), status, sendingStatus());
}

int ReceiveSession::sendingStatus() { return std::exchange(m_sendingFails, false) ? ORV_DB_LOST : ORV_DB_OK; }

void ReceiveSession::mustHaveSent(const std::string &record, int status, int expected) {
  mustHold(status == expected, "the status is " + std::to_string(status) + ", not " + std::to_string(expected));
  const std::string sent = std::exchange(m_sent, "");
  const bool isPart = expected == ORV_DB_LOST && sent.size() < record.size() && record.rfind(sent, 0) == 0;
  mustHold(isPart || sent == record, "sent is " + shown(sent) + ", not " + shown(record));
}
