// The zorf client library's control calls and the records they carry.
//
// Every call takes one buffer: a zorfFcntlHeader_t followed by one or more sub-records, each of
// which starts with its own length and type. Integers are in host byte order (little-endian),
// unless a field says otherwise. Fields marked [in] are read by the file system, [out] are written
// by it; what is not [in] is zero in a request. Sizes, offsets and lengths are in bytes.
//
// All records are naturally aligned and have no padding, so they may be filled field by field and
// handed over as they are.
#pragma once

#include <cstddef>
#include <cstdint>

inline constexpr std::uint32_t ZORF_FCNTL_VERSION = 1;

// Sub-record types (structType).
inline constexpr std::uint32_t ZORF_FCNTL_SET_REPLICATION = 2005;
inline constexpr std::uint32_t ZORF_RESTRIPE_DATA = 2008;
inline constexpr std::uint32_t ZORF_FCNTL_QUERY_REPLICATION = 3001;
inline constexpr std::uint32_t ZORF_FCNTL_QUERY_BLOCK_LOCATIONS = 3006;
inline constexpr std::uint32_t ZORF_FCNTL_QUERY_XATTR = 6001;
inline constexpr std::uint32_t ZORF_FCNTL_SET_XATTR = 6002;

// The flag word of both attribute records.
inline constexpr std::uint32_t ZORF_XATTR_QUERY_FLAGS = 0x8000;
// The option word of a restripe: make the existing data follow the replication directive.
inline constexpr std::uint32_t ZORF_RESTRIPE_OPTIONS = 2;

struct zorfFcntlHeader_t {
  std::uint32_t totalLength;   // [in] of the whole buffer, this header included
  std::uint32_t fcntlVersion;  // [in] ZORF_FCNTL_VERSION
  std::uint32_t errorOffset;  // [out] on failure: where in the buffer the refused sub-record starts
  std::uint32_t fcntlReserved;  // [in] 0
};

// A file's replication directive.
struct zorfQueryReplication_t {
  std::uint32_t structLen;   // [in] sizeof of this record
  std::uint32_t structType;  // [in] ZORF_FCNTL_QUERY_REPLICATION
  std::int32_t words[6];     // [out] words[2] is the number of data replicas
};

// One extended attribute of a file, as it is queried.
struct zorfQueryXattr_t {
  std::uint32_t structLen;   // [in] sizeof of this record
  std::uint32_t structType;  // [in] ZORF_FCNTL_QUERY_XATTR
  std::uint32_t nameLen;     // [in] characters of name
  std::uint32_t bufferLen;   // [in] room for the value
  std::uint32_t flags;       // [in] ZORF_XATTR_QUERY_FLAGS
  std::uint32_t errReason;   // [out] not 0: the file has no such attribute
  char name[8];              // [in] without a terminating zero
  unsigned char value[24];   // [out] "zorf.BGF": the factor as a big-endian signed 32-bit integer
};

// The locations of the replicas of the blocks in a byte range.
struct zorfQueryBlockLocations_t {
  std::uint32_t structLen;   // [in] sizeof of this record
  std::uint32_t structType;  // [in] ZORF_FCNTL_QUERY_BLOCK_LOCATIONS
  std::uint64_t start;       // [in] first byte of the range
  std::uint64_t skipFactor;  // [in] bytes that one entry covers; 0: the file system's block size
  std::uint64_t length;      // [in] of the range
  std::uint32_t reserved;    // [in] 0
  std::uint32_t untouched;   // neither read nor written
  std::int32_t replicas;     // [out] per entry
  std::int32_t blocks;       // [out] entries in this reply
  std::uint32_t metaBlockSizeLow;   // [out] bytes that one entry covers, low word
  std::uint32_t metaBlockSizeHigh;  // [out] and high word
  // [out] `blocks` entries of 2 x `replicas` signed 32-bit words: the location identifiers of the
  // block's replicas, then a second word for each replica.
  unsigned char data[64512];
};

// Changes a file's replication directive; its data stays where it is.
struct zorfSetReplication_t {
  std::uint32_t structLen;    // [in] sizeof of this record
  std::uint32_t structType;   // [in] ZORF_FCNTL_SET_REPLICATION
  std::int32_t unchanged[2];  // [in] 0: leaves these properties as they are
  std::int32_t dataReplicas;  // [in] number of data replicas
  std::int32_t rest[5];       // [in] 0
};

// One extended attribute of a file, as it is set.
struct zorfSetXattr_t {
  std::uint32_t structLen;   // [in] sizeof of this record
  std::uint32_t structType;  // [in] ZORF_FCNTL_SET_XATTR
  std::uint32_t nameLen;     // [in] characters of name
  std::uint32_t bufferLen;   // [in] length of the value
  std::uint32_t flags;       // [in] ZORF_XATTR_QUERY_FLAGS
  std::uint32_t errReason;   // [out]
  char name[8];              // [in] without a terminating zero
  unsigned char value[24];   // [in] "zorf.BGF": the factor as a big-endian signed 32-bit integer
};

// Moves a file's data to where its replication directive wants it.
struct zorfRestripeData_t {
  std::uint32_t structLen;   // [in] sizeof of this record
  std::uint32_t structType;  // [in] ZORF_RESTRIPE_DATA
  std::uint32_t options;     // [in] ZORF_RESTRIPE_OPTIONS
  std::uint32_t rest[9];     // [in] 0
};

// The whole buffers: a header and its sub-records.

struct zorfBlockInfo_t {
  zorfFcntlHeader_t header;
  zorfQueryReplication_t replication;
  zorfQueryXattr_t xattr;
};

struct zorfBlockLocations_t {
  zorfFcntlHeader_t header;
  zorfQueryBlockLocations_t query;
};

struct zorfReplicationDirective_t {
  zorfFcntlHeader_t header;
  zorfSetReplication_t replication;
};

struct zorfBgfDirective_t {
  zorfFcntlHeader_t header;
  zorfSetXattr_t xattr;
};

struct zorfRestripe_t {
  zorfFcntlHeader_t header;
  zorfRestripeData_t restripe;
};

static_assert(sizeof(zorfFcntlHeader_t) == 16);
static_assert(offsetof(zorfFcntlHeader_t, totalLength) == 0);
static_assert(offsetof(zorfFcntlHeader_t, fcntlVersion) == 4);
static_assert(offsetof(zorfFcntlHeader_t, errorOffset) == 8);
static_assert(offsetof(zorfFcntlHeader_t, fcntlReserved) == 12);

static_assert(sizeof(zorfQueryReplication_t) == 32);
static_assert(offsetof(zorfQueryReplication_t, structLen) == 0);
static_assert(offsetof(zorfQueryReplication_t, structType) == 4);
static_assert(offsetof(zorfQueryReplication_t, words) == 8);

static_assert(sizeof(zorfQueryXattr_t) == 56);
static_assert(offsetof(zorfQueryXattr_t, structLen) == 0);
static_assert(offsetof(zorfQueryXattr_t, structType) == 4);
static_assert(offsetof(zorfQueryXattr_t, nameLen) == 8);
static_assert(offsetof(zorfQueryXattr_t, bufferLen) == 12);
static_assert(offsetof(zorfQueryXattr_t, flags) == 16);
static_assert(offsetof(zorfQueryXattr_t, errReason) == 20);
static_assert(offsetof(zorfQueryXattr_t, name) == 24);
static_assert(offsetof(zorfQueryXattr_t, value) == 32);

static_assert(sizeof(zorfQueryBlockLocations_t) == 64568);
static_assert(offsetof(zorfQueryBlockLocations_t, structLen) == 0);
static_assert(offsetof(zorfQueryBlockLocations_t, structType) == 4);
static_assert(offsetof(zorfQueryBlockLocations_t, start) == 8);
static_assert(offsetof(zorfQueryBlockLocations_t, skipFactor) == 16);
static_assert(offsetof(zorfQueryBlockLocations_t, length) == 24);
static_assert(offsetof(zorfQueryBlockLocations_t, reserved) == 32);
static_assert(offsetof(zorfQueryBlockLocations_t, untouched) == 36);
static_assert(offsetof(zorfQueryBlockLocations_t, replicas) == 40);
static_assert(offsetof(zorfQueryBlockLocations_t, blocks) == 44);
static_assert(offsetof(zorfQueryBlockLocations_t, metaBlockSizeLow) == 48);
static_assert(offsetof(zorfQueryBlockLocations_t, metaBlockSizeHigh) == 52);
static_assert(offsetof(zorfQueryBlockLocations_t, data) == 56);

static_assert(sizeof(zorfSetReplication_t) == 40);
static_assert(offsetof(zorfSetReplication_t, structLen) == 0);
static_assert(offsetof(zorfSetReplication_t, structType) == 4);
static_assert(offsetof(zorfSetReplication_t, unchanged) == 8);
static_assert(offsetof(zorfSetReplication_t, dataReplicas) == 16);
static_assert(offsetof(zorfSetReplication_t, rest) == 20);

static_assert(sizeof(zorfSetXattr_t) == 56);
static_assert(offsetof(zorfSetXattr_t, structLen) == 0);
static_assert(offsetof(zorfSetXattr_t, structType) == 4);
static_assert(offsetof(zorfSetXattr_t, nameLen) == 8);
static_assert(offsetof(zorfSetXattr_t, bufferLen) == 12);
static_assert(offsetof(zorfSetXattr_t, flags) == 16);
static_assert(offsetof(zorfSetXattr_t, errReason) == 20);
static_assert(offsetof(zorfSetXattr_t, name) == 24);
static_assert(offsetof(zorfSetXattr_t, value) == 32);

static_assert(sizeof(zorfRestripeData_t) == 48);
static_assert(offsetof(zorfRestripeData_t, structLen) == 0);
static_assert(offsetof(zorfRestripeData_t, structType) == 4);
static_assert(offsetof(zorfRestripeData_t, options) == 8);
static_assert(offsetof(zorfRestripeData_t, rest) == 12);

static_assert(sizeof(zorfBlockInfo_t) == 104);
static_assert(offsetof(zorfBlockInfo_t, replication) == 16);
static_assert(offsetof(zorfBlockInfo_t, xattr) == 48);
static_assert(sizeof(zorfBlockLocations_t) == 64584);
static_assert(offsetof(zorfBlockLocations_t, query) == 16);
static_assert(sizeof(zorfReplicationDirective_t) == 56);
static_assert(offsetof(zorfReplicationDirective_t, replication) == 16);
static_assert(sizeof(zorfBgfDirective_t) == 72);
static_assert(offsetof(zorfBgfDirective_t, xattr) == 16);
static_assert(sizeof(zorfRestripe_t) == 64);
static_assert(offsetof(zorfRestripe_t, restripe) == 16);

extern "C" {

// Carries out the sub-records of `buffer` on the open file `fd`, in order, and writes their answers
// into the same buffer. Returns 0, or a negative value with errno set.
int zorf_fcntl(int fd, void* buffer);

// Restripes the open file `fd` as the zorfRestripe_t at `buffer` says; `flags` is 0. Returns 0, or
// a negative value with errno set.
int zorf_restripe_file(int fd, void* buffer, int flags);

}  // extern "C"
