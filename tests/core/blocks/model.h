// What block queries and the ranking of locations must yield, worked out on plain vectors and by
// index, without any of the library's code.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace model {

using Counted = std::pair<int, int>;  // identifier, count

// Reorders `v` as the ranking does for the wanted position `nth`; beyond the end it sorts stably by
// descending count. At the end exactly it leaves the order alone.
void rank(std::vector<Counted>& v, std::size_t nth);
// The last resort of rank, for v[first..last): the pair that belongs at `nth` gets there.
void rankWithHeap(std::vector<Counted>& v, std::size_t first, std::size_t nth, std::size_t last);

// One HDFS block's entry of `replicas` slots, from how often each location occurs.
std::string rankedEntry(const std::map<int, int>& counts, int replicas);

// One answer of the file system to a locations query.
struct Reply {
  int err = 0;  // not 0: the call fails with it
  std::int32_t replicas = 0;
  std::int32_t blocks = 0;
  std::uint32_t metaLow = 0;
  std::uint32_t metaHigh = 0;
  std::vector<std::int32_t> words;  // 2 x replicas x blocks
};

struct File {
  std::uint64_t size = 0;
  std::uint64_t fsBlockSize = 1;
  bool regular = true;

  int infoErr = 0;  // not 0: the block information query fails with it
  bool hasFactor = false;
  std::int32_t factor = 0;
  std::int32_t replication = 1;
  std::vector<Reply> replies;  // in order; after the last the file system says ENOSYS
};

struct Query {
  int policy = 0;
  std::uint64_t offset = 0;
  std::uint64_t length = 0;
  std::uint64_t defaultBlockSize = 0;
};

struct Outcome {
  int result = 0;
  std::string stream;                 // the record and what follows
  std::vector<std::string> requests;  // the settled bytes of each, info requests whole
};

Outcome run(const File& file, const Query& query);

}  // namespace model
