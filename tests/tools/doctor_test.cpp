// orvdb doctor
#include <gmock/gmock.h>
#include <signal.h>

#include <fstream>
#include <nlohmann/json.hpp>

#include "server/other_user.h"
#include "support/loopback_listener.h"
#include "tools/tool_fixture.h"

namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

constexpr char kNoFile[] = "ok       options file: /etc/my.cnf is not there, which is fine\n";

class ToolDoctor : public NotifiedToolTest {};
class ToolDoctorWithoutServer : public ToolTest {};

void writeOptionsFile(const std::string &text) { std::ofstream("/etc/my.cnf") << text; }

TEST_F(ToolDoctor, FindsAllOk) {
  const Answer answer = run(onDatabase("doctor"));
  EXPECT_EQ(answer.status, 0) << answer;
  EXPECT_EQ(answer.errors, "");
  EXPECT_THAT(answer.output,
              MatchesRegex("ok       library: /.*/liborvdb_client.so." ORVDB_VERSION "\n"
                           "ok       MariaDB client library: version 3[.][0-9.]*, /.*/libmariadb.so.3\n" +
                           std::string(kNoFile) +
                           "ok       database server: version 1[0-9][.].*, connected as .* to "
                           "database " +
                           db() +
                           "\n"
                           "ok       notification: a change that another process announced arrived after [0-9]+ ms\n"));
}

TEST_F(ToolDoctor, FindsTheSameAsJson) {
  const Answer answer = run(onServer("doctor", {"--json"}));
  EXPECT_EQ(answer.status, 0) << answer;
  std::vector<json> subjects;
  for (const json &finding : json::parse(answer.output)) {
    EXPECT_EQ(finding.at("level"), "ok");
    EXPECT_EQ(finding.at("advice"), "");
    subjects.push_back(finding.at("subject"));
  }
  EXPECT_EQ(subjects, (std::vector<json>{"library", "MariaDB client library", "options file", "database server",
                                         "notification"}));
}

TEST_F(ToolDoctor, TellsWhyTheDatabaseIsNotReachedAndLooksAtTheRest) {
  const Answer answer = run({"doctor", "-P", "1"});
  EXPECT_EQ(answer.status, 1);
  EXPECT_THAT(answer.output, HasSubstr("problem  database server: cannot connect to 127.0.0.1: "));
  EXPECT_THAT(answer.output, HasSubstr("\n         -> is it running? Look at -h, -P, -u, -d, and at the password"));
  EXPECT_THAT(answer.output, HasSubstr("ok       notification: "));
}

TEST_F(ToolDoctor, PrintsEachFindingAsSoonAsItHasIt) {
  const LoopbackListener silentServer;
  RunningTool tool = start({"doctor", "-P", std::to_string(silentServer.port())});
  tool.waitForOutput(kNoFile);
  EXPECT_THAT(tool.output(), Not(HasSubstr("database server: ")));
}

TEST_F(ToolDoctor, TellsThatThePasswordIsWrong) {
  setenv("MYSQL_PWD", "wrong", 1);
  const Answer answer = run(onServer("doctor"));
  EXPECT_EQ(answer.status, 1);
  EXPECT_THAT(answer.output, HasSubstr("Access denied for user"));
  EXPECT_THAT(answer.output, Not(HasSubstr("wrong")));
}

TEST_F(ToolDoctorWithoutServer, TellsThatNoNotificationServerRuns) {
  const Answer answer = run(onServer("doctor"));
  EXPECT_EQ(answer.status, 1);
  EXPECT_THAT(answer.output, HasSubstr("problem  notification: no notification server is running: start orvdb_server\n"
                                       "         -> run orvdb_server once on this machine"));
  EXPECT_THAT(answer.output, HasSubstr("ok       database server: "));
}

TEST_F(ToolDoctor, TellsThatTheNotificationServerDoesNotAnswer) {
  server_.signal(SIGSTOP);
  const Answer answer = run(onServer("doctor"));
  EXPECT_EQ(answer.status, 1);
  EXPECT_THAT(answer.output, HasSubstr("problem  notification: the notification server did not confirm"));
}

TEST_F(ToolDoctor, NamesTheOptionsOfTheFileThatCountAndNoValue) {
  writeOptionsFile(
      "# comment\n[mysqld]\nport=1\n[client]\n user = name\npassword=secret\n; comment\n[client-server]\n"
      "connect-timeout=5\n[mysql]\nsafe-updates\n[client-mariadb]\ncompress\n!includedir /etc/nowhere\n");
  std::filesystem::permissions("/etc/my.cnf", std::filesystem::perms::owner_read);
  const Answer answer = run(onServer("doctor"));
  EXPECT_EQ(answer.status, 0) << answer;
  EXPECT_THAT(answer.output,
              HasSubstr("ok       options file: /etc/my.cnf is read; it sets [client] user, [client] password, "
                        "[client-server] connect-timeout, [client-mariadb] compress; it includes more by !includedir "
                        "/etc/nowhere\n"));
  EXPECT_THAT(answer.output, Not(HasSubstr("secret")));
}

// The client library decides which groups it reads.
TEST_F(ToolDoctor, NamesTheGroupsThatAreReallyRead) {
  std::string text;
  for (const char *group :
       {"client", "client-server", "client-mariadb", "mysqld", "mysql", "mariadb-client", "orvdb"}) {
    writeOptionsFile("[" + std::string(group) + "]\ninit-command=SET @from_the_file='yes'\n");
    const bool isRead = run(onServer("sql", {"--csv", "SELECT @from_the_file AS a"})).output == "a\nyes\n";
    const bool isNamed = run(onServer("doctor")).output.find("init-command") != std::string::npos;
    EXPECT_EQ(isRead, isNamed) << group;
    text += isRead ? "read " : "not ";
  }
  EXPECT_EQ(text, "read read read not not not not ");
}

TEST_F(ToolDoctor, WarnsOfAPasswordThatEveryUserCanRead) {
  writeOptionsFile("[client]\npassword=secret\n");
  std::filesystem::permissions("/etc/my.cnf", std::filesystem::perms(0644));
  const Answer answer = run(onServer("doctor"));
  EXPECT_EQ(answer.status, 1);
  EXPECT_THAT(answer.output, HasSubstr("warning  options file: /etc/my.cnf is read; it sets [client] password\n"
                                       "         -> it has a password and every user can read it"));
  EXPECT_THAT(answer.output, Not(HasSubstr("secret")));
}

TEST_F(ToolDoctor, TellsThatTheFileSaysNothing) {
  writeOptionsFile("[mysqld]\nport=1\n");
  EXPECT_THAT(run(onServer("doctor")).output,
              HasSubstr("ok       options file: /etc/my.cnf is read; nothing stands in [client], [client-server] and "
                        "[client-mariadb]\n"));
}

// Only root can take another user's place.
TEST_F(ToolDoctor, WarnsOfAFileThatCannotBeRead) {
  writeOptionsFile("[client]\n");
  std::filesystem::permissions("/etc/my.cnf", std::filesystem::perms::owner_read);
  for (const uid_t user : otherUsers()) {
    std::vector<std::string> command = runAsUser(user);
    const Words doctor = onServer("doctor");
    command.emplace_back(ORVDB_TOOL);
    command.insert(command.end(), doctor.begin(), doctor.end());
    Program tool(command, folder() / "as_other_user");
    EXPECT_EQ(tool.waitForExit(), 1);
    EXPECT_THAT(tool.output(), HasSubstr("warning  options file: /etc/my.cnf cannot be read: Permission denied\n"));
  }
}

TEST_F(ToolDoctor, UserAndPasswordOfTheFileAreUsedIfNoOthersAreGiven) {
  unsetenv("MYSQL_PWD");
  writeOptionsFile("[client]\nuser=" + std::string(user()) + "\npassword=" + password() +
                   "\nport=" + std::to_string(port()) + "\n");
  std::filesystem::permissions("/etc/my.cnf", std::filesystem::perms::owner_read);
  const Answer answer = run({"doctor", "-d", db()});
  EXPECT_EQ(answer.status, 0) << answer;
  EXPECT_THAT(answer.output, HasSubstr("connected as " + std::string(user()) + "@"));
}

}  // namespace
