// Where the replicas of a file's blocks lie: pure functions of topology, file and block number.
#pragma once

#include <cstddef>
#include <cstdint>

#include "topology.h"

namespace standin {

// How one file is laid out.
struct Layout {
  std::uint64_t seed = 0;  // tells files apart
  int replicas = 1;        // 1..maxReplicas
};

// The 32-bit words of one block entry: `replicas` location identifiers, then the number of the rack
// of each.
using Entry = std::int32_t[2 * maxReplicas];

// Places the replicas of one block. Racks take turns, so no rack has a second replica before every
// rack has one, and a location is used again only when all are in use. Raising the replica count
// adds replicas and moves none.
void placeBlock(const Topology& topology, const Layout& layout, std::uint64_t block, Entry& entry);

// A byte range of a file cut into units of `unit` bytes, counted from the file's start.
struct UnitRange {
  std::uint64_t first = 0;
  std::uint64_t count = 0;
};

// The units that hold a byte of [start, start + length) below `size`.
UnitRange unitsOf(std::uint64_t start, std::uint64_t length, std::uint64_t size,
                  std::uint64_t unit);

// Writes one entry of 8 x replicas bytes for each unit of `range`, as many as fit into `room` bytes
// at `data`, and returns their number. A unit lies where the block with its first byte lies.
std::int32_t placeUnits(const Topology& topology, const Layout& layout, UnitRange range,
                        std::uint64_t unit, unsigned char* data, std::size_t room);

}  // namespace standin
