#include "plain.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <map>
#include <sstream>
#include <utility>
#include <vector>

#include "blocks/location.h"
#include "blocks/zorf_fcntl.h"

namespace {

using Pair = std::pair<int, int>;

void request(zorfBlockLocations_t& buffer, std::uint64_t skipFactor) {
  std::memset(&buffer, 0, sizeof buffer);
  buffer.header.totalLength = sizeof buffer;
  buffer.header.fcntlVersion = ZORF_FCNTL_VERSION;
  buffer.query.structLen = sizeof buffer.query;
  buffer.query.structType = ZORF_FCNTL_QUERY_BLOCK_LOCATIONS;
  buffer.query.skipFactor = skipFactor;
}

std::uint64_t blockSizeOf(const zorfBlockLocations_t& buffer) {
  return (std::uint64_t{buffer.query.metaBlockSizeHigh} << 32) + buffer.query.metaBlockSizeLow;
}

// Gives `use` every reply for the file, the whole of it.
template <class Use>
void forEachReply(int fd, const struct stat& st, std::uint64_t skipFactor, Use use) {
  zorfBlockLocations_t buffer;
  request(buffer, skipFactor);
  const auto size = static_cast<std::uint64_t>(st.st_size);
  for (std::uint64_t offset = 0; offset < size;) {
    buffer.query.start = offset;
    buffer.query.length = size - offset;
    if (zorf_fcntl(fd, &buffer) != 0) std::abort();
    use(buffer.query);
    const std::uint64_t step = skipFactor != 0 ? skipFactor : blockSizeOf(buffer);
    offset += step * static_cast<std::uint64_t>(buffer.query.blocks);
  }
}

void writeHeader(const location& loc, std::ostream& out) {
  out.seekp(0);
  out.write(reinterpret_cast<const char*>(&loc), sizeof loc);
}

bool more(const Pair& a, const Pair& b) {
  return a.second > b.second;
}

void emit(std::map<int, int>& counts, std::size_t replicas, std::ostream& out) {
  std::vector<Pair> pairs(counts.begin(), counts.end());
  if (!pairs.empty() && pairs.size() != replicas - 1) {
    const auto nth = std::min(replicas - 1, pairs.size());
    std::nth_element(pairs.begin(), pairs.begin() + static_cast<std::ptrdiff_t>(nth), pairs.end(),
                     more);
  }
  while (pairs.size() < replicas) pairs.emplace_back(-1, -1);
  for (std::size_t i = 0; i < replicas; ++i) {
    out.write(reinterpret_cast<const char*>(&pairs[i].first), sizeof(int));
  }
  for (std::size_t i = 0; i < replicas; ++i) {
    out.write(reinterpret_cast<const char*>(&pairs[i].second), sizeof(int));
  }
  counts.clear();
}

}  // namespace

std::string plainLocal(int fd, const struct stat& st) {
  location loc = {.length = static_cast<std::uint64_t>(st.st_size)};
  std::ostringstream out;
  writeHeader(loc, out);
  forEachReply(fd, st, 0, [&](const zorfQueryBlockLocations_t& reply) {
    loc.nreplica = reply.replicas;
    loc.nblock += reply.blocks;
    out.write(reinterpret_cast<const char*>(reply.data),
              std::streamsize{8} * reply.replicas * reply.blocks);
  });
  writeHeader(loc, out);
  return out.str();
}

std::string plainSort(int fd, const struct stat& st, std::uint64_t hdfsBlock) {
  location loc = {.length = static_cast<std::uint64_t>(st.st_size), .blocksize = hdfsBlock};
  const auto fsBlock = static_cast<std::uint64_t>(st.st_blksize);
  const std::uint64_t group = hdfsBlock / fsBlock;
  std::map<int, int> counts;
  std::size_t replicas = 0;
  std::ostringstream out;
  writeHeader(loc, out);
  forEachReply(fd, st, fsBlock, [&](const zorfQueryBlockLocations_t& reply) {
    replicas = static_cast<std::size_t>(reply.replicas);
    for (std::uint64_t block = 0; block < static_cast<std::uint64_t>(reply.blocks);) {
      for (std::size_t i = 0; i < replicas; ++i) {
        int id = 0;
        std::memcpy(&id, reply.data + block * 8 * replicas + 4 * i, sizeof id);
        ++counts[id];
      }
      if (++block % group == 0) {
        emit(counts, replicas, out);
        ++loc.nblock;
      }
    }
  });
  if (!counts.empty()) {
    emit(counts, replicas, out);
    ++loc.nblock;
  }
  loc.nreplica = static_cast<std::int32_t>(replicas);
  writeHeader(loc, out);
  return out.str();
}

void clientOnly(int fd, const struct stat& st, std::uint64_t skipFactor) {
  forEachReply(fd, st, skipFactor, [](const zorfQueryBlockLocations_t&) {});
}
