// Says which version of the header it was built with, and uses the library: its exceptions arrive here.
#include <orvdb_client.h>

#include <iostream>
#include <stdexcept>

int main() {
  try {
    orv_db_open(nullptr, nullptr, nullptr, "none", 0);
  } catch (const std::logic_error &) {
    std::cout << ORV_DB_VERSION_MAJOR << '.' << ORV_DB_VERSION_MINOR << '.' << ORV_DB_VERSION_PATCH << '\n';
    return 0;
  }
  return 1;
}
