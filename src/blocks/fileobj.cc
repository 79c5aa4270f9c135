#include "blocks/fileobj.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

fileObj::fileObj(const char* path, int flags) : fd_(open(path, flags | O_CLOEXEC)) {
  if (fd_ < 0) err_ = errno;
}

fileObj::~fileObj() {
  if (fd_ >= 0) close(fd_);
}
