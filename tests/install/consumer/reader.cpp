// reader DATABASE: registers for the table that writer fills, says so, and tells of the first change.
#include <orvdb_client.h>

#include <chrono>
#include <future>
#include <iostream>
#include <mutex>
#include <string>

namespace {

constexpr std::chrono::seconds kPatience{60};

// Row id 0 says that there may have been changes, on a machine where the notification server was restarted.
void changed(const char *, const char *table, _orv_db_action_t action, unsigned long long row, void *promise) {
  static std::once_flag isTold;
  if (row == 0) return;
  const std::string text = table + (": action " + std::to_string(action)) + ", row " + std::to_string(row);
  std::call_once(isTold, [&] { static_cast<std::promise<std::string> *>(promise)->set_value(text); });
}

}  // namespace

int main(int argc, char **argv) {
  if (argc != 2) return 2;
  std::promise<std::string> change;
  std::future<std::string> heard = change.get_future();
  const int status = orv_db_register_callback(argv[1], "item", ORV_DB_ACTION_INSERT, &change, 0, changed);
  if (status != ORV_DB_OK) {
    std::cerr << "reader: can't register, status " << status << '\n';
    return 1;
  }
  std::cout << "registered" << std::endl;
  if (heard.wait_for(kPatience) != std::future_status::ready) return 1;
  std::cout << heard.get() << '\n';
  return orv_db_cancel_callback(argv[1], "item", ORV_DB_ACTION_INSERT) == ORV_DB_OK ? 0 : 1;
}
