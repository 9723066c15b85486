// The library's own registration and cancellation, on simulated threads that are stopped between their steps.
//
// A registration is sent, acknowledged and inserted into the client's registry; a cancellation is dropped from the
// registry and then sent. There is no server and no socket: what the library writes goes to a function.
#pragma once

#include <ucontext.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "event/message.h"

class SplitClient {
 public:
  struct Operation {
    bool isCancellation;
    int mask;
    int callback = 0;  // 0, 1: without user data; 2: that of 0 with user data
    int table = 0;
  };
  using Sent = std::function<void(const _ORV_DB_MESSAGE &)>;

  explicit SplitClient(std::size_t threads);
  SplitClient(const SplitClient &) = delete;
  SplitClient &operator=(const SplitClient &) = delete;
  ~SplitClient();

  // A client without registrations. All threads must be idle.
  void restart(Sent sent);

  std::size_t threadCount() const { return m_threads.size(); }
  bool isIdle(std::size_t thread) const { return m_threads[thread]->isIdle; }
  bool isIdle() const;
  // Otherwise another registration awaits its reply.
  bool canRegister() const;

  // Does the first step, on an idle thread.
  void begin(std::size_t thread, const Operation &operation);
  // Does the next one.
  void advance(std::size_t thread);

  // What the client wants of a table.
  static int actions(int table);
  static std::string tableName(int table) { return "t" + std::to_string(table); }

  // For the stand-ins of what the library calls.
  static SplitClient *current() { return s_current; }
  void send(const void *bytes);
  void changeRegistry();

 private:
  struct Thread {
    ucontext_t context{};
    std::vector<char> stack;
    void *fiber = nullptr;  // ThreadSanitizer's
    Operation operation{};
    bool isIdle = true;
    bool awaitsReply = false;
  };

  static void runThread();
  void run(std::size_t thread);
  void stop();

  static SplitClient *s_current;

  Sent m_sent;
  ucontext_t m_scheduler{};
  void *m_schedulerFiber = nullptr;
  std::vector<std::unique_ptr<Thread>> m_threads;
  Thread *m_running = nullptr;
};
