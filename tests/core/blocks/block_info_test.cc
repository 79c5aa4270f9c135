#include <cerrno>

#include "blocks/query.h"
#include "core/blocks/query_fixture.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class BlockInfo : public QueryTest {
 protected:
  int ask(std::uint64_t fsBlockSize) {
    loc = rangeOf(0, 0, fsBlockSize);
    errno = 0;
    return getBlkInfoInternal(7, loc);
  }

  KeptSettings kept;
};

TEST_F(BlockInfo, RequestIsExact) {
  client.blockInfo(2, {3});
  EXPECT_EQ(ask(4 * MiB), 0);
  ASSERT_EQ(client.calls().size(), 1u);
  EXPECT_EQ(client.calls()[0].function, "zorf_fcntl");
  EXPECT_EQ(client.calls()[0].fd, 7);
  EXPECT_EQ(client.calls()[0].request, blockInfoRequest());
}

TEST_F(BlockInfo, FactorTimesFileSystemBlockIsTheHdfsBlock) {
  client.blockInfo(2, {3});
  loc.nblock = 5;
  EXPECT_EQ(ask(4 * MiB), 0);
  EXPECT_EQ(loc.blocksize, 12 * MiB);
  EXPECT_EQ(loc.nreplica, 2);
  EXPECT_EQ(loc.nblock, 0);
  EXPECT_THAT(takeLogWithoutLines(), ElementsAre("debug @getBlkInfoInternal:# bgf: 3"));
}

TEST_F(BlockInfo, FactorIsReadBigEndian) {
  client.reply({0, 0, [](unsigned char* buffer) {
                  buffer[80] = 0x00;
                  buffer[81] = 0x01;
                  buffer[82] = 0x02;
                  buffer[83] = 0x03;
                }});
  EXPECT_EQ(ask(1), 0);
  EXPECT_EQ(loc.blocksize, 0x010203u);
}

TEST_F(BlockInfo, NegativeFactorIsSignExtended) {
  client.blockInfo(1, {-2});
  EXPECT_EQ(ask(4 * MiB), 0);
  EXPECT_EQ(loc.blocksize, 0 - 8 * MiB);
  EXPECT_THAT(takeLogWithoutLines(), ElementsAre("debug @getBlkInfoInternal:# bgf: -2"));
}

TEST_F(BlockInfo, FactorOfZeroLeavesNoBlockSize) {
  client.blockInfo(1, {0});
  EXPECT_EQ(ask(4 * MiB), 0);
  EXPECT_EQ(loc.blocksize, 0u);
  EXPECT_THAT(takeLogWithoutLines(), ElementsAre("debug @getBlkInfoInternal:# bgf: 0"));
}

TEST_F(BlockInfo, LargestFactorDoesNotOverflow) {
  client.blockInfo(1, {0x7fffffff});
  EXPECT_EQ(ask(4 * MiB), 0);
  EXPECT_EQ(loc.blocksize, 0x7fffffffu * (4 * MiB));
}

TEST_F(BlockInfo, WithoutFactorTheDefaultHolds) {
  defaultDFSBlockSize = 128 * MiB;
  client.blockInfo(3, {});
  EXPECT_EQ(ask(4 * MiB), 0);
  EXPECT_EQ(loc.blocksize, 128 * MiB);
  EXPECT_EQ(loc.nreplica, 3);
  EXPECT_THAT(
      takeLogWithoutLines(),
      ElementsAre("warn @getBlkInfoInternal:# bgf is not set, uses default block size: 134217728"));
}

TEST_F(BlockInfo, DefaultIsRoundedUpToTheFileSystemBlock) {
  defaultDFSBlockSize = 128 * MiB;
  client.blockInfo(2, {});
  EXPECT_EQ(ask(3 * MiB), 0);
  EXPECT_EQ(loc.blocksize, 129 * MiB);
  EXPECT_THAT(
      takeLogWithoutLines(),
      ElementsAre("warn @getBlkInfoInternal:# bgf is not set, uses default block size: 134217728",
                  "warn @getBlkInfoInternal:# fs blocksize 3145728 returns aligned blocksize "
                  "135266304"));
}

TEST_F(BlockInfo, DefaultSmallerThanTheFileSystemBlockBecomesOne) {
  defaultDFSBlockSize = 1;
  client.blockInfo(2, {});
  EXPECT_EQ(ask(4 * MiB), 0);
  EXPECT_EQ(loc.blocksize, 4 * MiB);
}

TEST_F(BlockInfo, DefaultNeverSetStaysZero) {
  defaultDFSBlockSize = 0;
  client.blockInfo(2, {});
  EXPECT_EQ(ask(4 * MiB), 0);
  EXPECT_EQ(loc.blocksize, 0u);
  EXPECT_THAT(takeLogWithoutLines(),
              ElementsAre("warn @getBlkInfoInternal:# bgf is not set, uses default block size: 0"));
}

TEST_F(BlockInfo, AnyErrReasonMeansNoFactor) {
  defaultDFSBlockSize = 8 * MiB;
  client.reply({0, 0, [](unsigned char* buffer) {
                  buffer[71] = 0x80;  // the top bit of errReason
                  buffer[83] = 5;     // a factor that must not count
                }});
  EXPECT_EQ(ask(4 * MiB), 0);
  EXPECT_EQ(loc.blocksize, 8 * MiB);
}

TEST_F(BlockInfo, FailureKeepsErrnoAndTheFirstSettings) {
  client.fail(EIO);
  EXPECT_EQ(ask(4 * MiB), -1);
  EXPECT_EQ(errno, EIO);
  EXPECT_EQ(bytesOfLocation(loc), locationBytes(0, 0, 0, 0, 1));
  EXPECT_THAT(takeLog(), IsEmpty());
}

TEST_F(BlockInfo, PositiveResultIsNoFailure) {
  client.reply({5, 0, [](unsigned char* buffer) { buffer[83] = 2; }});
  EXPECT_EQ(ask(4 * MiB), 0);
  EXPECT_EQ(loc.blocksize, 8 * MiB);
}

TEST_F(BlockInfo, ReplicaCountIsPassedOnAsItIs) {
  for (const int replicas : {0, -1, INT32_MIN, INT32_MAX}) {
    client.blockInfo(replicas, {3});
    EXPECT_EQ(ask(4 * MiB), 0);
    EXPECT_EQ(bytesOfLocation(loc), locationBytes(0, 0, 12 * MiB, 0, replicas));
  }
}

TEST_F(BlockInfo, NegativeDescriptorTouchesNothing) {
  loc = rangeOf(1, 2, 3);
  const std::string before = bytesOfLocation(loc);
  EXPECT_EQ(getBlkInfoInternal(-1, loc), -1);
  EXPECT_EQ(bytesOfLocation(loc), before);
  EXPECT_THAT(client.calls(), IsEmpty());
}

TEST_F(BlockInfo, FileSystemBlockOfZeroIsInvalid) {
  defaultDFSBlockSize = 128 * MiB;
  client.blockInfo(2, {});
  EXPECT_EQ(ask(0), -1);
  EXPECT_EQ(errno, EINVAL);
}

TEST_F(BlockInfo, WarnLinesNeedWarnOnly) {
  defaultDFSBlockSize = 5;
  logger2::currentLevel = LOG_WARN;
  client.blockInfo(2, {});
  EXPECT_EQ(ask(4), 0);
  EXPECT_EQ(takeLog().size(), 2u);
  logger2::currentLevel = LOG_ERROR;
  client.blockInfo(2, {});
  EXPECT_EQ(ask(4), 0);
  logger2::currentLevel = LOG_INFO;
  client.blockInfo(2, {1});
  EXPECT_EQ(ask(4), 0);
  EXPECT_THAT(takeLog(), IsEmpty());
}

TEST_F(BlockInfo, NameWithoutTerminatorIsTheStaticString) {
  EXPECT_EQ(std::string(ZORF_BGF), "zorf.BGF");
  EXPECT_EQ(std::string(USER_BGF), "user.BGF");
}

}  // namespace
