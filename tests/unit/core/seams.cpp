#include "seams.h"

#include <algorithm>
#include <cstring>

#include "core/handle.h"

namespace {

// Filled while the library is loaded, before any object of this file would be made.
ForkHandlers s_forkHandlers;
bool s_reuses = false;

alignas(_orv_db_handle_t) unsigned char s_handleMemory[sizeof(_orv_db_handle_t)];

std::vector<LinkAnswer> &linkAnswers() {
  static std::vector<LinkAnswer> answers;
  return answers;
}

std::vector<LinkRequest> &requests() {
  static std::vector<LinkRequest> requests;
  return requests;
}

}  // namespace

const ForkHandlers &forkHandlers() { return s_forkHandlers; }

void answerReadlink(const std::vector<LinkAnswer> &answers) { linkAnswers() = answers; }

const std::vector<LinkRequest> &linkRequests() { return requests(); }

void reuseHandleMemory() { s_reuses = true; }

extern "C" {

int __real___register_atfork(void (*prepare)(), void (*parent)(), void (*child)(), void *dso);
int __wrap___register_atfork(void (*prepare)(), void (*parent)(), void (*child)(), void *dso) {
  s_forkHandlers = {prepare, parent, child};
  return __real___register_atfork(prepare, parent, child, dso);
}

ssize_t __real_readlink(const char *path, char *buffer, size_t size);
ssize_t __wrap_readlink(const char *path, char *buffer, size_t size) {
  if (linkAnswers().empty()) return __real_readlink(path, buffer, size);
  requests().push_back({path, size});
  const LinkAnswer answer = linkAnswers().front();
  if (linkAnswers().size() > 1) linkAnswers().erase(linkAnswers().begin());
  if (answer.result <= 0) return answer.result;
  const std::size_t length = std::min(answer.text.size(), size);
  std::memcpy(buffer, answer.text.data(), length);
  return static_cast<ssize_t>(length);
}

void *__real_calloc(size_t count, size_t size);
void *__wrap_calloc(size_t count, size_t size) {
  if (!s_reuses || size != sizeof(_orv_db_handle_t)) return __real_calloc(count, size);
  return std::memset(s_handleMemory, 0, sizeof s_handleMemory);
}

void __real_free(void *memory);
void __wrap_free(void *memory) {
  if (memory != s_handleMemory) __real_free(memory);
}
}
