#include "layout.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <numeric>
#include <utility>

namespace standin {
namespace {

// The finaliser of the splitmix64 generator: neighbouring inputs give unrelated outputs.
std::uint64_t scatter(std::uint64_t value) {
  value += 0x9e3779b97f4a7c15;
  value = (value ^ (value >> 30)) * 0xbf58476d1ce4e5b9;
  value = (value ^ (value >> 27)) * 0x94d049bb133111eb;
  return value ^ (value >> 31);
}

}  // namespace

void placeBlock(const Topology& topology, const Layout& layout, std::uint64_t block, Entry& entry) {
  const std::uint64_t key = scatter(scatter(layout.seed) ^ block);
  const std::size_t racks = topology.racks.size();
  std::array<std::uint8_t, maxRacks> order;
  std::iota(order.begin(), order.begin() + static_cast<std::ptrdiff_t>(racks), std::uint8_t{0});

  int placed = 0;
  for (std::size_t round = 0; placed < layout.replicas; ++round) {
    const int before = placed;
    for (std::size_t turn = 0; turn < racks && placed < layout.replicas; ++turn) {
      // The order of the racks is drawn as far as the first round needs it.
      if (round == 0) {
        std::swap(order[turn], order[turn + scatter(key + turn) % (racks - turn)]);
      }
      const Rack& rack = topology.racks[order[turn]];
      const std::size_t size = rack.locations.size();
      if (round >= size) continue;
      const std::size_t place = (scatter(key ^ ~std::uint64_t{order[turn]}) % size + round) % size;
      entry[placed] = rack.locations[place];
      entry[layout.replicas + placed] = rack.number;
      ++placed;
    }
    if (placed == before) {
      // Every location is in use: fill up with the same ones in the same order.
      for (int i = 0; placed < layout.replicas; ++i, ++placed) {
        entry[placed] = entry[i];
        entry[layout.replicas + placed] = entry[layout.replicas + i];
      }
    }
  }
}

UnitRange unitsOf(std::uint64_t start, std::uint64_t length, std::uint64_t size,
                  std::uint64_t unit) {
  if (start >= size || length == 0) return {};
  const std::uint64_t end = start + std::min(length, size - start);
  const std::uint64_t first = start / unit;
  return {first, (end - 1) / unit - first + 1};
}

std::int32_t placeUnits(const Topology& topology, const Layout& layout, UnitRange range,
                        std::uint64_t unit, unsigned char* data, std::size_t room) {
  const std::size_t entrySize =
      2 * sizeof(std::int32_t) * static_cast<std::size_t>(layout.replicas);
  const std::uint64_t count = std::min<std::uint64_t>(range.count, room / entrySize);
  Entry entry = {};
  std::uint64_t placedBlock = 0;
  for (std::uint64_t i = 0; i < count; ++i) {
    const std::uint64_t block = (range.first + i) * unit / topology.blockSize;
    // Units smaller than a block share its placement.
    if (i == 0 || block != placedBlock) placeBlock(topology, layout, block, entry);
    placedBlock = block;
    std::memcpy(data + i * entrySize, entry, entrySize);
  }
  return static_cast<std::int32_t>(count);
}

}  // namespace standin
