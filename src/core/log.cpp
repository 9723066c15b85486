#include "core/log.h"

#include <syslog.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace {

constexpr std::size_t kBufferSize = 1024;
constexpr char kLoggingPrefix[] = "QZ_";
constexpr char kSilentPrefix[] = "tkvmgr";

bool beginsWith(const char *text, const char *prefix) { return std::strncmp(text, prefix, std::strlen(prefix)) == 0; }

// The executable's name, read afresh each time: a process may exec a program of another name.
class executable_name {
 public:
  executable_name() : m_known(readlink("/proc/self/exe", m_path, sizeof m_path - 1) > 0) {}
  bool known() const { return m_known; }
  const char *base() const {
    const char *slash = std::strrchr(m_path, '/');
    return slash != nullptr ? slash + 1 : m_path;
  }

 private:
  char m_path[kBufferSize] = {};
  bool m_known;
};

}  // namespace

void db_api_log(const char *format, ...) {
  const executable_name executable;
  if (!executable.known() || !beginsWith(executable.base(), kLoggingPrefix)) return;
  char message[kBufferSize];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(message, sizeof message - 1, format, arguments);
  va_end(arguments);
  const mutex_guard logging(s_pLogMutex);
  syslog(LOG_USER | LOG_ERR, "[DBAPI] %s", message);
}

// Both filters apply, this one and that of db_api_log.
void db_api_process_info(const char *tag) {
  const auto pid = static_cast<unsigned int>(getpid());
  const auto ppid = static_cast<unsigned int>(getppid());
  const executable_name executable;
  if (!executable.known() || beginsWith(executable.base(), kSilentPrefix)) return;
  db_api_log("[%s] Process: %s, PID: %u, PPID: %u, TID: %u\n", tag, executable.base(), pid, ppid,
             static_cast<unsigned int>(pthread_self()));
}
