#include "command_line.h"

#include <CLI/CLI.hpp>
#include <cstring>
#include <functional>
#include <memory>

#include "changes/changes.h"
#include "commands/doctor.h"
#include "commands/notify.h"
#include "commands/sql.h"
#include "commands/status.h"
#include "commands/watch.h"
#include "commands/write.h"
#include "exit_status.h"
#include "numbers.h"
#include "version.h"

namespace {

using Run = std::function<int()>;

// Says what an option takes and whether it is required, and leaves out what can be read in the message of a mistake.
class HelpFormatter : public CLI::Formatter {
 public:
  HelpFormatter() {
    column_width(32);
    label("SUBCOMMAND", "COMMAND");
  }

  std::string make_option_opts(const CLI::Option *option) const override {
    const std::string &value = option->get_option_text();
    return (value.empty() ? "" : " " + value) + (option->get_required() ? " (required)" : "");
  }
};

// --- options that several commands have ---

CLI::Option *addDatabase(CLI::App &app, std::string &database) {
  return app.add_option("-d,--database", database, "Database")->option_text("DB");
}

CLI::Option *addConnection(CLI::App &app, ConnectionOptions &options) {
  app.add_option("-h,--host", options.host, "Database server (127.0.0.1)")->option_text("HOST");
  app.add_option("-P,--port", options.port, "Its port (3306)")->option_text("PORT")->check(CLI::Range(1, 65535));
  app.add_option("-u,--user", options.user, "User (the login name)")->option_text("USER");
  app.add_flag("-p,--password", options.asksPassword, "Ask for the password; else it is taken from MYSQL_PWD");
  return addDatabase(app, options.database);
}

void addTable(CLI::App &app, std::string &table, const std::string &help) {
  app.add_option("TABLE", table, help)->required();
}

// May be given several times, each time with one value: more would take what follows for values, too.
CLI::Option *addRepeated(CLI::App &app, const std::string &name, std::vector<std::string> &values,
                         const std::string &help) {
  return app.add_option(name, values, help)->allow_extra_args(false);
}

CLI::Option *addNumber(CLI::App &app, const std::string &name, std::optional<unsigned long long> &number,
                       const std::string &help) {
  return app.add_option_function<std::string>(
      name, [&number](const std::string &text) { number = parseNumber(text); }, help);
}

CLI::Option *addActions(CLI::App &app, const std::string &name, unsigned int &actions, const std::string &help) {
  return app.add_option_function<std::string>(
      name, [&actions](const std::string &names) { actions = parseActions(names); }, help);
}

CLI::Option *addFormat(CLI::App &app, Format &format, const std::string &name, Format value, const std::string &help) {
  return app.add_flag_callback(
      name, [&format, value] { format = value; }, help);
}

// --- the commands ---

Run addWatch(CLI::App &app) {
  auto options = std::make_shared<WatchOptions>();
  addDatabase(app, options->database)->required();
  app.add_option("TABLE", options->tables, "Tables to watch")->required();
  addActions(app, "--action", options->actions, "Changes of interest, separated by commas (all)")
      ->option_text("ACTION");
  app.add_flag("--json", options->isJson, "Print one JSON object for each change");
  addNumber(app, "--count", options->count, "End after N changes")->option_text("N");
  app.add_option_function<double>(
         "--timeout", [options](double seconds) { options->timeout = parseTimeout(seconds); },
         "End after S seconds, with status 3 if there were less than --count changes")
      ->option_text("S");
  return [options] { return watch(*options); };
}

Run addNotify(CLI::App &app) {
  auto options = std::make_shared<NotifyOptions>();
  addDatabase(app, options->database)->required();
  addTable(app, options->table, "Table that was changed");
  addActions(app, "ACTION", options->actions, "insert, update, delete, or all if the whole table may have changed")
      ->required();
  addNumber(app, "ROWID", options->rowId, "Row id (none: unknown; for all: the whole table)");
  return [options] { return notify(*options); };
}

Run addSql(CLI::App &app) {
  auto options = std::make_shared<SqlOptions>();
  addConnection(app, options->connection);
  app.add_option("TEXT", options->text, "One SQL statement; - to read it from standard input")->required();
  CLI::Option *json = addFormat(app, options->format, "--json", Format::kJson, "Print rows as a JSON array of objects");
  addFormat(app, options->format, "--csv", Format::kCsv, "Print rows as CSV with a line of names")->excludes(json);
  addRepeated(app, "--notify", options->announcedTables, "Announce afterwards that this table may have changed")
      ->option_text("TABLE");
  app.footer(
      "Nobody is told of what is written this way, except by --notify.\n"
      "The table: NULL is NULL, control characters are escaped, bytes that are not UTF-8 are shown as 0x and hex.\n"
      "--csv: NULL is nothing at all, an empty text is \"\"; bytes that are not UTF-8 are 0x and hex.\n"
      "--json: integers are numbers, with all of their digits; all else is a string, MEDIUMINT and YEAR too;\n"
      "bytes that are not UTF-8 are {\"hex\": \"00ff\"}; the second column of a name gets _2.");
  return [options] { return sql(*options); };
}

void addValues(CLI::App &app, WriteOptions &options) {
  app.add_option("COL=VALUE", options.values, "Columns and their values, as text");
  addRepeated(app, "--null", options.nulls, "Column that is to be NULL")->option_text("COL");
  addRepeated(app, "--blob", options.blobs, "Column with the bytes of a file; @- is standard input")
      ->option_text("COL=@FILE");
}

void addWhere(CLI::App &app, WriteOptions &options) {
  CLI::Option *where =
      app.add_option("--where", options.where, "Which rows; ? stands for a value of --param")->option_text("SQL");
  addRepeated(app, "--param", options.params, "Value for the next ? in --where")->option_text("VALUE")->needs(where);
  app.add_flag("--all", options.isForAllRows, "Every row of the table")->excludes(where);
}

std::shared_ptr<WriteOptions> addWrite(CLI::App &app, const std::string &help) {
  auto options = std::make_shared<WriteOptions>();
  addConnection(app, options->connection)->required();
  addTable(app, options->table, help);
  addFormat(app, options->format, "--json", Format::kJson, "Print the numbers as a JSON object");
  app.footer("TABLE and COL stand in the statement as they are given here. The library announces the change.");
  return options;
}

Run addInsert(CLI::App &app) {
  const auto options = addWrite(app, "Table that gets the row");
  addValues(app, *options);
  return [options] { return insertRow(*options); };
}

Run addUpdate(CLI::App &app) {
  const auto options = addWrite(app, "Table with the rows");
  addValues(app, *options);
  addWhere(app, *options);
  return [options] { return updateRows(*options); };
}

Run addDelete(CLI::App &app) {
  const auto options = addWrite(app, "Table with the rows");
  addWhere(app, *options);
  return [options] { return deleteRows(*options); };
}

Run addStatus(CLI::App &app) {
  auto options = std::make_shared<StatusOptions>();
  app.add_option("--socket", options->socket, "The server's status socket (/run/orvdb/status.sock)")
      ->option_text("PATH");
  app.add_flag("--json", options->isJson, "Print the server's own JSON document");
  return [options] { return status(*options); };
}

Run addDoctor(CLI::App &app) {
  auto options = std::make_shared<DoctorOptions>();
  addConnection(app, options->connection);
  app.add_flag("--json", options->isJson, "Print a JSON array of findings");
  app.footer("The status is 0 if all is ok, and 1 otherwise.");
  return [options] { return doctor(*options); };
}

struct Command {
  const char *name;
  const char *help;
  Run (*addOptions)(CLI::App &app);
};

constexpr Command kCommands[] = {
    {"watch", "Print each change of tables as it arrives", addWatch},
    {"notify", "Announce a change that was made by other means", addNotify},
    {"sql", "Run an SQL statement", addSql},
    {"insert", "Insert a row, and announce it", addInsert},
    {"update", "Update rows, and announce it", addUpdate},
    {"delete", "Delete rows, and announce it", addDelete},
    {"status", "Show what the notification server says of itself", addStatus},
    {"doctor", "Check that everything a program needs is there", addDoctor},
};

// --- running ---

bool startsWith(const char *text, const char *start) { return std::strncmp(text, start, std::strlen(start)) == 0; }

// Every user of the machine can see the words of a command.
void refusePasswords(int argc, char **argv) {
  for (int i = 1; i < argc && std::strcmp(argv[i], "--") != 0; ++i) {
    const bool hasPassword = (startsWith(argv[i], "-p") && argv[i][2] != '\0') || startsWith(argv[i], "--password=");
    if (hasPassword)
      throw WrongUsage("a password does not belong on the command line: let -p ask for it, or set MYSQL_PWD");
  }
}

// In the tool's own words where CLI11's would be about "subcommands".
[[noreturn]] void failUsage(const CLI::App &app, const std::string &reason, int argc, char **argv) {
  const auto commands = app.get_subcommands();
  if (!commands.empty()) throw WrongUsage(reason + "; see 'orvdb " + commands[0]->get_name() + " --help'");
  const std::string ownReason = argc > 1 ? "'" + std::string(argv[1]) + "' is no command" : "a command is missing";
  throw WrongUsage(ownReason + "; see 'orvdb --help'");
}

}  // namespace

int runCommandLine(int argc, char **argv) {
  refusePasswords(argc, argv);
  CLI::App app("Works with a database as the programs that use liborvdb_client do.", "orvdb");
  app.set_help_flag("--help", "Print this help");  // -h is the host
  app.set_version_flag("--version", "orvdb " + programVersion(), "Print the version");
  app.require_subcommand(1);
  app.formatter(std::make_shared<HelpFormatter>());
  Run run;
  for (const Command &command : kCommands) {
    CLI::App *added = app.add_subcommand(command.name, command.help);
    added->group("Commands");
    const Run runCommand = command.addOptions(*added);
    added->callback([&run, runCommand] { run = runCommand; });
  }
  // Commands would inherit it.
  app.footer(
      "'orvdb COMMAND --help' tells of a command.\n"
      "Exit status: 0 done, 1 failed, 2 wrong usage, 3 time-out.");
  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp &) {
    std::fputs(app.help().c_str(), stdout);
    return kDone;
  } catch (const CLI::CallForVersion &version) {
    std::puts(version.what());
    return kDone;
  } catch (const CLI::ParseError &error) {
    failUsage(app, error.what(), argc, argv);
  }
  return run();
}
