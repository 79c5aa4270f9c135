// The descriptors that the file system is asked on.
#pragma once

#include <cstdint>

// Opens a path that came from Java. Returns the descriptor, or -1 with errno.
//
// Whatever a user put there, the open neither waits for a writer of a FIFO nor makes a terminal the
// process's own, whose end would be the process's too. The descriptor itself blocks, as the client
// library expects. A lease is waited for as long as the kernel grants one. EINTR is never returned.
int openForClient(const char* path, int flags);

// A file opened for the life of the object, with the thread's file-system identity at construction.
class fileObj {
 public:
  // With `keepsZero` descriptor 0 is never closed.
  fileObj(const char* path, int flags, bool keepsZero = false);
  ~fileObj();
  fileObj(const fileObj&) = delete;
  fileObj& operator=(const fileObj&) = delete;

  // The descriptor, or the negated errno of the failed open.
  int fd() const { return fd_ >= 0 ? fd_ : -err_; }

 private:
  std::int32_t fd_;
  std::int32_t err_ = 0;
  bool keepsZero_;
};
