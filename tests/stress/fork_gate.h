// Lets threads work side by side, and a fork happen at any moment of their work but those that no child survives.
//
//   ForkGate gate;
//   { const ForkGate::Step step(gate); ... }    // on the threads: one round of work
//   { const ForkGate::Fork alone(gate); ... }   // on the one that forks
#pragma once

#include <atomic>

#include "support/wait.h"

// Many may be inside, or nobody.
class Turnstile {
 public:
  class Pass {
   public:
    explicit Pass(Turnstile &turnstile) : inside_(turnstile.inside_) {
      for (++inside_; turnstile.isClosed_; ++inside_) {
        --inside_;
        waitUntil([&] { return !turnstile.isClosed_; });
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
      waitUntil([&] { return turnstile.inside_ == 0; });
    }
    ~Closed() { isClosed_ = false; }
    Closed(const Closed &) = delete;
    Closed &operator=(const Closed &) = delete;

   private:
    std::atomic<bool> &isClosed_;
  };

 private:
  std::atomic<int> inside_{0};
  std::atomic<bool> isClosed_{false};
};

class ForkGate {
 public:
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  // The sanitizers' allocators do not survive a fork beside threads that allocate memory.
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
    explicit ForkInCallback(ForkGate &gate) : withoutRegistrations(gate.registrations_), fork(gate) {}
    const Turnstile::Closed withoutRegistrations;
    const Fork fork;
  };

 private:
  Turnstile steps_;
  Turnstile opening_;
  Turnstile registrations_;
};
