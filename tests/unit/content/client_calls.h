// What the library does with prepared statements, seen on the way to the client library: the executable is linked so
// that the client library's functions are reached through the ones in client_calls.cpp, which note the call and pass
// it on.
#pragma once

#include <string>
#include <vector>

// The texts of all statements that were prepared, in order.
std::vector<std::string> preparedTexts();

// The names of the functions called so far, in order.
std::vector<std::string> statementCalls();

// The names of the functions that were called while nobody held the lock of the statement's handle. Only as good as a
// single thread: with several, another one may hold the lock by chance.
std::vector<std::string> unlockedCalls();
