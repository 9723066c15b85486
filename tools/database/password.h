// Asks for a password.
#pragma once

#include <string>

// On the terminal, without showing what is typed. Throws a Failure when there is no terminal.
std::string askPassword();
