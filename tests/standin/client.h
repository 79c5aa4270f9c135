// The built libzorf.so, loaded as any caller loads it, with requests and files to try it on.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "blocks/zorf_fcntl.h"

struct Client {
  int (*fcntl)(int fd, void* buffer);
  int (*restripe)(int fd, void* buffer, int flags);
};
// Loaded at the first call; ends the program when that fails.
const Client& client();

// A file of `size` bytes that is a hole, in the folder for temporary files, open read-only and
// deleted at the end.
class TempFile {
 public:
  explicit TempFile(std::uint64_t size = 0);
  ~TempFile();
  TempFile(const TempFile&) = delete;
  TempFile& operator=(const TempFile&) = delete;

  int fd() const { return fd_; }
  const std::string& path() const { return path_; }
  std::string attribute(const char* name) const;  // "" when there is none

 private:
  std::string path_;
  int fd_ = -1;
};

// Well-formed requests.
zorfBlockInfo_t blockInfoRequest();
zorfBlockLocations_t locationsRequest(std::uint64_t start, std::uint64_t skipFactor,
                                      std::uint64_t length);
zorfReplicationDirective_t replicationRequest(std::int32_t replicas);
zorfBgfDirective_t factorRequest(std::int32_t factor);
zorfRestripe_t restripeRequest();

// The requests carried out: an errno value, 0 for success.
int setReplication(int fd, std::int32_t replicas);
int setFactor(int fd, std::int32_t factor);
int restripe(int fd);

struct BlockInfo {
  int err = 0;
  std::int32_t replicas = 0;
  std::optional<std::int32_t> factor;
};
BlockInfo blockInfo(int fd);

struct Locations {
  int err = 0;
  std::int32_t replicas = 0;
  std::int32_t blocks = 0;
  std::uint64_t metaBlockSize = 0;
  std::vector<std::int32_t> words;  // of all entries
};
Locations locations(int fd, std::uint64_t start, std::uint64_t skipFactor, std::uint64_t length);

// Bytes whose end is also the end of what the process may touch.
class GuardedBytes {
 public:
  explicit GuardedBytes(std::size_t capacity);
  ~GuardedBytes();
  GuardedBytes(const GuardedBytes&) = delete;
  GuardedBytes& operator=(const GuardedBytes&) = delete;

  // The last `length` bytes.
  unsigned char* last(std::size_t length) const { return end_ - length; }

 private:
  std::size_t mapped_ = 0;
  unsigned char* begin_ = nullptr;
  unsigned char* end_ = nullptr;
};

// Runs this program again as `--child <arguments>` (see main.cc) with ZORF_TOPOLOGY set, or unset
// if `topology` is empty. Returns what it printed on stdout and stderr.
std::string inOtherProcess(const std::string& arguments, const std::string& topology = "");
