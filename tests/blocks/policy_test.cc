#include "blocks/policy.h"

#include <cerrno>
#include <limits>

#include "blocks/query.h"
#include "blocks/records.h"
#include "support/entries.h"
#include "support/java_values.h"
#include "support/jvm.h"
#include "support/scripted_client.h"
#include "zorf_native.h"

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr auto& getBlkCmd = Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_getBlkCmd;

// --- the policy's name ---

class GetBlkCmdNative : public JvmTest {
 protected:
  jint choose(const std::string& name, jlong blockSize = 0) {
    return getBlkCmd(env, nullptr, javaBytes(name), blockSize);
  }

  KeptSettings kept;
};

TEST_F(GetBlkCmdNative, KnownNamesChooseTheirPolicy) {
  const std::pair<std::string, int> names[] = {
      {"local", 0},
      {"shared", 1},
      {"rackaware", 2},
      {"rackaware-sort", 3},
      // with their terminator, and with anything after it
      {std::string("local\0", 6), 0},
      {std::string("shared\0", 7), 1},
      {std::string("rackaware\0", 10), 2},
      {std::string("rackaware-sort\0", 15), 3},
      {std::string("rackaware\0-sort", 15), 2},
      {std::string("shared\0local", 12), 1},
      // leading parts match the first name they begin
      {"", 0},
      {"l", 0},
      {"lo", 0},
      {"s", 1},
      {"share", 1},
      {"r", 2},
      {"rack", 2},
      {"rackaware-", 3},
      {"rackaware-sor", 3},
      {std::string("local\0", 6) + std::string(5000, 'x'), 0},
  };
  for (const auto& [name, policy] : names) {
    globalBlkCmd = static_cast<GetBlkCmd>((policy + 1) % 4);
    EXPECT_EQ(choose(name), policy) << name;
    EXPECT_EQ(globalBlkCmd, policy) << name;
  }
}

TEST_F(GetBlkCmdNative, UnknownNamesKeepThePolicy) {
  globalBlkCmd = GET_BLK_RACKAWARE;
  const std::string names[] = {"localX",
                               "Local",
                               "LOCAL",
                               "local ",
                               "rackaware-sortX",
                               "rackaware-sorted",
                               "x",
                               "sharer",
                               " ",
                               "rackaware_sort",
                               std::string("\0", 1),
                               std::string("lo\0", 3),
                               std::string("l\0cal", 5),
                               std::string(100000, 'l'),
                               std::string("rackaware-\0", 11)};
  for (const std::string& name : names) {
    EXPECT_EQ(choose(name), -1) << name;
    EXPECT_EQ(globalBlkCmd, GET_BLK_RACKAWARE) << name;
  }
}

TEST_F(GetBlkCmdNative, PositiveBlockSizeBecomesTheDefault) {
  defaultDFSBlockSize = 7;
  EXPECT_EQ(choose("shared", 128 * MiB), 1);
  EXPECT_EQ(defaultDFSBlockSize, 128 * MiB);
  EXPECT_EQ(choose("shared", 1), 1);
  EXPECT_EQ(defaultDFSBlockSize, 1u);
}

TEST_F(GetBlkCmdNative, OtherBlockSizesKeepTheDefault) {
  defaultDFSBlockSize = 7;
  for (const jlong size : {jlong{0}, jlong{-1}, std::numeric_limits<jlong>::min()}) {
    EXPECT_EQ(choose("shared", size), 1);
    EXPECT_EQ(defaultDFSBlockSize, 7u);
  }
}

TEST_F(GetBlkCmdNative, BlockSizeCountsEvenWithAnUnknownName) {
  globalBlkCmd = GET_BLK_SHARED;
  EXPECT_EQ(choose("nonsense", 64 * MiB), -1);
  EXPECT_EQ(defaultDFSBlockSize, 64 * MiB);
  EXPECT_EQ(getBlkCmd(env, nullptr, nullptr, 32 * MiB), -1);
  EXPECT_EQ(defaultDFSBlockSize, 32 * MiB);
  EXPECT_EQ(globalBlkCmd, GET_BLK_SHARED);
}

TEST_F(GetBlkCmdNative, NullNameIsUnknown) {
  globalBlkCmd = GET_BLK_SHARED;
  EXPECT_EQ(getBlkCmd(env, nullptr, nullptr, 0), -1);
  EXPECT_EQ(globalBlkCmd, GET_BLK_SHARED);
  EXPECT_EQ(takeJavaError(), std::nullopt);
}

// --- the dispatcher ---

class Dispatch : public JvmTest {
 protected:
  Dispatch() {
    defaultDFSBlockSize = 128 * MiB;
    out << "before";  // the record is rewritten where it began, not at the start
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

  // The stream's record is the final `loc`, and the stream goes on at its end.
  void expectStream(const std::string& record, const std::string& entries) {
    EXPECT_EQ(bytesOfLocation(loc), record);
    out << "after";
    EXPECT_EQ(out.str(), "before" + record + entries + "after");
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
      out.str("");
      EXPECT_EQ(ask(cmd, 0, 0, statusOf(4096, 4096, type | 0755)), 0);
      EXPECT_EQ(out.str(), locationBytes(0, 0, 0, 0, 0));
    }
  }
  EXPECT_THAT(client.calls(), IsEmpty());
  EXPECT_THAT(takeLog(), IsEmpty());
}

TEST_F(Dispatch, UnknownPolicyIsAnErrorLineAndNothingElse) {
  for (const int cmd : {4, -1, 1 << 30}) {
    out.str("");
    EXPECT_EQ(ask(cmd, 1, 2), 0);
    EXPECT_EQ(out.str(), locationBytes(1, 2, 0, 0, 0));
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
    out.str("");
    client.fail(EPERM);
    EXPECT_EQ(ask(cmd, 0, 16 * MiB), EPERM);
    EXPECT_EQ(out.str(), locationBytes(0, 16 * MiB, 0, 0, 1));
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
    out.str("");
    client.blockInfo(2, {1});
    client.blockLocations(8065, 1, 4 * MiB, {});
    EXPECT_EQ(ask(cmd, 0, 16 * MiB), EIO);
    EXPECT_EQ(out.str(), locationBytes(0, 16 * MiB, 4 * MiB, 0, 0));
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
