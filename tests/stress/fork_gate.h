// Lets threads work side by side, and a fork happen at any moment of their work but those that no child survives.
//
//   ForkGate gate;
//   { const ForkGate::Step step(gate); ... }    // on the threads: one round of work
//   { const ForkGate::Fork alone(gate); ... }   // on the one that forks
#pragma once

#include <atomic>
#include <chrono>
#include <thread>

// Many may be inside, or nobody. Whoever waits does so without a deadline: that is the watchdog's.
class Turnstile {
 public:
  class Pass {
   public:
    explicit Pass(Turnstile &turnstile) : inside_(turnstile.inside_) {
      for (++inside_; turnstile.isClosed_; ++inside_) {
        --inside_;
        waitWhile([&] { return turnstile.isClosed_.load(); });
      }
    }
    ~Pass() { --inside_; }
    Pass(const Pass &) = delete;
    Pass &operator=(const Pass &) = delete;

   private:
    std::atomic<int> &inside_;
  };

  class Closed {
   public:
    explicit Closed(Turnstile &turnstile) : isClosed_(turnstile.isClosed_) {
      isClosed_ = true;
      waitWhile([&] { return turnstile.inside_ > 0; });
    }
    ~Closed() { isClosed_ = false; }
    Closed(const Closed &) = delete;
    Closed &operator=(const Closed &) = delete;

   private:
    std::atomic<bool> &isClosed_;
  };

 private:
  template <class Condition>
  static void waitWhile(Condition condition) {
    while (condition())
      std::this_thread::sleep_for(std::chrono::microseconds(50));
  }

  std::atomic<int> inside_{0};
  std::atomic<bool> isClosed_{false};
};

// AddressSanitizer's allocator does not survive a fork beside threads that allocate memory: the child waits for ever.
#if defined(__SANITIZE_ADDRESS__)
constexpr bool kForksBetweenSteps = true;
#else
constexpr bool kForksBetweenSteps = false;
#endif

class ForkGate {
 public:
#if defined(__SANITIZE_ADDRESS__)
  struct Step {
    explicit Step(ForkGate &gate) : pass(gate.steps_) {}
    const Turnstile::Pass pass;
  };
  struct Fork {
    explicit Fork(ForkGate &gate) : withoutSteps(gate.steps_), withoutOpening(gate.opening_) {}
    const Turnstile::Closed withoutSteps;
    const Turnstile::Closed withoutOpening;
  };
#else
  struct Step {
    explicit Step(ForkGate &) {}
  };
  struct Fork {
    explicit Fork(ForkGate &gate) : withoutOpening(gate.opening_) {}
    const Turnstile::Closed withoutOpening;
  };
#endif

  // The client library holds a lock of its own while it prepares a connection over TLS, and does not care for forks: a
  // child that is made then waits for that lock for ever when it opens a connection over TLS itself.
  struct OpeningOverTls {
    explicit OpeningOverTls(ForkGate &gate) : pass(gate.opening_) {}
    const Turnstile::Pass pass;
  };

  // A fork inside a callback waits for a registration under way, and the registration for the message thread, which is
  // in the callback: the registration is given up after 2 seconds. Here it is not begun.
  struct Registration {
    explicit Registration(ForkGate &gate) : pass(gate.registrations_) {}
    const Turnstile::Pass pass;
  };
  struct ForkInCallback {
    explicit ForkInCallback(ForkGate &gate) : fork(gate), withoutRegistrations(gate.registrations_) {}
    const Fork fork;  // first: a thread that is let out of its step may have to register before it gets there
    const Turnstile::Closed withoutRegistrations;
  };

 private:
  Turnstile steps_;
  Turnstile opening_;
  Turnstile registrations_;
};
