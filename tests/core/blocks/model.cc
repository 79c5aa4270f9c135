#include "core/blocks/model.h"

#include <algorithm>
#include <cerrno>

#include "core/blocks/records.h"

namespace model {

namespace {

// Order in which the ranking wants two pairs; only counts matter.
bool beats(const Counted& a, const Counted& b) {
  return a.second > b.second;
}

// Lets `value` enter the heap of `n` pairs at v[base...] through the hole `at`: the hole goes down
// to a leaf along the child that the heap prefers (of two equals the right one), then `value` rises
// from there, no higher than where the hole began. Nodes count from 1.
void enterHeap(std::vector<Counted>& v, std::size_t base, std::size_t n, std::size_t at,
               Counted value) {
  const auto node = [&](std::size_t i) -> Counted& { return v[base + i - 1]; };
  std::size_t hole = at;
  while (2 * hole <= n) {
    std::size_t child = 2 * hole;
    if (child + 1 <= n && !beats(node(child + 1), node(child))) child = child + 1;
    node(hole) = node(child);
    hole = child;
  }
  while (hole > at && beats(node(hole / 2), value)) {
    node(hole) = node(hole / 2);
    hole = hole / 2;
  }
  node(hole) = value;
}

std::size_t floorLog2(std::size_t n) {
  std::size_t log = 0;
  while (n >>= 1) ++log;
  return log;
}

}  // namespace

void rankWithHeap(std::vector<Counted>& v, std::size_t first, std::size_t nth, std::size_t last) {
  const std::size_t n = nth + 1 - first;
  for (std::size_t at = n / 2; at >= 1; --at) enterHeap(v, first, n, at, v[first + at - 1]);
  for (std::size_t i = nth + 1; i < last; ++i) {
    if (!beats(v[i], v[first])) continue;
    const Counted better = v[i];
    v[i] = v[first];
    enterHeap(v, first, n, 1, better);
  }
  std::swap(v[first], v[nth]);
}

void rank(std::vector<Counted>& v, std::size_t nth) {
  if (nth == v.size()) return;
  if (nth > v.size()) {
    std::stable_sort(v.begin(), v.end(), beats);
    return;
  }
  std::size_t first = 0;
  std::size_t last = v.size();
  std::size_t partitionsLeft = 2 * floorLog2(v.size());
  while (last - first > 3) {
    if (partitionsLeft == 0) {
      rankWithHeap(v, first, nth, last);
      return;
    }
    --partitionsLeft;
    // Only the pivot's count is ever compared, so of equals any one will do.
    std::vector<int> three = {v[first].second, v[first + (last - first) / 2].second,
                              v[last - 1].second};
    std::sort(three.begin(), three.end());
    const int pivot = three[1];

    std::size_t left = first;
    std::size_t right = last;
    for (;;) {
      while (v[left].second > pivot) ++left;
      do {
        --right;
      } while (pivot > v[right].second);
      if (left >= right) break;
      std::swap(v[left], v[right]);
      ++left;
    }
    (left <= nth ? first : last) = left;
  }
  std::stable_sort(v.begin() + static_cast<std::ptrdiff_t>(first),
                   v.begin() + static_cast<std::ptrdiff_t>(last), beats);
}

std::string rankedEntry(const std::map<int, int>& counts, int replicas) {
  if (replicas <= 0) return "";
  const auto slots = static_cast<std::size_t>(replicas);
  std::vector<Counted> v(counts.begin(), counts.end());
  if (!v.empty()) rank(v, slots - 1);
  v.resize(std::max(v.size(), slots), {-1, -1});
  std::vector<std::int32_t> entry;
  for (std::size_t i = 0; i < slots; ++i) entry.push_back(v[i].first);
  for (std::size_t i = 0; i < slots; ++i) entry.push_back(v[i].second);
  return words(entry);
}

namespace {

class Run {
 public:
  Run(const File& file, const Query& query) : file_(file), query_(query) {}

  Outcome outcome() {
    length_ = query_.length;
    if (length_ > file_.size - query_.offset) length_ = file_.size - query_.offset;
    if (file_.regular) done_.result = dispatch();
    done_.stream = locationBytes(query_.offset, length_, blockSize_, blocks_, replicas_) + entries_;
    return done_;
  }

 private:
  int dispatch() {
    if (query_.policy == 0) return plain();
    if (query_.policy < 0 || query_.policy > 3) return 0;
    const int err = information();
    if (err != 0 || length_ == 0 || query_.policy == 1) return err;
    return query_.policy == 2 ? plain() : sorted();
  }

  // nullptr when the call fails; then err_ says why.
  const Reply* ask(std::uint64_t start, std::uint64_t skip, std::uint64_t length) {
    done_.requests.push_back(locationsRequest(start, skip, length));
    if (next_ == file_.replies.size()) {
      err_ = ENOSYS;
      return nullptr;
    }
    const Reply& reply = file_.replies[next_++];
    err_ = reply.err;
    return reply.err != 0 ? nullptr : &reply;
  }

  int information() {
    done_.requests.push_back(blockInfoRequest());
    replicas_ = 1;
    if (file_.infoErr != 0) return file_.infoErr;
    const std::uint64_t unit = file_.fsBlockSize;
    blockSize_ = query_.defaultBlockSize;
    if (file_.hasFactor) {
      blockSize_ = static_cast<std::uint64_t>(static_cast<std::int64_t>(file_.factor)) * unit;
    }
    if (blockSize_ % unit != 0) blockSize_ = (blockSize_ + unit - 1) / unit * unit;
    replicas_ = file_.replication;
    return 0;
  }

  // Moves the start of a range down to a block's; the distance is a signed 32-bit number.
  static void align(std::uint64_t& offset, std::uint64_t& length, std::uint64_t block) {
    if (block == 0) return;
    const auto over = static_cast<std::uint64_t>(
        static_cast<std::int64_t>(static_cast<std::int32_t>(offset % block)));
    offset -= over;
    length += over;
  }

  int plain() {
    blocks_ = 0;
    replicas_ = 0;
    std::uint64_t offset = query_.offset;
    std::uint64_t length = length_;
    const std::uint64_t asked = blockSize_;
    align(offset, length, blockSize_);
    if (length == 0 && file_.size != 0) length = 1;
    std::int32_t blocks = 0;
    for (;;) {
      const Reply* reply = ask(offset, asked, length);
      if (reply == nullptr) return err_;
      if (blockSize_ == 0) {
        blockSize_ = (static_cast<std::uint64_t>(reply->metaHigh) << 32) +
                     static_cast<std::uint64_t>(
                         static_cast<std::int64_t>(static_cast<std::int32_t>(reply->metaLow)));
        align(offset, length, blockSize_);
      }
      entries_ += words(reply->words);
      blocks += reply->blocks;
      const std::uint64_t returned = blockSize_ * static_cast<std::uint64_t>(reply->blocks);
      offset += returned;
      if (file_.size <= offset || length <= returned) {
        blocks_ = blocks;
        replicas_ = reply->replicas;
        return 0;
      }
      length -= returned;
    }
  }

  int sorted() {
    if (blockSize_ == 0) return 0;  // refused, with the errno of the successful call before it
    const std::uint64_t unit = file_.fsBlockSize;
    blockSize_ -= blockSize_ % unit;
    const auto group = static_cast<std::int32_t>(blockSize_ / unit);
    blocks_ = 0;
    replicas_ = 0;
    const std::uint64_t over = query_.offset % unit;
    std::uint64_t offset = query_.offset - over;
    std::uint64_t length = length_ + over;
    std::map<int, int> counts;
    std::int32_t written = 0;
    for (;;) {
      const Reply* reply = ask(offset, unit, length);
      if (reply == nullptr) return err_;
      const auto replicas = static_cast<std::size_t>(reply->replicas);
      for (std::int32_t block = 0; block < reply->blocks; ++block) {
        const std::size_t entry = static_cast<std::size_t>(block) * 2 * replicas;
        for (std::size_t i = 0; i < replicas; ++i) ++counts[reply->words[entry + i]];
        if ((block + 1) % group != 0) continue;
        entries_ += rankedEntry(counts, reply->replicas);
        ++written;
        counts.clear();
      }
      const std::uint64_t returned = unit * static_cast<std::uint64_t>(reply->blocks);
      offset += returned;
      if (file_.size <= offset || length <= returned) {
        if (!counts.empty()) {
          entries_ += rankedEntry(counts, reply->replicas);
          ++written;
        }
        blocks_ = written;
        replicas_ = reply->replicas;
        return 0;
      }
      length -= returned;
    }
  }

  const File& file_;
  const Query& query_;
  Outcome done_;
  std::string entries_;
  std::uint64_t length_ = 0;
  std::uint64_t blockSize_ = 0;
  std::int32_t blocks_ = 0;
  std::int32_t replicas_ = 0;
  std::size_t next_ = 0;
  int err_ = 0;
};

}  // namespace

Outcome run(const File& file, const Query& query) {
  return Run(file, query).outcome();
}

}  // namespace model
