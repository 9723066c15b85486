// Forked children, with the library's fork handlers around them.
//
//   EXPECT_EQ(inChild([] { return openHandle("d") ? 0 : 1; }), exited(0));
//
// The child ends with _exit: what it shares with the parent by its copy of the memory, it leaves alone.
#pragma once

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <iostream>

#include "support/child_program.h"
#include "support/wait.h"

// A child that does not end in time is killed, which shows in how it ended.
inline Ending waitFor(pid_t child) {
  int status = 0;
  if (!waitUntil([&] { return waitpid(child, &status, WNOHANG) == child; })) {
    kill(child, SIGKILL);
    waitpid(child, &status, 0);
  }
  return WIFSIGNALED(status) ? killedBy(WTERMSIG(status)) : exited(WEXITSTATUS(status));
}

template <class Body>
pid_t startChild(Body body) {
  std::cout.flush();
  const pid_t child = fork();
  if (child == 0) _exit(body());
  return child;
}

template <class Body>
Ending inChild(Body body) {
  return waitFor(startChild(body));
}
