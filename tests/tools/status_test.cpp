// orvdb status
#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <nlohmann/json.hpp>
#include <thread>

#include "server/other_user.h"
#include "support/unique_fd.h"
#include "tools/tool_fixture.h"

namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::MatchesRegex;

class ToolStatus : public NotifiedToolTest {};
class ToolStatusOfOthers : public ToolTest {
 protected:
  Answer status() const { return run({"status", "--socket", statusPath()}); }
};

sockaddr_un addressOf(const std::string &path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  return address;
}

UniqueFd listenAt(const std::string &path, int backlog) {
  UniqueFd listener(socket(AF_UNIX, SOCK_STREAM, 0));
  const sockaddr_un address = addressOf(path);
  if (bind(listener.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0 ||
      listen(listener.get(), backlog) != 0) {
    throw std::runtime_error("cannot listen");
  }
  return listener;
}

// Answers one connection.
class Answerer {
 public:
  Answerer(const std::string &path, std::string text) : text_(std::move(text)), socket_(listenAt(path, 1)) {
    thread_ = std::thread([this] {
      const UniqueFd caller(accept(socket_.get(), nullptr, nullptr));
      EXPECT_EQ(send(caller.get(), text_.data(), text_.size(), MSG_NOSIGNAL), static_cast<ssize_t>(text_.size()));
    });
  }
  ~Answerer() { thread_.join(); }
  Answerer(const Answerer &) = delete;
  Answerer &operator=(const Answerer &) = delete;

 private:
  const std::string text_;
  const UniqueFd socket_;
  std::thread thread_;
};

TEST_F(ToolStatus, IsAReadableTable) {
  RunningTool watch = startWatch({"item", "other"});
  const Answer answer = run({"status", "--socket", statusPath()});
  EXPECT_EQ(answer.status, 0);
  EXPECT_EQ(answer.errors, "");
  EXPECT_THAT(answer.output, MatchesRegex("version                " ORVDB_VERSION "\n"
                                          "uptime                 0 d 00:[0-9][0-9]:[0-9][0-9]\n"
                                          "keys                   2\n"
                                          "registered keys        2\n"
                                          "queued bytes           0\n"
                                          "largest queue bytes    0\n"
                                          "records in             [0-9]+\n(.|\n)*"
                                          "\nconnections            2\n"
                                          "\n"
                                          " *pid  uid  command *registered keys  wants everything(.|\n)*"));
  EXPECT_THAT(answer.output, HasSubstr("  2  no  "));  // the watching one's tables
}

TEST_F(ToolStatus, IsTheServersOwnDocumentIfAskedFor) {
  const Answer answer = run({"status", "--json", "--socket", statusPath()});
  EXPECT_EQ(answer.status, 0);
  const json found = json::parse(answer.output);
  EXPECT_EQ(found.at("version"), ORVDB_VERSION);
  EXPECT_EQ(found.at("connections").size(), 1U);  // this command's own
}

TEST_F(ToolStatusOfOthers, NoSocketIsAFailure) {
  EXPECT_EQ(status(), (Answer{1, "",
                              "orvdb: " + statusPath() +
                                  ": No such file or directory: is orvdb_server running, and does it have a status "
                                  "socket there?\n"}));
}

TEST_F(ToolStatusOfOthers, ServerThatWasKilledIsAFailure) {
  {
    const Program server = startServer();
    server.signal(SIGKILL);
  }
  EXPECT_EQ(status(), (Answer{1, "",
                              "orvdb: " + statusPath() +
                                  ": Connection refused: orvdb_server has ended and left its socket behind\n"}));
}

TEST_F(ToolStatusOfOthers, AnythingElseThatAnswersIsAFailure) {
  for (const std::string text : {"hello\n", "[1, 2]\n", "{\"version\": 1}\n", "{\"connections\": [1]}\n"}) {
    const Answerer answerer(statusPath(), text);
    EXPECT_EQ(status(), (Answer{1, "", "orvdb: " + statusPath() + ": what answers there is no orvdb_server\n"}))
        << text;
    std::filesystem::remove(statusPath());
  }
}

TEST_F(ToolStatusOfOthers, EmptyAnswerIsAFailure) {
  const Answerer answerer(statusPath(), "");
  EXPECT_EQ(status(), (Answer{1, "", "orvdb: " + statusPath() + ": no whole report came: try again\n"}));
}

TEST_F(ToolStatusOfOthers, ServerThatTakesNoMoreCallersIsAFailure) {
  const UniqueFd listener = listenAt(statusPath(), 0);
  const UniqueFd first(socket(AF_UNIX, SOCK_STREAM, 0));  // waits in the place of the only caller
  const sockaddr_un address = addressOf(statusPath());
  ASSERT_EQ(connect(first.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
  EXPECT_EQ(status(),
            (Answer{1, "",
                    "orvdb: " + statusPath() +
                        ": Resource temporarily unavailable: orvdb_server takes no callers: is it stopped?\n"}));
}

TEST_F(ToolStatusOfOthers, PathThatIsTooLongIsAFailure) {
  const std::string path(108, 'x');
  EXPECT_EQ(run({"status", "--socket", path}),
            (Answer{1, "", "orvdb: " + path + ": a socket's path has 107 bytes at most\n"}));
}

// Only root can take another user's place.
TEST_F(ToolStatus, OtherUserIsToldWhoMayReadIt) {
  std::filesystem::permissions(folder(), std::filesystem::perms::others_exec, std::filesystem::perm_options::add);
  for (const uid_t user : otherUsers()) {
    std::vector<std::string> command = runAsUser(user);
    command.insert(command.end(), {ORVDB_TOOL, "status", "--socket", statusPath()});
    Program tool(command, folder() / "as_other_user");
    EXPECT_EQ(tool.waitForExit(), 1);
    // A build that counts what is executed says behind it that this user cannot write down the counters.
    EXPECT_THAT(tool.output(), testing::StartsWith("orvdb: " + statusPath() +
                                                   ": Permission denied: it takes the server's user, or root\n"));
  }
}

}  // namespace
