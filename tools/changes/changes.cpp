#include "changes/changes.h"

#include <orvdb_client.h>

#include <sstream>

#include "exit_status.h"
#include "statuses.h"

namespace {

constexpr std::size_t kLongestName = 63;

struct NamedAction {
  const char *name;
  unsigned int mask;
};

constexpr NamedAction kSingleActions[] = {
    {"insert", ORV_DB_ACTION_INSERT}, {"update", ORV_DB_ACTION_UPDATE}, {"delete", ORV_DB_ACTION_DELETE}};

unsigned int parseAction(const std::string &name) {
  if (name == "all") return ORV_DB_ACTION_ALL;
  for (const NamedAction &action : kSingleActions) {
    if (name == action.name) return action.mask;
  }
  throw WrongUsage("'" + name + "' is no action; there are insert, update, delete and all");
}

}  // namespace

unsigned int parseActions(const std::string &names) {
  if (names.empty()) return parseAction(names);
  unsigned int actions = 0;
  std::istringstream list(names);
  for (std::string name; std::getline(list, name, ',');) {
    actions |= parseAction(name);
  }
  return actions;
}

std::vector<std::string> actionNames(unsigned int actions) {
  std::vector<std::string> names;
  for (const NamedAction &action : kSingleActions) {
    if ((actions & action.mask) != 0) names.emplace_back(action.name);
  }
  return names;
}

void checkName(const std::string &kind, const std::string &name) {
  if (name.empty()) throw WrongUsage("the name of a " + kind + " cannot be empty");
  if (name.size() > kLongestName) throw WrongUsage("the name of a " + kind + " has 63 bytes at most: " + name);
}

void announce(const std::string &database, const std::string &table, unsigned int actions, unsigned long long rowId) {
  const int status =
      orv_db_notify_change(database.c_str(), table.c_str(), static_cast<_orv_db_action_t>(actions), rowId);
  if (status == ORV_DB_OK) return;
  throw Failure("cannot announce a change of " + database + "." + table + ": " + notificationProblem(status));
}
