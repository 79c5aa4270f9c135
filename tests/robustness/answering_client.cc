#include "robustness/answering_client.h"

#include <endian.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "blocks/zorf_fcntl.h"

namespace {

FaultPoint faults[] = {{.name = "zorf_fcntl"}, {.name = "zorf_restripe_file"}};

void answer(zorfBlockInfo_t& info) {
  info.replication.words[2] = 2;
  const std::uint32_t factor = htobe32(4);
  std::memcpy(info.xattr.value, &factor, sizeof factor);
}

void answer(zorfBlockLocations_t& reply) {
  const std::uint64_t size = reply.query.skipFactor == 0 ? 4096 : reply.query.skipFactor;
  const std::uint64_t blocks = std::min<std::uint64_t>(3, (reply.query.length + size - 1) / size);
  reply.query.replicas = 2;
  reply.query.blocks = static_cast<std::int32_t>(blocks);
  reply.query.metaBlockSizeLow = static_cast<std::uint32_t>(size);
  for (std::uint64_t block = 0; block < blocks; ++block) {
    // One of the two beyond the numbers that are usual for disks.
    const std::int32_t entry[] = {7, static_cast<std::int32_t>(50'000 + block), 0, 0};
    std::memcpy(reinterpret_cast<char*>(reply.query.data) + block * sizeof entry, entry,
                sizeof entry);
  }
}

int fail(const FaultPoint& fault) {
  errno = fault.err;
  return -1;
}

}  // namespace

std::span<FaultPoint> clientFaults() {
  return faults;
}

extern "C" int zorf_fcntl(int /*fd*/, void* buffer) {
  if (faults[0].hit()) return fail(faults[0]);
  std::uint32_t length = 0;
  std::memcpy(&length, buffer, sizeof length);
  if (length == sizeof(zorfBlockInfo_t)) answer(*static_cast<zorfBlockInfo_t*>(buffer));
  if (length == sizeof(zorfBlockLocations_t)) answer(*static_cast<zorfBlockLocations_t*>(buffer));
  return 0;
}

extern "C" int zorf_restripe_file(int /*fd*/, void* /*buffer*/, int /*flags*/) {
  return faults[1].hit() ? fail(faults[1]) : 0;
}
