// What the library logs of a statement, kept instead of logged: the function is reached through the linker's --wrap.
#pragma once

#include <string>

// What was logged since the last call; empty if nothing was.
std::string takeLoggedText();
