// One writer of a file among all services that serve its file system. Each holds a lock of one
// byte, far beyond the end of the file, for as long as it has the file open; a later one asks for
// it by a lock of the byte after. Locks of open files, which a parallel file system has on all its
// hosts alike; where it has none there is no claim.
#pragma once

#include <chrono>

namespace datanode {

class Claim {
 public:
  // Waits until an earlier writer at another service has ended, for 30 seconds: then
  // std::system_error. The claim ends when the file, which must be open for writing, is closed.
  explicit Claim(int file);

  // Whether a later writer waits for the end of this one. The file system is asked once a second.
  bool isContested();

 private:
  int file_;
  bool isHeld_ = false;
  std::chrono::steady_clock::time_point asked_;
};

}  // namespace datanode
