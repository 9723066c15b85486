#include "stress/storm_fixture.h"

#include <fstream>
#include <iostream>

#include "stress/tables.h"
#include "unit/core/writing_test.h"

StormTest::StormTest() {
  for (const char *table : {kChildren, kWrittenTable, kNumbersTable})
    createTable(admin(), table);
  admin().query(std::string("INSERT INTO ") + kNumbersTable + " (value) SELECT seq FROM seq_1_to_" +
                std::to_string(kNumbers));
}

// It never makes many changes into one of the whole table, however long a process does not read.
void StormTest::startServer() {
  server_.emplace(Program({ORVDB_SERVER_PROGRAM, "--status=", "--resync=never", "--queue-limit=100000000",
                           "--total-queue-limit=1000000000"},
                          folder_.path() / "server.log"));
  server_->waitForOutput("listening on");
}

void StormTest::useTls() const { std::ofstream("/etc/my.cnf") << "[client]\nssl-ca=" << server().certificate << '\n'; }

void StormTest::expectSuccess(const RegisteredProgram &program, const ProgramArguments &arguments) {
  ChildProgram child(program, arguments);
  EXPECT_EQ(child.wait(std::chrono::hours(10)), exited(0)) << child.output();
  std::cout << child.output() << std::flush;
}
