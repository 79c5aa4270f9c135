#include "blocks/policy.h"

#include <algorithm>
#include <cerrno>

#include "base/logger.h"
#include "blocks/fileobj.h"
#include "blocks/query.h"
#include "blocks/racksort.h"

std::atomic<GetBlkCmd> globalBlkCmd = GET_BLK_LOCAL;

int policyNamed(std::string_view name) {
  using namespace std::string_view_literals;
  // Each with its zero, which keeps "rackaware-sort" from being "rackaware".
  static constexpr std::string_view names[] = {"local\0"sv, "shared\0"sv, "rackaware\0"sv,
                                               "rackaware-sort\0"sv};
  for (int policy = 0; policy < 4; ++policy) {
    const std::string_view candidate = names[policy];
    const std::size_t compared = std::min(name.size(), candidate.size());
    if (name.substr(0, compared) == candidate.substr(0, compared)) return policy;
  }
  return -1;
}

int getBlkLocationInt(int fd, GetBlkCmd cmd, struct stat& st, location& loc, EntryStream& out) {
  const std::size_t start = out.size();
  out.write(&loc, sizeof loc);
  // An offset past the end makes this wrap, and the range stays as it is.
  const std::uint64_t rest = static_cast<std::uint64_t>(st.st_size) - loc.offset;
  if (loc.length > rest) {
    ZORF_LOG(LOG_DEBUG,
             "Request length " << loc.length << " is greater than file length " << st.st_size);
    loc.length = rest;
  }
  loc.nblock = 0;
  loc.nreplica = 0;
  loc.blocksize = 0;

  int err = 0;
  if (S_ISREG(st.st_mode)) {
    int result = 0;
    switch (cmd) {
      case GET_BLK_LOCAL:
        result = getBlkLocation(fd, st, loc, out);
        break;
      case GET_BLK_SHARED:
      case GET_BLK_RACKAWARE:
      case GET_BLK_RACKAWARE_SORT:
        loc.blocksize = static_cast<std::uint64_t>(st.st_blksize);
        result = getBlkInfoInternal(fd, loc);
        if (result != 0 || cmd == GET_BLK_SHARED || loc.length == 0) break;
        result = cmd == GET_BLK_RACKAWARE ? getBlkLocation(fd, st, loc, out)
                                          : getBlkLocation_sort(fd, st, loc, out);
        break;
      default:
        ZORF_LOG(LOG_ERROR, "Unknown GetBlkCmd " << cmd);
    }
    if (result != 0) {
      err = errno;
      ZORF_LOG(LOG_ERROR, "failed to get extended stat for " << fd);
    } else if (loc.nblock == 0 && st.st_size != 0) {
      ZORF_LOG(LOG_DEBUG, "No location map returned. ret="
                              << 0 << ", GetBlkCmd=" << cmd << ", inode=" << st.st_ino
                              << ", block.offset=" << loc.offset << ", block.length=" << loc.length
                              << ", block.blocksize=" << loc.blocksize << ", block.nreplica="
                              << loc.nreplica << ", block.nblock=" << loc.nblock);
    }
  }

  out.rewrite(start, &loc, sizeof loc);
  return err;
}

int locateBlocks(const char* native, const char* path, int flags, struct stat& st, location& loc,
                 EntryStream& out) {
  const fileObj file(path, flags);
  if (file.fd() < 0) {
    ZORF_LOG_AS(LOG_ERROR, native, "open failed with " << -file.fd());
    return -file.fd();
  }
  return getBlkLocationInt(file.fd(), globalBlkCmd, st, loc, out);
}
