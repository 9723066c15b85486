// The memory that a result takes. It is measured in a new process each time: a heap that was in use says nothing.
#pragma once

#include <string>

#include "frame/bench.h"

void measureResident(Bench &bench, const std::string &db, unsigned long long rows);

// The program in that new process.
bool isResidentProgram(int argc, char **argv);
int printResident(char **argv);
