#include "stress/stress_fixture.h"

#include <cstdlib>
#include <fstream>
#include <iostream>

#include "stress/tables.h"
#include "unit/core/writing_test.h"

int countFromEnvironment(const char *name, int otherwise) {
  const char *value = std::getenv(name);
  return value != nullptr ? std::stoi(value) : otherwise;
}

StressTest::StressTest() {
  for (const char *table : {kChildren, kWrittenTable, kNumbersTable})
    createTable(admin(), table);
  admin().query(std::string("INSERT INTO ") + kNumbersTable + " (value) SELECT seq FROM seq_1_to_" +
                std::to_string(kNumbers));
}

void StressTest::startServer() {
  server_.emplace(Program({ORVDB_SERVER_PROGRAM, "--status=", "--resync=never"}, folder_.path() / "server.log"));
  server_->waitForOutput("listening on");
}

void StressTest::useTls() const { std::ofstream("/etc/my.cnf") << "[client]\nssl-ca=" << server().certificate << '\n'; }

ChildProgram::Setting StressTest::setting(const std::string &executableName) {
  ChildProgram::Setting setting;
  setting.executableName = executableName;
  setting.environment = {"ASAN_OPTIONS=detect_leaks=0"};
  return setting;
}

void StressTest::expectSuccess(const RegisteredProgram &program, const ProgramArguments &arguments) {
  ChildProgram child(program, arguments, setting());
  EXPECT_EQ(child.wait(std::chrono::hours(10)), exited(0)) << child.output();
  std::cout << child.output() << std::flush;
}
