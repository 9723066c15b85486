#include "fault/fault_test.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <stdexcept>

Calls firstCalls(std::size_t count) {
  Calls calls = client().calls();
  calls.resize(std::min(count, calls.size()));
  return calls;
}

Calls lastCalls(std::size_t count) {
  const Calls &calls = client().calls();
  return {calls.end() - static_cast<std::ptrdiff_t>(std::min(count, calls.size())), calls.end()};
}

std::vector<MappedCode> mappedCodes() {
  std::vector<MappedCode> codes = {{2006, 12}, {2008, 4}, {2013, 13}, {2031, 3}, {2033, 3}, {2034, 3}, {2036, 3}};
  for (const int plain :
       {-1, 1, 2, 255, 1064, 1205, 1213, 2000, 2001, 2005, 2007, 2032, 2035, 2037, 2055, 3000, 5006}) {
    codes.push_back({plain, 1});
  }
  for (int plain = 2009; plain <= 2012; ++plain)
    codes.push_back({plain, 1});
  for (int plain = 2014; plain <= 2030; ++plain)
    codes.push_back({plain, 1});
  return codes;
}

bool endedWell(pid_t child) {
  int status = -1;
  return child > 0 && waitpid(child, &status, 0) == child && status == 0;
}

bool forkWorks() {
  const pid_t child = fork();
  if (child == 0) _exit(0);
  return endedWell(child);
}

FaultTest::FaultTest() { watchThisThread(); }

void FaultTest::TearDown() {
  EXPECT_EQ(client().connections.size(), 0U);
  EXPECT_EQ(client().openStatements.size(), 0U);
  EXPECT_EQ(client().openResults.size(), 0U);
}

HandleTest::HandleTest() : handle_(openHandle()) { client().forgetCalls(); }

void HandleTest::TearDown() {
  handle_.reset();
  FaultTest::TearDown();
}

void HandleTest::leaveErrorText() {
  client().script.ping = 1;
  client().script.error = "left behind";
  ASSERT_EQ(orv_db_test_connection(handle()), 13);
  ASSERT_STREQ(errorText(), "left behind");
  client().forgetCalls();
}

AnnouncingTest::AnnouncingTest() {
  if (orv_db_retry_init() != ORV_DB_OK) throw std::runtime_error("the library does not connect to the peer");
}
