// For the targets that never ask where blocks lie.
#include <cerrno>

#include "blocks/zorf_fcntl.h"

extern "C" int zorf_fcntl(int, void*) {
  errno = ENOSYS;
  return -1;
}

extern "C" int zorf_restripe_file(int, void*, int) {
  errno = ENOSYS;
  return -1;
}
