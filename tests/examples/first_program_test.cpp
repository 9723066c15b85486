// The first program in each language: they do the same.
#include <signal.h>
#include <stdlib.h>

#include "examples/example_fixture.h"

namespace {

class FirstProgram : public ExampleTest, public testing::WithParamInterface<std::string> {
 protected:
  Program startIt() { return start(GetParam()); }
};

TEST_P(FirstProgram, AddsARowReadsTheTableAndHearsOfTheOthersRow) {
  startServer();
  admin().query("INSERT INTO item (name, price) VALUES ('sofa', 2001), ('chair', 2000)");
  Program first = startIt();
  first.waitForOutput("chair");
  Program second = startIt();
  second.waitForOutput("chair");
  first.waitForOutput("row 4\n");
  EXPECT_EQ(first.output(),
            "the new lamp is row 3\nlamp: 1299\nchair: 2000\n" + std::string(db()) + ".item: action 1, row 4\n");
  EXPECT_EQ(second.output(), "the new lamp is row 4\nlamp: 1299\nlamp: 1299\nchair: 2000\n");
}

TEST_P(FirstProgram, ReadsTheLongestName) {
  startServer();
  admin().query("SET NAMES utf8mb4");
  admin().query("INSERT INTO item (name, price) VALUES (REPEAT('a', 64), 1)");
  Program program = startIt();
  program.waitForOutput("lamp: 1299\n");
  EXPECT_NE(program.output().find(std::string(64, 'a') + ": 1\n"), std::string::npos) << program.output();
}

TEST_P(FirstProgram, SaysWhenNoNotificationServerRuns) {
  Program program = startIt();
  EXPECT_EQ(program.waitForExit(), 1);
  EXPECT_NE(program.output().find("is orvdb_server running?): status 12"), std::string::npos) << program.output();
  EXPECT_EQ(admin().value("SELECT COUNT(*) FROM item"), "0");
}

TEST_P(FirstProgram, SaysWhatTheDatabaseRefuses) {
  startServer();
  admin().query("DROP TABLE item");
  Program program = startIt();
  EXPECT_EQ(program.waitForExit(), 1);
  EXPECT_NE(program.output().find("cannot add a lamp: status 1 Table '"), std::string::npos) << program.output();
}

INSTANTIATE_TEST_SUITE_P(InC, FirstProgram, testing::Values(ORVDB_FIRST_PROGRAM));
#ifdef ORVDB_FROM_PYTHON
INSTANTIATE_TEST_SUITE_P(InPython, FirstProgram, testing::Values(ORVDB_FROM_PYTHON));
#endif

}  // namespace
