// The byte records that a block query exchanges, written by offset, so that a test states what the
// client library and Java see rather than what a struct declares.
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <string>
#include <vector>

#include "base/logger.h"
#include "blocks/location.h"

// A zero-filled record whose fields are set by offset.
class Record {
 public:
  explicit Record(std::size_t size) : bytes_(size, '\0') {}
  Record& u32(std::size_t offset, std::uint32_t value);
  Record& u64(std::size_t offset, std::uint64_t value);
  Record& text(std::size_t offset, const std::string& value);
  operator std::string() const { return bytes_; }

 private:
  std::string bytes_;
};

// The whole block information request.
std::string blockInfoRequest();

// A block locations request up to its last [in] field, and that part of a recorded one. The error
// offset is the file system's to set and counts as 0.
std::string locationsRequest(std::uint64_t start, std::uint64_t skipFactor, std::uint64_t length);
std::string settledBytes(const std::string& request);

// The 32 bytes of a location.
std::string locationBytes(std::uint64_t offset, std::uint64_t length, std::uint64_t blocksize,
                          std::int32_t nblock, std::int32_t nreplica);
std::string bytesOfLocation(const location& loc);

// Signed 32-bit words as bytes.
std::string words(const std::vector<std::int32_t>& values);
// The other way round.
std::vector<std::int32_t> wordsOf(const std::string& bytes);

// The status of a regular file of inode 77, unless `mode` says otherwise.
struct stat statusOf(std::uint64_t size, std::uint64_t fsBlockSize, unsigned mode = S_IFREG | 0644);
std::string bytesOfStatus(const struct stat& st);

// Puts the log level, the policy and the default block size back when it ends.
class KeptSettings {
 public:
  KeptSettings();
  ~KeptSettings();
  KeptSettings(const KeptSettings&) = delete;
  KeptSettings& operator=(const KeptSettings&) = delete;

 private:
  std::int32_t level_;
  std::int32_t policy_;
  std::uint64_t blockSize_;
};

constexpr std::uint64_t KiB = 1024;
constexpr std::uint64_t MiB = 1024 * KiB;
constexpr std::uint64_t GiB = 1024 * MiB;
