// How a child program of a test gets at the test's database.
#pragma once

#include "content_test.h"
#include "support/child_program.h"

// The arguments for connect(), and then those of the child program itself.
inline ProgramArguments connectionArguments(const DatabaseTest &test, const ProgramArguments &further = {}) {
  ProgramArguments arguments{test.host(), std::to_string(test.port()), test.user(), test.password(), test.db()};
  arguments.insert(arguments.end(), further.begin(), further.end());
  return arguments;
}
constexpr std::size_t kDatabaseArgument = 4;
constexpr std::size_t kFirstFurtherArgument = 5;

inline Handle connect(const ProgramArguments &arguments) {
  Handle handle(orv_db_open(arguments.at(0).c_str(), arguments.at(2).c_str(), arguments.at(3).c_str(),
                            arguments.at(kDatabaseArgument).c_str(),
                            static_cast<unsigned int>(std::stoul(arguments.at(1)))));
  EXPECT_NE(handle, nullptr) << errorText();
  return handle;
}
