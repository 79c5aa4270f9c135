#include "blocks/fileobj.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>

namespace {

int openRetried(const char* path, int flags) {
  int fd;
  do {
    fd = open(path, flags | O_CLOEXEC);
  } while (fd < 0 && errno == EINTR);
  return fd;
}

// Waits for the end of a lease on the file that `path` names. Opened through the descriptor of what
// was looked at: by the path, a FIFO could have taken the file's place, and be waited for for ever.
int openLeased(const char* path, int flags) {
  const fileObj file(path, (flags & O_NOFOLLOW) | O_PATH);
  struct stat st;
  if (file.fd() < 0 || fstat(file.fd(), &st) != 0 || !S_ISREG(st.st_mode)) {
    errno = EAGAIN;
    return -1;
  }
  const std::string same = "/proc/self/fd/" + std::to_string(file.fd());
  const int fd = openRetried(same.c_str(), flags & ~O_NOFOLLOW);
  if (fd < 0 && errno == ENOENT) errno = EAGAIN;  // a host without /proc
  return fd;
}

}  // namespace

int openForClient(const char* path, int flags) {
  const int fd = openRetried(path, flags | O_NOCTTY | O_NONBLOCK);
  if (fd < 0) return errno == EAGAIN ? openLeased(path, flags | O_NOCTTY) : -1;
  fcntl(fd, F_SETFL, 0);  // O_NONBLOCK is the only flag set that this can change
  return fd;
}

fileObj::fileObj(const char* path, int flags, bool keepsZero)
    : fd_(openForClient(path, flags)), keepsZero_(keepsZero) {
  if (fd_ < 0) err_ = errno;
}

fileObj::~fileObj() {
  if (fd_ > 0 || (fd_ == 0 && !keepsZero_)) close(fd_);
}
