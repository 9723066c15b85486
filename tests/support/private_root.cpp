// private_root [--keep DIR]... COMMAND [ARGUMENT]...
//
// Runs COMMAND in a mount namespace of its own, so that a test can have a notification server at the one fixed path
// below /tmp, a /dev/log and an /etc/my.cnf without ever touching the machine's. What COMMAND sees:
//
//   /tmp   fresh and empty, except for the --keep folders that lie below it
//   /dev   fresh: the usual harmless devices, terminals, an empty /dev/shm, and no /dev/log
//   /etc   the machine's files, but no my.cnf; the folder itself is writable and private
//   rest   as it is
//
// The namespace has to be there before COMMAND is loaded, because the library under test connects while it is loaded.
// It works as root, and without root where the system allows user namespaces. Where it does neither, the exit status
// is 125 and COMMAND does not run: a test must fail then, never pass by chance or be skipped.
//
// The words of ORVDB_TEST_WRAPPER (such as "valgrind -q --error-exitcode=99") are put before COMMAND, except where
// COMMAND only lists its tests.
#include <fcntl.h>
#include <getopt.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <system_error>
#include <vector>

#include "support/private_root.h"

namespace {

namespace fs = std::filesystem;

constexpr int kCannotIsolate = 125;
constexpr int kCannotRun = 127;

constexpr const char *kDeviceNames[] = {"full", "null", "random", "tty", "urandom", "zero"};

[[noreturn]] void fail(const std::string &what) { throw std::system_error(errno, std::generic_category(), what); }

// A folder that stays reachable through its descriptor, whatever is mounted over its path. The descriptor lives until
// COMMAND is executed.
class Folder {
 public:
  explicit Folder(fs::path path) : path_(std::move(path)), descriptor_(open(path_.c_str(), O_PATH | O_CLOEXEC)) {
    if (descriptor_ < 0) fail("open " + path_.string());
  }

  const fs::path &path() const { return path_; }
  fs::path throughDescriptor() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

  bool isAt(const fs::path &path) const {
    struct stat mine {};
    struct stat other {};
    return fstat(descriptor_, &mine) == 0 && stat(path.c_str(), &other) == 0 && mine.st_dev == other.st_dev &&
           mine.st_ino == other.st_ino;
  }

 private:
  fs::path path_;
  int descriptor_;
};

struct Options {
  std::vector<fs::path> kept;
  std::vector<char *> command;
};

Options parseOptions(int argc, char **argv) {
  const option known[] = {{"keep", required_argument, nullptr, 'k'}, {}};
  Options options;
  int choice = 0;
  while ((choice = getopt_long(argc, argv, "+", known, nullptr)) == 'k') {
    options.kept.push_back(fs::absolute(optarg).lexically_normal());
  }
  options.command.assign(argv + optind, argv + argc);
  if (choice != -1 || options.command.empty()) {
    throw std::invalid_argument("usage: private_root [--keep DIR]... COMMAND [ARGUMENT]...");
  }
  return options;
}

void writeFile(const fs::path &path, const std::string &text) {
  std::ofstream file(path);
  file << text << std::flush;
  if (!file) fail("write " + path.string());
}

void mountOn(const char *source, const fs::path &target, const char *type, unsigned long flags, const char *data) {
  if (mount(source, target.c_str(), type, flags, data) != 0) fail("mount " + target.string());
}

void mountFresh(const fs::path &target, const char *mode) {
  mountOn("tmpfs", target, "tmpfs", MS_NOSUID, ("mode=" + std::string(mode)).c_str());
}

void bind(const fs::path &source, const fs::path &target) {
  mountOn(source.c_str(), target, nullptr, MS_BIND | MS_REC, nullptr);
}

// Without root the caller keeps its user and group id, so that files it creates belong to it as ever.
void enterUserNamespace() {
  const std::string user = std::to_string(geteuid());
  const std::string group = std::to_string(getegid());
  if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) fail("neither root's nor a user's mount namespace is allowed here");
  writeFile("/proc/self/setgroups", "deny");
  writeFile("/proc/self/uid_map", user + " " + user + " 1");
  writeFile("/proc/self/gid_map", group + " " + group + " 1");
}

void enterNamespace() {
  if (geteuid() != 0 || unshare(CLONE_NEWNS) != 0) enterUserNamespace();
  mountOn("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr);
}

void bringBackDevice(const Folder &machines, const char *name) {
  const fs::path source = machines.throughDescriptor() / name;
  if (!fs::exists(source)) return;
  writeFile(fs::path("/dev") / name, "");
  bind(source, fs::path("/dev") / name);
}

void mountTerminals() {
  fs::create_directory("/dev/pts");
  mountOn("devpts", "/dev/pts", "devpts", MS_NOSUID | MS_NOEXEC, "newinstance,mode=600,ptmxmode=666");
  fs::create_symlink("pts/ptmx", "/dev/ptmx");
}

void replaceDev() {
  const Folder machines("/dev");
  mountFresh("/dev", "755");
  for (const char *name : kDeviceNames)
    bringBackDevice(machines, name);
  mountTerminals();
  fs::create_directory("/dev/shm");
  fs::permissions("/dev/shm", fs::perms::all | fs::perms::sticky_bit);
  fs::create_symlink("/proc/self/fd", "/dev/fd");
  fs::create_symlink("/proc/self/fd/0", "/dev/stdin");
  fs::create_symlink("/proc/self/fd/1", "/dev/stdout");
  fs::create_symlink("/proc/self/fd/2", "/dev/stderr");
}

// The machine's own entries are reached through links, those that are links already as they are: their relative
// targets stay right in the new folder. Needs the fresh /tmp as a stopover. Within another private root the machine's
// entries are where that one keeps them.
void replaceEtc() {
  const fs::path stopover = "/tmp/etc";
  const fs::path hidden = kMachinesEtc;
  fs::create_directory(stopover);
  bind(fs::exists(hidden) ? hidden : "/etc", stopover);
  mountFresh("/etc", "755");
  fs::create_directory(hidden);
  mountOn(stopover.c_str(), hidden, nullptr, MS_MOVE, nullptr);
  fs::remove(stopover);
  for (const fs::directory_entry &entry : fs::directory_iterator(hidden)) {
    const fs::path name = entry.path().filename();
    if (name == "my.cnf") continue;
    if (entry.is_symlink()) {
      fs::copy_symlink(entry.path(), "/etc" / name);
    } else {
      fs::create_symlink(entry.path(), "/etc" / name);
    }
  }
}

// Both the path as given and the one without links have to lead to the folder: either may lie below /tmp.
void keep(const Folder &folder, const fs::path &canonical) {
  for (const fs::path &path : {canonical, folder.path()}) {
    if (folder.isAt(path)) continue;
    fs::create_directories(path);
    bind(folder.throughDescriptor(), path);
  }
}

// The folders are opened inside the namespace: what is opened outside belongs to the mounts there and cannot be bound.
void enterPrivateRoot(const Options &options) {
  const fs::path workingFolder = fs::current_path();
  enterNamespace();
  const Folder machinesTmp("/tmp");
  std::vector<std::pair<Folder, fs::path>> kept;
  for (const fs::path &path : options.kept) {
    kept.emplace_back(Folder(path), fs::canonical(path));
    if (machinesTmp.isAt(path)) throw std::invalid_argument("/tmp itself cannot be kept");
  }

  mountFresh("/tmp", "1777");
  replaceDev();
  replaceEtc();
  for (const auto &[folder, canonical] : kept)
    keep(folder, canonical);

  // Left as it is, the working folder would be a way back to the machine's /tmp.
  if (chdir(workingFolder.c_str()) != 0) fail("the working folder " + workingFolder.string() + " needs a --keep");
}

bool onlyListsTests(const std::vector<char *> &command) {
  return std::any_of(command.begin(), command.end(),
                     [](const char *word) { return std::strcmp(word, "--gtest_list_tests") == 0; });
}

[[noreturn]] void run(const std::vector<char *> &command) {
  std::vector<std::string> words;
  const char *wrapper = std::getenv("ORVDB_TEST_WRAPPER");
  if (wrapper != nullptr && !onlyListsTests(command)) {
    std::istringstream wrapperWords(wrapper);
    for (std::string word; wrapperWords >> word;)
      words.push_back(word);
  }
  words.insert(words.end(), command.begin(), command.end());

  std::vector<char *> arguments;
  for (std::string &word : words)
    arguments.push_back(word.data());
  arguments.push_back(nullptr);
  execvp(arguments[0], arguments.data());
  fail("run " + words[0]);
}

}  // namespace

int main(int argc, char **argv) {
  int status = kCannotIsolate;
  try {
    const Options options = parseOptions(argc, argv);
    enterPrivateRoot(options);
    status = kCannotRun;
    run(options.command);
  } catch (const std::exception &problem) {
    std::cerr << "private_root: " << problem.what() << '\n';
  }
  return status;
}
