#include "database/connection.h"

#include <cstdlib>
#include <optional>

#include "database/password.h"
#include "exit_status.h"

namespace {

std::optional<std::string> findPassword(const ConnectionOptions &options) {
  if (options.asksPassword) return askPassword();
  const char *password = std::getenv("MYSQL_PWD");
  return password != nullptr ? std::make_optional<std::string>(password) : std::nullopt;
}

// The client library fills in what is null.
const char *orNull(const std::string &text) { return text.empty() ? nullptr : text.c_str(); }

}  // namespace

Handle connect(const ConnectionOptions &options) {
  const std::optional<std::string> password = findPassword(options);
  Handle handle(orv_db_open(options.host.c_str(), orNull(options.user), password ? password->c_str() : nullptr,
                            options.database.c_str(), options.port));
  if (handle == nullptr) throw Failure("cannot connect to " + options.host + ": " + orv_db_get_error_str());
  return handle;
}
