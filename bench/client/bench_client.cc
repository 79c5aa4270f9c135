#include "bench_client.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <random>
#include <vector>

#include "blocks/zorf_fcntl.h"

namespace {

constexpr std::uint64_t ENTRY = 8 * BENCH_REPLICAS;
constexpr std::uint64_t REPLY_ENTRIES = sizeof(zorfQueryBlockLocations_t::data) / ENTRY;
constexpr std::uint64_t DIFFERENT_ENTRIES = 1 << 16;

// Entries in file order, repeating: a reply is one copy out of it.
std::vector<std::int32_t> makeEntries() {
  std::mt19937 random(20250101);
  std::uniform_int_distribution<std::int32_t> location(1, 200);
  std::vector<std::int32_t> words;
  for (std::uint64_t i = 0; i < DIFFERENT_ENTRIES; ++i) {
    std::array<std::int32_t, BENCH_REPLICAS> ids;
    for (int n = 0; n < BENCH_REPLICAS;) {
      ids[static_cast<std::size_t>(n)] = location(random);
      if (std::find(ids.begin(), ids.begin() + n, ids[static_cast<std::size_t>(n)]) ==
          ids.begin() + n) {
        ++n;
      }
    }
    words.insert(words.end(), ids.begin(), ids.end());
    for (const std::int32_t id : ids) words.push_back(id % 4);
  }
  words.insert(words.end(), words.begin(), words.begin() + REPLY_ENTRIES * ENTRY / 4);
  return words;
}

const std::vector<std::int32_t> table = makeEntries();

void answer(zorfQueryBlockLocations_t& query) {
  const std::uint64_t skip = query.skipFactor != 0 ? query.skipFactor : BENCH_FS_BLOCK;
  const std::uint64_t first = query.start / skip;
  const std::uint64_t end = (query.start + query.length + skip - 1) / skip;
  const std::uint64_t count = std::min(end - first, REPLY_ENTRIES);
  // Every request gets other locations: the processor would learn the blocks of a small file by
  // heart.
  thread_local std::uint64_t shift = 0;
  if (first == 0) shift += 4093;
  std::memcpy(query.data, table.data() + (first + shift) % DIFFERENT_ENTRIES * (ENTRY / 4),
              count * ENTRY);
  query.replicas = BENCH_REPLICAS;
  query.blocks = static_cast<std::int32_t>(count);
  query.metaBlockSizeLow = static_cast<std::uint32_t>(skip);
  query.metaBlockSizeHigh = static_cast<std::uint32_t>(skip >> 32);
}

void answer(zorfBlockInfo_t& info) {
  info.replication.words[2] = BENCH_REPLICAS;
  info.xattr.errReason = 0;
  info.xattr.value[3] = BENCH_GROUP_FACTOR;
}

}  // namespace

extern "C" int zorf_fcntl(int /*fd*/, void* buffer) {
  const auto* header = static_cast<zorfFcntlHeader_t*>(buffer);
  switch (header->totalLength) {
    case sizeof(zorfBlockLocations_t):
      answer(static_cast<zorfBlockLocations_t*>(buffer)->query);
      break;
    case sizeof(zorfBlockInfo_t):
      answer(*static_cast<zorfBlockInfo_t*>(buffer));
      break;
    default:  // a directive: there is nothing to keep
      break;
  }
  return 0;
}

extern "C" int zorf_restripe_file(int /*fd*/, void* /*buffer*/, int /*flags*/) {
  return 0;
}
