#include "blocks/locationsquery.h"

#include <sys/stat.h>

#include <cerrno>

LocationsQuery::LocationsQuery(std::uint64_t skipFactor) {
  buffer_->header.totalLength = sizeof *buffer_;
  buffer_->header.fcntlVersion = ZORF_FCNTL_VERSION;
  buffer_->query.structLen = sizeof buffer_->query;
  buffer_->query.structType = ZORF_FCNTL_QUERY_BLOCK_LOCATIONS;
  buffer_->query.skipFactor = skipFactor;
}

int LocationsQuery::ask(int fd, std::uint64_t offset, std::uint64_t length) {
  buffer_->query.start = offset;
  buffer_->query.length = length;
  if (zorf_fcntl(fd, buffer_.get()) != 0) return -1;
  constexpr std::int64_t slots = sizeof buffer_->query.data / 8;
  if (replicas() < 0 || blocks() < 0 || std::int64_t{replicas()} * blocks() > slots) {
    errno = EIO;
    return -1;
  }
  emptyReplies_ = blocks() == 0 ? emptyReplies_ + 1 : 0;
  if (emptyReplies_ == 100) {
    emptyReplies_ = 0;
    struct stat now;
    if (fstat(fd, &now) != 0) return -1;
    fileCut_ = static_cast<std::uint64_t>(now.st_size) <= offset;
  }
  return 0;
}

std::uint64_t LocationsQuery::metaBlockSize() const {
  // The low word is signed: with its top bit set it borrows from the high word.
  const auto low = static_cast<std::int32_t>(buffer_->query.metaBlockSizeLow);
  return (std::uint64_t{buffer_->query.metaBlockSizeHigh} << 32) +
         static_cast<std::uint64_t>(std::int64_t{low});
}
