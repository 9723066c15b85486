#include "commands/status.h"

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <nlohmann/json.hpp>

#include "descriptor.h"
#include "exit_status.h"
#include "terminal/standard_output.h"
#include "terminal/text.h"
#include "terminal/text_table.h"

namespace {

using Json = nlohmann::ordered_json;

constexpr timeval kPatience{10, 0};

std::string advice(int reason) {
  switch (reason) {
    case ENOENT:
      return ": is orvdb_server running, and does it have a status socket there?";
    case ECONNREFUSED:
      return ": orvdb_server has ended and left its socket behind";
    case EAGAIN:
      return ": orvdb_server takes no callers: is it stopped?";
    case EACCES:
      return ": it takes the server's user, or root";
    default:
      return "";
  }
}

[[noreturn]] void fail(const std::string &path, int reason) {
  throw Failure(path + ": " + std::strerror(reason) + advice(reason));
}

sockaddr_un addressOf(const std::string &path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) throw Failure(path + ": a socket's path has 107 bytes at most");
  std::memcpy(address.sun_path, path.data(), path.size());
  return address;
}

// The server sends its report and closes the connection.
std::string readReport(const std::string &path) {
  const sockaddr_un address = addressOf(path);
  const Descriptor server(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  setsockopt(server.get(), SOL_SOCKET, SO_RCVTIMEO, &kPatience, sizeof kPatience);
  setsockopt(server.get(), SOL_SOCKET, SO_SNDTIMEO, &kPatience, sizeof kPatience);  // connecting may take as long
  if (connect(server.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) fail(path, errno);
  std::string report;
  std::array<char, 4096> part{};
  ssize_t length = 0;
  while ((length = read(server.get(), part.data(), part.size())) > 0) {
    report.append(part.data(), static_cast<std::size_t>(length));
  }
  if (length < 0 && errno != EAGAIN && errno != ECONNRESET) fail(path, errno);
  if (length < 0 || report.empty()) throw Failure(path + ": no whole report came: try again");
  return report;
}

std::string duration(long seconds) {
  constexpr long kDay = 24L * 60 * 60;
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), "%ld d %02ld:%02ld:%02ld", seconds / kDay, seconds % kDay / 3600,
                seconds % 3600 / 60, seconds % 60);
  return text.data();
}

std::string label(std::string key) {
  for (char &c : key) {
    if (c == '_') c = ' ';
  }
  return printable(key);
}

std::string cell(const Json &value) {
  if (value.is_boolean()) return value.get<bool>() ? "yes" : "no";
  return printable(value.is_string() ? value.get<std::string>() : value.dump());
}

// Whatever a server tells, one line for each: a newer one may have more to tell.
void printNumbers(const Json &report) {
  for (const auto &[key, value] : report.items()) {
    const bool isUptime = key == "uptime_seconds";
    const std::string text = value.is_array() ? std::to_string(value.size())
                             : isUptime       ? duration(value.get<long>())
                                              : cell(value);
    std::printf("%-23s%s\n", isUptime ? "uptime" : label(key).c_str(), text.c_str());
  }
}

// Of an array that is not empty.
TextTable tableOf(const Json &connections) {
  std::vector<TextTable::Column> columns;
  for (const auto &[key, value] : connections[0].items()) {
    columns.push_back({label(key), value.is_number()});
  }
  TextTable table(columns);
  for (const Json &connection : connections) {
    std::vector<std::string> cells;
    for (const auto &[key, value] : connections[0].items()) {
      cells.push_back(cell(connection.at(key)));
    }
    table.addRow(std::move(cells));
  }
  return table;
}

void printReport(const Json &report) {
  const Json &connections = report.at("connections");
  const TextTable table = connections.empty() ? TextTable({}) : tableOf(connections);
  printNumbers(report);
  if (connections.empty()) return;
  std::puts("");
  table.print(terminalWidth());
}

}  // namespace

int status(const StatusOptions &options) {
  const std::string report = readReport(options.socket);
  if (options.isJson) {
    std::fputs(report.c_str(), stdout);
    return kDone;
  }
  try {
    printReport(Json::parse(report));
  } catch (const Json::exception &) {
    throw Failure(options.socket + ": what answers there is no orvdb_server");
  }
  return kDone;
}
