// Programs that are built for another machine than the one on which the tests run.
#pragma once

#include <string>
#include <vector>

// What executes them and so has to stand before their paths: nothing where this machine does so itself.
std::vector<std::string> emulatorWords();

// What a program has printed, without what the emulator says of its own when a signal ends the program.
std::string withoutEmulatorsLines(const std::string &output);
