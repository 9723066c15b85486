#include "stress/child_work.h"

#include <execinfo.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <atomic>
#include <cstring>
#include <filesystem>

#include "event/message.h"
#include "stress/tables.h"
#include "unit/core/writing_test.h"

namespace {

[[noreturn]] void sayWhere(int) {
  void *addresses[64];
  backtrace_symbols_fd(addresses, backtrace(addresses, 64), STDERR_FILENO);
  _exit(7);
}

std::atomic<bool> s_notified{false};

void hear(const char *, const char *, _orv_db_action_t, unsigned long long, void *) { s_notified = true; }

bool leadsToTheServer(int fd) {
  sockaddr_un peer{};
  socklen_t length = sizeof peer;
  return getpeername(fd, reinterpret_cast<sockaddr *>(&peer), &length) == 0 && peer.sun_family == AF_UNIX &&
         std::strcmp(peer.sun_path, kServerSocketPath) == 0;
}

// A program's own, or also one of the process that started it. (Those to the database server are the client library's,
// which lets every program inherit them.)
int connectionsToTheServer() {
  int count = 0;
  for (const auto &entry : std::filesystem::directory_iterator("/proc/self/fd"))
    count += leadsToTheServer(std::stoi(entry.path().filename())) ? 1 : 0;
  return count;
}

CHILD_PROGRAM(DoesAChildsWork) {
  EXPECT_EQ(connectionsToTheServer(), 1);
  return doChildsWork(arguments.at(0), std::stoi(arguments.at(1)));
}

}  // namespace

void endWhenLate() {
  signal(SIGALRM, sayWhere);
  alarm(static_cast<unsigned int>(kPatience.count()));
}

const RegisteredProgram &kDoesAChildsWork = DoesAChildsWork;

int doChildsWork(const std::string &db, int number) {
  endWhenLate();
  const Handle handle = openHandle(db);
  if (!handle) return 2;
  if (insertRow(handle, kChildren, number) != ORV_DB_OK) return 3;
  if (orv_db_register_callback(db.c_str(), kBeats, ORV_DB_ACTION_ALL, nullptr, 0, hear) != ORV_DB_OK) return 4;
  if (!waitUntil([] { return s_notified.load(); })) return 5;
  return rawValue(handle, "SELECT 1") == "1" ? 0 : 6;
}
