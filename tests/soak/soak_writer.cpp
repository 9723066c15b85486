// soak_writer CONNECTION DATABASE TALLY FIRST
//
// Changes rows of all tables, a few in a second. The slots from FIRST on are its own.
#include <random>

#include "soak/client.h"

namespace {

constexpr std::chrono::milliseconds kPause{200};
constexpr std::size_t kLongestValue = 1'000'000'000;

class Writer {
 public:
  explicit Writer(char **argv)
      : m_client(argv), m_firstSlot(std::stoi(argv[kClientWords])), m_handle(m_client.open()) {}

  [[noreturn]] void run() {
    for (;;) {
      for (void (Writer::*const step)() : kSteps) {
        m_client.waitWhilePaused();
        (this->*step)();
        Client::sleep(kPause);
      }
    }
  }

 private:
  long long anyValue() { return std::uniform_int_distribution(0LL, static_cast<long long>(kLongestValue))(m_random); }

  bool settle(int status, const char *table) {
    if (status == ORV_DB_OK) {
      ++m_client.tally().written;
      return true;
    }
    m_client.tellOfFailure(m_handle, table);
    return false;
  }

  int insertValue(const char *table) {
    const Values values = newValues();
    orv_db_content_put_int(values.get(), "owner", m_firstSlot);
    orv_db_content_put_int64(values.get(), "value", anyValue());
    return orv_db_insert(m_handle.get(), table, values.get(), nullptr, &m_lastItem);
  }

  int updateValue(const char *table, unsigned long long row) {
    const Values values = newValues();
    orv_db_content_put_int64(values.get(), "value", anyValue());
    const _orv_db_param_t id = uint64Param(row);
    return orv_db_update(m_handle.get(), table, values.get(), "_id=?", &id, 1, nullptr);
  }

  void updateSlot() {
    const int slot = m_firstSlot + m_nextSlot;
    m_nextSlot = (m_nextSlot + 1) % kSlotsOfOneWriter;
    settle(updateValue(kSlots, static_cast<unsigned long long>(slot)), kSlots);
  }

  void insertItem() { settle(insertValue(kItems), kItems); }
  void updateItem() { settle(updateValue(kItems, m_lastItem), kItems); }

  // As many as a round inserts; what failures leave goes with them.
  void deleteItems() {
    const _orv_db_param_t owner = uint64Param(static_cast<unsigned long long>(m_firstSlot));
    settle(orv_db_delete(m_handle.get(), kItems, "owner=? ORDER BY _id LIMIT 3", &owner, 1, nullptr), kItems);
  }

  // The connection may be lost at any step, which only the commit tells, if at all.
  void changeInTransaction() {
    if (!settle(orv_db_begin_transaction(m_handle.get()), kItems)) return;
    const int inserted = insertValue(kItems);
    const int updated = updateValue(kItems, m_lastItem);
    const int committed = orv_db_commit_transaction(m_handle.get());
    settle(inserted == ORV_DB_OK && updated == ORV_DB_OK ? committed : ORV_DB_LOST, kItems);
  }

  void changeMind() {
    orv_db_begin_transaction(m_handle.get());
    updateValue(kDrafts, 1);
    orv_db_rollback_transaction(m_handle.get());
  }

  static constexpr void (Writer::*kSteps[])() = {&Writer::updateSlot, &Writer::insertItem, &Writer::updateSlot,
                                                 &Writer::updateItem, &Writer::updateSlot, &Writer::changeInTransaction,
                                                 &Writer::updateSlot, &Writer::changeMind, &Writer::updateSlot,
                                                 &Writer::deleteItems};

  const Client m_client;
  const int m_firstSlot;
  const Handle m_handle;
  int m_nextSlot = 0;
  unsigned long long m_lastItem = 0;
  std::mt19937 m_random{std::random_device{}()};
};

}  // namespace

int main(int argc, char **argv) {
  if (argc != kClientWords + 1) return 2;
  return runClient([argv] { Writer(argv).run(); });
}
