#include "layout.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <map>
#include <set>
#include <vector>

namespace {

using standin::Entry;
using standin::Layout;
using standin::placeBlock;
using standin::placeUnits;
using standin::Topology;
using standin::unitsOf;

constexpr std::uint64_t mib = 1 << 20;

// Racks of the given sizes; location 1003 is the fourth of rack 10.
Topology racksOf(const std::vector<int>& sizes) {
  Topology topology;
  std::int32_t number = 0;
  for (const int size : sizes) {
    standin::Rack rack{number++, {}};
    for (int i = 0; i < size; ++i) rack.locations.push_back(100 * rack.number + i);
    topology.racks.push_back(rack);
  }
  return topology;
}

// No location twice while there is an unused one, each with its rack's number, and no rack has two
// more than another that still has room.
void expectWellSpread(const Topology& topology, int replicas, const Entry& entry) {
  std::map<std::int32_t, int> uses;
  std::map<std::int32_t, int> ofRack;
  for (int i = 0; i < replicas; ++i) {
    ++uses[entry[i]];
    const std::int32_t number = entry[replicas + i];
    const auto rack = std::find_if(topology.racks.begin(), topology.racks.end(),
                                   [&](const auto& each) { return each.number == number; });
    ASSERT_NE(topology.racks.end(), rack);
    ASSERT_NE(0, std::count(rack->locations.begin(), rack->locations.end(), entry[i]));
    ++ofRack[number];
  }
  const auto locations = static_cast<int>(topology.locations());
  for (const auto& [location, count] : uses) ASSERT_LE(count, (replicas - 1) / locations + 1);
  if (replicas > locations) return;
  for (const auto& fuller : topology.racks) {
    for (const auto& emptier : topology.racks) {
      if (ofRack[fuller.number] > ofRack[emptier.number] + 1) {
        ASSERT_EQ(emptier.locations.size(), static_cast<std::size_t>(ofRack[emptier.number]));
      }
    }
  }
}

TEST(Layout, EveryBlockIsSpreadAsEvenlyAsTheRacksAllow) {
  const std::vector<std::vector<int>> shapes = {{6, 6, 6, 6}, {1},      {3},
                                                {1, 1},       {1, 6},   {2, 1, 5},
                                                {1, 1, 1, 9}, {16, 16}, {5, 5, 5, 1, 2, 3}};
  for (const auto& shape : shapes) {
    const Topology topology = racksOf(shape);
    for (int replicas = 1; replicas <= standin::maxReplicas; ++replicas) {
      for (std::uint64_t block = 0; block < 500; ++block) {
        Entry entry;
        placeBlock(topology, {12, replicas}, block, entry);
        expectWellSpread(topology, replicas, entry);
        if (HasFatalFailure()) FAIL() << testing::PrintToString(shape) << replicas << '/' << block;
      }
    }
  }
}

TEST(Layout, LargestTopologyIsSpreadToo) {
  const Topology topology = racksOf(std::vector<int>(standin::maxRacks, 16));
  std::set<std::int32_t> racks;
  for (std::uint64_t block = 0; block < 2000; ++block) {
    Entry entry;
    placeBlock(topology, {1, 16}, block, entry);
    ASSERT_EQ(16U, std::set<std::int32_t>(entry + 16, entry + 32).size());
    racks.insert(entry + 16, entry + 32);
  }
  EXPECT_EQ(standin::maxRacks, racks.size());
}

TEST(Layout, PlacementIsTheSameEveryTime) {
  const Topology topology = standin::builtinTopology();
  Entry first;
  Entry second;
  std::fill(std::begin(first), std::end(first), -7);
  std::fill(std::begin(second), std::end(second), -7);
  placeBlock(topology, {77, 3}, 123456789, first);
  placeBlock(topology, {77, 3}, 123456789, second);
  EXPECT_EQ(0, std::memcmp(first, second, sizeof first));
  EXPECT_EQ(-7, first[6]);
}

TEST(Layout, MoreReplicasLeaveTheFirstOnesInPlace) {
  for (const Topology& topology : {standin::builtinTopology(), racksOf({1, 2, 3})}) {
    for (std::uint64_t block = 0; block < 200; ++block) {
      Entry all;
      placeBlock(topology, {5, 16}, block, all);
      for (int replicas = 1; replicas < 16; ++replicas) {
        Entry some;
        placeBlock(topology, {5, replicas}, block, some);
        ASSERT_TRUE(std::equal(some, some + replicas, all));
        ASSERT_TRUE(std::equal(some + replicas, some + 2 * replicas, all + 16));
      }
    }
  }
}

TEST(Layout, BlocksOfAFileUseAllLocationsAlike) {
  const Topology topology = standin::builtinTopology();
  std::map<std::int32_t, int> uses;
  for (std::uint64_t block = 0; block < 24000; ++block) {
    Entry entry;
    placeBlock(topology, {4711, 2}, block, entry);
    ++uses[entry[0]];
    ++uses[entry[1]];
  }
  EXPECT_EQ(24U, uses.size());
  for (const auto& [location, count] : uses) EXPECT_NEAR(2000, count, 250) << location;
}

TEST(Layout, FilesDiffer) {
  const Topology topology = standin::builtinTopology();
  std::set<std::int32_t> firsts;
  for (std::uint64_t seed = 0; seed < 300; ++seed) {
    Entry entry;
    placeBlock(topology, {seed, 1}, 0, entry);
    firsts.insert(entry[0]);
  }
  EXPECT_EQ(24U, firsts.size());
}

TEST(UnitRange, HoldsTheUnitsThatTheRangeTouches) {
  const auto units = [](std::uint64_t start, std::uint64_t length, std::uint64_t size) {
    const auto range = unitsOf(start, length, size, 10);
    return std::pair(range.first, range.count);
  };
  using Pair = std::pair<std::uint64_t, std::uint64_t>;
  EXPECT_EQ(Pair(0, 1), units(0, 10, 100));
  EXPECT_EQ(Pair(0, 2), units(9, 2, 100));
  EXPECT_EQ(Pair(1, 1), units(10, 1, 100));
  EXPECT_EQ(Pair(9, 1), units(99, 1, 100));
  EXPECT_EQ(Pair(9, 1), units(99, ~0ULL, 100));
  EXPECT_EQ(Pair(0, 11), units(0, 1000, 101));
  EXPECT_EQ(0U, units(100, 1, 100).second);
  EXPECT_EQ(0U, units(~0ULL, ~0ULL, 100).second);
  EXPECT_EQ(0U, units(5, 0, 100).second);
  EXPECT_EQ(0U, units(0, 1, 0).second);
  EXPECT_EQ(1U, unitsOf(3, ~0ULL, 1ULL << 62, 1ULL << 63).count);
}

// The blocks that the entries of `units` units from `first` show.
std::vector<std::uint64_t> blocksOfUnits(std::uint64_t first, std::uint64_t units,
                                         std::uint64_t unit) {
  const Topology topology = standin::builtinTopology();
  const Layout layout{9, 3};
  std::vector<unsigned char> data(units * 24);
  EXPECT_EQ(static_cast<std::int32_t>(units),
            placeUnits(topology, layout, {first, units}, unit, data.data(), data.size()));
  std::vector<std::uint64_t> blocks;
  for (std::uint64_t i = 0; i < units; ++i) {
    Entry entry;
    std::uint64_t block = 0;
    do {
      placeBlock(topology, layout, block, entry);
    } while (std::memcmp(entry, data.data() + i * 24, 24) != 0 && ++block < 64);
    blocks.push_back(block);
  }
  return blocks;
}

TEST(Units, LieWhereTheBlockOfTheirFirstByteLies) {
  using Blocks = std::vector<std::uint64_t>;
  EXPECT_EQ((Blocks{2, 3, 4}), blocksOfUnits(2, 3, 4 * mib));
  EXPECT_EQ((Blocks{3, 6, 9}), blocksOfUnits(1, 3, 12 * mib));
  EXPECT_EQ((Blocks{0, 0, 1, 1, 2}), blocksOfUnits(0, 5, 2 * mib));
  EXPECT_EQ((Blocks{0, 0, 1, 2}), blocksOfUnits(0, 4, 3 * mib));
}

TEST(Units, FillTheRoomAndNoMore) {
  const Topology topology = standin::builtinTopology();
  std::vector<unsigned char> data(64512 + 64, 0xAA);
  for (int replicas = 1; replicas <= 16; ++replicas) {
    const std::int32_t count =
        placeUnits(topology, {1, replicas}, {0, 1ULL << 40}, mib, data.data(), 64512);
    EXPECT_EQ(8064 / replicas, count);
  }
  EXPECT_EQ(data.end(),
            std::find_if(data.end() - 64, data.end(), [](auto b) { return b != 0xAA; }));
}

}  // namespace
