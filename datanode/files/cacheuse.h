// What the kernel is told about a range of a file that is read or written once, from begin to end.
// Advice alone: a file system that can't take it loses nothing but speed.
#pragma once

#include <cstdint>

namespace datanode {

class CacheUse {
 public:
  // As HDFS's DataNodes do it where a client doesn't say.
  static constexpr std::int64_t READAHEAD = 4 << 20;

  // Reading: `readahead` bytes are fetched before they are asked for, where more than a little is
  // read.
  static CacheUse reading(int file, std::int64_t begin, std::int64_t end, std::int64_t readahead,
                          bool dropBehind);
  // Writing: with `dropBehind` written pages go to disk as they come, and then out of memory.
  static CacheUse writing(int file, std::int64_t begin, bool dropBehind);

  // All up to there has been read or written.
  void reached(std::int64_t at);

 private:
  CacheUse(int file, std::int64_t begin, std::int64_t end)
      : file_(file), end_(end), ahead_(begin), behind_(begin) {}

  int file_;
  std::int64_t end_;
  std::int64_t ahead_;   // fetched up to there
  std::int64_t behind_;  // dropped up to there
  std::int64_t readahead_ = 0;
  bool dropBehind_ = false;
  bool writes_ = false;
};

}  // namespace datanode
