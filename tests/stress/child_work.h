// What a child of a fork storm does, however it came to be.
#pragma once

#include <string>

#include "support/child_program.h"

// From now on a child has as long as a test waits. One that is late shows its stack and ends with status 7.
void endWhenLate();

// Opens, writes its number, registers and is notified, in time. Gives 0, or the number of the step that failed.
int doChildsWork(const std::string &db, int number);

// The same in a program of its own: database, number.
extern const RegisteredProgram &kDoesAChildsWork;
