// The command line.
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/wait.h>

#include <regex>
#include <set>

#include "server/other_user.h"
#include "server/server_fixture.h"

namespace {

using testing::HasSubstr;

const std::set<std::string> kOptions{
    "socket",          "mode",
    "group",           "allow-user",
    "allow-group",     "resync",
    "queue-limit",     "total-queue-limit",
    "max-connections", "max-user-connections",
    "max-keys",        "max-connection-keys",
    "status",          "status-mode",
    "syslog",          "help",
    "version",
};

class Options : public ServerProgramTest {};

std::set<std::string> namesIn(const std::string &text, const std::regex &name) {
  std::set<std::string> names;
  for (auto found = std::sregex_iterator(text.begin(), text.end(), name); found != std::sregex_iterator(); ++found)
    names.insert((*found)[1]);
  return names;
}

TEST_F(Options, HelpNamesEachOfThemAndTheDefaultSocket) {
  Program server = start({"--help"});
  EXPECT_EQ(server.waitForExit(), 0);
  EXPECT_EQ(namesIn(server.output(), std::regex("\n  --([a-z-]+)")), kOptions);
  EXPECT_THAT(server.output(), HasSubstr("/tmp/orvdb_server.sock"));
}

TEST_F(Options, OperatorsPageNamesEachOfThem) {
  EXPECT_EQ(namesIn(readFile(ORVDB_OPERATORS_PAGE), std::regex("\n\\| `--([a-z-]+)")), kOptions);
}

TEST_F(Options, VersionIsThatOfTheProject) {
  Program server = start({"--version"});
  EXPECT_EQ(server.waitForExit(), 0);
  EXPECT_EQ(server.output(), "orvdb_server " ORVDB_VERSION "\n");
}

TEST_F(Options, GoodValueOfEachIsTaken) {
  const std::string user = std::to_string(getuid());
  const std::string group = std::to_string(getgid());
  Program server = startOnSocket({"--mode=0600",
                                  "--group",
                                  group,
                                  "--allow-user",
                                  user,
                                  "--allow-user=root",
                                  "--allow-group=" + group,
                                  "--allow-group=root",
                                  "--resync=auto",
                                  "--resync=always",
                                  "--resync=never",
                                  "--queue-limit=1",
                                  "--total-queue-limit=2147483647",
                                  "--max-connections=2147483647",
                                  "--max-user-connections=1",
                                  "--max-keys=1",
                                  "--max-connection-keys=1",
                                  "--status",
                                  folder() / "status.sock",
                                  "--status-mode=777"});
  waitUntilListening(server);
  ServerClient(socketPath()).registerFor("d", "t", 1);
}

// --- wrong usage -----------------------------------------------------------------------------------------------------

struct WrongUse {
  std::vector<std::string> arguments;
  std::string complaint;
};

class WrongOptions : public ServerProgramTest, public testing::WithParamInterface<WrongUse> {};

TEST_P(WrongOptions, EndItWithStatus2AndAClearMessageBeforeAnythingIsTouched) {
  Program server = startOnSocket(GetParam().arguments);
  EXPECT_EQ(server.waitForExit(), 2);
  EXPECT_THAT(server.output(), HasSubstr(GetParam().complaint));
  EXPECT_THAT(server.output(), HasSubstr("Try 'orvdb_server --help'.\n"));
  EXPECT_FALSE(std::filesystem::exists(socketPath()));
  EXPECT_FALSE(std::filesystem::exists(socketPath() + ".lock"));
}

std::vector<WrongUse> wrongUses() {
  std::vector<WrongUse> uses{
      {{"--sockets"}, "unrecognized option '--sockets'"},
      {{"-s"}, "invalid option -- 's'"},
      {{"--mode"}, "option '--mode' requires an argument"},
      {{"--syslog=yes"}, "option '--syslog' doesn't allow an argument"},
      {{"extra"}, "unexpected argument 'extra'"},
      {{"--syslog", "--", "extra"}, "unexpected argument 'extra'"},
      {{"--resync=maybe"}, "'maybe' is no resync mode"},
      {{"--resync="}, "'' is no resync mode"},
      {{"--resync=Auto"}, "'Auto' is no resync mode"},
  };
  for (const char *option : {"--mode", "--status-mode"}) {
    for (const char *value : {"", "8", "0668", "1777", "-1", "+7", "rw-", "0600x", " 0600", "0x1ff"})
      uses.push_back({{option, value}, "'" + std::string(value) + "' is no mode"});
  }
  for (const char *option : {"--queue-limit", "--total-queue-limit", "--max-connections", "--max-user-connections",
                             "--max-keys", "--max-connection-keys"}) {
    for (const char *value : {"", "0", "-1", "+1", "ten", "10k", "1.5", " 1", "2147483648", "99999999999999999999"})
      uses.push_back({{option, value}, "'" + std::string(value) + "' is no limit"});
  }
  for (const std::string kind : {"user", "group"}) {
    for (const char *value : {"", "nobody-of-this-name", "-1", "1x", "4294967295", "4294967296"})
      uses.push_back({{"--allow-" + kind, value}, "'" + std::string(value) + "' is no " + kind});
  }
  uses.push_back({{"--group", "nobody-of-this-name"}, "'nobody-of-this-name' is no group"});
  uses.push_back({{"--group=4294967295"}, "'4294967295' is no group"});
  return uses;
}

INSTANTIATE_TEST_SUITE_P(Each, WrongOptions, testing::ValuesIn(wrongUses()));

// --- who may connect -------------------------------------------------------------------------------------------------

class AllowList : public ServerProgramTest {
 protected:
  void expectToServe(const std::vector<std::string> &options) {
    Program server = startOnSocket(options);
    waitUntilListening(server);
    ServerClient(socketPath()).registerFor("d", "t", 1);
    server.signal(SIGTERM);
    EXPECT_EQ(server.waitForExit(), 0);
  }

  void expectToRefuse(const std::vector<std::string> &options) {
    Program server = startOnSocket(options);
    waitUntilListening(server);
    ServerClient client(socketPath());
    client.waitForEnd();
    const std::string line = "refused process " + std::to_string(getpid()) + " ";
    EXPECT_TRUE(waitUntil([&] { return server.output().find(line) != std::string::npos; }));
    EXPECT_THAT(server.output(), HasSubstr("it is not allowed to connect"));
    server.signal(SIGTERM);
    EXPECT_EQ(server.waitForExit(), 0);
  }

  const std::string user_ = std::to_string(geteuid());
  const std::string otherUser_ = std::to_string(geteuid() + 1);
  const std::string group_ = std::to_string(getegid());
  const std::string otherGroup_ = std::to_string(getegid() + 1);
};

TEST_F(AllowList, NamedUsersMayConnect) { expectToServe({"--allow-user", otherUser_, "--allow-user", user_}); }

TEST_F(AllowList, UsersThatAreNotNamedMayNot) { expectToRefuse({"--allow-user", otherUser_}); }

TEST_F(AllowList, NamedGroupsMayConnect) { expectToServe({"--allow-group", otherGroup_, "--allow-group", group_}); }

TEST_F(AllowList, GroupsThatAreNotNamedMayNot) { expectToRefuse({"--allow-group", otherGroup_}); }

TEST_F(AllowList, OneOfTheTwoListsSuffices) {
  expectToServe({"--allow-user", user_, "--allow-group", otherGroup_});
  expectToServe({"--allow-user", otherUser_, "--allow-group", group_});
  expectToRefuse({"--allow-user", otherUser_, "--allow-group", otherGroup_});
}

class AllowListAndAnotherUser : public ServerTest, public testing::WithParamInterface<uid_t> {
 protected:
  AllowListAndAnotherUser() : ServerTest({"--resync=never", "--allow-user=" + std::to_string(geteuid())}) {
    std::filesystem::permissions(folder(), std::filesystem::perms::all);
  }

  // Whether the other user got its change written.
  void sendAsUser(std::uint64_t row) const {
    const pid_t child = fork();
    if (child == 0) {
      if (setresgid(GetParam(), GetParam(), GetParam()) != 0 || setresuid(GetParam(), GetParam(), GetParam()) != 0) {
        _exit(1);
      }
      try {
        ServerClient(socketPath()).send(changeRecord("d", "t", 1, row));
      } catch (const std::exception &) {
        // Refused before it could write.
      }
      _exit(0);
    }
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
  }
};

TEST_P(AllowListAndAnotherUser, WhatTheOthersAnnounceIsIgnored) {
  ServerClient reader = connectClient();
  reader.registerFor("d", "t", 1);
  sendAsUser(1);
  const std::string line = "user " + std::to_string(GetParam()) + "): it is not allowed to connect";
  ASSERT_TRUE(waitUntil([&] { return server_.output().find(line) != std::string::npos; })) << server_.output();
  connectClient().send(changeRecord("d", "t", 1, 2));
  EXPECT_EQ(reader.receive(), changeRecord("d", "t", 1, 2));
}

INSTANTIATE_TEST_SUITE_P(User, AllowListAndAnotherUser, testing::ValuesIn(otherUsers()));
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(AllowListAndAnotherUser);

}  // namespace
