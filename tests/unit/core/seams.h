// Where these tests stand in for the C library; see the linker's option --wrap in CMakeLists.txt.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

// The fork handlers as the library has registered them, to be called without a fork.
struct ForkHandlers {
  void (*prepare)() = nullptr;
  void (*parent)() = nullptr;
  void (*child)() = nullptr;
};
const ForkHandlers &forkHandlers();

// How readlink() ends, one answer per call and then the last one for ever. An answer of 0 bytes or less has no text.
struct LinkAnswer {
  ssize_t result;
  std::string text;
};
inline LinkAnswer linkTo(const std::string &path) { return {static_cast<ssize_t>(path.size()), path}; }
void answerReadlink(const std::vector<LinkAnswer> &answers);

struct LinkRequest {
  std::string path;
  std::size_t room;
};
const std::vector<LinkRequest> &linkRequests();

// From now on every handle gets the same memory.
void reuseHandleMemory();
