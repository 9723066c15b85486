// Opening a connection.
#include <atomic>
#include <stdexcept>
#include <thread>

#include "core/change_report.h"
#include "core/connection.h"
#include "core/last_error.h"
#include "support/loopback_listener.h"
#include "support/unique_fd.h"
#include "writing_test.h"

namespace {

constexpr char kNullText[] = "basic_string::_M_construct null not valid";

class OpenConnection : public DatabaseTest {
 protected:
  // What the client library says of an attempt to connect in the same way.
  std::string failureText(const std::string &userName, const std::string &database) const {
    const std::unique_ptr<MYSQL, void (*)(MYSQL *)> connection(mysql_init(nullptr), mysql_close);
    EXPECT_EQ(mysql_real_connect(connection.get(), host(), userName.c_str(), password(), database.c_str(), port(),
                                 nullptr, 0),
              nullptr);
    return mysql_error(connection.get());
  }

  void expectNullThrows(const char *hostName, const char *database) {
    setLastError("text of an earlier failure");
    try {
      orv_db_open(hostName, user(), password(), database, port());
      ADD_FAILURE() << "nothing was thrown";
    } catch (const std::logic_error &error) {
      EXPECT_STREQ(error.what(), kNullText);
    }
    EXPECT_STREQ(orv_db_get_error_str(), "text of an earlier failure");
    EXPECT_TRUE(s_mapConnInfo->empty());
  }
};

// Takes connections and closes them at once.
class HangUpServer {
 public:
  HangUpServer() {
    thread_ = std::thread([this] {
      while (UniqueFd(accept(listener_.descriptor(), nullptr, nullptr)))
        ++connections_;
    });
  }
  ~HangUpServer() { stop(); }

  unsigned int port() const { return listener_.port(); }
  // How many there have been in all.
  int stop() {
    shutdown(listener_.descriptor(), SHUT_RDWR);
    if (thread_.joinable()) thread_.join();
    return connections_;
  }

 private:
  LoopbackListener listener_;
  std::atomic<int> connections_{0};
  std::thread thread_;
};

}  // namespace

TEST_F(OpenConnection, ConnectsToTheDatabaseInAutoCommitMode) {
  const Handle handle = openHandle(*this);
  ASSERT_TRUE(handle) << orv_db_get_error_str();
  EXPECT_EQ(rawValue(handle, "SELECT DATABASE()"), db());
  EXPECT_EQ(rawValue(handle, "SELECT @@autocommit"), "1");
}

TEST_F(OpenConnection, LeavesTheErrorTextEmpty) {
  setLastError("text of an earlier failure");
  const Handle handle = openHandle(*this);
  ASSERT_TRUE(handle);
  EXPECT_STREQ(orv_db_get_error_str(), "");
}

TEST_F(OpenConnection, RegistersHostAndDatabaseUnderTheHandlesAddress) {
  const Handle handle = openHandle(*this);
  ASSERT_TRUE(handle) << orv_db_get_error_str();
  ASSERT_EQ(s_mapConnInfo->size(), 1U);
  const auto &[connection, info] = *s_mapConnInfo->begin();
  EXPECT_EQ(static_cast<void *>(connection), static_cast<void *>(handle.get()));
  EXPECT_EQ(info.host, host());
  EXPECT_EQ(info.db, db());
}

TEST_F(OpenConnection, GivesTheHandleAnEmptySetOfPendingTables) {
  const Handle handle = openHandle(*this);
  ASSERT_TRUE(handle) << orv_db_get_error_str();
  ASSERT_EQ(s_mapPendingTables->count(handle.get()), 1U);
  EXPECT_TRUE(s_mapPendingTables->at(handle.get()).empty());
}

TEST_F(OpenConnection, LeavesTheServersMessageWhenItFails) {
  const std::string expected = failureText(user(), "there_is_no_such_database");
  ASSERT_NE(expected, "");
  EXPECT_EQ(orv_db_open(host(), user(), password(), "there_is_no_such_database", port()), nullptr);
  EXPECT_EQ(orv_db_get_error_str(), expected);
}

TEST_F(OpenConnection, CutsTheServersMessageAt127Characters) {
  const std::string longName(120, 'u');
  const std::string expected = failureText(longName, db());
  ASSERT_GT(expected.size(), 127U) << expected;
  EXPECT_EQ(orv_db_open(host(), longName.c_str(), password(), db(), port()), nullptr);
  EXPECT_EQ(orv_db_get_error_str(), expected.substr(0, 127));
}

TEST_F(OpenConnection, RegistersNothingWhenItFails) {
  EXPECT_EQ(orv_db_open(host(), user(), "not the password", db(), port()), nullptr);
  EXPECT_TRUE(s_mapConnInfo->empty());
  EXPECT_TRUE(s_mapPendingTables->empty());
}

TEST_F(OpenConnection, TriesOnce) {
  HangUpServer server;
  EXPECT_EQ(orv_db_open("127.0.0.1", user(), password(), db(), server.port()), nullptr);
  EXPECT_STRNE(orv_db_get_error_str(), "");
  EXPECT_EQ(server.stop(), 1);
}

TEST_F(OpenConnection, ThrowsForANullHost) { expectNullThrows(nullptr, db()); }

TEST_F(OpenConnection, ThrowsForANullDatabase) { expectNullThrows(host(), nullptr); }
