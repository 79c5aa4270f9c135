#include "identity/fsaccount.h"

#include <grp.h>
#include <sys/fsuid.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <new>
#include <vector>

#include "base/logger.h"
#include "identity/names.h"

namespace {

constexpr unsigned int NO_ID = static_cast<unsigned int>(-1);

// Logs a line, or none when memory runs out: an identity is put back all the same.
template <class Log>
void logQuietly(Log log) noexcept {
  try {
    log();
  } catch (...) {
  }
}

}  // namespace

FSAccount::FSAccount(const std::string& username) : FSAccount() {
  unsigned int uid = NO_ID;
  unsigned int gid = NO_ID;
  int status = username_to_uidgid(username, uid, gid);
  if (status == EINVAL) {
    ZORF_LOG(LOG_WARN, "Unable to map username: " << username << " to uid.");
    status = username_to_uidgid("nobody", uid, gid);
    if (status != 0) ZORF_LOG(LOG_WARN, "Unable to map username: nobody to uid.");
  }
  if (status != 0) {
    ZORF_LOG(LOG_ERROR, "rc:" << status << "username:" << username);
    return;
  }
  if (gid != 0) {
    // The caller's name, also when the ids are nobody's.
    const int rc = setgroups(username.c_str(), gid);
    if (rc != 0) {
      ZORF_LOG(LOG_ERROR, "error:" << -rc << " setgroups");
      return;
    }
  }
  setfsid(uid, gid);
}

FSAccount::FSAccount(unsigned int uid, unsigned int gid) : FSAccount() {
  setfsid(uid, gid);
}

// Without a switch this sets -1 and -1, which the kernel takes for no change.
FSAccount::~FSAccount() {
  setfsid(prevFsUid, prevFsGid);
}

void FSAccount::setfsid(unsigned int uid, unsigned int gid) noexcept {
  const char* const function = __func__;
  prevFsUid = static_cast<unsigned int>(setfsuid(uid));
  if (prevFsUid == NO_ID) {
    const int err = errno;
    logQuietly([&] { ZORF_LOG_AS(LOG_ERROR, function, "error:" << err << "uid:" << uid); });
  }
  prevFsGid = static_cast<unsigned int>(setfsgid(gid));
  if (prevFsGid == NO_ID) {
    const int err = errno;
    logQuietly([&] { ZORF_LOG_AS(LOG_ERROR, function, "error:" << err << "gid:" << gid); });
  }
  logQuietly([&] {
    ZORF_LOG_AS(LOG_DEBUG, function,
                "@" << static_cast<const void*>(this) << " tid:" << gettid() << " u,g ("
                    << static_cast<int>(prevFsUid) << ", " << static_cast<int>(prevFsGid) << ")"
                    << " => (" << uid << ", " << gid << ")");
  });
}

int setgroups(const char* username, unsigned int primaryGid) {
  std::unique_ptr<gid_t[]> groups;
  int count = 128;
  for (bool complete = false; !complete;) {
    const int room = count;
    groups.reset();
    errno = 0;
    groups.reset(new (std::nothrow) gid_t[static_cast<std::size_t>(room)]());
    if (groups == nullptr) {
      const int err = errno == 0 ? ENOMEM : errno;
      ZORF_LOG(LOG_DEBUG, "failed to alloc int * " << room << " buffer");
      return -err;
    }
    complete = getgrouplist(username, primaryGid, groups.get(), &count) != -1;
    // Too small, but no larger size named: the C library itself had no memory for the list.
    if (!complete && count <= room) return -ENOMEM;
  }
  if (logger2::enabled(LOG_DEBUG)) {
    Fmt line;
    line << "setgroups:";
    for (int i = 0; i < count; ++i) line << " " << groups[static_cast<std::size_t>(i)];
    ZORF_LOG_BARE(LOG_DEBUG, line.str());
  }
  // Not the C library's setgroups, which changes every thread of the process. That the kernel may
  // refuse is for the later file operations to show.
  syscall(SYS_setgroups, static_cast<std::size_t>(count), groups.get());
  return 0;
}

int dump_gid(const char* prefix) {
  if (!logger2::enabled(LOG_DEBUG)) return 0;
  const int room = getgroups(0, nullptr);
  if (room < 0) return -errno;
  std::vector<gid_t> groups(static_cast<std::size_t>(room));
  const int count = getgroups(room, groups.data());
  if (count < 0) return -errno;
  groups.resize(static_cast<std::size_t>(count));
  Fmt line;
  if (prefix != nullptr) line << prefix << " ";
  line << "(dump group ids):";
  for (const gid_t group : groups) line << " " << group;
  ZORF_LOG_BARE(LOG_DEBUG, line.str());
  return 0;
}
