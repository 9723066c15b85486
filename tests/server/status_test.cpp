// The status page: one JSON document for each connection.
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <algorithm>
#include <list>
#include <regex>

#include "server/server_fixture.h"

namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr std::uint8_t kInsert = 1;

class Status : public ServerTest {
 protected:
  explicit Status(const std::vector<std::string> &more = {"--resync=never"}) : ServerTest(more) {}

  mode_t mode() const {
    struct stat file {};
    EXPECT_EQ(lstat(statusPath().c_str(), &file), 0);
    return file.st_mode & 07777;
  }
};

// As the system knows this program: an emulator has its own name there.
std::string commandName() {
  const std::string line = readFile("/proc/self/comm");
  return line.substr(0, line.size() - 1);
}

json connectionWith(std::size_t keys) {
  return {{"pid", getpid()},           {"uid", geteuid()},  {"command", commandName()}, {"registered_keys", keys},
          {"wants_everything", false}, {"queued_bytes", 0}, {"largest_queue_bytes", 0}, {"collapsed", false}};
}

// In the order of their keys' number.
json sorted(json connections) {
  std::sort(connections.begin(), connections.end(),
            [](const json &left, const json &right) { return left["registered_keys"] < right["registered_keys"]; });
  return connections;
}

std::set<std::string> namesOf(const json &object) {
  std::set<std::string> names;
  for (const auto &[name, value] : object.items())
    names.insert(name);
  return names;
}

TEST_F(Status, OfAServerAtRestIsAllZeroes) {
  json found = report();
  EXPECT_LE(found.at("uptime_seconds"), 600);
  found.erase("uptime_seconds");
  const json expected{{"version", ORVDB_VERSION},
                      {"keys", 0},
                      {"registered_keys", 0},
                      {"queued_bytes", 0},
                      {"largest_queue_bytes", 0},
                      {"records_in", 0},
                      {"records_out", 0},
                      {"collapsed", 0},
                      {"overflows", 0},
                      {"bad_records", 0},
                      {"connections_refused", 0},
                      {"connections_cut", 0},
                      {"connections_over_keys", 0},
                      {"resyncs", 0},
                      {"connections", json::array()}};
  EXPECT_EQ(found, expected);
}

TEST_F(Status, TellsOfKnownTraffic) {
  constexpr std::uint64_t kChanges = 10;
  ServerClient two = connectClient();
  two.registerFor("d", "t", kInsert);
  two.registerFor("d", "u", kInsert);
  ServerClient one = connectClient();
  one.registerFor("d", "t", kInsert);
  ServerClient writer = connectClient();
  writer.send(changeRecord("d", "t", 8, 1));            // no action: ignored
  writer.send(record(2, 1, "d", "t", kInsert, 1));      // a status: ignored
  for (std::uint64_t row = 0; row < kChanges; ++row) {  // for two readers each
    writer.send(changeRecord("d", "t", kInsert, row));
    EXPECT_EQ(two.receive(), changeRecord("d", "t", kInsert, row));
    EXPECT_EQ(one.receive(), changeRecord("d", "t", kInsert, row));
  }
  ServerClient outOfStep = connectClient();
  outOfStep.send(record(3, 0, "d", "t", kInsert, 1));  // of an unknown type: the end of the connection
  outOfStep.waitForEnd();

  const json found = report();
  EXPECT_EQ(found.at("keys"), 2);
  EXPECT_EQ(found.at("registered_keys"), 3);
  EXPECT_EQ(found.at("queued_bytes"), 0);
  EXPECT_EQ(found.at("largest_queue_bytes"), 141);
  EXPECT_EQ(found.at("records_in"), 3 + 2 + kChanges + 1);
  EXPECT_EQ(found.at("records_out"), 2 * kChanges);
  EXPECT_EQ(found.at("collapsed"), 0);
  EXPECT_EQ(found.at("overflows"), 0);
  EXPECT_EQ(found.at("bad_records"), 3);
  EXPECT_EQ(found.at("connections_refused"), 0);
  EXPECT_EQ(found.at("connections_cut"), 1);
  json connections = json::array({connectionWith(0), connectionWith(1), connectionWith(2)});
  connections[1]["largest_queue_bytes"] = connections[2]["largest_queue_bytes"] = 141;
  EXPECT_EQ(sorted(found.at("connections")), connections);
}

TEST_F(Status, UptimeGoesOn) {
  const int before = report().at("uptime_seconds");
  EXPECT_TRUE(waitUntil([&] { return report().at("uptime_seconds") > before; }));
}

constexpr int kChanges = 1000;

class StatusOfASmallServer : public Status {
 protected:
  // Of 100 changes.
  StatusOfASmallServer()
      : Status({"--resync=never", "--queue-limit=14100", "--max-connection-keys=1", "--max-connections=2"}) {}
};

class StatusOfASleeper : public StatusOfASmallServer {
 protected:
  // A little of what the socket does not take is in the queue then.
  StatusOfASleeper() {
    sleeper_.registerFor("d", "t", kInsert);
    const RecordBytes change = changeRecord("d", "t", kInsert, 1);
    do {
      writer_.send(change);
    } while (report().at("queued_bytes") == 0);
  }

  ServerClient sleeper_ = connectClient();
  ServerClient writer_ = connectClient();
  const Bytes changes_ = concatenated(std::vector(kChanges, changeRecord("d", "t", kInsert, 1)));
};

TEST_F(StatusOfASleeper, TellsOfWhatWaitsInQueues) {
  const json found = report();
  EXPECT_GT(found.at("queued_bytes"), 0);
  EXPECT_EQ(found.at("queued_bytes").get<int>() % 141, 0);
  const json sleeper = sorted(found.at("connections")).at(1);
  EXPECT_EQ(sleeper.at("queued_bytes"), found.at("queued_bytes"));
  EXPECT_EQ(sleeper.at("collapsed"), false);
}

TEST_F(StatusOfASleeper, TellsOfQueuesThatOverflow) {
  const json before = report();
  writer_.sendBytes(changes_.data(), changes_.size());
  json found;
  ASSERT_TRUE(waitUntil([&] {
    found = report();
    return found.at("records_in") == before.at("records_in").get<int>() + kChanges && found.at("overflows") == 1;
  })) << found;
  EXPECT_EQ(found.at("collapsed"), kChanges + before.at("queued_bytes").get<int>() / 141);
  EXPECT_EQ(found.at("largest_queue_bytes"), 101 * 141);
  EXPECT_EQ(found.at("queued_bytes"), 0);
  const json sleeper = sorted(found.at("connections")).at(1);
  EXPECT_EQ(sleeper.at("collapsed"), true);
  EXPECT_EQ(sleeper.at("queued_bytes"), 0);
  EXPECT_EQ(sleeper.at("largest_queue_bytes"), 101 * 141);
}

TEST_F(StatusOfASmallServer, TellsOfClientsOverTheirLimits) {
  ServerClient greedy = connectClient();
  greedy.registerFor("d", "t", kInsert);
  greedy.registerFor("d", "u", kInsert);
  ServerClient second = connectClient();
  second.registerFor("d", "t", kInsert);
  connectClient().waitForEnd();
  const json found = report();
  EXPECT_EQ(found.at("connections_refused"), 1);
  const json connections = found.at("connections");
  ASSERT_EQ(connections.size(), 2U);
  EXPECT_NE(connections[0].at("wants_everything"), connections[1].at("wants_everything"));
}

class StatusOfASweepingServer : public Status {
 protected:
  StatusOfASweepingServer() : Status({"--resync=always"}) {}
};

TEST_F(StatusOfASweepingServer, CountsTheTimesThatEverybodyWasTold) {
  ServerClient client = connectClient();
  EXPECT_TRUE(waitUntil([&] { return report().at("resyncs") > 0; }));
}

// --- its socket ------------------------------------------------------------------------------------------------------

TEST_F(Status, IsForTheServersUserAlone) { EXPECT_EQ(mode(), 0600U); }

class StatusWithMode : public Status {
 protected:
  StatusWithMode() : Status({"--resync=never", "--status-mode=0664"}) {}
};

TEST_F(StatusWithMode, HasTheModeThatIsAskedFor) { EXPECT_EQ(mode(), 0664U); }

TEST_F(Status, IsGoneAfterACleanEnd) {
  ASSERT_TRUE(fs::is_socket(statusPath()));
  server_.signal(SIGTERM);
  EXPECT_EQ(server_.waitForExit(), 0);
  EXPECT_FALSE(fs::exists(statusPath()));
}

TEST_F(Status, OfADeadServerIsReplaced) {
  server_.signal(SIGKILL);
  server_.waitForExit();
  ASSERT_TRUE(fs::is_socket(statusPath()));
  Program next = startOnSocket({"--status", statusPath()});
  waitUntilListening(next);
  EXPECT_EQ(report().at("connections").size(), 0U);
}

TEST_F(Status, SecondServerOnTheSamePathIsRefused) {
  Program second = start({"--socket", folder() / "other.sock", "--status", statusPath()});
  EXPECT_EQ(second.waitForExit(), 1);
  EXPECT_THAT(second.output(), HasSubstr(statusPath() + ": another server answers there"));
  EXPECT_FALSE(fs::exists(folder() / "other.sock"));
  EXPECT_EQ(report().at("connections").size(), 0U);
}

// With a /run of the server's own, into which this process looks from outside.
class StatusDefault : public ServerProgramTest {
 protected:
  Program startWithRunFolder(const std::string &folderInIt, const std::vector<std::string> &more = {}) {
    std::vector<std::string> launcher{"/usr/bin/unshare", "--mount"};
    if (geteuid() != 0) launcher.insert(launcher.end(), {"--user", "--map-root-user"});
    launcher.insert(launcher.end(),
                    {"/bin/sh", "-c", "mount -t tmpfs tmpfs /run && mkdir " + folderInIt + " && exec \"$0\" \"$@\""});
    std::vector<std::string> arguments{"--socket", socketPath()};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return startThrough(launcher, arguments);
  }

  static std::string inRunOf(const Program &server, const std::string &path) {
    return "/proc/" + std::to_string(server.pid()) + "/root/run/" + path;
  }
};

TEST_F(StatusDefault, IsAnsweredInRunOrvdbIfThatFolderExists) {
  Program server = startWithRunFolder("/run/orvdb");
  waitUntilListening(server);
  ServerClient client(inRunOf(server, "orvdb/status.sock"));
  EXPECT_EQ(json::parse(client.receiveAll()).at("version"), ORVDB_VERSION);
}

TEST_F(StatusDefault, IsNotThereIfThePathIsEmpty) {
  Program server = startWithRunFolder("/run/orvdb", {"--status="});
  waitUntilListening(server);
  EXPECT_TRUE(fs::exists(inRunOf(server, "orvdb")));
  EXPECT_FALSE(fs::exists(inRunOf(server, "orvdb/status.sock")));
}

TEST_F(StatusDefault, IsNotThereIfItDoesNotExist) {
  Program server = startWithRunFolder("/run/other");
  waitUntilListening(server);
  EXPECT_TRUE(fs::exists(inRunOf(server, "other")));
  EXPECT_FALSE(fs::exists(inRunOf(server, "orvdb")));
}

// --- those who read it -----------------------------------------------------------------------------------------------

constexpr int kClients = 1500;  // whose report is more than a socket holds

class LongStatus : public Status {
 protected:
  LongStatus() {
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
    for (int i = 0; i < kClients; ++i)
      clients_.push_back(connectClient());
    clients_.back().registerFor("d", "t", kInsert);  // the last of them has been accepted
  }

  // One that gets the beginning and then does not read.
  ServerClient openReader() {
    unsigned char byte;
    ServerClient reader(statusPath());
    EXPECT_EQ(reader.receiveSome(&byte, 1), 1U);
    return reader;
  }

  std::list<ServerClient> clients_;
};

TEST_F(LongStatus, ReaderThatDoesNotReadHoldsNobodyUp) {
  const ServerClient reader = openReader();
  clients_.front().send(changeRecord("d", "t", kInsert, 1));
  EXPECT_EQ(clients_.back().receive(), changeRecord("d", "t", kInsert, 1));
  EXPECT_EQ(report().at("connections").size(), static_cast<std::size_t>(kClients));
  server_.signal(SIGTERM);
  EXPECT_EQ(server_.waitForExit(), 0);
}

TEST_F(LongStatus, IsCompleteForAReaderThatIsLate) {
  ServerClient reader = openReader();
  clients_.front().send(changeRecord("d", "t", kInsert, 1));
  EXPECT_EQ(clients_.back().receive(), changeRecord("d", "t", kInsert, 1));
  const json found = json::parse("{" + reader.receiveAll());  // the first byte has been read
  EXPECT_EQ(found.at("connections").size(), static_cast<std::size_t>(kClients));
}

// --- the operators' page ---------------------------------------------------------------------------------------------

TEST_F(Status, KeysAreThoseOfTheOperatorsPage) {
  const ServerClient client = connectClient();
  json found;
  ASSERT_TRUE(waitUntil([&] { return !(found = report()).at("connections").empty(); }));
  std::set<std::string> names = namesOf(found);
  for (const std::string &name : namesOf(found.at("connections").at(0)))
    names.insert("connections[]." + name);

  const std::string page = readFile(ORVDB_OPERATORS_PAGE);
  const std::regex row(R"(\n\| `([a-z_]+(\[\]\.[a-z_]+)?)` \|)");
  std::set<std::string> described;
  for (auto at = std::sregex_iterator(page.begin(), page.end(), row); at != std::sregex_iterator(); ++at)
    described.insert((*at)[1]);
  EXPECT_EQ(names, described);
}

}  // namespace
