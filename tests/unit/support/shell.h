// Runs a command line in a shell.
#pragma once

#include <ostream>
#include <string>

struct ShellOutcome {
  int status;          // as in $?
  std::string output;  // standard output and error

  bool operator==(const ShellOutcome &other) const { return status == other.status && output == other.output; }
};

inline std::ostream &operator<<(std::ostream &out, const ShellOutcome &outcome) {
  return out << "status " << outcome.status << " with the output: " << outcome.output;
}

// For a path as one word of a command line.
inline std::string inQuotes(const std::string &word) { return "'" + word + "'"; }

// Returns when the command has ended and nothing holds its output open any more.
ShellOutcome shell(const std::string &commandLine);
