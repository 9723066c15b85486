#include "support/system_log.h"

#include <gtest/gtest.h>
#include <syslog.h>

#include <chrono>
#include <stdexcept>
#include <thread>

#include "support/child_program.h"

namespace {

using namespace std::chrono_literals;

CHILD_PROGRAM(Logs) {
  for (const std::string &text : arguments)
    syslog(LOG_USER | LOG_ERR, "%s", text.c_str());
  return 0;
}

}  // namespace

TEST(SystemLogTest, HasEveryLineInItsOrder) {
  SystemLog log;
  EXPECT_TRUE(log.lines().empty());
  syslog(LOG_USER | LOG_ERR, "first: %d\n", 1);
  syslog(LOG_DAEMON | LOG_INFO, "second\nwith a break");
  ASSERT_EQ(log.lines().size(), 2U);
  EXPECT_EQ(log.lines()[0].priority, 11);
  EXPECT_EQ(log.lines()[0].text, "first: 1\n");
  EXPECT_EQ(log.lines()[1].priority, LOG_DAEMON | LOG_INFO);
  EXPECT_EQ(log.texts(), (std::vector<std::string>{"first: 1\n", "second\nwith a break"}));
}

TEST(SystemLogTest, TakesLongLinesWhole) {
  SystemLog log;
  const std::string text(10000, 'x');
  syslog(LOG_ERR, "%s", text.c_str());
  EXPECT_EQ(log.texts(), std::vector<std::string>{text});
}

TEST(SystemLogTest, HasTheLinesOfOtherProgramsUnderTheirNames) {
  SystemLog log;
  ASSERT_EQ(runAs("QZ_test", Logs, {"one", "two"}), exited(0));
  ASSERT_EQ(log.lines().size(), 2U);
  EXPECT_EQ(log.lines()[1].program, "QZ_test");
  EXPECT_EQ(log.lines()[1].text, "two");
}

TEST(SystemLogTest, WaitsForALine) {
  SystemLog log;
  std::thread writer([] {
    std::this_thread::sleep_for(20ms);
    syslog(LOG_ERR, "other");
    syslog(LOG_ERR, "the one");
  });
  EXPECT_EQ(log.waitForLine("one").text, "the one");
  writer.join();
  EXPECT_EQ(log.lines().size(), 2U);
  EXPECT_THROW(log.waitForLine("never", 10ms), std::runtime_error);
}
