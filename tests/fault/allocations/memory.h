// Memory that runs out on demand: all that the executable allocates, the library in it included, but not what other
// libraries do by themselves. Reached in place of the C library's because of the linker's option --wrap.
//
//   Shortage shortage(3, Shortage::once);       // this thread's third allocation from now on fails, and no other
//   Shortage shortage(3, Shortage::forGood);    // so does every later one
#pragma once

class Shortage {
 public:
  enum Length { once, forGood };

  Shortage(int nth, Length length);
  ~Shortage();
  Shortage(const Shortage &) = delete;
  Shortage &operator=(const Shortage &) = delete;

  // Has an allocation failed?
  bool happened() const;
};

// What has been allocated and not been freed, by any thread.
long liveAllocations();

// A program that is started with this variable has its allocation of that number fail, counted from the first one that
// it makes while it is loaded.
constexpr char kFailAllocationAtLoad[] = "ORVDB_FAILING_ALLOCATION";
