// Linked into every program and library that counts what it executes, in front of the calls by which a process ends, or
// becomes another one, without running its exit handlers: the counters are written first, or they would be lost with
// the process.
#include <stdarg.h>
#include <stddef.h>
#include <stdlib.h>
#include <unistd.h>

enum { kMostWords = 64 };

void __gcov_dump(void);
void __gcov_reset(void);

__attribute__((noreturn)) void __real__exit(int status);
__attribute__((noreturn)) void __real__Exit(int status);
__attribute__((noreturn)) void __real_abort(void);
int __real_execv(const char *path, char *const words[]);
int __real_execve(const char *path, char *const words[], char *const environment[]);
int __real_execvp(const char *file, char *const words[]);

// A call of exec that fails comes back: what was written is not to be written again.
static void dumpCounters(void) {
  __gcov_dump();
  __gcov_reset();
}

__attribute__((noreturn)) void __wrap__exit(int status) {
  dumpCounters();
  __real__exit(status);
}

__attribute__((noreturn)) void __wrap__Exit(int status) {
  dumpCounters();
  __real__Exit(status);
}

__attribute__((noreturn)) void __wrap_abort(void) {
  dumpCounters();
  __real_abort();
}

int __wrap_execv(const char *path, char *const words[]) {
  dumpCounters();
  return __real_execv(path, words);
}

int __wrap_execve(const char *path, char *const words[], char *const environment[]) {
  dumpCounters();
  return __real_execve(path, words, environment);
}

int __wrap_execvp(const char *file, char *const words[]) {
  dumpCounters();
  return __real_execvp(file, words);
}

int __wrap_execl(const char *path, const char *word, ...) {
  char *words[kMostWords + 1] = {(char *)word};
  va_list more;
  va_start(more, word);
  for (size_t i = 1; i < kMostWords && words[i - 1] != NULL; ++i)
    words[i] = va_arg(more, char *);
  va_end(more);
  return __wrap_execv(path, words);
}
