// As whom a thread acts.
#pragma once

#include <vector>

// The identity the kernel holds for the calling thread, from /proc/thread-self/status.
struct ThreadIdentity {
  unsigned fsuid = 0;
  unsigned fsgid = 0;
  std::vector<unsigned> groups;

  friend bool operator==(const ThreadIdentity&, const ThreadIdentity&) = default;
};
ThreadIdentity threadIdentity();
