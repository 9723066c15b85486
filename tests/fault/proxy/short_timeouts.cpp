#include "fault/proxy/short_timeouts.h"

#include <mysql.h>

#include <atomic>

namespace {

std::atomic<unsigned int> s_seconds{0};  // 0: what the library asks for

bool isTimeout(mysql_option option) {
  return option == MYSQL_OPT_CONNECT_TIMEOUT || option == MYSQL_OPT_READ_TIMEOUT || option == MYSQL_OPT_WRITE_TIMEOUT;
}

}  // namespace

extern "C" {

int __real_mysql_options(MYSQL *connection, mysql_option option, const void *value);

int __wrap_mysql_options(MYSQL *connection, mysql_option option, const void *value) {
  const unsigned int seconds = s_seconds;
  return __real_mysql_options(connection, option, isTimeout(option) && seconds > 0 ? &seconds : value);
}
}

ShortTimeouts::ShortTimeouts(unsigned int seconds) { s_seconds = seconds; }

ShortTimeouts::~ShortTimeouts() { s_seconds = 0; }
