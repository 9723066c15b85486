// Whose name decides whether a line is logged, and what if the name cannot be read.
#include <gtest/gtest.h>

#include "core/log.h"
#include "seams.h"
#include "support/system_log.h"

namespace {

using Lines = std::vector<std::string>;

const LinkAnswer kUnreadable{-1, ""};
const LinkAnswer kEmpty{0, ""};

class ExecutableName : public testing::Test {
 protected:
  SystemLog log_;
};

}  // namespace

TEST_F(ExecutableName, IsThatOfTheLinkProcSelfExeOf1023BytesAtMost) {
  answerReadlink({linkTo("/bin/QZ_x")});
  db_api_log("text");
  ASSERT_EQ(linkRequests().size(), 1U);
  EXPECT_EQ(linkRequests()[0].path, "/proc/self/exe");
  EXPECT_EQ(linkRequests()[0].room, 1023U);
  EXPECT_EQ(log_.texts(), Lines{"[DBAPI] text"});
}

TEST_F(ExecutableName, ThatCannotBeReadKeepsTheLogSilent) {
  answerReadlink({kUnreadable});
  db_api_log("text");
  db_api_process_info("tag");
  answerReadlink({kEmpty});
  db_api_log("text");
  db_api_process_info("tag");
  EXPECT_EQ(log_.texts(), Lines{});
  answerReadlink({linkTo("/bin/QZ_x")});
  db_api_log("text");
  EXPECT_EQ(log_.texts(), Lines{"[DBAPI] text"});
}

TEST_F(ExecutableName, ThatCannotBeReadKeepsTheProcessLineSilentAtItsFirstTrialToo) {
  answerReadlink({kUnreadable, linkTo("/bin/QZ_x")});
  db_api_process_info("tag");
  EXPECT_EQ(log_.texts(), Lines{});
}

TEST_F(ExecutableName, IsWhatFollowsTheLastSlash) {
  answerReadlink({linkTo("/QZ_folder/QZ_folder/other")});
  db_api_log("1");
  answerReadlink({linkTo("/folder/QZ_x/")});
  db_api_log("2");
  answerReadlink({linkTo("/other/QZ_x")});
  db_api_log("3");
  answerReadlink({linkTo("QZ_x")});
  db_api_log("4");
  EXPECT_EQ(log_.texts(), (Lines{"[DBAPI] 3", "[DBAPI] 4"}));
}

TEST_F(ExecutableName, MayFillAllTheRoomThereIs) {
  const std::string name = "QZ_" + std::string(1000, 'x');
  answerReadlink({linkTo('/' + std::string(1023 - 2 - name.size(), 'f') + '/' + name)});
  db_api_process_info("tag");
  ASSERT_EQ(log_.lines().size(), 1U);
  const std::string expected = "[DBAPI] [tag] Process: " + name + ", ";
  EXPECT_EQ(log_.lines()[0].text.substr(0, expected.size()), expected);
}

// The process line has a filter of its own before that of every line.
TEST_F(ExecutableName, ThatBeginsWithTkvmgrHasNoProcessLineWhateverTheOtherFilterSays) {
  for (const char *name : {"/bin/tkvmgr", "/bin/tkvmgr_x", "/bin/tkvmgrs"}) {
    answerReadlink({linkTo(name), linkTo("/bin/QZ_x")});
    db_api_process_info(name);
  }
  EXPECT_EQ(log_.texts(), Lines{});
  for (const char *name : {"/bin/tkvmg", "/bin/Tkvmgr", "/bin/x_tkvmgr"}) {
    answerReadlink({linkTo(name), linkTo("/bin/QZ_x")});
    db_api_process_info(name);
  }
  EXPECT_EQ(log_.lines().size(), 3U);
}
