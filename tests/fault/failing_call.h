// Calls that fail on demand: those of the allocator, and the others that failing_functions.cpp lists.
//
//   FailingCall failing("calloc");          // this thread's next calloc() fails
//   FailingCall failing(kAllocation, 3);    // its third allocation from now on fails, those before and after do not
//
// A process that is started with the environment variable kFailAtLoad=NAME:N has its N-th call of NAME fail, counted
// from the first one that it makes at all.
#pragma once

constexpr char kAllocation[] = "operator new";
constexpr char kFailAtLoad[] = "ORVDB_FAILING_CALL";

// One at a time.
class FailingCall {
 public:
  explicit FailingCall(const char *function, int nth = 1);
  ~FailingCall();
  FailingCall(const FailingCall &) = delete;
  FailingCall &operator=(const FailingCall &) = delete;

  // Has it come to that?
  bool happened() const;
};

// While it lives nothing fails and nothing is counted on this thread: for test code that is called by code under test.
class NoFailures {
 public:
  NoFailures();
  ~NoFailures();
  NoFailures(const NoFailures &) = delete;
  NoFailures &operator=(const NoFailures &) = delete;
};

// For the functions that can fail: is it this call's turn?
bool failsNow(const char *function);

// Calls `operation` with its first allocation failing, then with its second, and so on, and `check` after each, until
// the operation has run to its end. Returns the number of allocations that it makes.
template <class Operation, class Check>
int withEachAllocationFailing(Operation operation, Check check) {
  for (int n = 1;; ++n) {
    bool failed;
    {
      const FailingCall failing(kAllocation, n);
      operation();
      failed = failing.happened();
    }
    if (!failed) return n - 1;
    check();
  }
}
