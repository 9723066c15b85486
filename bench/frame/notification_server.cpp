#include "frame/notification_server.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <stdexcept>

#include "event/message.h"
#include "support/unique_fd.h"
#include "support/wait.h"

namespace {

// Without a descriptor where nobody listens.
UniqueFd tryToConnect() {
  UniqueFd made(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::string(kServerSocketPath).copy(address.sun_path, sizeof address.sun_path - 1);
  if (connect(made.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) made.reset();
  return made;
}

bool answers() { return static_cast<bool>(tryToConnect()); }

}  // namespace

// Reminders of what may have been missed would come in between.
NotificationServer::NotificationServer() : m_process({ORVDB_SERVER, "--resync=never"}, Role::kReader) {
  if (!waitUntil(answers)) throw std::runtime_error("the notification server does not start");
}

RecordSocket NotificationServer::connect() { return RecordSocket(tryToConnect()); }
