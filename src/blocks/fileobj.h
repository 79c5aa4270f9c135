// The descriptor that a block query runs on.
#pragma once

#include <cstdint>

// A file opened for the life of the object, with the thread's file-system identity at construction.
class fileObj {
 public:
  fileObj(const char* path, int flags);
  virtual ~fileObj();
  fileObj(const fileObj&) = delete;
  fileObj& operator=(const fileObj&) = delete;

  // The descriptor, or the negated errno of the failed open.
  int fd() const { return fd_ >= 0 ? fd_ : -err_; }

 private:
  std::int32_t fd_ = 0;
  std::int32_t err_ = 0;
};
