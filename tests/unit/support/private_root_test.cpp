// The launcher under which every test runs. These tests run under it themselves: what they call the machine is their
// own private root, and the launcher under test makes another one inside it.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>

#include "shell.h"
#include "support/child_program.h"
#include "support/emulator.h"
#include "support/notification_peer.h"
#include "support/private_root.h"
#include "support/system_log.h"

namespace {

namespace fs = std::filesystem;

const std::string kLauncher = ORVDB_PRIVATE_ROOT;
constexpr int kCannotIsolate = 125;
constexpr int kCannotRun = 127;

// From the root folder, because the build tree may be one of the things that are hidden.
ShellOutcome launch(const std::string &rest) { return shell("cd / && " + inQuotes(kLauncher) + " " + rest); }

void write(const fs::path &path, const std::string &text) { std::ofstream(path) << text; }

std::string read(const fs::path &path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

bool isPart(const std::string &part, const ShellOutcome &outcome) {
  return outcome.output.find(part) != std::string::npos;
}

// Exits with the error number of its attempt to connect to the given path, 0 being success.
CHILD_PROGRAM(Connects) {
  const UniqueFd descriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  arguments.at(0).copy(address.sun_path, sizeof address.sun_path - 1);
  return connect(descriptor.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0 ? 0 : errno;
}

Ending connectThrough(const std::vector<std::string> &launcher, const std::string &path) {
  ChildProgram child(Connects, {path}, {{}, {}, launcher});
  return child.wait();
}

// Where /etc is empty and no private root's.
ShellOutcome shellWithEmptyEtc(const std::string &commandLine) {
  const std::string unshare = geteuid() == 0 ? "unshare --mount" : "unshare --map-root-user --mount";
  write("/tmp/command", commandLine);
  return shell(unshare + " sh -c 'mount -t tmpfs none /etc && . /tmp/command'");
}

// What the launcher starts here is not to be wrapped, even if this test is.
class PrivateRoot : public ::testing::Test {
 protected:
  PrivateRoot() { unsetenv("ORVDB_TEST_WRAPPER"); }
};

}  // namespace

TEST_F(PrivateRoot, HidesTheMachinesTmp) {
  write("/tmp/machines", "");
  EXPECT_EQ(launch("sh -c 'ls -A /tmp; touch /tmp/private; ls -A /tmp; stat -c %a /tmp'"),
            (ShellOutcome{0, "private\n1777\n"}));
  EXPECT_FALSE(fs::exists("/tmp/private"));
  EXPECT_TRUE(fs::exists("/tmp/machines"));
}

TEST_F(PrivateRoot, LiveServerOfTheMachineCannotBeReached) {
  NotificationPeer live;
  ASSERT_EQ(connectThrough({}, "/tmp/orvdb_server.sock"), exited(0));
  const std::vector<std::string> launcher = {kLauncher, "--keep", fs::current_path()};
  EXPECT_EQ(connectThrough(launcher, "/tmp/orvdb_server.sock"), exited(ENOENT));
  EXPECT_EQ(live.connectionCount(), 1);
}

TEST_F(PrivateRoot, WorkingFolderIsNoWayBackToTheMachinesTmp) {
  NotificationPeer live;
  const std::string inTmp = "cd /tmp && exec \"$@\"";
  ASSERT_EQ(connectThrough({"sh", "-c", inTmp, "sh"}, "orvdb_server.sock"), exited(0));
  EXPECT_EQ(connectThrough({"sh", "-c", inTmp, "sh", kLauncher, "--keep", fs::current_path()}, "orvdb_server.sock"),
            exited(ENOENT));
  EXPECT_EQ(live.connectionCount(), 1);
}

TEST_F(PrivateRoot, RefusesAWorkingFolderThatItHides) {
  fs::create_directories("/tmp/a/b");
  const ShellOutcome hidden = shell("cd /tmp/a/b && " + inQuotes(kLauncher) + " echo ran");
  EXPECT_EQ(hidden.status, kCannotIsolate);
  EXPECT_TRUE(isPart("the working folder /tmp/a/b needs a --keep", hidden)) << hidden;
  EXPECT_EQ(shell("cd /tmp/a/b && " + inQuotes(kLauncher) + " --keep /tmp/a/b pwd"), (ShellOutcome{0, "/tmp/a/b\n"}));
}

TEST_F(PrivateRoot, KeepsAFolderBelowTmpAndHidesItsNeighbours) {
  fs::create_directories("/tmp/a/kept");
  fs::create_directories("/tmp/a/neighbour");
  write("/tmp/a/kept/file", "text");
  EXPECT_EQ(launch("--keep /tmp/a/kept sh -c 'cat /tmp/a/kept/file; ls -A /tmp/a; echo new > /tmp/a/kept/file'"),
            (ShellOutcome{0, "textkept\n"}));
  EXPECT_EQ(read("/tmp/a/kept/file"), "new\n");
}

TEST_F(PrivateRoot, KeepsFoldersWithinEachOther) {
  fs::create_directories("/tmp/a/b/c");
  write("/tmp/a/b/c/file", "text");
  EXPECT_EQ(launch("--keep /tmp/a/b/c --keep /tmp/a cat /tmp/a/b/c/file"), (ShellOutcome{0, "text"}));
  EXPECT_EQ(launch("--keep /tmp/a --keep /tmp/a/b/c cat /tmp/a/b/c/file"), (ShellOutcome{0, "text"}));
}

TEST_F(PrivateRoot, KeepsAFolderThatIsReachedThroughALink) {
  fs::create_directory("/tmp/kept");
  write("/tmp/kept/file", "text");
  const fs::path link = fs::absolute("link-to-tmp-" + std::to_string(getpid()));
  fs::create_symlink("/tmp/kept", link);
  EXPECT_EQ(launch("--keep " + inQuotes(link) + " cat " + inQuotes(link / "file")), (ShellOutcome{0, "text"}));
  fs::remove(link);
}

TEST_F(PrivateRoot, KeepsALinkBelowTmp) {
  fs::create_symlink(fs::path(kLauncher).parent_path(), "/tmp/link");
  EXPECT_EQ(launch("ls /tmp/link/private_root").status, 2);
  EXPECT_EQ(launch("--keep /tmp/link ls /tmp/link/private_root"), (ShellOutcome{0, "/tmp/link/private_root\n"}));
}

TEST_F(PrivateRoot, RefusesToKeepTmpItself) {
  fs::create_symlink("/tmp", "/tmp/link");
  for (const char *path : {"/tmp", "/tmp/", "/tmp/link"}) {
    const ShellOutcome outcome = launch("--keep " + std::string(path) + " echo ran");
    EXPECT_EQ(outcome.status, kCannotIsolate);
    EXPECT_TRUE(isPart("/tmp itself cannot be kept", outcome)) << outcome;
  }
}

TEST_F(PrivateRoot, GivesAPrivateDevLog) {
  SystemLog machines;
  EXPECT_EQ(launch("sh -c 'test -e /dev/log || echo none; touch /dev/log && rm /dev/log && echo own'"),
            (ShellOutcome{0, "none\nown\n"}));
  EXPECT_TRUE(fs::is_socket("/dev/log"));
}

TEST_F(PrivateRoot, GivesTheUsualDevices) {
  EXPECT_EQ(launch("sh -c 'ls /dev'").output,
            "fd\nfull\nnull\nptmx\npts\nrandom\nshm\nstderr\nstdin\nstdout\ntty\nurandom\nzero\n");
  EXPECT_EQ(launch("sh -c 'head -c 3 /dev/zero | tr \"\\0\" z; head -c 9 /dev/urandom | wc -c'"),
            (ShellOutcome{0, "zzz9\n"}));
  EXPECT_TRUE(isPart("No space left", launch("cp /etc/passwd /dev/full")));
  EXPECT_EQ(launch("sh -c 'echo x > /dev/null; echo y > /dev/stderr; ls -A /dev/shm; echo z > /dev/shm/z'"),
            (ShellOutcome{0, "y\n"}));
}

CHILD_PROGRAM(OpensATerminal) {
  const UniqueFd master(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
  if (grantpt(master.get()) != 0 || unlockpt(master.get()) != 0) return 1;
  const UniqueFd terminal(open(ptsname(master.get()), O_RDWR | O_NOCTTY | O_CLOEXEC));
  return isatty(terminal.get()) == 1 ? 0 : 2;
}

TEST_F(PrivateRoot, GivesTerminals) { EXPECT_EQ(run(OpensATerminal), exited(0)); }

TEST_F(PrivateRoot, HidesTheMachinesMyCnf) {
  EXPECT_EQ(shellWithEmptyEtc("echo machine > /etc/my.cnf; echo text > /etc/other; " + inQuotes(kLauncher) +
                              " sh -c \"cat /etc/other; test -e /etc/my.cnf || echo none\""),
            (ShellOutcome{0, "text\nnone\n"}));
}

TEST_F(PrivateRoot, TakesOnesOwnMyCnf) {
  write("/etc/my.cnf", "machine");
  EXPECT_EQ(launch("sh -c 'test -e /etc/my.cnf || echo none; echo own > /etc/my.cnf; cat /etc/my.cnf'"),
            (ShellOutcome{0, "none\nown\n"}));
  EXPECT_EQ(read("/etc/my.cnf"), "machine");
}

TEST_F(PrivateRoot, LeavesTheRestOfEtcReadable) {
  for (const char *path : {"/etc/passwd", "/etc/ld.so.cache", "/etc/alternatives/awk"}) {
    const std::string content = read(path);
    EXPECT_FALSE(content.empty()) << path;
    EXPECT_EQ(launch("cat " + std::string(path)), (ShellOutcome{0, content})) << path;
  }
}

TEST_F(PrivateRoot, PassesArgumentsAndStatusOn) {
  EXPECT_EQ(launch("printf '<%s>' 'a b' '' --keep"), (ShellOutcome{0, "<a b><><--keep>"}));
  EXPECT_EQ(launch("sh -c 'exit 7'").status, 7);
  EXPECT_EQ(launch("sh -c 'kill -SEGV $$'").status, 128 + SIGSEGV);
}

TEST_F(PrivateRoot, LeavesNoDescriptorOpen) {
  const std::string without = shell("ls /proc/self/fd").output;
  EXPECT_EQ(launch("--keep /etc ls /proc/self/fd").output, without);
}

TEST_F(PrivateRoot, TellsWhatItCannotRun) {
  const ShellOutcome outcome = launch("/no/such/program");
  EXPECT_EQ(outcome.status, kCannotRun);
  EXPECT_TRUE(isPart("/no/such/program", outcome)) << outcome;
}

TEST_F(PrivateRoot, AsksForACommand) {
  EXPECT_EQ(launch("").status, kCannotIsolate);
  EXPECT_TRUE(isPart("usage:", launch("--keep /etc")));
  EXPECT_TRUE(isPart("usage:", launch("--unknown ls")));
}

TEST_F(PrivateRoot, PutsTheWrapperBeforeTheCommand) {
  setenv("ORVDB_TEST_WRAPPER", "echo -n wrapped:", 1);
  EXPECT_EQ(launch("printf '%s' x"), (ShellOutcome{0, "wrapped: printf %s x"}));
  EXPECT_EQ(launch("echo --gtest_list_tests"), (ShellOutcome{0, "--gtest_list_tests\n"}));
}

namespace {

// As in a container without any privilege.
void forbidNamespaces() {
  sock_filter program[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_unshare, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EPERM),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  };
  const sock_fprog filter{static_cast<unsigned short>(std::size(program)), program};
  if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0) _exit(2);
  if (prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter, 0, 0) != 0) _exit(3);
}

}  // namespace

CHILD_PROGRAM(LaunchesWithoutNamespaces) {
  forbidNamespaces();
  return execl(kLauncher.c_str(), kLauncher.c_str(), "echo", "ran", nullptr);
}

TEST_F(PrivateRoot, FailsAndRunsNothingWhereNoNamespaceIsAllowed) {
  ChildProgram child(LaunchesWithoutNamespaces);
  EXPECT_EQ(child.wait(), exited(kCannotIsolate));
  EXPECT_EQ(child.output(),
            "private_root: neither root's nor a user's mount namespace is allowed here: Operation not permitted\n");
}

// Where the machine allows user namespaces, that is; else it refuses.
TEST_F(PrivateRoot, WorksWithoutRoot) {
  fs::copy_file(kLauncher, "/tmp/launcher");
  fs::permissions("/tmp", fs::perms::all);
  fs::permissions("/tmp/launcher", fs::perms(0755));
  const std::string user = geteuid() == 0 ? "setpriv --reuid=65534 --regid=65534 --clear-groups " : "";
  const std::string id = shell(user + "id -u").output;
  const bool isAllowed = shell(user + "unshare --user --mount true").status == 0;
  const ShellOutcome outcome = shell("cd / && " + user +
                                     "/tmp/launcher sh -c 'id -u; ls -A /tmp; touch /tmp/x /etc/my.cnf /dev/log &&"
                                     " echo > /dev/null && echo done'");
  if (isAllowed) {
    EXPECT_EQ(outcome, (ShellOutcome{0, id + "done\n"}));
  } else {
    EXPECT_EQ(outcome.status, kCannotIsolate) << outcome;
  }
}

TEST_F(PrivateRoot, TestProgramsRefuseToRunWithoutIt) {
  std::string self = inQuotes(fs::read_symlink("/proc/self/exe"));
  for (const std::string &word : emulatorWords())
    self.insert(0, inQuotes(word) + " ");
  EXPECT_EQ(shell(self + " --gtest_list_tests").status, 0);
  const ShellOutcome outcome = shellWithEmptyEtc(self + " --gtest_list_tests");
  EXPECT_EQ(outcome.status, 1);
  EXPECT_TRUE(isPart("runs only under private_root", outcome)) << outcome;
}
