#include "records.h"

#include <endian.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <type_traits>

#include "attributes.h"
#include "blocks/zorf_fcntl.h"
#include "layout.h"

namespace standin {
namespace {

constexpr char factorAttribute[8] = {'z', 'o', 'r', 'f', '.', 'B', 'G', 'F'};

// Callers need not align their buffers.
template <typename T>
T load(const unsigned char* at) {
  static_assert(std::is_trivially_copyable_v<T>);
  T value;
  std::memcpy(&value, at, sizeof value);
  return value;
}

template <typename T>
void store(unsigned char* at, T value) {
  std::memcpy(at, &value, sizeof value);
}

template <typename T, std::size_t N>
bool allZero(const T (&words)[N]) {
  return std::all_of(words, words + N, [](T word) { return word == 0; });
}

bool anything(const Target&, const unsigned char*) {
  return true;
}

int queryReplication(const Target& target, unsigned char* at) {
  std::int32_t replicas = target.topology.replicas;
  if (const int err = readReplication(target.fd, replicas); err != 0) return err;
  store(at + offsetof(zorfQueryReplication_t, words) + 2 * sizeof replicas, replicas);
  return 0;
}

bool namesFactor(const char (&name)[8], std::uint32_t length, std::uint32_t flags) {
  return length == sizeof name && std::memcmp(name, factorAttribute, sizeof name) == 0 &&
         flags == ZORF_XATTR_QUERY_FLAGS;
}

bool isFactorQuery(const Target&, const unsigned char* at) {
  const auto record = load<zorfQueryXattr_t>(at);
  return namesFactor(record.name, record.nameLen, record.flags) &&
         record.bufferLen >= sizeof(Factor) && record.bufferLen <= sizeof record.value;
}

int queryFactor(const Target& target, unsigned char* at) {
  Factor factor = {};
  bool present = false;
  if (const int err = readFactor(target.fd, factor, present); err != 0) return err;
  store(at + offsetof(zorfQueryXattr_t, errReason), std::uint32_t{present ? 0U : ENODATA});
  if (present) store(at + offsetof(zorfQueryXattr_t, value), factor);
  return 0;
}

bool isFactorDirective(const Target&, const unsigned char* at) {
  const auto record = load<zorfSetXattr_t>(at);
  if (!namesFactor(record.name, record.nameLen, record.flags)) return false;
  // Big-endian and positive.
  return record.bufferLen == sizeof(Factor) && record.value[0] < 0x80 &&
         load<std::uint32_t>(record.value) != 0;
}

int setFactor(const Target& target, unsigned char* at) {
  const auto factor = load<Factor>(at + offsetof(zorfSetXattr_t, value));
  if (const int err = writeFactor(target.fd, factor); err != 0) return err;
  store(at + offsetof(zorfSetXattr_t, errReason), std::uint32_t{0});
  return 0;
}

bool isReplicationDirective(const Target& target, const unsigned char* at) {
  const auto record = load<zorfSetReplication_t>(at);
  return allZero(record.unchanged) && allZero(record.rest) && record.dataReplicas >= 1 &&
         record.dataReplicas <= target.topology.replicaLimit();
}

int setReplication(const Target& target, unsigned char* at) {
  return writeReplication(target.fd,
                          load<std::int32_t>(at + offsetof(zorfSetReplication_t, dataReplicas)));
}

// What comes before the entries of a block locations query.
struct LocationsHead {
  explicit LocationsHead(const unsigned char* at)
      : start(load<std::uint64_t>(at + offsetof(zorfQueryBlockLocations_t, start))),
        skipFactor(load<std::uint64_t>(at + offsetof(zorfQueryBlockLocations_t, skipFactor))),
        length(load<std::uint64_t>(at + offsetof(zorfQueryBlockLocations_t, length))),
        reserved(load<std::uint32_t>(at + offsetof(zorfQueryBlockLocations_t, reserved))) {}

  std::uint64_t start;
  std::uint64_t skipFactor;
  std::uint64_t length;
  std::uint32_t reserved;
};

bool isLocationsQuery(const Target& target, const unsigned char* at) {
  const LocationsHead head(at);
  if (head.reserved != 0 || !S_ISREG(target.status.st_mode)) return false;
  // Callers group by multiples of the block size that stat shows, which is the host file system's.
  const auto hostBlockSize = static_cast<std::uint64_t>(target.status.st_blksize);
  return head.skipFactor % target.topology.blockSize == 0 ||
         (hostBlockSize != 0 && head.skipFactor % hostBlockSize == 0);
}

// How many blocks the caller may fold into one: as many as the file's factor says. Without one the
// HDFS block size is the caller's affair, mostly a power of two of them.
std::uint64_t groupOf(const Target& target) {
  Factor factor = {};
  bool present = false;
  if (readFactor(target.fd, factor, present) != 0 || !present) return 64;
  return be32toh(load<std::uint32_t>(factor.data()));
}

// The entries of a reply that is full: callers begin a new group with each reply, so a group that
// can lie in one reply is not cut in two.
std::uint64_t fullReply(const Target& target, int replicas) {
  const std::uint64_t slots = sizeof(zorfQueryBlockLocations_t::data) / 8;
  const std::uint64_t fitting = slots / static_cast<std::uint64_t>(replicas);
  const std::uint64_t group = groupOf(target);
  return group == 0 || group > fitting ? fitting : fitting - fitting % group;
}

int queryLocations(const Target& target, unsigned char* at) {
  Layout layout{target.status.st_ino, target.topology.replicas};
  if (const int err = readLayout(target.fd, layout.replicas); err != 0) return err;
  const LocationsHead head(at);
  const std::uint64_t unit = head.skipFactor != 0 ? head.skipFactor : target.topology.blockSize;
  const auto size = static_cast<std::uint64_t>(target.status.st_size);
  UnitRange units = unitsOf(head.start, head.length, size, unit);
  if (const std::uint64_t full = fullReply(target, layout.replicas); units.count > full) {
    units.count = full;
  }
  const std::int32_t blocks = placeUnits(target.topology, layout, units, unit,
                                         at + offsetof(zorfQueryBlockLocations_t, data),
                                         sizeof(zorfQueryBlockLocations_t::data));
  store(at + offsetof(zorfQueryBlockLocations_t, replicas), std::int32_t{layout.replicas});
  store(at + offsetof(zorfQueryBlockLocations_t, blocks), blocks);
  // An empty file has no blocks, and so no block size of its own.
  const std::uint64_t reported = head.skipFactor == 0 && size == 0 ? 0 : unit;
  store(at + offsetof(zorfQueryBlockLocations_t, metaBlockSizeLow),
        static_cast<std::uint32_t>(reported));
  store(at + offsetof(zorfQueryBlockLocations_t, metaBlockSizeHigh),
        static_cast<std::uint32_t>(reported >> 32));
  return 0;
}

bool isRestripe(const Target& target, const unsigned char* at) {
  const auto record = load<zorfRestripeData_t>(at);
  return record.options == ZORF_RESTRIPE_OPTIONS && allZero(record.rest) &&
         S_ISREG(target.status.st_mode);
}

int restripe(const Target& target, unsigned char*) {
  int replicas = target.topology.replicas;
  if (const int err = readReplication(target.fd, replicas); err != 0) return err;
  return writeLayout(target.fd, replicas);
}

// A sub-record type: its exact length, what its fields must look like, and what it does.
struct Kind {
  std::uint32_t type;
  std::uint32_t length;
  bool (*valid)(const Target&, const unsigned char* at);
  int (*run)(const Target&, unsigned char* at);
};

constexpr Kind controlKinds[] = {
    {ZORF_FCNTL_QUERY_BLOCK_LOCATIONS, sizeof(zorfQueryBlockLocations_t), isLocationsQuery,
     queryLocations},
    {ZORF_FCNTL_QUERY_REPLICATION, sizeof(zorfQueryReplication_t), anything, queryReplication},
    {ZORF_FCNTL_QUERY_XATTR, sizeof(zorfQueryXattr_t), isFactorQuery, queryFactor},
    {ZORF_FCNTL_SET_REPLICATION, sizeof(zorfSetReplication_t), isReplicationDirective,
     setReplication},
    {ZORF_FCNTL_SET_XATTR, sizeof(zorfSetXattr_t), isFactorDirective, setFactor},
};

constexpr Kind restripeKinds[] = {
    {ZORF_RESTRIPE_DATA, sizeof(zorfRestripeData_t), isRestripe, restripe},
};

// The kind of the sub-record that starts at `at`, null when it is none or is longer than `room`.
const Kind* kindOf(std::span<const Kind> kinds, const unsigned char* at, std::uint32_t room) {
  constexpr std::uint32_t headLength = 2 * sizeof(std::uint32_t);
  if (room < headLength) return nullptr;
  const auto length = load<std::uint32_t>(at);
  const auto type = load<std::uint32_t>(at + sizeof length);
  const auto kind = std::find_if(kinds.begin(), kinds.end(),
                                 [type](const Kind& each) { return each.type == type; });
  return kind != kinds.end() && kind->length == length && length <= room ? &*kind : nullptr;
}

int run(std::span<const Kind> kinds, const Target& target, unsigned char* buffer) {
  const auto total = load<std::uint32_t>(buffer);
  if (total < sizeof(zorfFcntlHeader_t)) return EINVAL;
  const auto refuse = [buffer](std::uint32_t offset, int err) {
    store(buffer + offsetof(zorfFcntlHeader_t, errorOffset), offset);
    return err;
  };
  const auto header = load<zorfFcntlHeader_t>(buffer);
  if (header.fcntlVersion != ZORF_FCNTL_VERSION || header.fcntlReserved != 0) {
    return refuse(0, EINVAL);
  }
  std::uint32_t offset = sizeof header;
  do {
    const Kind* kind = kindOf(kinds, buffer + offset, total - offset);
    if (kind == nullptr || !kind->valid(target, buffer + offset)) return refuse(offset, EINVAL);
    offset += kind->length;
  } while (offset < total);
  for (offset = sizeof header; offset < total;) {
    const Kind* kind = kindOf(kinds, buffer + offset, total - offset);
    if (const int err = kind->run(target, buffer + offset); err != 0) return refuse(offset, err);
    offset += kind->length;
  }
  return 0;
}

}  // namespace

int runControl(const Target& target, unsigned char* buffer) {
  return run(controlKinds, target, buffer);
}

int runRestripe(const Target& target, unsigned char* buffer) {
  return run(restripeKinds, target, buffer);
}

}  // namespace standin
