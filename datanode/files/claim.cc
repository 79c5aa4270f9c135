#include "files/claim.h"

#include <fcntl.h>

#include <cerrno>
#include <system_error>
#include <thread>

namespace datanode {

namespace {

using Clock = std::chrono::steady_clock;

// A program that locks a file locks what it has, or all that it may ever have, and then it means
// it.
constexpr off_t WRITING = off_t{1} << 62;
constexpr off_t WAITING = WRITING + 1;

// Returns 0 or an errno; what is in the way, if anything, is in `lock` after F_OFD_GETLK.
int control(int file, int command, struct flock& lock, off_t byte) {
  lock = {};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  lock.l_start = byte;
  lock.l_len = 1;
  while (fcntl(file, command, &lock) != 0) {
    if (errno != EINTR) return errno;
  }
  return 0;
}

int tryLock(int file, off_t byte) {
  struct flock lock;
  return control(file, F_OFD_SETLK, lock, byte);
}

void unlock(int file, off_t byte) {
  struct flock lock = {};
  lock.l_type = F_UNLCK;
  lock.l_whence = SEEK_SET;
  lock.l_start = byte;
  lock.l_len = 1;
  fcntl(file, F_OFD_SETLK, &lock);
}

bool isTaken(int err) {
  return err == EAGAIN || err == EACCES;
}

}  // namespace

Claim::Claim(int file) : file_(file), asked_(Clock::now()) {
  int err = tryLock(file_, WRITING);
  if (isTaken(err)) {
    const auto deadline = Clock::now() + std::chrono::seconds(30);
    while (isTaken(err) && Clock::now() < deadline) {
      tryLock(file_, WAITING);
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
      err = tryLock(file_, WRITING);
    }
    unlock(file_, WAITING);
    if (isTaken(err)) {
      throw std::system_error(EBUSY, std::generic_category(),
                              "an earlier writer at another DataNode does not end");
    }
  }
  isHeld_ = err == 0;
}

bool Claim::isContested() {
  const auto now = Clock::now();
  if (!isHeld_ || now - asked_ < std::chrono::seconds(1)) return false;
  asked_ = now;
  struct flock lock;
  return control(file_, F_OFD_GETLK, lock, WAITING) == 0 && lock.l_type != F_UNLCK;
}

}  // namespace datanode
