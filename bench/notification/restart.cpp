#include "restart.h"

#include <filesystem>
#include <optional>
#include <stdexcept>

#include "listener.h"
#include "listeners.h"
#include "support/server_status.h"
#include "support/wait.h"

void measureRestart(Bench &bench) {
  const std::size_t clients = bench.isTrial() ? 5 : 200;
  constexpr std::size_t kRegistrations = 10;
  const std::string status = std::filesystem::temp_directory_path() / "status.sock";
  const std::vector<std::string> options{"--resync=never", "--status=" + status};
  std::optional<NotificationServer> server(std::in_place, options);
  const Listeners listeners = Listeners::withCallbacks(clients, kRegistrations);
  const auto areAllThere = [&] {
    return RecordSocket::answers(status) && ServerStatus(status).number("registered_keys") == clients * kRegistrations;
  };
  if (!areAllThere()) throw std::runtime_error("the server does not count its registrations");
  bench.measureValues(
      {"server restart until " + std::to_string(clients) + " clients with 10 registrations are back", "s", {}, "", {}},
      [&] {
        const Nanoseconds begin = now();
        server.reset();
        server.emplace(options);
        if (!waitUntil(areAllThere)) throw std::runtime_error("not all registrations come back");
        return static_cast<double>(now() - begin) / 1e9;
      },
      3);
}
