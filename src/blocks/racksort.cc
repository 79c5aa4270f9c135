#include "blocks/racksort.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "base/logger.h"
#include "blocks/locationcounts.h"
#include "blocks/locationsquery.h"

namespace {

// Brings the `replicas` locations with the highest counts to the front. When exactly one is
// missing, all stay in the order of their identifiers: clients know that order.
void select(std::vector<LocationCount>& pairs, std::size_t replicas) {
  if (replicas == 0 || pairs.size() == replicas - 1) return;
  LocationCount* const first = pairs.data();
  LocationCount* const last = first + pairs.size();
  if (replicas <= pairs.size()) {
    nthElement(first, first + (replicas - 1), last);
  } else {
    // The pairs come in ascending identifiers, so that this order is the stable one.
    std::sort(first, last, [](const LocationCount& a, const LocationCount& b) {
      return a.second != b.second ? count_greater(a, b) : a.first < b.first;
    });
  }
}

std::uint32_t magnitude(std::int32_t n) {
  return n < 0 ? 0 - static_cast<std::uint32_t>(n) : static_cast<std::uint32_t>(n);
}

// Writes the entries of one request. The counts of an unfinished HDFS block carry over from reply
// to reply; the memory is kept from entry to entry.
class EntryWriter {
 public:
  explicit EntryWriter(EntryStream& out) : out_(out) {}

  // Counts the reply's blocks and writes an entry after every `groupBlocks` of them.
  void add(const LocationsQuery& reply, std::uint32_t groupBlocks) {
    const auto replicas = static_cast<std::size_t>(reply.replicas());
    const auto blocks = static_cast<std::uint32_t>(reply.blocks());
    if (replicas == 0) {
      addWithoutReplicas(blocks / groupBlocks);
      return;
    }
    LocationCounts& counts = *counts_;
    const char* block = reply.data();
    std::uint32_t inGroup = 0;
    for (std::uint32_t i = 0; i < blocks; ++i, block += 8 * replicas) {
      for (std::size_t replica = 0; replica < replicas; ++replica) {
        std::int32_t id;
        std::memcpy(&id, block + 4 * replica, sizeof id);
        counts.add(id);
      }
      if (++inGroup == groupBlocks) {
        write(replicas);
        inGroup = 0;
      }
    }
  }

  // Writes the entry of a last, partial HDFS block.
  void finish(std::int32_t replicas) {
    if (!counts_->empty()) write(static_cast<std::size_t>(replicas));
  }

  std::uint32_t entries() const { return entries_; }

 private:
  // Entries without replicas have no bytes, and nothing bounds how many a reply may claim.
  void addWithoutReplicas(std::uint32_t groups) {
    if (groups != 0) counts_->take(pairs_);
    entries_ += groups;
  }

  void write(std::size_t replicas) {
    ++entries_;
    counts_->take(pairs_);
    select(pairs_, replicas);
    entry_.assign(2 * replicas, -1);
    const std::size_t found = std::min(replicas, pairs_.size());
    for (std::size_t i = 0; i < found; ++i) {
      entry_[i] = pairs_[i].first;
      entry_[replicas + i] = pairs_[i].second;
    }
    out_.write(entry_.data(), 8 * replicas);
  }

  EntryStream& out_;
  std::unique_ptr<LocationCounts> counts_ = std::make_unique<LocationCounts>();
  std::vector<LocationCount> pairs_;
  std::vector<std::int32_t> entry_;
  std::uint32_t entries_ = 0;
};

}  // namespace

int getBlkLocation_sort(int fd, struct stat& st, location& loc, EntryStream& out) {
  if (loc.blocksize == 0) {
    const int err = errno;  // of an earlier call: that is what callers report
    ZORF_LOG(LOG_WARN, "input blocksize=" << loc.blocksize);
    errno = err;
    return -1;
  }
  const auto fsBlockSize = static_cast<std::uint64_t>(st.st_blksize);
  if (fsBlockSize == 0) {
    errno = EINVAL;
    return -1;
  }
  loc.blocksize -= loc.blocksize % fsBlockSize;
  const auto groupBlocks = static_cast<std::int32_t>(loc.blocksize / fsBlockSize);
  loc.nblock = 0;
  loc.nreplica = 0;
  if (fd < 0) return -1;
  if (groupBlocks == 0) {
    errno = EINVAL;
    return -1;
  }

  const auto size = static_cast<std::uint64_t>(st.st_size);
  const std::uint64_t remainder = loc.offset % fsBlockSize;
  std::uint64_t offset = loc.offset - remainder;
  std::uint64_t length = loc.length + remainder;

  LocationsQuery query(fsBlockSize);
  EntryWriter writer(out);
  for (;;) {
    if (query.ask(fd, offset, length) != 0) return -1;
    const std::uint64_t returned = static_cast<std::uint64_t>(query.blocks()) * fsBlockSize;
    ZORF_LOG(LOG_DEBUG, "requested offset=" << offset << " length=" << length << " returned length="
                                            << returned << " replicas=" << query.replicas()
                                            << " blocks=" << query.blocks()
                                            << " skipfactor=" << fsBlockSize);
    if (writer.entries() == 0) {
      const std::uint64_t expected = unitsIn(offset, length, size, fsBlockSize);
      const std::uint32_t group = magnitude(groupBlocks);
      out.expect(expected / group + (expected % group != 0 ? 1 : 0),
                 8 * static_cast<std::uint64_t>(query.replicas()));
    }
    writer.add(query, magnitude(groupBlocks));
    offset += returned;
    if (size <= offset || length <= returned || query.fileCut()) break;
    length -= returned;
  }
  writer.finish(query.replicas());

  loc.nreplica = query.replicas();
  loc.nblock = static_cast<std::int32_t>(writer.entries());
  ZORF_LOG(LOG_DEBUG, " fs blksize=" << fsBlockSize << " hdfs blksize=" << loc.blocksize
                                     << " group blknum=" << groupBlocks
                                     << " blknum=" << loc.nblock);
  return 0;
}
