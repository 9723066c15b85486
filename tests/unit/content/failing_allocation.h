// Lets memory run out: operator new of this executable fails on demand, on the thread that asked for it.
#pragma once

// From now on this thread is granted so many allocations, and then none.
void grantAllocations(int count);
void grantAllAllocations();

// Calls with no more than that many allocations granted.
template <class Call>
auto withAllocations(int count, Call call) {
  struct Limit {
    explicit Limit(int granted) { grantAllocations(granted); }
    ~Limit() { grantAllAllocations(); }
    Limit(const Limit &) = delete;
    Limit &operator=(const Limit &) = delete;
  } limit(count);
  return call();
}
