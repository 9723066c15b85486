// hears_once DATABASE TABLE
//
// Registers for the table and prints "sent" once the registration has been written, though nobody may have read it yet.
// Ends with status 0 when it has been told of a change, 3 when the server has not answered in time.
#include <dlfcn.h>
#include <linux/sockios.h>
#include <orvdb_client.h>
#include <semaphore.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <iostream>
#include <thread>

namespace {

constexpr int kNotAnswered = 3;
constexpr int kMostDescriptors = 64;

std::atomic<bool> s_isRegistered{false};

// The library's socket is the only one of this process.
bool hasSentSomething() {
  for (int fd = 0; fd < kMostDescriptors; ++fd) {
    int unread = 0;
    int type = 0;
    socklen_t size = sizeof type;
    const bool isSocket = getsockopt(fd, SOL_SOCKET, SO_TYPE, &type, &size) == 0;
    if (isSocket && ioctl(fd, SIOCOUTQ, &unread) == 0 && unread > 0) return true;
  }
  return false;
}

void reportSent() {
  while (!hasSentSomething())
    std::this_thread::sleep_for(std::chrono::microseconds(200));
  std::cout << "sent" << std::endl;
}

}  // namespace

// With this the library's message thread passes the server's answer on to the thread that registers, which then enters
// the callback. A change that comes directly behind the answer is looked up before that, and a program does not miss
// it, since it loads its data afterwards. Here it is to be heard all the same, so the message thread waits for the
// entry.
extern "C" int sem_post(sem_t *semaphore) noexcept {
  static const auto post = reinterpret_cast<int (*)(sem_t *)>(dlsym(RTLD_NEXT, "sem_post"));
  const int result = post(semaphore);
  while (!s_isRegistered)
    std::this_thread::yield();
  return result;
}

int main(int argc, char **argv) {
  if (argc != 3) return 2;
  static sem_t heard;
  sem_init(&heard, 0, 0);
  std::thread(reportSent).detach();
  const auto changed = [](const char *, const char *, _orv_db_action_t, unsigned long long, void *) {
    sem_post(&heard);
  };
  const int status = orv_db_register_callback(argv[1], argv[2], ORV_DB_ACTION_ALL, nullptr, 0, changed);
  s_isRegistered = true;
  if (status != ORV_DB_OK) return kNotAnswered;
  while (sem_wait(&heard) != 0 && errno == EINTR)
    continue;
  return 0;
}
