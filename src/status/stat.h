// The raw status record: the bytes of the Linux x86-64 struct stat, and what Java needs to read
// them.
#pragma once

#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>

#include "base/logger.h"
#include "identity/fsaccount.h"

// Where the fields lie in a raw status record: pairs of byte offset and size, for inode, mode,
// size, access, modification and change time (seconds, nanoseconds), uid, gid, and an end marker
// that holds the record's length. Java reads the pairs by position.
extern const std::array<std::int32_t, 18> statusOffsetMemberSize;

// Fills `st` with the status of `path`, of its target when it is a symbolic link and `resolveLink`
// is true (lstat(2), stat(2)). Returns 0 or an errno value, where ENOTDIR is reported as ENOENT: to
// HDFS a path through a file is a missing one.
//
// Inline for speed: after a system call the processor mispredicts each return on the way back, and
// one function more cost as much as all else that is done here.
inline int getStat(const char* path, bool resolveLink, struct stat& st) {
  const auto missingIfNotADirectory = [](int err) { return err == ENOTDIR ? ENOENT : err; };
  if (lstat(path, &st) != 0) {
    const int err = errno;
    if (err == EACCES) dump_gid("getStat error");
    ZORF_LOG(LOG_DEBUG, "lstat for " << path << " error " << err << " resolveLink " << resolveLink);
    return missingIfNotADirectory(err);
  }
  if (S_ISLNK(st.st_mode) && resolveLink && stat(path, &st) != 0) {
    const int err = errno;
    ZORF_LOG(LOG_DEBUG, "link target is invalid, stat for " << path << " error " << err
                                                            << " resolveLink " << resolveLink);
    return missingIfNotADirectory(err);
  }
  ZORF_LOG(LOG_DEBUG, "tid:" << gettid() << " path: " << path
                             << " stat ctime: " << st.st_ctim.tv_sec << "," << st.st_ctim.tv_nsec);
  return 0;
}
