#include "options.h"

#include <getopt.h>
#include <grp.h>
#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <vector>

#include "event/message.h"

namespace {

constexpr int kExitUsage = 2;
constexpr char kStatusFolder[] = "/run/orvdb";
constexpr char kStatusPath[] = "/run/orvdb/status.sock";

[[noreturn]] void failUsage() {
  std::fputs("Try 'orvdb_server --help'.\n", stderr);
  std::exit(kExitUsage);
}

[[noreturn]] void failValue(const char *what, const std::string &value) {
  std::fprintf(stderr, "orvdb_server: '%s' is no %s\n", value.c_str(), what);
  failUsage();
}

unsigned long parseNumber(const char *what, const std::string &text, int base, unsigned long most) {
  char *end = nullptr;
  errno = 0;
  const bool hasDigits = text.find_first_not_of("0123456789") == std::string::npos && !text.empty();
  const unsigned long number = std::strtoul(text.c_str(), &end, base);
  if (!hasDigits || *end != '\0' || errno != 0 || number > most) failValue(what, text);
  return number;
}

mode_t parseMode(const std::string &text) { return static_cast<mode_t>(parseNumber("mode", text, 8, 0777)); }

std::size_t parseLimit(const std::string &text) {
  const unsigned long limit = parseNumber("limit", text, 10, std::numeric_limits<int>::max());
  if (limit == 0) failValue("limit", text);
  return limit;
}

// The last id stands for none.
unsigned long parseId(const char *what, const std::string &text) {
  return parseNumber(what, text, 10, std::numeric_limits<uid_t>::max() - 1UL);
}

uid_t parseUser(const std::string &text) {
  const passwd *user = getpwnam(text.c_str());
  return user != nullptr ? user->pw_uid : static_cast<uid_t>(parseId("user", text));
}

gid_t parseGroup(const std::string &text) {
  const group *found = getgrnam(text.c_str());
  return found != nullptr ? found->gr_gid : static_cast<gid_t>(parseId("group", text));
}

ResyncMode parseResync(const std::string &text) {
  if (text == "auto") return ResyncMode::kAuto;
  if (text == "always") return ResyncMode::kAlways;
  if (text == "never") return ResyncMode::kNever;
  failValue("resync mode", text);
}

struct Flag {
  const char *name;
  const char *value;  // its name in the help; null when the option has none
  void (*apply)(Options &options, const std::string &value);
  const char *help;
};

// Without --help and --version.
constexpr Flag kFlags[] = {
    {"socket", "PATH", [](Options &o, const std::string &value) { o.socketPath = value; },
     "listen on PATH (default /tmp/orvdb_server.sock)"},
    {"mode", "OCTAL", [](Options &o, const std::string &value) { o.socketMode = parseMode(value); },
     "rights of the socket (default 0666: every local user may connect)"},
    {"group", "GROUP", [](Options &o, const std::string &value) { o.socketGroup = parseGroup(value); },
     "group of the socket"},
    {"allow-user", "USER", [](Options &o, const std::string &value) { o.allowedUsers.insert(parseUser(value)); },
     "refuse all users but those named; may be repeated"},
    {"allow-group", "GROUP", [](Options &o, const std::string &value) { o.allowedGroups.insert(parseGroup(value)); },
     "likewise, by primary group; one of both lists suffices"},
    {"resync", "MODE", [](Options &o, const std::string &value) { o.resync = parseResync(value); },
     "auto, always or never: when to tell readers that they may have\nmissed changes (default auto)"},
    {"queue-limit", "BYTES", [](Options &o, const std::string &value) { o.limits.queueBytes = parseLimit(value); },
     "unsent changes of one connection (default 262144)"},
    {"total-queue-limit", "BYTES",
     [](Options &o, const std::string &value) { o.limits.totalQueueBytes = parseLimit(value); },
     "unsent changes of all connections (default 16777216)"},
    {"max-connections", "N", [](Options &o, const std::string &value) { o.maxConnections = parseLimit(value); },
     "connections (default 10000)"},
    {"max-user-connections", "N",
     [](Options &o, const std::string &value) { o.maxUserConnections = parseLimit(value); },
     "connections of one user (default 5000)"},
    {"max-keys", "N", [](Options &o, const std::string &value) { o.limits.keys = parseLimit(value); },
     "registered keys of all connections (default 200000)"},
    {"max-connection-keys", "N",
     [](Options &o, const std::string &value) { o.limits.keysOfConnection = parseLimit(value); },
     "registered keys of one connection (default 200000)"},
    {"status", "PATH", [](Options &o, const std::string &value) { o.statusPath = value; },
     "answer on PATH with a report in JSON, empty for none (default\n/run/orvdb/status.sock where that folder can be "
     "written to)"},
    {"status-mode", "OCTAL", [](Options &o, const std::string &value) { o.statusMode = parseMode(value); },
     "rights of that socket (default 0600)"},
    {"syslog", nullptr, [](Options &o, const std::string &) { o.logsToSyslog = true; },
     "log to the system log, not to standard error"},
};
constexpr int kFlagCount = std::size(kFlags);
constexpr int kHelp = kFlagCount;
constexpr int kVersion = kFlagCount + 1;

// Two lines of help for each newline in it.
void printFlag(const std::string &name, std::string help) {
  constexpr char kIndent[] = "\n                             ";
  for (std::size_t at = 0; (at = help.find('\n', at)) != std::string::npos; at += sizeof kIndent - 1) {
    help.replace(at, 1, kIndent);
  }
  std::printf("  --%-25s%s\n", name.c_str(), help.c_str());
}

[[noreturn]] void printHelp() {
  std::puts(
      "Usage: orvdb_server [OPTION]...\n"
      "Tells processes of the changes that other processes make to database tables.\n");
  for (const Flag &flag : kFlags) {
    printFlag(flag.value != nullptr ? std::string(flag.name) + "=" + flag.value : flag.name, flag.help);
  }
  printFlag("help", "print this help and exit");
  printFlag("version", "print the version and exit");
  std::puts("\nExit status: 0 after SIGTERM or SIGINT, 1 when it can't serve, 2 for wrong usage.");
  std::exit(EXIT_SUCCESS);
}

[[noreturn]] void printVersion() {
  std::puts("orvdb_server " ORVDB_VERSION);
  std::exit(EXIT_SUCCESS);
}

std::vector<option> longOptions() {
  std::vector<option> options;
  options.reserve(kFlagCount + 3);
  for (int i = 0; i < kFlagCount; ++i) {
    options.push_back({kFlags[i].name, kFlags[i].value != nullptr ? required_argument : no_argument, nullptr, i});
  }
  options.push_back({"help", no_argument, nullptr, kHelp});
  options.push_back({"version", no_argument, nullptr, kVersion});
  options.push_back({nullptr, 0, nullptr, 0});
  return options;
}

std::string defaultStatusPath() { return access(kStatusFolder, W_OK | X_OK) == 0 ? kStatusPath : ""; }

}  // namespace

Options parseOptions(int argc, char **argv) {
  Options options;
  options.socketPath = kServerSocketPath;
  options.statusPath = defaultStatusPath();
  const std::vector<option> known = longOptions();
  for (int found; (found = getopt_long(argc, argv, "", known.data(), nullptr)) != -1;) {
    if (found == '?') failUsage();
    if (found == kHelp) printHelp();
    if (found == kVersion) printVersion();
    kFlags[found].apply(options, optarg != nullptr ? optarg : "");
  }
  if (optind == argc) return options;
  std::fprintf(stderr, "orvdb_server: unexpected argument '%s'\n", argv[optind]);
  failUsage();
}
