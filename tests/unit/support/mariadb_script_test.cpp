// script/mariadb, the private database server. The tests run in a private root, so that its folders below /tmp are
// seen, too.
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <string>

#include "shell.h"
#include "support/child_program.h"
#include "support/process.h"
#include "support/wait.h"

namespace {

namespace fs = std::filesystem;

CHILD_PROGRAM(Waits) {
  pause();
  return 0;
}

class MariadbScript : public ::testing::Test {
 public:
  ~MariadbScript() override { stop(); }

 protected:
  static ShellOutcome call(const std::string &arguments, const std::string &environment = "") {
    return shell(environment + " " + inQuotes(ORVDB_MARIADB_SCRIPT) + " " + arguments);
  }
  // Whatever becomes of this test, its server does not survive it.
  static std::string withThisTest() { return "--with " + std::to_string(getpid()); }
  ShellOutcome start(const std::string &more = withThisTest()) const {
    return call("start " + inQuotes(dir_) + " " + more);
  }
  ShellOutcome stop() const { return call("stop " + inQuotes(dir_)); }

  std::map<std::string, std::string> connection() const {
    std::map<std::string, std::string> values;
    std::ifstream file(dir_ / "connection");
    for (std::string line; std::getline(file, line);) {
      values[line.substr(0, line.find('='))] = line.substr(line.find('=') + 1);
    }
    return values;
  }

  pid_t serverPid() const { return std::stoi(connection().at("PID")); }

  // The answer of the server, over TCP or its socket.
  ShellOutcome query(const std::string &sql, const std::string &way) const {
    const auto access = connection();
    return shell("MYSQL_PWD=" + access.at("PASSWORD") + " mariadb --no-defaults --skip-column-names --user=" +
                 access.at("USER") + " " + way + " -e " + inQuotes(sql));
  }
  ShellOutcome queryOverTcp(const std::string &sql) const {
    return query(sql, "--host=" + connection().at("HOST") + " --port=" + connection().at("PORT"));
  }
  ShellOutcome queryOverSocket(const std::string &sql) const {
    return query(sql, "--socket=" + inQuotes(connection().at("SOCKET")));
  }

  // The socket of a server may be in a folder of its own.
  bool isNothingLeft() const {
    for (const fs::directory_entry &entry : fs::directory_iterator("/tmp")) {
      if (entry.path().filename().string().rfind("orvdb-mariadb", 0) == 0) return false;
    }
    return !fs::exists(dir_);
  }

  fs::path dir_ = "/tmp/server";
};

}  // namespace

TEST_F(MariadbScript, ServerAnswersWhenStartReturns) {
  ASSERT_EQ(start(), (ShellOutcome{0, ""}));
  EXPECT_EQ(queryOverTcp("SELECT CURRENT_USER()"), (ShellOutcome{0, "orv@127.0.0.1\n"}));
  EXPECT_EQ(queryOverSocket("SELECT CURRENT_USER()"), (ShellOutcome{0, "orv@localhost\n"}));
  EXPECT_EQ(queryOverTcp("SELECT @@log_bin, @@performance_schema, @@skip_name_resolve"),
            (ShellOutcome{0, "0\t0\t1\n"}));
}

// The call returns when nobody holds the pipe open any more: ctest waits in the same way.
TEST_F(MariadbScript, ServerHoldsNothingOpenThatStartWasGiven) {
  ASSERT_EQ(start(withThisTest() + " 7>&1 8>&2"), (ShellOutcome{0, ""}));
  EXPECT_EQ(queryOverTcp("SELECT 1"), (ShellOutcome{0, "1\n"}));
}

TEST_F(MariadbScript, NobodyElseGetsIn) {
  ASSERT_EQ(start(), (ShellOutcome{0, ""}));
  for (const char *user : {"root", "mysql", "", "orv"}) {
    const std::string address = "--host=127.0.0.1 --port=" + connection().at("PORT");
    EXPECT_NE(shell("mariadb --no-defaults " + address + " --user=" + inQuotes(user) + " -e 'SELECT 1'").status, 0)
        << user;
  }
}

TEST_F(MariadbScript, StopLeavesNothingBehind) {
  ASSERT_EQ(start(), (ShellOutcome{0, ""}));
  const pid_t server = serverPid();
  const std::string port = connection().at("PORT");
  ASSERT_TRUE(isRunning(server));
  EXPECT_EQ(stop(), (ShellOutcome{0, ""}));
  EXPECT_FALSE(isRunning(server));
  EXPECT_TRUE(isNothingLeft());
  EXPECT_NE(shell("exec 3<>/dev/tcp/127.0.0.1/" + port).status, 0);
}

TEST_F(MariadbScript, ServerRunsOnForNobodyInParticular) {
  ASSERT_EQ(start(""), (ShellOutcome{0, ""}));
  EXPECT_EQ(queryOverTcp("SELECT 1"), (ShellOutcome{0, "1\n"}));
}

TEST_F(MariadbScript, StopIsContentWhereNothingRuns) { EXPECT_EQ(stop(), (ShellOutcome{0, ""})); }

TEST_F(MariadbScript, LeavesFoldersAloneThatAreNotItsOwn) {
  fs::create_directory(dir_);
  std::ofstream(dir_ / "file") << "text";
  EXPECT_EQ(start(), (ShellOutcome{1, "script/mariadb: /tmp/server is not empty\n"}));
  EXPECT_EQ(stop(), (ShellOutcome{0, ""}));
  EXPECT_TRUE(fs::exists(dir_ / "file"));
}

TEST_F(MariadbScript, ServerEndsWithTheProcessItIsFor) {
  ChildProgram owner(Waits);
  ASSERT_EQ(start("--with " + std::to_string(owner.pid())), (ShellOutcome{0, ""}));
  const pid_t server = serverPid();
  EXPECT_EQ(queryOverTcp("SELECT 1"), (ShellOutcome{0, "1\n"}));
  owner.kill(SIGKILL);
  EXPECT_TRUE(waitUntil([&] { return !isRunning(server) && isNothingLeft(); }));
}

TEST_F(MariadbScript, ServerEndsThoughNobodyCollectsItsProcessStatus) {
  ChildProgram owner(Waits);
  ASSERT_EQ(start("--with " + std::to_string(owner.pid())), (ShellOutcome{0, ""}));
  kill(owner.pid(), SIGKILL);
  EXPECT_TRUE(waitUntil([&] { return isNothingLeft(); }));
}

TEST_F(MariadbScript, RefusesToStartForAProcessThatIsGone) {
  ChildProgram owner(Waits);
  owner.kill(SIGKILL);
  owner.wait();
  const std::string pid = std::to_string(owner.pid());
  EXPECT_EQ(start("--with " + pid), (ShellOutcome{1, "script/mariadb: there is no process " + pid + "\n"}));
  EXPECT_TRUE(isNothingLeft());
}

TEST_F(MariadbScript, ServerSurvivesWhatEndsTheProgramsOfATerminal) {
  const std::string startIt = inQuotes(ORVDB_MARIADB_SCRIPT) + " start /tmp/server " + withThisTest();
  EXPECT_EQ(shell("setsid --wait sh -c \"" + startIt + "; " + "trap '' INT HUP; kill -INT 0; kill -HUP 0; echo done\""),
            (ShellOutcome{0, "done\n"}));
  EXPECT_EQ(queryOverTcp("SELECT 1"), (ShellOutcome{0, "1\n"}));
}

TEST_F(MariadbScript, InterruptedStartLeavesNothingBehind) {
  const std::string script = inQuotes(ORVDB_MARIADB_SCRIPT);
  // The data folder is there: the server is on its way.
  const ShellOutcome outcome =
      shell(script +
            " start /tmp/server & start=$!; while [ ! -e /tmp/server/data ] && kill -0 $start; do :; done;"
            " kill -TERM $start; wait $start");
  EXPECT_EQ(outcome.status, 128 + SIGTERM);
  EXPECT_TRUE(isNothingLeft());
}

TEST_F(MariadbScript, TwoServersRunSideBySide) {
  ASSERT_EQ(start(), (ShellOutcome{0, ""}));
  ASSERT_EQ(call("start /tmp/other " + withThisTest()), (ShellOutcome{0, ""}));
  queryOverTcp("CREATE DATABASE only_here");
  EXPECT_EQ(call("stop /tmp/other"), (ShellOutcome{0, ""}));
  EXPECT_EQ(queryOverTcp("SHOW DATABASES LIKE \"only_here\""), (ShellOutcome{0, "only_here\n"}));
}

TEST_F(MariadbScript, RunningServerKeepsItsFolder) {
  ChildProgram other(Waits);
  ASSERT_EQ(start(), (ShellOutcome{0, ""}));
  for (const std::string &owner : {std::string(), "--with " + std::to_string(other.pid())}) {
    EXPECT_EQ(start(owner), (ShellOutcome{1, "script/mariadb: a server runs in /tmp/server already\n"}));
  }
  EXPECT_EQ(queryOverTcp("SELECT 1"), (ShellOutcome{0, "1\n"}));
}

TEST_F(MariadbScript, StartedAgainForTheSameOwnerItIsLeftAsItIs) {
  ASSERT_EQ(start(), (ShellOutcome{0, ""}));
  const pid_t server = serverPid();
  EXPECT_EQ(start(), (ShellOutcome{0, ""}));
  EXPECT_EQ(serverPid(), server);
  EXPECT_EQ(queryOverTcp("SELECT 1"), (ShellOutcome{0, "1\n"}));
}

TEST_F(MariadbScript, StartsAgainAtOnceWhenTheOwnerWasKilled) {
  ChildProgram owner(Waits);
  ASSERT_EQ(start("--with " + std::to_string(owner.pid())), (ShellOutcome{0, ""}));
  owner.kill(SIGKILL);
  owner.wait();
  EXPECT_EQ(start(), (ShellOutcome{0, ""}));
  EXPECT_EQ(queryOverTcp("SELECT 1"), (ShellOutcome{0, "1\n"}));
}

TEST_F(MariadbScript, StartsAgainWhereAServerWasKilled) {
  ASSERT_EQ(start(), (ShellOutcome{0, ""}));
  std::string supervisor;
  std::ifstream(dir_ / "supervisor.pid") >> supervisor;
  const pid_t server = serverPid();
  kill(std::stoi(supervisor), SIGKILL);
  EXPECT_TRUE(waitUntil([&] { return !isRunning(server); }));
  EXPECT_EQ(start(), (ShellOutcome{0, ""}));
  EXPECT_EQ(queryOverTcp("SELECT 1"), (ShellOutcome{0, "1\n"}));
}

TEST_F(MariadbScript, FolderMayHaveALongAndOddName) {
  dir_ = "/tmp/it is/" + std::string(120, 'x');
  ASSERT_EQ(start(), (ShellOutcome{0, ""}));
  EXPECT_LE(connection().at("SOCKET").size(), 107U);
  EXPECT_EQ(queryOverSocket("SELECT 1"), (ShellOutcome{0, "1\n"}));
  EXPECT_EQ(stop(), (ShellOutcome{0, ""}));
  EXPECT_TRUE(isNothingLeft());
}

TEST_F(MariadbScript, TriesAnotherPortWhenOneIsTaken) {
  fs::create_directory("/tmp/bin");
  std::ofstream("/tmp/bin/mariadbd") << "#!/bin/sh\n"
                                        "echo \"$@\" >> /tmp/bin/calls\n"
                                        "[ \"$(wc -l < /tmp/bin/calls)\" -gt 2 ] && exec /usr/sbin/mariadbd \"$@\"\n"
                                        "echo 'Bind on TCP/IP port: Address already in use'\n"
                                        "exit 1\n";
  fs::permissions("/tmp/bin/mariadbd", fs::perms::owner_all);
  EXPECT_EQ(call("start /tmp/server " + withThisTest(), "PATH=/tmp/bin:$PATH"), (ShellOutcome{0, ""}));
  EXPECT_EQ(shell("grep -o 'port=[0-9]*' /tmp/bin/calls | wc -l").output, "3\n");
  EXPECT_EQ(queryOverTcp("SELECT 1"), (ShellOutcome{0, "1\n"}));
}

TEST_F(MariadbScript, FailedStartShowsTheLogAndLeavesNothingBehind) {
  fs::create_directory("/tmp/bin");
  std::ofstream("/tmp/bin/mariadbd") << "#!/bin/sh\necho no luck today\nexit 1\n";
  fs::permissions("/tmp/bin/mariadbd", fs::perms::owner_all);
  const ShellOutcome outcome = call("start /tmp/server " + withThisTest(), "PATH=/tmp/bin:$PATH");
  EXPECT_EQ(outcome.status, 1);
  EXPECT_NE(outcome.output.find("no luck today\n"), std::string::npos) << outcome;
  EXPECT_FALSE(fs::exists(dir_));
}

TEST_F(MariadbScript, AsksForWhatItNeeds) {
  for (const char *arguments : {"", "start", "start a b", "start a --with", "stop", "stop a b", "restart a"}) {
    EXPECT_EQ(call(arguments),
              (ShellOutcome{1, "script/mariadb: usage: script/mariadb start DIR [--with PID] | stop DIR\n"}));
  }
}
