// A block location request and its result.
#pragma once

#include <cstddef>
#include <cstdint>

// Also the first 32 bytes of every block location stream, which Java reads: the layout is fixed.
struct location {
  std::uint64_t offset = 0;  // requested byte range
  std::uint64_t length = 0;
  std::uint64_t blocksize =
      0;                      // in: bytes to group by, 0 = as the file system has it; out: as used
  std::int32_t nblock = 0;    // out: block entries in the stream
  std::int32_t nreplica = 0;  // out: replicas per entry
};

static_assert(sizeof(location) == 32);
static_assert(offsetof(location, offset) == 0);
static_assert(offsetof(location, length) == 8);
static_assert(offsetof(location, blocksize) == 16);
static_assert(offsetof(location, nblock) == 24);
static_assert(offsetof(location, nreplica) == 28);
