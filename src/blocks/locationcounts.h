// How many blocks each location holds: counted per block, taken in ascending identifier order per
// group of blocks.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "blocks/nthelement.h"

// Identifiers from 0 to 4095 are counted in a table; a bit for each shows which are in use, and
// gives their order. All others are collected, and sorted when they are taken. An object is some 17
// KB: too large for the stack of a native. It allocates memory only for those other identifiers,
// and keeps it.
class LocationCounts {
 public:
  void add(std::int32_t id) {
    const auto index = static_cast<std::uint32_t>(id);
    if (index >= counts_.size()) {
      others_.push_back(id);
      return;
    }
    ++counts_[index];
    used_[index / 64] |= std::uint64_t{1} << index % 64;
    usedWords_ |= std::uint64_t{1} << index / 64;
  }

  bool empty() const { return usedWords_ == 0 && others_.empty(); }

  // Moves all counts to `pairs`, in ascending identifier order.
  void take(std::vector<LocationCount>& pairs);

 private:
  std::array<std::uint32_t, std::size_t{64}* 64> counts_ = {};  // 0 where the bit is not set
  std::array<std::uint64_t, 64> used_ = {};                     // one bit per count
  std::uint64_t usedWords_ = 0;                                 // one bit per word of used_
  std::vector<std::int32_t> others_;                            // one element per block
};
