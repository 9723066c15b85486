// soak_visitor CONNECTION DATABASE TALLY
//
// Comes, opens, registers, reads and writes, takes all of it back, and goes.
#include <unistd.h>

#include <random>

#include "soak/client.h"

namespace {

constexpr int kItemsOfOneVisit = 3;

class Visitor {
 public:
  explicit Visitor(char **argv) : m_client(argv) {
    m_client.waitWhilePaused();
    m_handle = m_client.open();
  }

  void visit() {
    m_client.registerFor(kItems, ORV_DB_ACTION_ALL, &m_client.tally(), hear);
    for (int i = 0; i < kItemsOfOneVisit; ++i) {
      write([this] { return insertItem(); });
      look();
    }
    write([this] { return deleteItems(); });
    orv_db_cancel_callback(m_client.database(), kItems, ORV_DB_ACTION_ALL);
    m_handle.reset();
    ++m_client.tally().rounds;
  }

 private:
  static void hear(const char *, const char *, _orv_db_action_t, unsigned long long, void *data) {
    ++static_cast<Tally *>(data)->heard;
  }

  template <class Statement>
  void write(Statement statement) {
    Client::sleep(std::chrono::milliseconds(std::uniform_int_distribution(200, 2000)(m_random)));
    m_client.waitWhilePaused();
    Client::persist([&] {
      if (statement() == ORV_DB_OK) return true;
      m_client.tellOfFailure(m_handle, kItems);
      return false;
    });
    ++m_client.tally().written;
  }

  int insertItem() {
    const Values values = newValues();
    orv_db_content_put_int(values.get(), "owner", -getpid());
    orv_db_content_put_int(values.get(), "value", getpid());
    return orv_db_insert(m_handle.get(), kItems, values.get(), nullptr, nullptr);
  }

  int deleteItems() {
    _orv_db_param_t owner{};
    owner.type = ORV_DB_TYPE_INT64;
    owner.value.i64 = -getpid();
    return orv_db_delete(m_handle.get(), kItems, "owner=?", &owner, 1, nullptr);
  }

  void look() {
    Client::persist([this] {
      const Result result = rawQuery(m_handle, "SELECT COUNT(*) FROM items");
      return step(result) && integerColumn(result, 0) > 0;
    });
  }

  const Client m_client;
  Handle m_handle;
  std::mt19937 m_random{std::random_device{}()};
};

}  // namespace

int main(int argc, char **argv) {
  if (argc != kClientWords) return 2;
  return runClient([argv] {
    auto &visitor = *new Visitor(argv);  // never released: the message thread may call until the process has ended
    visitor.visit();
  });
}
