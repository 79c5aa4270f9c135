#include "files/root.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include <cerrno>

#include "files/account.h"

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

Descriptor Root::find(const BlockToken& token, int flags) const {
  open_how how = {};
  how.flags = static_cast<unsigned int>(flags);
  how.resolve = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS;
  const char* const relative = token.path.c_str() + token.path.find_first_not_of('/');
  Descriptor file;
  // The kernel gives up where something was renamed meanwhile.
  for (int tries = 0; tries < 100; ++tries) {
    file = Descriptor(
        static_cast<int>(syscall(SYS_openat2, descriptor_.get(), relative, &how, sizeof how)));
    if (file || (errno != EAGAIN && errno != EINTR)) break;
  }
  return file;
}

Descriptor Root::openOwn(const BlockToken& token, int flags) const {
  const Descriptor found = find(token, O_PATH | O_CLOEXEC);
  struct stat st = {};
  if (!found || fstat(found.get(), &st) != 0) return {};
  if (st.st_uid != fsuidOfThread() || !S_ISREG(st.st_mode)) {
    errno = EACCES;
    return {};
  }
  // It is there already, so that nothing but its own permissions is passed by.
  const PastPermissions past;
  return Descriptor(::open(("/proc/self/fd/" + std::to_string(found.get())).c_str(), flags));
}

Descriptor Root::open(const BlockToken& token, int access) const {
  // A FIFO in the file's place must not hold the thread.
  const int flags = access | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
  Descriptor file = find(token, flags);
  if (!file && errno == EACCES && access == O_WRONLY) file = openOwn(token, flags);
  if (!file) fail(errno, token.path);
  struct stat st = {};
  if (fstat(file.get(), &st) != 0) fail(errno, token.path);
  if (st.st_ino != static_cast<ino_t>(token.inode)) fail(ESTALE, token.path);
  if (!S_ISREG(st.st_mode)) fail(EINVAL, token.path);
  return file;
}

}  // namespace datanode
