// The longest text of an update: 4095 bytes.
#include <cstring>

#include "child_connection.h"
#include "client_calls.h"
#include "support/system_log.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr char kText[] = "UPDATE t SET a=? WHERE _id=1";

// Sets a=5 with a statement text of that many bytes.
int updateWithText(_orv_db_handle_t *handle, std::size_t length) {
  const std::string where = "_id=1" + std::string(length - std::strlen(kText), ' ');
  return orv_db_update(handle, "t", Content().with("a", 5), where.c_str(), nullptr, 0, nullptr);
}

ChildProgram::Setting asAProgramThatLogs() {
  ChildProgram::Setting setting;
  setting.executableName = "QZ_content";
  return setting;
}

class UpdateText : public TableTest {
 public:
  UpdateText() {
    sql("CREATE TABLE t (_id INT PRIMARY KEY, a INT, b TEXT)");
    sql("INSERT INTO t VALUES (1, 0, '')");
  }
};

}  // namespace

TEST_F(UpdateText, Of4095BytesIsRunWhole) {
  EXPECT_EQ(updateWithText(handle(), 4095), ORV_DB_OK) << errorText();
  EXPECT_EQ(preparedTexts().back(), kText + std::string(4095 - std::strlen(kText), ' '));
  EXPECT_EQ(rows("SELECT a FROM t"), (std::vector<Row>{{"5"}}));
  EXPECT_THAT(announced(), ElementsAre(updated("t", 1)));
}

TEST_F(UpdateText, IsCountedWithoutTheValues) {
  const std::string value(10000, 'x');
  EXPECT_EQ(orv_db_update(handle(), "t", Content().with("b", value), "_id=1", nullptr, 0, nullptr), ORV_DB_OK);
  EXPECT_EQ(rows("SELECT b FROM t"), (std::vector<Row>{{value}}));
}

CHILD_PROGRAM(UpdatesWithTextOfLength) {
  return updateWithText(connect(arguments).get(), std::stoul(arguments.at(kFirstFurtherArgument)));
}

TEST_F(UpdateText, Of4096BytesAndMoreEndsTheProcessAfterOneLineOnStderrAndOneInTheLog) {
  SystemLog log;
  std::vector<std::string> logged;
  for (const std::string length : {"4096", "4097", "100000"}) {
    ChildProgram child(UpdatesWithTextOfLength, connectionArguments(*this, {length}), asAProgramThatLogs());
    EXPECT_EQ(child.wait(), killedBy(SIGABRT)) << child.output();
    const std::string message = "orv_db_update: statement text of " + length + " bytes, limit is 4095";
    EXPECT_EQ(child.output(), message + "\n");
    logged.push_back("[DBAPI] " + message);
    EXPECT_EQ(log.texts(), logged);
  }
  EXPECT_EQ(rows("SELECT a FROM t"), (std::vector<Row>{{"0"}}));
  EXPECT_THAT(announced(), IsEmpty());
  ChildProgram fits(UpdatesWithTextOfLength, connectionArguments(*this, {"4095"}), asAProgramThatLogs());
  EXPECT_EQ(fits.wait(), exited(0)) << fits.output();
  EXPECT_EQ(rows("SELECT a FROM t"), (std::vector<Row>{{"5"}}));
  EXPECT_THAT(announced(), ElementsAre(PeerRecord{4, changeRecord(db(), "t", 2, 1)}));  // the fourth child's
}
