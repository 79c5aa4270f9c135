#include "topology.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <sstream>

namespace {

using standin::parseTopology;
using standin::Topology;
using Errors = std::vector<std::string>;

Topology parsed(const std::string& text) {
  std::istringstream in(text);
  Errors errors;
  Topology topology = parseTopology(in, "t", errors);
  EXPECT_EQ(Errors{}, errors);
  return topology;
}

Errors errorsOf(const std::string& text) {
  std::istringstream in(text);
  Errors errors;
  parseTopology(in, "t", errors);
  return errors;
}

TEST(Topology, BuiltInHasFourRacksOfSixLocations) {
  const Topology topology = standin::builtinTopology();
  ASSERT_EQ(4U, topology.racks.size());
  EXPECT_EQ(24U, topology.locations());
  EXPECT_EQ(4U << 20, topology.blockSize);
  EXPECT_EQ(2, topology.replicas);
  EXPECT_EQ(3, topology.racks[2].number);
  EXPECT_EQ(35, topology.racks[2].locations[4]);
}

TEST(Topology, EveryStatementIsRead) {
  const Topology topology =
      parsed("# two racks\n\nblock-size 3M # odd\nreplicas 3\nrack 7: 100 101\n\track 0: 0\n");
  EXPECT_EQ(3U << 20, topology.blockSize);
  EXPECT_EQ(3, topology.replicas);
  ASSERT_EQ(2U, topology.racks.size());
  EXPECT_EQ(7, topology.racks[0].number);
  EXPECT_EQ((std::vector<std::int32_t>{100, 101}), topology.racks[0].locations);
  EXPECT_EQ((std::vector<std::int32_t>{0}), topology.racks[1].locations);
}

TEST(Topology, BlockSizesTakeUnits) {
  EXPECT_EQ(512U, parsed("block-size 512\nrack 1: 1").blockSize);
  EXPECT_EQ(65536U, parsed("block-size 64K\nrack 1: 1").blockSize);
  EXPECT_EQ(1U << 30, parsed("block-size 1G\nrack 1: 1").blockSize);
}

TEST(Topology, DefaultReplicasFollowTheNumberOfLocations) {
  EXPECT_EQ(1, parsed("rack 1: 1").replicas);
  EXPECT_EQ(2, parsed("rack 1: 1 2 3").replicas);
}

TEST(Topology, ReplicaLimitIsSixteenOrTheNumberOfLocations) {
  EXPECT_EQ(16, standin::builtinTopology().replicaLimit());
  EXPECT_EQ(3, parsed("rack 1: 1 2 3").replicaLimit());
}

TEST(Topology, EachMistakeIsNamedWithItsLine) {
  EXPECT_EQ((Errors{"t:1: unknown statement 'racks'", "t:2: a rack needs a location",
                    "t:4: 'x' is no location identifier", "t:4: '-3' is no location identifier",
                    "t:5: location 9 is given twice"}),
            errorsOf("racks 1: 2\nrack 1:\n\nrack 2: x 9 -3\nrack 3: 9\n"));
}

TEST(Topology, StatementsWithWrongValuesAreRefused) {
  const std::string rack = "\nrack 1: 1 2\n";
  for (const char* value : {"", "0", "511", "513", "4X", "M", "-4M", "2G", "4M 4M", "1025M",
                            "18446744073709551616", "0x1000"}) {
    EXPECT_EQ(Errors{"t:1: block-size takes a multiple of 512 bytes from 512 to 1G"},
              errorsOf(std::string("block-size ") + value + rack))
        << value;
  }
  for (const char* value : {"", "0", "17", "two", "2 2", "1.5", "+1"}) {
    EXPECT_EQ(Errors{"t:1: replicas takes a number from 1 to 16"},
              errorsOf(std::string("replicas ") + value + rack))
        << value;
  }
  EXPECT_EQ(Errors{"t:1: more replicas than locations"}, errorsOf("replicas 3" + rack));
  EXPECT_EQ(Errors{"t:2: replicas is given twice"}, errorsOf("replicas 1\nreplicas 1" + rack));
  EXPECT_EQ(Errors{"t:2: block-size is given twice"},
            errorsOf("block-size 1M\nblock-size 1M" + rack));
}

TEST(Topology, RacksThatAreNoneAreRefused) {
  EXPECT_EQ(Errors{"t:1: a rack reads 'rack NUMBER: LOCATION...'"}, errorsOf("rack"));
  EXPECT_EQ(Errors{"t:1: a rack reads 'rack NUMBER: LOCATION...'"}, errorsOf("rack 1 2 3"));
  EXPECT_EQ(Errors{"t:1: ':' is no rack number"}, errorsOf("rack : 1"));
  EXPECT_EQ(Errors{"t:1: '2147483648:' is no rack number"}, errorsOf("rack 2147483648: 1"));
  EXPECT_EQ(Errors{"t:2: rack 1: is given twice"}, errorsOf("rack 1: 1\nrack 1: 2"));
  EXPECT_EQ(Errors{"t:1: location 5 is given twice"}, errorsOf("rack 1: 5 5"));
  EXPECT_EQ(Errors{"t:1: there is no rack"}, errorsOf(""));
  EXPECT_EQ(Errors{"t:2: there is no rack"}, errorsOf("# nothing\nreplicas 2\n"));
}

TEST(Topology, SizesAreLimited) {
  std::ostringstream racks;
  for (int i = 0; i < 257; ++i) racks << "rack " << i << ": " << i << '\n';
  EXPECT_EQ(Errors{"t:257: more than 256 racks"}, errorsOf(racks.str()));
  std::ostringstream rack;
  rack << "rack 1:";
  for (int i = 0; i < 4097; ++i) rack << ' ' << i;
  EXPECT_EQ(Errors{"t:1: more than 4096 locations"}, errorsOf(rack.str()));
}

TEST(Topology, AnUnreadableFileIsAMistake) {
  setenv("ZORF_TOPOLOGY", "/nowhere/topology", 1);
  Errors errors;
  standin::topologyFromEnvironment(errors);
  EXPECT_EQ(Errors{"/nowhere/topology: No such file or directory"}, errors);
  setenv("ZORF_TOPOLOGY", "/", 1);
  errors.clear();
  standin::topologyFromEnvironment(errors);
  EXPECT_EQ(1U, errors.size());
  setenv("ZORF_TOPOLOGY", "", 1);
  errors.clear();
  EXPECT_EQ(24U, standin::topologyFromEnvironment(errors).locations());
  EXPECT_EQ(Errors{}, errors);
  unsetenv("ZORF_TOPOLOGY");
}

}  // namespace
