// What the tool makes of its words.
#include <gmock/gmock.h>

#include "tools/tool_fixture.h"

namespace {

using testing::HasSubstr;
using testing::Not;

class ToolCommandLine : public ToolTest {};

TEST_F(ToolCommandLine, VersionIsThatOfTheLibrary) {
  EXPECT_EQ(run({"--version"}), (Answer{0, "orvdb " ORVDB_VERSION "\n", ""}));
}

TEST_F(ToolCommandLine, HelpOfTheToolNamesTheCommands) {
  EXPECT_EQ(run({"--help"}), (Answer{0, R"(Works with a database as the programs that use liborvdb_client do.
Usage: orvdb [OPTIONS] COMMAND

Options:
  --help                        Print this help
  --version                     Print the version

Commands:
  watch                         Print each change of tables as it arrives
  notify                        Announce a change that was made by other means
  sql                           Run an SQL statement
  insert                        Insert a row, and announce it
  update                        Update rows, and announce it
  delete                        Delete rows, and announce it
  status                        Show what the notification server says of itself
  doctor                        Check that everything a program needs is there

'orvdb COMMAND --help' tells of a command.
Exit status: 0 done, 1 failed, 2 wrong usage, 3 time-out.
)",
                                     ""}));
}

TEST_F(ToolCommandLine, HelpOfACommandNamesItsOptions) {
  EXPECT_EQ(run({"notify", "--help"}), (Answer{0, R"(Announce a change that was made by other means
Usage: orvdb notify [OPTIONS] TABLE ACTION [ROWID]

Positionals:
  TABLE (required)              Table that was changed
  ACTION (required)             insert, update, delete, or all if the whole table may have changed
  ROWID                         Row id (none: unknown; for all: the whole table)

Options:
  --help                        Print this help
  -d,--database DB (required)   Database

)",
                                               ""}));
}

struct WrongUsage {
  const char *name;
  Words words;
  std::string errors;
};

void PrintTo(const WrongUsage &usage, std::ostream *out) { *out << usage.name; }

class ToolWrongUsageOf : public ToolCommandLine, public testing::WithParamInterface<WrongUsage> {};

TEST_P(ToolWrongUsageOf, TheToolEndsWithStatus2AndSaysWhy) {
  EXPECT_EQ(run(GetParam().words), (Answer{2, "", GetParam().errors}));
}

const std::string kLongName(64, 'x');
const std::string kLongNameError =
    "orvdb: the name of a table has 63 bytes at most: " + kLongName + "\n";  // it would never match

std::string noNumber(const std::string &text) {
  return "orvdb: '" + text + "' is no number from 0 to 18446744073709551615\n";
}

INSTANTIATE_TEST_SUITE_P(
    Words, ToolWrongUsageOf,
    testing::Values(
        WrongUsage{"NoCommand", {}, "orvdb: a command is missing; see 'orvdb --help'\n"},
        WrongUsage{"UnknownCommand", {"look"}, "orvdb: 'look' is no command; see 'orvdb --help'\n"},
        WrongUsage{"NoDatabase", {"watch", "t"}, "orvdb: --database is required; see 'orvdb watch --help'\n"},
        WrongUsage{"NoTable", {"watch", "-d", "x"}, "orvdb: TABLE is required; see 'orvdb watch --help'\n"},
        WrongUsage{"EmptyTable", {"watch", "-d", "x", ""}, "orvdb: the name of a table cannot be empty\n"},
        WrongUsage{"LongTable", {"notify", "-d", "x", kLongName, "all"}, kLongNameError},
        WrongUsage{"UnknownAction",
                   {"notify", "-d", "x", "t", "upsert"},
                   "orvdb: 'upsert' is no action; there are insert, update, delete and all\n"},
        WrongUsage{"EmptyAction",
                   {"watch", "-d", "x", "t", "--action", ""},
                   "orvdb: '' is no action; there are insert, update, delete and all\n"},
        WrongUsage{"ActionThatWouldChangeTheTerminal",
                   {"notify", "-d", "x", "t", "\x1b[31m\xff"},
                   "orvdb: '\\x1b[31m\\xff' is no action; there are insert, update, delete and all\n"},
        WrongUsage{"NegativeRowId", {"notify", "-d", "x", "t", "all", "-1"}, noNumber("-1")},
        WrongUsage{"HexadecimalRowId", {"notify", "-d", "x", "t", "all", "0x10"}, noNumber("0x10")},
        WrongUsage{"RowIdThatIsTooLarge",
                   {"notify", "-d", "x", "t", "all", "18446744073709551616"},
                   noNumber("18446744073709551616")},
        WrongUsage{"NegativeCount", {"watch", "-d", "x", "t", "--count", "-2"}, noNumber("-2")},
        WrongUsage{"CountOfNone", {"watch", "-d", "x", "t", "--count", "0"}, "orvdb: --count takes 1 at least\n"},
        WrongUsage{"TimeoutThatIsNoNumber",
                   {"watch", "-d", "x", "t", "--timeout", "nan"},
                   "orvdb: a time-out is 0 to 1000000000 seconds long\n"},
        WrongUsage{"TwoFormats",
                   {"sql", "--json", "--csv", "SELECT 1"},
                   "orvdb: --json excludes --csv; see 'orvdb sql --help'\n"},
        WrongUsage{"EmptySql", {"sql", " \n"}, "orvdb: there is no SQL text\n"},
        WrongUsage{"AnnouncementWithoutDatabase",
                   {"sql", "SELECT 1", "--notify", "t"},
                   "orvdb: the name of a database cannot be empty\n"},
        WrongUsage{"UpdateOfNoRows",
                   {"update", "-d", "x", "t", "a=1"},
                   "orvdb: which rows? Name them by --where, or ask for all of them by --all\n"},
        WrongUsage{"DeletionOfNoRows",
                   {"delete", "-d", "x", "t"},
                   "orvdb: which rows? Name them by --where, or ask for all of them by --all\n"},
        WrongUsage{"AllRowsAndSome",
                   {"delete", "-d", "x", "t", "--all", "--where", "a=1"},
                   "orvdb: --where excludes --all; see 'orvdb delete --help'\n"},
        WrongUsage{"ParameterOfNothing",
                   {"delete", "-d", "x", "t", "--all", "--param", "1"},
                   "orvdb: --param requires --where; see 'orvdb delete --help'\n"},
        WrongUsage{"NoValue", {"insert", "-d", "x", "t"}, "orvdb: there is no value to write\n"},
        WrongUsage{
            "ValueWithoutColumn", {"insert", "-d", "x", "t", "=1"}, "orvdb: '=1' is not of the form COL=VALUE\n"},
        WrongUsage{"ColumnWithoutValue", {"insert", "-d", "x", "t", "a"}, "orvdb: 'a' is not of the form COL=VALUE\n"},
        WrongUsage{"ColumnTwice", {"insert", "-d", "x", "t", "a=1", "--null", "a"}, "orvdb: column a has two values\n"},
        WrongUsage{"BlobWithoutFile",
                   {"insert", "-d", "x", "t", "--blob", "a=file"},
                   "orvdb: 'a=file' is not of the form COL=@FILE\n"},
        WrongUsage{"StandardInputTwice",
                   {"insert", "-d", "x", "t", "--blob", "a=@-", "--blob", "b=@-"},
                   "orvdb: only one column can have the bytes of standard input\n"},
        WrongUsage{"InsertWithoutDatabase",
                   {"insert", "-d", "", "t", "a=1"},
                   "orvdb: the name of a database cannot be empty\n"},
        WrongUsage{
            "UpdateOfATableThatNobodyCanWatch", {"update", "-d", "x", kLongName, "a=1", "--all"}, kLongNameError},
        WrongUsage{"DeletionWithoutTable",
                   {"delete", "-d", "x", "", "--all"},
                   "orvdb: the name of a table cannot be empty\n"}),
    [](const auto &usage) { return usage.param.name; });

TEST_F(ToolCommandLine, PasswordIsRefusedAndNotRepeated) {
  for (const Words &words : {Words{"sql", "-psecret", "SELECT 1"}, Words{"sql", "--password=secret", "SELECT 1"}}) {
    const Answer answer = run(words);
    EXPECT_EQ(answer, (Answer{2, "",
                              "orvdb: a password does not belong on the command line: let -p ask for it, or set "
                              "MYSQL_PWD\n"}));
    EXPECT_THAT(answer.errors, Not(HasSubstr("secret")));
  }
}

TEST_F(ToolCommandLine, TextBehindTwoDashesMayLookLikeAPassword) {
  EXPECT_EQ(run(onServer("sql", {"--csv", "--", "-p1"})).status, 1);  // the server refuses it
}

TEST_F(ToolCommandLine, OutputThatCannotBeWrittenIsAFailure) {
  Program tool({"/bin/sh", "-c", "exec \"$0\" --help >/dev/full", ORVDB_TOOL}, folder() / "errors");
  EXPECT_EQ(tool.waitForExit(), 1);
  EXPECT_EQ(tool.output(), "orvdb: cannot write: No space left on device\n");
}

}  // namespace
