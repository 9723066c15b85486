// The tool on a terminal.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <termios.h>

#include "support/unique_fd.h"
#include "tools/tool_fixture.h"

namespace {

using testing::HasSubstr;
using testing::Not;

// A program whose standard descriptors are a terminal of so many columns, which is its controlling one.
class OnTerminal {
 public:
  OnTerminal(const Words &words, unsigned short columns) {
    const winsize size{24, columns, 0, 0};
    int master = -1;
    Words command{ORVDB_TOOL};
    command.insert(command.end(), words.begin(), words.end());
    std::vector<char *> arguments;
    for (std::string &word : command) {
      arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    pid_ = forkpty(&master, nullptr, nullptr, &size);
    if (pid_ == 0) {
      execv(arguments[0], arguments.data());
      _exit(127);
    }
    master_ = UniqueFd(master);
  }
  ~OnTerminal() {
    if (pid_ < 0) return;
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
  }
  OnTerminal(const OnTerminal &) = delete;
  OnTerminal &operator=(const OnTerminal &) = delete;

  void type(const std::string &text) const {
    ASSERT_EQ(::write(master_.get(), text.data(), text.size()), static_cast<ssize_t>(text.size()));
  }
  bool waitForOutput(const std::string &text) {
    return waitUntil([&] { return read() && screen_.find(text) != std::string::npos; });
  }
  // The exit status, or 128 and the signal; what is on the screen is complete then.
  int waitForEnd() {
    int status = 0;
    const bool hasEnded = waitUntil([&] {
      read();
      return waitpid(pid_, &status, WNOHANG) == pid_;
    });
    if (!hasEnded) throw std::runtime_error("no end: " + screen_);
    pid_ = -1;
    read();
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }
  // Without the carriage returns of a terminal.
  std::string screen() const {
    std::string text;
    for (const char c : screen_) {
      if (c != '\r') text += c;
    }
    return text;
  }
  bool echoes() const {
    termios settings{};
    EXPECT_EQ(tcgetattr(master_.get(), &settings), 0);
    return (settings.c_lflag & ECHO) != 0;
  }

 private:
  // What is there by now.
  bool read() {
    pollfd source{master_.get(), POLLIN, 0};
    char part[4096];
    while (poll(&source, 1, 0) == 1) {
      const ssize_t length = ::read(master_.get(), part, sizeof part);
      if (length <= 0) break;
      screen_.append(part, static_cast<std::size_t>(length));
    }
    return true;
  }

  pid_t pid_ = -1;
  UniqueFd master_;
  std::string screen_;
};

class ToolTerminal : public ToolTest {
 protected:
  Words select(const std::string &sql) const { return onServer("sql", {sql}); }
};

TEST_F(ToolTerminal, LongCellsAreCutToItsWidth) {
  OnTerminal tool(select("SELECT 1 AS id, REPEAT('ä', 50) AS name, 'short' AS c"), 30);
  EXPECT_EQ(tool.waitForEnd(), 0);
  EXPECT_EQ(tool.screen(),
            "id  name                 c\n"
            "--  -------------------  -----\n"
            " 1  ääääääääääääääääää…  short\n"
            "1 row\n");
}

TEST_F(ToolTerminal, WideCharactersAreCutToItsWidth) {
  OnTerminal tool(select("SELECT REPEAT('日', 50) AS name"), 10);
  EXPECT_EQ(tool.waitForEnd(), 0);
  EXPECT_EQ(tool.screen(), "name\n----------\n日日日日…\n1 row\n");
}

TEST_F(ToolTerminal, NothingIsCutThatFits) {
  OnTerminal tool(select("SELECT REPEAT('a', 26) AS name, 12 AS id"), 30);
  EXPECT_EQ(tool.waitForEnd(), 0);
  EXPECT_THAT(tool.screen(), HasSubstr("\naaaaaaaaaaaaaaaaaaaaaaaaaa  12\n"));
}

TEST_F(ToolTerminal, CellsGetLinesOfTheirOwnWhereTheyWouldBeCutTooShort) {
  OnTerminal tool(select("SELECT 'one two' AS first, 'three four' AS second, NULL AS c UNION ALL SELECT 'a', 'b', 'c'"),
                  19);
  EXPECT_EQ(tool.waitForEnd(), 0);
  EXPECT_EQ(tool.screen(),
            "-- 1 --\nfirst   one two\nsecond  three four\nc       NULL\n"
            "-- 2 --\nfirst   a\nsecond  b\nc       c\n"
            "2 rows\n");
}

TEST_F(ToolTerminal, PasswordIsAskedForAndNotShown) {
  unsetenv("MYSQL_PWD");
  OnTerminal tool(onServer("sql", {"-p", "--csv", "SELECT 1 AS a"}), 80);
  ASSERT_TRUE(tool.waitForOutput("Password: "));
  EXPECT_FALSE(tool.echoes());
  tool.type(std::string(password()) + "\n");
  EXPECT_EQ(tool.waitForEnd(), 0);
  EXPECT_EQ(tool.screen(), "Password: \na\n1\n");
}

TEST_F(ToolTerminal, WrongPasswordIsNotShownEither) {
  OnTerminal tool(onServer("sql", {"-p", "SELECT 1"}), 80);
  ASSERT_TRUE(tool.waitForOutput("Password: "));
  tool.type("wrong\n");
  EXPECT_EQ(tool.waitForEnd(), 1);
  EXPECT_THAT(tool.screen(), HasSubstr("Access denied"));
  EXPECT_THAT(tool.screen(), Not(HasSubstr("wrong")));
}

TEST_F(ToolTerminal, InterruptionOfThePromptEndsTheToolAndShowsAgainWhatIsTyped) {
  OnTerminal tool(onServer("sql", {"-p", "SELECT 1"}), 80);
  ASSERT_TRUE(tool.waitForOutput("Password: "));
  tool.type("sec\x03");
  EXPECT_EQ(tool.waitForEnd(), 128 + SIGINT);
  EXPECT_TRUE(tool.echoes());
}

class ToolNoTerminal : public ToolTest {};

TEST_F(ToolNoTerminal, NothingIsCut) {
  const std::string text(500, 'a');
  EXPECT_THAT(run(onServer("sql", {"SELECT '" + text + "' AS name"})).output, HasSubstr("\n" + text + "\n"));
}

TEST_F(ToolNoTerminal, PasswordCannotBeAskedFor) {
  Words command{"/usr/bin/setsid", "--wait", ORVDB_TOOL};
  for (const std::string &word : onServer("sql", {"-p", "SELECT 1"})) {
    command.push_back(word);
  }
  Program tool(command, folder() / "no_terminal");
  EXPECT_EQ(tool.waitForExit(), 1);
  EXPECT_EQ(tool.output(), "orvdb: there is no terminal to ask for the password: set MYSQL_PWD instead of -p\n");
}

}  // namespace
