#include "files/cacheuse.h"

#include <fcntl.h>

#include <algorithm>

namespace datanode {

namespace {

// Less than this is read in one go anyway.
constexpr std::int64_t LONG_READ = 262'144;
// Pages are dropped so many bytes at a time.
constexpr std::int64_t DROPPED = 8 << 20;
// A client may ask for any number.
constexpr std::int64_t MOST_AHEAD = 64 << 20;

}  // namespace

CacheUse CacheUse::reading(int file, std::int64_t begin, std::int64_t end, std::int64_t readahead,
                           bool dropBehind) {
  CacheUse use(file, begin, end);
  if (end - begin >= LONG_READ) {
    use.readahead_ = std::clamp<std::int64_t>(readahead, 0, MOST_AHEAD);
  }
  use.dropBehind_ = dropBehind;
  use.reached(begin);
  return use;
}

CacheUse CacheUse::writing(int file, std::int64_t begin, bool dropBehind) {
  CacheUse use(file, begin, begin);
  use.dropBehind_ = dropBehind;
  use.writes_ = true;
  return use;
}

void CacheUse::reached(std::int64_t at) {
  // Asked for again when half of it is used up.
  if (readahead_ > 0 && ahead_ < end_ && at + readahead_ / 2 >= ahead_) {
    const std::int64_t until = std::min(end_, at + readahead_);
    posix_fadvise(file_, ahead_, until - ahead_, POSIX_FADV_WILLNEED);
    ahead_ = until;
  }
  if (dropBehind_ && at - behind_ >= DROPPED) {
    // Pages that aren't on disk yet stay.
    if (writes_) {
      sync_file_range(
          file_, behind_, at - behind_,
          SYNC_FILE_RANGE_WAIT_BEFORE | SYNC_FILE_RANGE_WRITE | SYNC_FILE_RANGE_WAIT_AFTER);
    }
    posix_fadvise(file_, behind_, at - behind_, POSIX_FADV_DONTNEED);
    behind_ = at;
  }
}

}  // namespace datanode
