// A notification server, at the one fixed path, and the tables of the storms.
#pragma once

#include <optional>
#include <string>

#include "support/child_program.h"
#include "support/count.h"
#include "support/database.h"
#include "support/program.h"
#include "support/temporary_folder.h"

class StormTest : public DatabaseTest {
 protected:
  StormTest();

  void startServer();
  // From now on every handle is opened over TLS.
  void useTls() const;

  // Runs a program to its end, however long it takes: it has a watchdog of its own. Shows its figures.
  void expectSuccess(const RegisteredProgram &program, const ProgramArguments &arguments);
  std::string rowCount(const std::string &table) { return admin().value("SELECT COUNT(*) FROM " + table); }

 private:
  const TemporaryFolder folder_;
  std::optional<Program> server_;
};
