// One conversation with the file system about where the blocks of a file lie.
#pragma once

#include <cstdint>
#include <memory>

#include "blocks/zorf_fcntl.h"

// The buffer of the query is made once and reused for every range of one request. Its 64 KB come
// from the heap: the virtual machine promises a native 80 KiB of stack, and the client library
// wants most of that. The accessors read the last reply that ask() took.
class LocationsQuery {
 public:
  // `skipFactor`: the bytes that one entry covers; 0 leaves that to the file system.
  explicit LocationsQuery(std::uint64_t skipFactor);

  // Returns 0, or -1 with errno: the client library's, EIO when the reply claims a negative count
  // or more entries than its buffer holds, or that of fstat(2) where fileCut() had to be found out.
  int ask(int fd, std::uint64_t offset, std::uint64_t length);

  // Never negative; replicas() x blocks() entries of 8 bytes lie within data().
  std::int32_t replicas() const { return buffer_->query.replicas; }
  std::int32_t blocks() const { return buffer_->query.blocks; }
  // Whether the file now ends at or before the offset that was asked for: it was cut, and no reply
  // will ever have blocks. Looked at after each 100 replies without blocks in a row.
  bool fileCut() const { return fileCut_; }
  // What the file system says one entry covers.
  std::uint64_t metaBlockSize() const;
  const char* data() const { return reinterpret_cast<const char*>(buffer_->query.data); }

 private:
  // All zero at first: the client library may pass the whole buffer on to another process.
  std::unique_ptr<zorfBlockLocations_t> buffer_ = std::make_unique<zorfBlockLocations_t>();
  std::uint32_t emptyReplies_ = 0;  // in a row
  bool fileCut_ = false;
};

// How many pieces of `unit` bytes the part of a range that lies in a file of `size` bytes touches,
// when the range starts with one.
inline std::uint64_t unitsIn(std::uint64_t offset, std::uint64_t length, std::uint64_t size,
                             std::uint64_t unit) {
  if (size <= offset) return 0;
  const std::uint64_t inFile = length < size - offset ? length : size - offset;
  return inFile / unit + (inFile % unit != 0 ? 1 : 0);
}
