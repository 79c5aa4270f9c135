#include "blocks/racksort.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "core/blocks/query_fixture.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Words = std::vector<std::int32_t>;

constexpr std::uint64_t F = 4 * MiB;

// A block's entry with these locations; the second words must not matter.
Words block(const Words& locations) {
  Words entry = locations;
  for (std::size_t i = 0; i < locations.size(); ++i) {
    entry.push_back(static_cast<std::int32_t>(1000 + i));
  }
  return entry;
}

Words blocks(const std::vector<Words>& all) {
  Words entries;
  for (const Words& locations : all) {
    const Words entry = block(locations);
    entries.insert(entries.end(), entry.begin(), entry.end());
  }
  return entries;
}

class RackSort : public QueryTest {
 protected:
  // One reply of the file system; `meta` is what it says of its block size.
  void reply(const std::vector<Words>& all, std::uint64_t meta = F) {
    client.blockLocations(static_cast<int>(all.at(0).size()), static_cast<int>(all.size()), meta,
                          blocks(all));
  }

  int sort(std::uint64_t hdfsBlock, std::uint64_t length, std::uint64_t offset = 0,
           std::uint64_t size = 64 * GiB, std::uint64_t fsBlock = F) {
    loc = rangeOf(offset, length, hdfsBlock);
    struct stat st = statusOf(size, fsBlock);
    errno = 0;
    out.bytes.clear();
    return getBlkLocation_sort(9, st, loc, out);
  }

  Words entries() const { return wordsOf(out.bytes); }
};

TEST_F(RackSort, LocationsWithMostBlocksComeFirst) {
  reply({{5, 7, 9}, {5, 7, 9}, {5, 7, 2}, {5, 8, 2}});
  EXPECT_EQ(sort(4 * F, 4 * F), 0);
  // Of 9 and 2, with 2 blocks each, the partition puts 9 in front.
  EXPECT_EQ(entries(), (Words{5, 7, 9, 4, 3, 2}));
  EXPECT_EQ(bytesOfLocation(loc), locationBytes(0, 4 * F, 4 * F, 1, 3));
  EXPECT_THAT(requests(), ElementsAre(locationsRequest(0, F, 4 * F)));
  EXPECT_THAT(
      takeLogWithoutLines(),
      ElementsAre("debug @getBlkLocation_sort:# requested offset=0 length=16777216 returned "
                  "length=16777216 replicas=3 blocks=4 skipfactor=4194304",
                  "debug @getBlkLocation_sort:#  fs blksize=4194304 hdfs blksize=16777216 "
                  "group blknum=4 blknum=1"));
}

TEST_F(RackSort, EachHdfsBlockIsCountedOnItsOwn) {
  reply({{1, 2}, {1, 3}, {4, 5}, {4, 6}});
  EXPECT_EQ(sort(2 * F, 4 * F), 0);
  EXPECT_EQ(entries(), (Words{1, 2, 2, 1, 4, 5, 2, 1}));
  EXPECT_EQ(loc.nblock, 2);
}

TEST_F(RackSort, OneBlockPerHdfsBlockKeepsIdentifierOrder) {
  reply({{9, 3, 6}});
  EXPECT_EQ(sort(F, F), 0);
  EXPECT_EQ(entries(), (Words{3, 6, 9, 1, 1, 1}));
}

TEST_F(RackSort, PartialLastHdfsBlockIsEmitted) {
  reply({{1, 2}, {1, 2}, {1, 2}});
  EXPECT_EQ(sort(2 * F, 3 * F, 0, 3 * F), 0);
  EXPECT_EQ(entries(), (Words{1, 2, 2, 2, 1, 2, 1, 1}));
  EXPECT_EQ(loc.nblock, 2);
}

TEST_F(RackSort, OneDistinctLocationFillsWithMinusOne) {
  reply({{6, 6, 6}, {6, 6, 6}});
  EXPECT_EQ(sort(2 * F, 2 * F), 0);
  EXPECT_EQ(entries(), (Words{6, -1, -1, 6, -1, -1}));
}

// The asymmetry is kept: callers have always seen the two in identifier order.
TEST_F(RackSort, OneLocationLessThanReplicasStaysUnsorted) {
  reply({{2, 8, 8}, {8, 8, 2}});
  EXPECT_EQ(sort(2 * F, 2 * F), 0);
  EXPECT_EQ(entries(), (Words{2, 8, -1, 2, 4, -1}));
}

TEST_F(RackSort, TwoLocationsLessThanReplicasAreSorted) {
  reply({{2, 8, 8, 8}});
  EXPECT_EQ(sort(F, F), 0);
  EXPECT_EQ(entries(), (Words{8, 2, -1, -1, 3, 1, -1, -1}));
}

TEST_F(RackSort, FarFewerLocationsThanReplicasAreSortedStably) {
  // Six locations, ten slots: 1:1 2:2 3:1 4:3 5:2 6:1.
  reply({{1, 2, 2, 3, 4, 4, 4, 5, 5, 6}});
  EXPECT_EQ(sort(F, F), 0);
  EXPECT_EQ(entries(), (Words{4, 2, 5, 1, 3, 6, -1, -1, -1, -1,  //
                              3, 2, 2, 1, 1, 1, -1, -1, -1, -1}));
}

TEST_F(RackSort, EveryReplicaCountUpTo16GivesItsSlots) {
  for (int replicas = 1; replicas <= 16; ++replicas) {
    Words locations;
    for (int i = 0; i < replicas; ++i) locations.push_back(100 - i);
    reply({locations});
    ASSERT_EQ(sort(F, F), 0);
    const Words entry = entries();
    ASSERT_EQ(entry.size(), static_cast<std::size_t>(2 * replicas));
    // All have one block each and all are kept.
    Words found(entry.begin(), entry.begin() + replicas);
    std::sort(found.rbegin(), found.rend());
    EXPECT_EQ(found, locations);
    EXPECT_EQ(Words(entry.begin() + replicas, entry.end()),
              Words(static_cast<std::size_t>(replicas), 1));
    EXPECT_EQ(loc.nreplica, replicas);
  }
}

TEST_F(RackSort, WithoutReplicasNothingIsCounted) {
  client.blockLocations(0, 4, F, {});
  EXPECT_EQ(sort(2 * F, 4 * F), 0);
  EXPECT_EQ(out.bytes, "");
  // The two groups are entries all the same.
  EXPECT_EQ(bytesOfLocation(loc), locationBytes(0, 4 * F, 2 * F, 2, 0));
}

TEST_F(RackSort, AsManyBlocksWithoutReplicasAsANumberHolds) {
  client.blockLocations(0, INT32_MAX, F, {});
  EXPECT_EQ(sort(2 * F, F, 0, 1), 0);
  EXPECT_EQ(out.bytes, "");
  EXPECT_EQ(bytesOfLocation(loc), locationBytes(0, F, 2 * F, INT32_MAX / 2, 0));
}

TEST_F(RackSort, ReplicasDroppingToZeroLeaveAnEntryWithoutBytes) {
  reply({{3, 4}});
  client.blockLocations(0, 1, F, {});
  EXPECT_EQ(sort(4 * F, 2 * F), 0);
  EXPECT_EQ(out.bytes, "");
  EXPECT_EQ(loc.nblock, 1);
  EXPECT_EQ(loc.nreplica, 0);
}

TEST_F(RackSort, ReplicaCountOfTheReplyInHandShapesTheEntry) {
  reply({{3, 4}, {3, 4}, {3, 5}});
  reply({{3, 4, 5}});
  // The counter restarts, so the block left over waits for the end of the walk.
  EXPECT_EQ(sort(2 * F, 4 * F), 0);
  EXPECT_EQ(entries(), (Words{3, 4, 2, 2, 3, 5, 4, 2, 2, 1}));
  EXPECT_EQ(loc.nblock, 2);
  EXPECT_EQ(loc.nreplica, 3);
}

TEST_F(RackSort, CounterRestartsWithEveryReplyWhileTheCountsCarryOver) {
  reply({{1, 2}, {1, 2}, {1, 2}, {7, 8}});  // one group of 3, and one block over
  reply({{7, 8}, {7, 9}, {7, 9}, {5, 6}});  // 3 more complete it: 4 blocks in all
  EXPECT_EQ(sort(3 * F, 8 * F), 0);
  EXPECT_EQ(entries(), (Words{1, 2, 3, 3, 7, 8, 4, 2, 5, 6, 1, 1}));
  EXPECT_EQ(loc.nblock, 3);
  EXPECT_THAT(requests(),
              ElementsAre(locationsRequest(0, F, 8 * F), locationsRequest(4 * F, F, 4 * F)));
}

TEST_F(RackSort, RepliesSmallerThanAGroupPileUpToTheEnd) {
  for (int i = 0; i < 6; ++i) reply({{1, 2}});
  EXPECT_EQ(sort(2 * F, 6 * F), 0);
  EXPECT_EQ(entries(), (Words{1, 2, 6, 6}));
  EXPECT_EQ(loc.nblock, 1);
}

TEST_F(RackSort, RangeIsAlignedToTheFileSystemBlock) {
  reply({{1}, {1}});
  EXPECT_EQ(sort(2 * F, F, 3 * F + 5), 0);
  EXPECT_THAT(requests(), ElementsAre(locationsRequest(3 * F, F, F + 5)));
  EXPECT_EQ(bytesOfLocation(loc), locationBytes(3 * F + 5, F, 2 * F, 1, 1));
}

TEST_F(RackSort, HdfsBlockIsAlignedDown) {
  reply({{1}, {1}});
  EXPECT_EQ(sort(2 * F + 7, 2 * F), 0);
  EXPECT_EQ(loc.blocksize, 2 * F);
  EXPECT_EQ(loc.nblock, 1);
}

TEST_F(RackSort, BlockSizeOfTheReplyDoesNotMatter) {
  reply({{1}, {1}}, 1);
  EXPECT_EQ(sort(2 * F, 2 * F), 0);
  EXPECT_EQ(client.calls().size(), 1u);
  for (const std::string& line : takeLog()) EXPECT_EQ(line.find("metaBlockSize"), line.npos);
}

TEST_F(RackSort, WalkEndsAtTheEndOfTheFile) {
  reply({{1}});
  reply({{2}});
  EXPECT_EQ(sort(F, 1 * GiB, 0, F + 1), 0);
  EXPECT_EQ(entries(), (Words{1, 1, 2, 1}));
}

TEST_F(RackSort, ReplyWithoutBlocksIsAskedForAgain) {
  client.blockLocations(1, 0, F, {});
  client.blockLocations(1, 0, F, {});
  reply({{1}});
  EXPECT_EQ(sort(F, F), 0);
  EXPECT_EQ(client.calls().size(), 3u);
  EXPECT_EQ(entries(), (Words{1, 1}));
}

TEST_F(RackSort, NegativeIdentifiersAreOrdinaryOnes) {
  reply({{-5, 0, INT32_MIN}});
  EXPECT_EQ(sort(F, F), 0);
  EXPECT_EQ(entries(), (Words{INT32_MIN, -5, 0, 1, 1, 1}));
}

TEST_F(RackSort, ManyDistinctLocationsInOneHdfsBlock) {
  std::vector<Words> all;
  for (int i = 0; i < 2000; ++i) all.push_back({(i * 7919) % 2003, 5000});
  reply(all);
  EXPECT_EQ(sort(2000 * F, 2000 * F), 0);
  EXPECT_EQ(entries()[0], 5000);
  EXPECT_EQ(entries()[2], 2000);
  EXPECT_EQ(entries()[3], 1);
}

TEST_F(RackSort, LargestReplicaCountThatFitsIsServed) {
  Words locations;
  for (int i = 0; i < 8064; ++i) locations.push_back(i);
  reply({locations});
  EXPECT_EQ(sort(F, F), 0);
  EXPECT_EQ(out.bytes.size(), 64512u);
}

TEST_F(RackSort, BlockSizeOfZeroIsRefused) {
  errno = 0;
  EXPECT_EQ(sort(0, F), -1);
  EXPECT_THAT(client.calls(), IsEmpty());
  EXPECT_EQ(bytesOfLocation(loc), locationBytes(0, F, 0, 99, 99));
  EXPECT_THAT(takeLogWithoutLines(), ElementsAre("warn @getBlkLocation_sort:# input blocksize=0"));
}

TEST_F(RackSort, HdfsBlockBelowTheFileSystemBlockIsInvalid) {
  reply({{1}});
  EXPECT_EQ(sort(F - 1, F), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(out.bytes, "");
}

TEST_F(RackSort, FileSystemBlockOfZeroIsInvalid) {
  EXPECT_EQ(sort(F, F, 0, 64 * GiB, 0), -1);
  EXPECT_EQ(errno, EINVAL);
}

TEST_F(RackSort, GroupThatIsZeroAsA32BitNumberIsInvalid) {
  reply({{1}});
  EXPECT_EQ(sort(4 * GiB, 1, 0, 64 * GiB, 1), -1);
  EXPECT_EQ(errno, EINVAL);
}

TEST_F(RackSort, NegativeDescriptorAsksNothing) {
  loc = location{};
  loc.length = F;
  loc.blocksize = 2 * F + 1;
  loc.nblock = loc.nreplica = 99;
  struct stat st = statusOf(64 * GiB, F);
  EXPECT_EQ(getBlkLocation_sort(-1, st, loc, out), -1);
  EXPECT_EQ(bytesOfLocation(loc), locationBytes(0, F, 2 * F, 0, 0));
  EXPECT_THAT(client.calls(), IsEmpty());
}

TEST_F(RackSort, FailureOfALaterReplyKeepsTheEntriesButNotTheCounts) {
  reply({{1}, {1}, {2}});
  client.fail(EREMOTEIO);
  EXPECT_EQ(sort(2 * F, 8 * F), -1);
  EXPECT_EQ(errno, EREMOTEIO);
  EXPECT_EQ(entries(), (Words{1, 2}));
  EXPECT_EQ(bytesOfLocation(loc), locationBytes(0, 8 * F, 2 * F, 0, 0));
}

TEST_F(RackSort, PositiveResultIsAFailureToo) {
  client.reply({3, ENODATA, nullptr});
  EXPECT_EQ(sort(2 * F, 8 * F), -1);
  EXPECT_EQ(errno, ENODATA);
}

TEST_F(RackSort, HostileCountsAreIoErrors) {
  const std::pair<int, int> hostile[] = {
      {1, 8065}, {8065, 1},      {65536, 65536}, {2, 0x7fffffff}, {0x7fffffff, 1},
      {-1, 1},   {1, -1},        {-1, -1},       {1, INT32_MIN},  {INT32_MIN, 1},
      {-1, 0},   {INT32_MIN, 2}, {0, -1},        {1 << 30, 4},    {1 << 29, 8}};
  for (const auto& [replicas, count] : hostile) {
    client.blockLocations(replicas, count, F, {});
    EXPECT_EQ(sort(2 * F, 8 * F), -1) << replicas << " x " << count;
    EXPECT_EQ(errno, EIO) << replicas << " x " << count;
    EXPECT_EQ(out.bytes, "");
    EXPECT_EQ(loc.nblock, 0);
  }
}

TEST_F(RackSort, WarnLineNeedsWarnOnly) {
  logger2::currentLevel = LOG_WARN;
  EXPECT_EQ(sort(0, F), -1);
  EXPECT_EQ(takeLog().size(), 1u);
  logger2::currentLevel = LOG_ERROR;
  EXPECT_EQ(sort(0, F), -1);
  logger2::currentLevel = LOG_INFO;
  reply({{1}});
  EXPECT_EQ(sort(F, F), 0);
  EXPECT_THAT(takeLog(), IsEmpty());
}

TEST_F(RackSort, AFileCutMeanwhileEndsTheWalk) {
  const int fd = memfd_create("cut", MFD_CLOEXEC);
  ASSERT_EQ(ftruncate(fd, static_cast<off_t>(2 * F)), 0);
  int asked = 0;
  client.answerWith([&](unsigned char* buffer) {
    const std::int32_t counts[] = {1, asked++ == 0 ? 2 : 0, 0, 0};
    const std::int32_t entries[] = {7, 0, 7, 0};
    std::memcpy(buffer + 56, counts, sizeof counts);
    std::memcpy(buffer + 72, entries, sizeof entries);
    return 0;
  });
  loc = location{};
  loc.length = 64 * F;
  loc.blocksize = 4 * F;
  struct stat st = statusOf(64 * F, F);  // as it was before
  EXPECT_EQ(getBlkLocation_sort(fd, st, loc, out), 0);
  close(fd);
  EXPECT_EQ(asked, 101);
  EXPECT_EQ(loc.nblock, 1);
  EXPECT_EQ(loc.nreplica, 1);
  EXPECT_EQ(entries(), (Words{7, 2}));
}

}  // namespace
