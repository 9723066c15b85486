#include "server/model/model.h"

#include <algorithm>

namespace {

constexpr std::uint8_t kKnownActions = 7;
constexpr std::size_t kRepliesKeptAtLeast = 1000;

bool isGood(const _ORV_DB_MESSAGE &record) { return record.status == 0 && (record.action & kKnownActions) != 0; }

void require(bool condition, const char *promise, Model::Client client, std::uint64_t rowId = 0) {
  if (condition) return;
  throw BrokenPromise("client " + std::to_string(client) + ", row " + std::to_string(rowId) + ": " + promise);
}

}  // namespace

// --- what a client wants ---------------------------------------------------------------------------------------------

// With flag 0 the same callback without user data: an earlier entry is kept as it is.
void Model::Wish::registerFor(std::uint8_t mask, std::uint8_t flag, std::uint64_t now) {
  ever |= mask;
  const auto overlaps = [mask](const Entry &entry) { return (entry.mask & mask) != 0; };
  const auto earlier = std::find_if(entries.begin(), entries.end(), overlaps);
  const bool isKept = earlier != entries.end() && flag == 0 && earlier->flag == 0;
  if (!isKept) {
    cancel(mask);
    entries.push_back({mask, flag});
  }
  note(now);
}

void Model::Wish::cancel(std::uint8_t mask) {
  const auto overlaps = [mask](const Entry &entry) { return (entry.mask & mask) != 0; };
  const auto first = std::find_if(entries.begin(), entries.end(), overlaps);
  if (first == entries.end()) return;
  first->mask = static_cast<std::uint8_t>(first->mask & ~mask);
  if (first->mask == 0) entries.erase(first);
}

std::uint8_t Model::Wish::wanted() const {
  std::uint8_t sum = 0;
  for (const Entry &entry : entries)
    sum |= entry.mask;
  return sum;
}

std::uint8_t Model::Wish::wantedBefore(std::uint64_t moment) const {
  unsigned int sum = 0;
  for (unsigned int bit = 0; bit < 8; ++bit) {
    if (since[bit] != 0 && since[bit] < moment) sum |= 1U << bit;
  }
  return static_cast<std::uint8_t>(sum);
}

void Model::Wish::note(std::uint64_t now) {
  for (unsigned int bit = 0; bit < 8; ++bit) {
    const bool isWanted = (wanted() >> bit & 1U) != 0;
    if (!isWanted) {
      since[bit] = 0;
    } else if (since[bit] == 0) {
      since[bit] = now;
    }
  }
}

// --- what clients write ----------------------------------------------------------------------------------------------

Model::Client Model::add() {
  m_clients.emplace_back();
  return m_clients.size() - 1;
}

void Model::wrote(Client client, std::string_view bytes) {
  ++m_now;
  State &state = m_clients[client];
  while (!bytes.empty()) {
    if (state.written.empty()) state.beginOfRecord = m_now;
    const std::size_t missing = std::min(kRecordSize - state.written.size(), bytes.size());
    state.written.append(bytes.substr(0, missing));
    bytes.remove_prefix(missing);
    if (state.written.size() < kRecordSize) return;
    if (!state.isOutOfStep) handle(client, recordOf(state.written));
    state.written.clear();
  }
}

void Model::handle(Client client, const _ORV_DB_MESSAGE &record) {
  State &state = m_clients[client];
  switch (record.type) {
    case MSG_REGISTER: {
      _ORV_DB_MESSAGE reply = record;
      reply.status = isGood(record) ? kStatusAccepted : kStatusPlain;
      state.replies.push_back(bytesOf(reply));
      if (isGood(record)) state.wishes[keyOf(record)].registerFor(record.action, record.flag, m_now);
      return;
    }
    case MSG_CANCEL:
      if (!isGood(record) || state.wishes.count(keyOf(record)) == 0) return;
      state.wishes[keyOf(record)].cancel(record.action);
      state.wishes[keyOf(record)].note(m_now);
      return forgive(state, keyOf(record));
    case MSG_CHANGE:
      if (isGood(record)) owe(client, record);
      return;
    default:
      state.isOutOfStep = true;
  }
}

void Model::owe(Client sender, const _ORV_DB_MESSAGE &record) {
  const std::uint64_t rowId = record.rowId;  // in an aligned place, as below
  m_changes[rowId] = {sender, bytesOf(record)};
  for (Client client = 0; client < m_clients.size(); ++client) {
    State &state = m_clients[client];
    const auto wish = state.wishes.find(keyOf(record));
    if (client == sender || !state.isOpen || state.isOutOfStep || wish == state.wishes.end()) continue;
    const unsigned int actions = wish->second.wantedBefore(m_clients[sender].beginOfRecord) & record.action;
    if (actions != 0) state.owed[rowId] = {wish->first, static_cast<std::uint8_t>(actions), sender};
  }
}

// What a client has cancelled meanwhile it need not hear.
void Model::forgive(State &state, const std::string &key) {
  for (auto owed = state.owed.begin(); owed != state.owed.end();) {
    if (owed->second.key == key) owed->second.actions &= state.wishes[key].wanted();
    owed = owed->second.actions == 0 ? state.owed.erase(owed) : std::next(owed);
  }
}

// --- what clients read -----------------------------------------------------------------------------------------------

void Model::read(Client client, std::string_view bytes) {
  State &state = m_clients[client];
  state.unread.append(bytes);
  std::size_t done = 0;
  for (; state.unread.size() - done >= kRecordSize; done += kRecordSize)
    hear(client, recordOf(std::string_view(state.unread).substr(done)));
  state.unread.erase(0, done);
}

void Model::hear(Client client, const _ORV_DB_MESSAGE &record) {
  State &state = m_clients[client];
  if (record.type == MSG_REGISTER) {
    require(!state.replies.empty(), "a reply to nothing", client);
    require(state.replies.front() == bytesOf(record), "a wrong reply", client);
    return state.replies.pop_front();
  }
  require(record.type == MSG_CHANGE, "a record that is for no client", client);
  if (record.rowId != 0) return hearChange(client, record);
  require(m_leniency.mayCollapse, "told of a whole table without need", client);
  hearOfWholeTable(state, record);
}

void Model::hearChange(Client client, const _ORV_DB_MESSAGE &record) {
  State &state = m_clients[client];
  const std::uint64_t rowId = record.rowId;
  const auto found = m_changes.find(rowId);
  require(found != m_changes.end(), "a change that nobody announced", client, rowId);
  const Change &change = found->second;
  require(change.bytes == bytesOf(record), "a change that was altered", client, rowId);
  require(change.sender != client, "a client's own change", client, rowId);
  const auto wish = state.wishes.find(keyOf(record));
  const bool isWished = wish != state.wishes.end() && (wish->second.ever & record.action) != 0;
  require(isWished || m_leniency.mayGiveAll, "a change that it never registered for", client, rowId);
  std::uint64_t &last = state.last[change.sender];
  require(last < rowId, "a change twice or out of order", client, rowId);
  last = rowId;
  state.owed.erase(rowId);
}

void Model::hearOfWholeTable(State &state, const _ORV_DB_MESSAGE &record) {
  const auto client = static_cast<Client>(&state - m_clients.data());
  const auto wish = state.wishes.find(keyOf(record));
  _ORV_DB_MESSAGE expected{};
  expected.type = MSG_CHANGE;
  std::memcpy(expected.db, record.db, strnlen(record.db, kNameFieldSize - 1));
  std::memcpy(expected.table, record.table, strnlen(record.table, kNameFieldSize - 1));
  expected.action = record.action;
  require(bytesOf(expected) == bytesOf(record), "a whole table's record with other bytes in it", client);
  require((record.action & (record.action - 1)) == 0, "a whole table's record of several actions", client);
  require(wish != state.wishes.end() && (wish->second.ever & record.action) != 0,
          "a whole table that it never registered for", client);
  for (auto owed = state.owed.begin(); owed != state.owed.end();) {
    if (owed->second.key == wish->first) owed->second.actions &= static_cast<std::uint8_t>(~record.action);
    owed = owed->second.actions == 0 ? state.owed.erase(owed) : std::next(owed);
  }
}

// --- ends ------------------------------------------------------------------------------------------------------------

void Model::closed(Client client) {
  m_clients[client].isOpen = false;
  m_clients[client].owed.clear();
}

// What the server had not read of it by then is lost, which its process hears of when it comes again; of one that is
// out of step everything counts that came before.
void Model::wasCut(Client client) {
  const State &state = m_clients[client];
  const bool hasTooManyReplies = state.replies.size() > std::max(kRepliesKeptAtLeast, state.wishes.size());
  require(state.isOutOfStep || hasTooManyReplies || m_leniency.mayCut, "cut without a reason", client);
  closed(client);
  if (state.isOutOfStep) return;
  for (State &other : m_clients) {
    for (auto owed = other.owed.begin(); owed != other.owed.end();)
      owed = owed->second.sender == client ? other.owed.erase(owed) : std::next(owed);
  }
}

void Model::checkNothingIsMissing() const {
  for (Client client = 0; client < m_clients.size(); ++client) {
    const State &state = m_clients[client];
    if (!state.isOpen) continue;
    require(!state.isOutOfStep, "out of step, and not cut", client);
    require(state.owed.empty(), "a change is missing", client, state.owed.empty() ? 0 : state.owed.begin()->first);
    require(state.replies.empty(), "a reply is missing", client);
    require(state.unread.empty(), "half a record", client);
  }
}
