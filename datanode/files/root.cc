#include "files/root.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include <cerrno>

namespace datanode {

namespace {

[[noreturn]] void fail(int err, const std::string& what) {
  throw std::system_error(err, std::generic_category(), what);
}

}  // namespace

Root::Root(std::string directory)
    : directory_(std::move(directory)),
      descriptor_(::open(directory_.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)) {
  if (!descriptor_) fail(errno, directory_);
}

Descriptor Root::open(const BlockToken& token, int flags) const {
  open_how how = {};
  // A FIFO in the file's place must not hold the thread.
  how.flags = static_cast<unsigned int>(flags | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
  how.resolve = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS;
  const char* const relative = token.path.c_str() + token.path.find_first_not_of('/');
  Descriptor file;
  int err = EAGAIN;
  // The kernel gives up where something was renamed meanwhile.
  for (int tries = 0; !file && (err == EAGAIN || err == EINTR) && tries < 100; ++tries) {
    file = Descriptor(
        static_cast<int>(syscall(SYS_openat2, descriptor_.get(), relative, &how, sizeof how)));
    err = errno;
  }
  if (!file) fail(err, token.path);
  struct stat st = {};
  if (fstat(file.get(), &st) != 0) fail(errno, token.path);
  if (st.st_ino != static_cast<ino_t>(token.inode)) fail(ESTALE, token.path);
  if (!S_ISREG(st.st_mode)) fail(EINVAL, token.path);
  return file;
}

}  // namespace datanode
