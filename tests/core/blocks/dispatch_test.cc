#include <cerrno>
#include <limits>

#include "blocks/policy.h"
#include "blocks/query.h"
#include "core/blocks/records.h"
#include "support/core_test.h"
#include "support/entries.h"
#include "support/scripted_client.h"

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class Dispatch : public CoreTest {
 protected:
  Dispatch() {
    defaultDFSBlockSize = 128 * MiB;
    out.bytes = "before";  // the record is rewritten where it began, not at the start
  }

  int ask(int cmd, std::uint64_t offset, std::uint64_t length, struct stat st) {
    loc = location{};
    loc.offset = offset;
    loc.length = length;
    loc.blocksize = 0xAAAAAAAAAAAAAAAAu;
    loc.nblock = loc.nreplica = -1;
    errno = 0;
    return getBlkLocationInt(9, static_cast<GetBlkCmd>(cmd), st, loc, out);
  }
  int ask(int cmd, std::uint64_t offset, std::uint64_t length) {
    return ask(cmd, offset, length, statusOf(64 * MiB, 4 * MiB));
  }

  // The stream's record is the final `loc`.
  void expectStream(const std::string& record, const std::string& entries) {
    EXPECT_EQ(bytesOfLocation(loc), record);
    EXPECT_EQ(out.bytes, "before" + record + entries);
  }

  KeptSettings kept;
  ScriptedClient client;
  location loc{};
  Entries out;
};

TEST_F(Dispatch, LocalAsksTheFileSystemForItsOwnBlocks) {
  client.blockLocations(2, 2, 4 * MiB, {1, 2, 0, 0, 3, 4, 0, 0});
  EXPECT_EQ(ask(GET_BLK_LOCAL, 0, 8 * MiB), 0);
  ASSERT_EQ(client.calls().size(), 1u);
  EXPECT_EQ(client.calls()[0].fd, 9);
  EXPECT_EQ(settledBytes(client.calls()[0].request), locationsRequest(0, 0, 8 * MiB));
  expectStream(locationBytes(0, 8 * MiB, 4 * MiB, 2, 2), words({1, 2, 0, 0, 3, 4, 0, 0}));
}

TEST_F(Dispatch, SharedAsksForSizeAndReplicasOnly) {
  client.blockInfo(3, {4});
  EXPECT_EQ(ask(GET_BLK_SHARED, 0, 8 * MiB), 0);
  ASSERT_EQ(client.calls().size(), 1u);
  EXPECT_EQ(client.calls()[0].request, blockInfoRequest());
  expectStream(locationBytes(0, 8 * MiB, 16 * MiB, 0, 3), "");
  EXPECT_THAT(takeLogWithoutLines(),
              ElementsAre("debug @getBlkInfoInternal:# bgf: 4",
                          "debug @getBlkLocationInt:# No location map returned. ret=0, "
                          "GetBlkCmd=1, inode=77, block.offset=0, block.length=8388608, "
                          "block.blocksize=16777216, block.nreplica=3, block.nblock=0"));
}

TEST_F(Dispatch, RackawareGroupsByTheHdfsBlock) {
  client.blockInfo(3, {4});
  client.blockLocations(1, 2, 16 * MiB, {5, 0, 6, 0});
  EXPECT_EQ(ask(GET_BLK_RACKAWARE, 17 * MiB, 16 * MiB), 0);
  ASSERT_EQ(client.calls().size(), 2u);
  EXPECT_EQ(client.calls()[0].request, blockInfoRequest());
  EXPECT_EQ(settledBytes(client.calls()[1].request),
            locationsRequest(16 * MiB, 16 * MiB, 17 * MiB));
  expectStream(locationBytes(17 * MiB, 16 * MiB, 16 * MiB, 2, 1), words({5, 0, 6, 0}));
}

TEST_F(Dispatch, RackawareSortFoldsIntoHdfsBlocks) {
  client.blockInfo(1, {2});
  client.blockLocations(2, 2, 4 * MiB, {5, 6, 0, 0, 5, 7, 0, 0});
  EXPECT_EQ(ask(GET_BLK_RACKAWARE_SORT, 0, 8 * MiB), 0);
  ASSERT_EQ(client.calls().size(), 2u);
  EXPECT_EQ(settledBytes(client.calls()[1].request), locationsRequest(0, 4 * MiB, 8 * MiB));
  expectStream(locationBytes(0, 8 * MiB, 8 * MiB, 1, 2), words({5, 6, 2, 1}));
}

TEST_F(Dispatch, ZeroLengthNeedsNoLocationsUnlessLocal) {
  for (const int cmd : {GET_BLK_RACKAWARE, GET_BLK_RACKAWARE_SORT}) {
    client.blockInfo(2, {4});
    EXPECT_EQ(ask(cmd, 0, 0), 0);
    EXPECT_EQ(bytesOfLocation(loc), locationBytes(0, 0, 16 * MiB, 0, 2));
  }
  EXPECT_EQ(client.calls().size(), 2u);
  client.blockLocations(1, 1, 4 * MiB, {5, 0});
  EXPECT_EQ(ask(GET_BLK_LOCAL, 0, 0), 0);
  EXPECT_EQ(settledBytes(client.calls()[2].request), locationsRequest(0, 0, 1));
  EXPECT_EQ(bytesOfLocation(loc), locationBytes(0, 0, 4 * MiB, 1, 1));
}

TEST_F(Dispatch, LengthIsClampedToTheFile) {
  client.blockLocations(1, 1, 64 * MiB, {5, 0});
  EXPECT_EQ(ask(GET_BLK_LOCAL, 1 * MiB, 64 * MiB), 0);
  EXPECT_EQ(settledBytes(client.calls()[0].request), locationsRequest(1 * MiB, 0, 63 * MiB));
  expectStream(locationBytes(1 * MiB, 63 * MiB, 64 * MiB, 1, 1), words({5, 0}));
  EXPECT_THAT(takeLogWithoutLines(),
              ElementsAre("debug @getBlkLocationInt:# Request length 67108864 is greater than file "
                          "length 67108864",
                          HasSubstr("requested offset=")));
}

TEST_F(Dispatch, LengthUpToTheEndIsNotClamped) {
  client.blockLocations(1, 1, 64 * MiB, {5, 0});
  EXPECT_EQ(ask(GET_BLK_LOCAL, 1 * MiB, 63 * MiB), 0);
  EXPECT_EQ(takeLog().size(), 1u);
}

TEST_F(Dispatch, OffsetAtTheEndClampsToNothing) {
  client.blockInfo(2, {4});
  EXPECT_EQ(ask(GET_BLK_RACKAWARE, 64 * MiB, 5), 0);
  EXPECT_EQ(client.calls().size(), 1u);
  EXPECT_EQ(loc.length, 0u);
}

TEST_F(Dispatch, OffsetPastTheEndIsNotClamped) {
  client.blockLocations(1, 0, 4 * MiB, {});
  EXPECT_EQ(ask(GET_BLK_LOCAL, 65 * MiB, 5 * MiB), 0);
  EXPECT_EQ(settledBytes(client.calls()[0].request), locationsRequest(65 * MiB, 0, 5 * MiB));
  EXPECT_EQ(loc.length, 5 * MiB);
}

TEST_F(Dispatch, OffsetPastTheEndClampsWhatExceedsTheWrap) {
  client.blockLocations(1, 0, 4 * MiB, {});
  EXPECT_EQ(ask(GET_BLK_LOCAL, 65 * MiB, ~std::uint64_t{0}), 0);
  EXPECT_EQ(loc.length, 0 - 1 * MiB);
}

TEST_F(Dispatch, OnlyRegularFilesAreAsked) {
  for (const unsigned type :
       std::initializer_list<unsigned>{S_IFDIR, S_IFLNK, S_IFIFO, S_IFSOCK, S_IFCHR, S_IFBLK, 0}) {
    for (int cmd = 0; cmd <= 4; ++cmd) {
      out.bytes.clear();
      EXPECT_EQ(ask(cmd, 0, 0, statusOf(4096, 4096, type | 0755)), 0);
      EXPECT_EQ(out.bytes, locationBytes(0, 0, 0, 0, 0));
    }
  }
  EXPECT_THAT(client.calls(), IsEmpty());
  EXPECT_THAT(takeLog(), IsEmpty());
}

TEST_F(Dispatch, UnknownPolicyIsAnErrorLineAndNothingElse) {
  for (const int cmd : {4, -1, 1 << 30}) {
    out.bytes.clear();
    EXPECT_EQ(ask(cmd, 1, 2), 0);
    EXPECT_EQ(out.bytes, locationBytes(1, 2, 0, 0, 0));
    const std::string number = std::to_string(cmd);
    EXPECT_THAT(takeLogWithoutLines(),
                ElementsAre("error @getBlkLocationInt:# Unknown GetBlkCmd " + number,
                            "debug @getBlkLocationInt:# No location map returned. ret=0, "
                            "GetBlkCmd=" +
                                number +
                                ", inode=77, block.offset=1, block.length=2, block.blocksize=0, "
                                "block.nreplica=0, block.nblock=0"));
  }
  EXPECT_THAT(client.calls(), IsEmpty());
}

TEST_F(Dispatch, EmptyFileWithoutLocationsIsNotWorthALine) {
  client.blockLocations(1, 0, 4 * MiB, {});
  EXPECT_EQ(ask(GET_BLK_LOCAL, 0, 0, statusOf(0, 4 * MiB)), 0);
  for (const std::string& line : takeLog()) EXPECT_EQ(line.find("No location map"), line.npos);
}

TEST_F(Dispatch, FailedQueryIsItsErrno) {
  client.blockLocations(1, 1, 4 * MiB, {5, 0});
  client.fail(ESTALE);
  EXPECT_EQ(ask(GET_BLK_LOCAL, 0, 16 * MiB), ESTALE);
  // What was appended before the failure stays, behind a record that doesn't count it.
  expectStream(locationBytes(0, 16 * MiB, 4 * MiB, 0, 0), words({5, 0}));
  EXPECT_THAT(takeLogWithoutLines(),
              ElementsAre(HasSubstr("requested offset="),
                          "error @getBlkLocationInt:# failed to get extended stat for 9"));
}

TEST_F(Dispatch, FailedInformationIsItsErrnoUnderEveryPolicyThatAsks) {
  for (const int cmd : {GET_BLK_SHARED, GET_BLK_RACKAWARE, GET_BLK_RACKAWARE_SORT}) {
    out.bytes.clear();
    client.fail(EPERM);
    EXPECT_EQ(ask(cmd, 0, 16 * MiB), EPERM);
    EXPECT_EQ(out.bytes, locationBytes(0, 16 * MiB, 0, 0, 1));
    EXPECT_THAT(takeLogWithoutLines(),
                ElementsAre("error @getBlkLocationInt:# failed to get extended stat for 9"));
  }
  EXPECT_EQ(client.calls().size(), 3u);
}

TEST_F(Dispatch, FailedLocationsAfterInformationAreTheirErrno) {
  client.blockInfo(2, {1});
  client.fail(ETIMEDOUT);
  EXPECT_EQ(ask(GET_BLK_RACKAWARE, 0, 16 * MiB), ETIMEDOUT);
  expectStream(locationBytes(0, 16 * MiB, 4 * MiB, 0, 0), "");
}

TEST_F(Dispatch, FailedSortKeepsItsEntries) {
  client.blockInfo(2, {1});
  client.blockLocations(1, 1, 4 * MiB, {5, 0});
  client.fail(ETIMEDOUT);
  EXPECT_EQ(ask(GET_BLK_RACKAWARE_SORT, 0, 16 * MiB), ETIMEDOUT);
  expectStream(locationBytes(0, 16 * MiB, 4 * MiB, 0, 0), words({5, 1}));
}

TEST_F(Dispatch, HostileReplyIsAnIoError) {
  for (const int cmd : {GET_BLK_RACKAWARE, GET_BLK_RACKAWARE_SORT}) {
    out.bytes.clear();
    client.blockInfo(2, {1});
    client.blockLocations(8065, 1, 4 * MiB, {});
    EXPECT_EQ(ask(cmd, 0, 16 * MiB), EIO);
    EXPECT_EQ(out.bytes, locationBytes(0, 16 * MiB, 4 * MiB, 0, 0));
  }
}

TEST_F(Dispatch, NegativeDescriptorFailsWithoutAnyCall) {
  struct stat st = statusOf(64 * MiB, 4 * MiB);
  for (int cmd = 0; cmd <= 3; ++cmd) {
    loc = location{};
    errno = EBADF;
    logger2::currentLevel = LOG_OFF;
    EXPECT_EQ(getBlkLocationInt(-1, static_cast<GetBlkCmd>(cmd), st, loc, out), EBADF);
  }
  EXPECT_THAT(client.calls(), IsEmpty());
}

TEST_F(Dispatch, FactorOfZeroGroupsByTheFileSystemsOwnBlocks) {
  client.blockInfo(2, {0});
  client.blockLocations(1, 1, 64 * MiB, {5, 0});
  EXPECT_EQ(ask(GET_BLK_RACKAWARE, 0, 64 * MiB), 0);
  EXPECT_EQ(settledBytes(client.calls()[1].request), locationsRequest(0, 0, 64 * MiB));
  expectStream(locationBytes(0, 64 * MiB, 64 * MiB, 1, 1), words({5, 0}));
}

TEST_F(Dispatch, FactorOfZeroCantBeRanked) {
  client.blockInfo(3, {0});
  ask(GET_BLK_RACKAWARE_SORT, 0, 64 * MiB);
  EXPECT_EQ(client.calls().size(), 1u);
  expectStream(locationBytes(0, 64 * MiB, 0, 0, 3), "");
  EXPECT_THAT(takeLogWithoutLines(),
              ElementsAre("debug @getBlkInfoInternal:# bgf: 0",
                          "warn @getBlkLocation_sort:# input blocksize=0",
                          "error @getBlkLocationInt:# failed to get extended stat for 9"));
}

// There is no errno of its own for it: the result is the one that the last call left.
TEST_F(Dispatch, FactorOfZeroRankedIsWhateverErrnoHolds) {
  logger2::currentLevel = LOG_OFF;
  client.reply({0, ENOTTY, nullptr});
  EXPECT_EQ(ask(GET_BLK_RACKAWARE_SORT, 0, 64 * MiB), ENOTTY);
  client.reply({0, 0, nullptr});
  EXPECT_EQ(ask(GET_BLK_RACKAWARE_SORT, 0, 64 * MiB), 0);
}

TEST_F(Dispatch, FileSystemBlockOfZeroIsInvalid) {
  for (const int cmd : {GET_BLK_SHARED, GET_BLK_RACKAWARE, GET_BLK_RACKAWARE_SORT}) {
    client.blockInfo(2, {});
    EXPECT_EQ(ask(cmd, 0, 64 * MiB, statusOf(64 * MiB, 0)), EINVAL);
  }
}

}  // namespace
