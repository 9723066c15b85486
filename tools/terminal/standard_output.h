// What is particular about standard output: how wide it is, and that its reader may go.
#pragma once

#include <cstddef>

// Columns of the terminal; 0 where it is none.
std::size_t terminalWidth();

// Whether whoever read a pipe has had enough of it, as `head` does.
bool readerIsGone();

// Throws a Failure when something could not be written, unless the reader is gone: it has all it wanted.
void finishOutput();
