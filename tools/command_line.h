// The commands and their options.
#pragma once

// Runs the command that is named and returns the program's status. Throws WrongUsage, and what commands throw.
int runCommandLine(int argc, char **argv);
