#include "blocks/query.h"

#include <endian.h>

#include <cerrno>
#include <cstring>

#include "base/logger.h"
#include "blocks/locationsquery.h"
#include "blocks/zorf_fcntl.h"

std::atomic<std::uint64_t> defaultDFSBlockSize = 0;

namespace {

// The query for the replica count and the block group factor.
zorfBlockInfo_t blockInfoRequest() {
  zorfBlockInfo_t request = {};
  request.header.totalLength = sizeof request;
  request.header.fcntlVersion = ZORF_FCNTL_VERSION;
  request.replication.structLen = sizeof request.replication;
  request.replication.structType = ZORF_FCNTL_QUERY_REPLICATION;
  request.xattr.structLen = sizeof request.xattr;
  request.xattr.structType = ZORF_FCNTL_QUERY_XATTR;
  request.xattr.nameLen = ZORF_BGF.size();
  request.xattr.bufferLen = sizeof request.xattr.value;
  request.xattr.flags = ZORF_XATTR_QUERY_FLAGS;
  ZORF_BGF.copy(request.xattr.name, sizeof request.xattr.name);
  return request;
}

std::int32_t groupFactor(const zorfQueryXattr_t& xattr) {
  std::uint32_t bigEndian = 0;
  std::memcpy(&bigEndian, xattr.value, sizeof bigEndian);
  return static_cast<std::int32_t>(be32toh(bigEndian));
}

struct Range {
  std::uint64_t offset;
  std::uint64_t length;

  // To a multiple of `blocksize`; 0 leaves the range alone.
  void alignDown(std::uint64_t blocksize) {
    if (blocksize == 0) return;
    // The remainder passes through 32 signed bits; callers know the ranges that this gives.
    const auto remainder = static_cast<std::int32_t>(offset % blocksize);
    offset -= static_cast<std::uint64_t>(std::int64_t{remainder});
    length += static_cast<std::uint64_t>(std::int64_t{remainder});
  }
};

}  // namespace

int getBlkInfoInternal(int fd, location& loc) {
  if (fd < 0) return -1;
  const std::uint64_t fsBlockSize = loc.blocksize;
  loc.nblock = 0;
  loc.nreplica = 1;
  loc.blocksize = 0;

  zorfBlockInfo_t info = blockInfoRequest();
  if (zorf_fcntl(fd, &info) < 0) return -1;

  if (info.xattr.errReason != 0) {
    loc.blocksize = defaultDFSBlockSize;
    ZORF_LOG(LOG_WARN, "bgf is not set, uses default block size: " << loc.blocksize);
  } else {
    const std::int32_t factor = groupFactor(info.xattr);
    ZORF_LOG(LOG_DEBUG, "bgf: " << factor);
    loc.blocksize = static_cast<std::uint64_t>(std::int64_t{factor}) * fsBlockSize;
  }

  if (fsBlockSize == 0) {
    errno = EINVAL;
    return -1;
  }
  if (loc.blocksize % fsBlockSize != 0) {
    loc.blocksize = (loc.blocksize + fsBlockSize - 1) / fsBlockSize * fsBlockSize;
    ZORF_LOG(LOG_WARN, "fs blocksize " << static_cast<std::int64_t>(fsBlockSize)
                                       << " returns aligned blocksize " << loc.blocksize);
  }
  loc.nreplica = info.replication.words[2];
  return 0;
}

int getBlkLocation(int fd, struct stat& st, location& loc, EntryStream& out) {
  loc.nblock = 0;
  loc.nreplica = 0;
  if (fd < 0) return -1;
  const auto size = static_cast<std::uint64_t>(st.st_size);
  std::uint64_t skipFactor = loc.blocksize;
  Range range = {loc.offset, loc.length};
  range.alignDown(skipFactor);
  if (range.length == 0 && size != 0) range.length = 1;

  LocationsQuery query(skipFactor);
  for (std::uint32_t entries = 0;;) {
    if (query.ask(fd, range.offset, range.length) != 0) return -1;
    const std::int32_t replicas = query.replicas();
    const std::int32_t blocks = query.blocks();
    const std::uint64_t metaBlockSize = query.metaBlockSize();
    if (skipFactor == 0) {
      // The reply is for the range as it was before this alignment, and is used as it is.
      skipFactor = metaBlockSize;
      loc.blocksize = metaBlockSize;
      range.alignDown(skipFactor);
    } else if (metaBlockSize != skipFactor) {
      ZORF_LOG(LOG_DEBUG,
               "skipfactor(" << skipFactor << ") != metaBlockSize(" << metaBlockSize << ")");
    }
    const std::uint64_t returned = skipFactor * static_cast<std::uint64_t>(blocks);
    ZORF_LOG(LOG_DEBUG, "requested offset=" << range.offset << " length=" << range.length
                                            << " returned length=" << returned
                                            << " replicas=" << replicas << " blocks=" << blocks
                                            << " skipfactor=" << skipFactor);
    if (entries == 0 && skipFactor != 0) {
      const std::uint64_t expected = unitsIn(range.offset, range.length, size, skipFactor);
      out.expect(expected, 8 * static_cast<std::uint64_t>(replicas));
    }
    out.write(query.data(), static_cast<std::size_t>(std::int64_t{8} * replicas * blocks));
    entries += static_cast<std::uint32_t>(blocks);
    range.offset += returned;
    if (size <= range.offset || range.length <= returned || query.fileCut()) {
      loc.nblock = static_cast<std::int32_t>(entries);
      loc.nreplica = replicas;
      return 0;
    }
    // Entries that cover nothing would be asked for, and appended, without an end.
    if (returned == 0 && blocks > 0) {
      errno = EINVAL;
      return -1;
    }
    range.length -= returned;
  }
}
