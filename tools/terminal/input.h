// What the user hands in besides the words of the command.
#pragma once

#include <string>

// The bytes of a file, or of standard input for "-". Throws a Failure with the system's reason.
std::string readInput(const std::string &path);
