// What the server logs, where, and that it waits for nobody who is to read it.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>

#include <algorithm>
#include <sstream>

#include "server/other_user.h"
#include "server/server_fixture.h"
#include "support/system_log.h"

namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;
using Clock = std::chrono::steady_clock;

std::vector<std::string> linesOf(const std::string &text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);)
    lines.push_back(line);
  return lines;
}

// Every connection of this process is refused, which is logged.
const std::vector<std::string> kRefusing{"--allow-user=" + std::to_string(geteuid() + 1)};

class ServerLog : public ServerProgramTest {
 protected:
  void callInVain(int times = 1) const {
    for (int i = 0; i < times; ++i)
      ServerClient(socketPath()).waitForEnd();
  }

  // Calls a server that may not listen yet.
  bool isThereToCall() const {
    try {
      callInVain();
      return true;
    } catch (const std::system_error &) {
      return false;
    }
  }

  // Of a server that refuses a call and is ended then.
  std::vector<std::string> linesLogged(const std::vector<std::string> &launcher) {
    Program server = startOnSocketThrough(launcher, kRefusing);
    waitUntilListening(server);
    callInVain();
    server.signal(SIGTERM);
    EXPECT_EQ(server.waitForExit(), 0);
    return linesOf(server.output());
  }
};

TEST_F(ServerLog, LinesNameTheProgramOnStandardError) {
  const std::vector<std::string> lines = linesLogged({"/usr/bin/env", "-u", "JOURNAL_STREAM"});
  ASSERT_EQ(lines.size(), 3U) << ::testing::PrintToString(lines);
  EXPECT_EQ(lines[0], "orvdb_server: listening on " + socketPath());
  EXPECT_THAT(lines[1], StartsWith("orvdb_server: refused process " + std::to_string(getpid()) + " ("));
  EXPECT_EQ(lines[2], "orvdb_server: ended");
}

TEST_F(ServerLog, LinesBeginWithTheirPriorityUnderSystemd) {
  const std::vector<std::string> lines = linesLogged({"/usr/bin/env", "JOURNAL_STREAM=8:1234"});
  ASSERT_EQ(lines.size(), 3U) << ::testing::PrintToString(lines);
  EXPECT_EQ(lines[0], "<6>listening on " + socketPath());
  EXPECT_THAT(lines[1], StartsWith("<4>refused process "));
  EXPECT_EQ(lines[2], "<6>ended");
}

TEST_F(ServerLog, FailuresAreErrors) {
  Program server = startThrough({"/usr/bin/env", "JOURNAL_STREAM=8:1234"}, {"--socket", "/no/folder/socket"});
  EXPECT_EQ(server.waitForExit(), 1);
  EXPECT_EQ(server.output(), "<3>/no/folder/socket.lock: No such file or directory\n");
}

TEST_F(ServerLog, GoesToTheSystemLogIfAskedTo) {
  SystemLog log;
  Program server = startOnSocket({"--syslog", kRefusing.front()});
  const LogLine started = log.waitForLine("listening on " + socketPath());
  EXPECT_EQ(started.program, "orvdb_server");
  EXPECT_EQ(started.priority, LOG_DAEMON | LOG_INFO);
  callInVain();
  EXPECT_EQ(log.waitForLine("refused process").priority, LOG_DAEMON | LOG_WARNING);
  server.signal(SIGTERM);
  EXPECT_EQ(server.waitForExit(), 0);
  log.waitForLine("ended");
  EXPECT_THAT(server.output(), IsEmpty());
}

TEST_F(ServerLog, FollowsTheSystemLogWhenItIsRestarted) {
  Program server = [&] {
    SystemLog before;
    Program started = startOnSocket({"--syslog", kRefusing.front()});
    before.waitForLine("listening on");
    return started;
  }();
  SystemLog after;
  callInVain();
  after.waitForLine("refused process");
}

// --- how much --------------------------------------------------------------------------------------------------------

// "(N like it)" at the end of a line; 0 if there is none.
unsigned long leftOutBefore(const std::string &line) {
  const std::size_t at = line.rfind(" (");
  return line.rfind(" like it)") != std::string::npos ? std::stoul(line.substr(at + 2)) : 0;
}

TEST_F(ServerLog, IsOneLineOfAKindInASecondWhichCountsTheOthers) {
  constexpr unsigned long kCalls = 500;
  Program server = startOnSocket(kRefusing);
  waitUntilListening(server);
  const auto begin = Clock::now();
  callInVain(kCalls);
  unsigned long lines = 0;
  unsigned long told = 0;
  ASSERT_TRUE(waitUntil([&] {
    lines = told = 0;
    for (const std::string &line : linesOf(server.output())) {
      if (line.find("refused process") == std::string::npos) continue;
      ++lines;
      told += std::max(leftOutBefore(line), 1UL);
    }
    return told >= kCalls;
  })) << server.output();
  EXPECT_EQ(told, kCalls);
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - begin).count();
  EXPECT_LE(lines, static_cast<unsigned long>(seconds) + 1);
}

TEST_F(ServerLog, KindsDoNotHoldEachOtherBack) {
  Program server = startOnSocket({"--max-connections=1"});
  waitUntilListening(server);
  {
    ServerClient only(socketPath());
    only.registerFor("d", "t", 1);
    callInVain();
    only.send(record(9, 0, "d", "t", 1, 1));
    only.waitForEnd();
  }
  server.waitForOutput("there are too many connections\n");
  server.waitForOutput("it sent something that is no record\n");
}

TEST_F(ServerLog, NamesThatProcessesChooseMakeNoLines) {
  Program server = startOnSocket(kRefusing);
  waitUntilListening(server);
  std::array<char, 16> name{};
  prctl(PR_GET_NAME, name.data());
  prctl(PR_SET_NAME, "a\n<0>b) \x1b\xff");
  callInVain();
  prctl(PR_SET_NAME, name.data());
  server.waitForOutput("refused process " + std::to_string(getpid()) + " (a?<0>b) ??, user ");
}

// --- nobody reads it -------------------------------------------------------------------------------------------------

struct Stream {
  UniqueFd readEnd;
  UniqueFd writeEnd;
};

Stream makePipe() {
  int ends[2];
  EXPECT_EQ(pipe(ends), 0);
  return {UniqueFd(ends[0]), UniqueFd(ends[1])};
}

Stream makeSocketPair() {
  int ends[2];
  EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
  return {UniqueFd(ends[0]), UniqueFd(ends[1])};
}

void fill(int descriptor) {
  const int flags = fcntl(descriptor, F_GETFL);
  fcntl(descriptor, F_SETFL, flags | O_NONBLOCK);
  const std::string filler(4096, '.');
  for (std::size_t size = filler.size(); size > 0; size /= 2) {
    while (write(descriptor, filler.data(), size) > 0)
      continue;
  }
  fcntl(descriptor, F_SETFL, flags);
}

std::string readWhatIsThere(int descriptor) {
  fcntl(descriptor, F_SETFL, fcntl(descriptor, F_GETFL) | O_NONBLOCK);
  std::string text(1 << 20, '\0');
  std::size_t size = 0;
  for (ssize_t count; (count = read(descriptor, text.data() + size, text.size() - size)) > 0;)
    size += static_cast<std::size_t>(count);
  text.resize(size);
  return text;
}

struct KindOfStream {
  const char *name;
  Stream (*make)();
};
std::ostream &operator<<(std::ostream &out, const KindOfStream &kind) { return out << kind.name; }

constexpr KindOfStream kKindsOfStream[] = {{"Pipe", makePipe}, {"Socket", makeSocketPair}};

class LogThatNobodyReads : public ServerLog, public testing::WithParamInterface<KindOfStream> {
 protected:
  Program startWithErrorsTo(int descriptor, const std::vector<std::string> &options) {
    return startOnSocketThrough({"/bin/bash", "-c", "exec \"$0\" \"$@\" 2>&" + std::to_string(descriptor)}, options);
  }

  bool answers() const {
    try {
      ServerClient(socketPath()).waitForEnd();
      return true;
    } catch (const std::system_error &) {
      return false;
    }
  }
};

TEST_P(LogThatNobodyReads, HoldsNobodyUpAndGoesOnWhenItIsRead) {
  const Stream errors = GetParam().make();
  fill(errors.writeEnd.get());
  const int flags = fcntl(errors.writeEnd.get(), F_GETFL);
  Program server = startWithErrorsTo(errors.writeEnd.get(), kRefusing);
  ASSERT_TRUE(waitUntil([&] { return answers(); }));
  callInVain(100);
  EXPECT_EQ(fcntl(errors.writeEnd.get(), F_GETFL), flags) << "others write there, too";

  EXPECT_THAT(readWhatIsThere(errors.readEnd.get()), Not(HasSubstr("refused")));
  EXPECT_TRUE(waitUntil([&] {
    callInVain();
    return readWhatIsThere(errors.readEnd.get()).find("refused process") != std::string::npos;
  }));
}

// A pipe of root's can't be opened again by the server's user.
class LogOfAnotherUser : public ServerLog, public testing::WithParamInterface<uid_t> {
 protected:
  Program startWithErrorsTo(int descriptor) {
    const std::string program = folder() / "orvdb_server";
    std::filesystem::permissions(folder(), std::filesystem::perms::all);
    std::filesystem::copy_file(ORVDB_SERVER_PROGRAM, program);
    std::filesystem::permissions(program, std::filesystem::perms(0755));
    std::vector<std::string> command = runAsUser(GetParam());
    command.insert(command.end(), {"/bin/bash", "-c", "exec \"$0\" \"$@\" 2>&" + std::to_string(descriptor), program,
                                   "--socket", socketPath(), "--status=", kRefusing.front()});
    return {command, folder() / "output"};
  }
};

TEST_P(LogOfAnotherUser, ThatCannotBeOpenedAgainHoldsNobodyUp) {
  const Stream errors = makePipe();
  fill(errors.writeEnd.get());
  Program server = startWithErrorsTo(errors.writeEnd.get());
  ASSERT_TRUE(waitUntil([&] { return isThereToCall(); }));
  callInVain(100);
  EXPECT_THAT(readWhatIsThere(errors.readEnd.get()), Not(HasSubstr("refused")));
  EXPECT_TRUE(waitUntil([&] {
    callInVain();
    return readWhatIsThere(errors.readEnd.get()).find("refused process") != std::string::npos;
  }));
}

INSTANTIATE_TEST_SUITE_P(User, LogOfAnotherUser, testing::ValuesIn(otherUsers()));
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(LogOfAnotherUser);

INSTANTIATE_TEST_SUITE_P(Stream, LogThatNobodyReads, testing::ValuesIn(kKindsOfStream),
                         [](const auto &instance) { return std::string(instance.param.name); });

TEST_F(ServerLog, SystemLogThatNobodyReadsHoldsNobodyUp) {
  SystemLog log;
  const UniqueFd writer(socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  const sockaddr_un address{AF_UNIX, "/dev/log"};
  ASSERT_EQ(connect(writer.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
  const std::string filler = "<14>Nov 20 10:36:01 filler: line";
  while (send(writer.get(), filler.data(), filler.size(), 0) >= 0)
    continue;

  Program server = startOnSocket({"--syslog", kRefusing.front()});
  ASSERT_TRUE(waitUntil([&] { return std::filesystem::is_socket(socketPath()); }));
  ASSERT_TRUE(waitUntil([&] { return isThereToCall(); }));
  for (const std::string &text : log.texts())
    EXPECT_EQ(text, "line");
  ASSERT_TRUE(waitUntil([&] {
    callInVain();
    const std::vector<std::string> texts = log.texts();
    return texts.back().find("refused process") != std::string::npos;
  }));
}

}  // namespace
