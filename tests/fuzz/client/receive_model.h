// What the notification client has to do with the bytes that it reads: a model of one connection after the other, of
// the registry, and of the record. It shares nothing with the client.
#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <vector>

constexpr std::size_t kRecordBytes = 141;

// Which function, 0 for none, and the number behind its pointer for the user, 0 for none.
struct Callback {
  int function;
  std::uintptr_t user;
};
inline bool operator==(const Callback &left, const Callback &right) {
  return left.function == right.function && left.user == right.user;
}

struct ExpectedCall {
  std::string db;
  std::string table;
  int action;
  std::uint64_t rowId;
  Callback callback;
};

struct ExpectedEntry {
  std::string db;
  std::string table;
  int actions;
  std::uint8_t flag;
  Callback callback;
};

// A record as the protocol has it: `tail` is what stands behind the action.
std::string recordOf(std::uint8_t type, const std::string &db, const std::string &table, int action,
                     std::uint64_t tail);

class ReceiveModel {
 public:
  // The client has read these bytes.
  void read(const std::string &bytes);
  // The connection is gone, and what was read of a record with it.
  void disconnected() { m_partial.clear(); }
  std::size_t bytesOfPartialRecord() const { return m_partial.size(); }

  // Taken as callbacks are called.
  std::deque<ExpectedCall> &calls() { return m_calls; }

  void beginRegistration() { m_isAwaited = true; }
  // Whether it was accepted.
  bool endRegistration();
  void registered(const ExpectedEntry &entry);
  // Whether there was anything to cancel.
  bool cancel(const std::string &db, const std::string &table, int action);

  // In the order in which the registry lists them.
  std::vector<ExpectedEntry> entries() const;
  std::string replay() const;

 private:
  using Entries = std::vector<ExpectedEntry>;

  void receive(const std::string &record);
  Entries::iterator first(const std::string &db, const std::string &table, int action);
  void take(Entries::iterator entry, int action);

  Entries m_entries;  // as they were registered
  std::string m_partial;
  std::deque<ExpectedCall> m_calls;
  bool m_isAwaited = false;
  bool m_isAccepted = false;
};
