#include "blocks/query.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>

#include "core/blocks/query_fixture.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class BlockLocations : public QueryTest {
 protected:
  // Asks for a range of a file of `size` bytes.
  int ask(std::uint64_t offset, std::uint64_t length, std::uint64_t blocksize, std::uint64_t size) {
    loc = rangeOf(offset, length, blocksize);
    struct stat st = statusOf(size, 4 * MiB);
    errno = 0;
    return getBlkLocation(9, st, loc, out);
  }
};

TEST_F(BlockLocations, OneReplyIsPassedThrough) {
  client.blockLocations(2, 2, 4 * MiB, {1, 2, -7, 70, 3, 4, 0, 9});
  EXPECT_EQ(ask(0, 8 * MiB, 4 * MiB, 8 * MiB), 0);
  EXPECT_THAT(requests(), ElementsAre(locationsRequest(0, 4 * MiB, 8 * MiB)));
  EXPECT_EQ(out.bytes, words({1, 2, -7, 70, 3, 4, 0, 9}));
  EXPECT_EQ(bytesOfLocation(loc), locationBytes(0, 8 * MiB, 4 * MiB, 2, 2));
  EXPECT_THAT(takeLogWithoutLines(),
              ElementsAre("debug @getBlkLocation:# requested offset=0 length=8388608 "
                          "returned length=8388608 replicas=2 blocks=2 skipfactor=4194304"));
}

TEST_F(BlockLocations, OffsetIsMovedDownToItsBlock) {
  client.blockLocations(1, 2, 4 * MiB, {1, 0, 2, 0});
  EXPECT_EQ(ask(5 * MiB + 3, 4 * MiB, 4 * MiB, 64 * MiB), 0);
  EXPECT_THAT(requests(), ElementsAre(locationsRequest(4 * MiB, 4 * MiB, 5 * MiB + 3)));
  // The caller's own range stays as it was asked.
  EXPECT_EQ(bytesOfLocation(loc), locationBytes(5 * MiB + 3, 4 * MiB, 4 * MiB, 2, 1));
}

TEST_F(BlockLocations, WalkGoesOnUntilTheRangeIsCovered) {
  client.blockLocations(1, 2, 4 * MiB, {1, 10, 2, 20});
  client.blockLocations(1, 1, 4 * MiB, {3, 30});
  client.blockLocations(2, 2, 4 * MiB, {4, 5, 40, 50, 6, 7, 60, 70});
  EXPECT_EQ(ask(0, 17 * MiB, 4 * MiB, 64 * MiB), 0);
  EXPECT_THAT(requests(), ElementsAre(locationsRequest(0, 4 * MiB, 17 * MiB),
                                      locationsRequest(8 * MiB, 4 * MiB, 9 * MiB),
                                      locationsRequest(12 * MiB, 4 * MiB, 5 * MiB)));
  EXPECT_EQ(out.bytes, words({1, 10, 2, 20, 3, 30, 4, 5, 40, 50, 6, 7, 60, 70}));
  // The replica count is the last reply's.
  EXPECT_EQ(bytesOfLocation(loc), locationBytes(0, 17 * MiB, 4 * MiB, 5, 2));
  EXPECT_THAT(takeLogWithoutLines(),
              ElementsAre("debug @getBlkLocation:# requested offset=0 length=17825792 "
                          "returned length=8388608 replicas=1 blocks=2 skipfactor=4194304",
                          "debug @getBlkLocation:# requested offset=8388608 length=9437184 "
                          "returned length=4194304 replicas=1 blocks=1 skipfactor=4194304",
                          "debug @getBlkLocation:# requested offset=12582912 length=5242880 "
                          "returned length=8388608 replicas=2 blocks=2 skipfactor=4194304"));
}

TEST_F(BlockLocations, WalkEndsAtTheEndOfTheFile) {
  client.blockLocations(1, 1, 4 * MiB, {1, 0});
  client.blockLocations(1, 1, 4 * MiB, {2, 0});
  EXPECT_EQ(ask(0, 1 * GiB, 4 * MiB, 5 * MiB), 0);
  EXPECT_EQ(client.calls().size(), 2u);
  EXPECT_EQ(loc.nblock, 2);
}

TEST_F(BlockLocations, WalkEndsWhereTheRangeEndsExactly) {
  client.blockLocations(1, 1, 4 * MiB, {1, 0});
  EXPECT_EQ(ask(0, 4 * MiB, 4 * MiB, 64 * MiB), 0);
  EXPECT_EQ(client.calls().size(), 1u);
}

TEST_F(BlockLocations, WalkReusesTheBufferAsTheReplyLeftIt) {
  client.reply({0, 0, [](unsigned char* buffer) {
                  buffer[8] = 0xAB;   // the error offset
                  buffer[52] = 0xCD;  // padding
                  buffer[60] = 1;     // one block without replicas
                  buffer[72] = 0xEF;
                  buffer[64583] = 0x12;
                }});
  client.blockLocations(0, 2, 4 * MiB, {});
  EXPECT_EQ(ask(0, 8 * MiB, 4 * MiB, 64 * MiB), 0);
  ASSERT_EQ(client.calls().size(), 2u);
  const std::string& second = client.calls()[1].request;
  EXPECT_EQ(second[8], '\xAB');
  EXPECT_EQ(second[52], '\xCD');
  EXPECT_EQ(second[72], '\xEF');
  EXPECT_EQ(second[64583], '\x12');
}

TEST_F(BlockLocations, UnknownBlockSizeIsLearntAndTheRangeAlignedAfterTheFirstReply) {
  client.blockLocations(1, 1, 4 * MiB, {1, 0});
  client.blockLocations(1, 2, 4 * MiB, {2, 0, 3, 0});
  EXPECT_EQ(ask(5 * MiB, 6 * MiB, 0, 64 * MiB), 0);
  // The reply in hand was for the range as asked. The skip factor stays "the file system's choice".
  EXPECT_THAT(requests(), ElementsAre(locationsRequest(5 * MiB, 0, 6 * MiB),
                                      locationsRequest(8 * MiB, 0, 3 * MiB)));
  EXPECT_EQ(out.bytes, words({1, 0, 2, 0, 3, 0}));
  EXPECT_EQ(bytesOfLocation(loc), locationBytes(5 * MiB, 6 * MiB, 4 * MiB, 3, 1));
  EXPECT_THAT(takeLogWithoutLines(),
              ElementsAre("debug @getBlkLocation:# requested offset=4194304 length=7340032 "
                          "returned length=4194304 replicas=1 blocks=1 skipfactor=4194304",
                          "debug @getBlkLocation:# requested offset=8388608 length=3145728 "
                          "returned length=8388608 replicas=1 blocks=2 skipfactor=4194304"));
}

TEST_F(BlockLocations, OtherBlockSizeInTheReplyIsLoggedAndTheSkipFactorRules) {
  client.blockLocations(1, 1, 1 * MiB, {1, 0});
  client.blockLocations(1, 1, 4 * MiB, {2, 0});
  EXPECT_EQ(ask(0, 8 * MiB, 4 * MiB, 64 * MiB), 0);
  EXPECT_THAT(requests(), ElementsAre(locationsRequest(0, 4 * MiB, 8 * MiB),
                                      locationsRequest(4 * MiB, 4 * MiB, 4 * MiB)));
  EXPECT_EQ(loc.blocksize, 4 * MiB);
  EXPECT_THAT(takeLogWithoutLines(),
              ElementsAre("debug @getBlkLocation:# skipfactor(4194304) != metaBlockSize(1048576)",
                          "debug @getBlkLocation:# requested offset=0 length=8388608 "
                          "returned length=4194304 replicas=1 blocks=1 skipfactor=4194304",
                          "debug @getBlkLocation:# requested offset=4194304 length=4194304 "
                          "returned length=4194304 replicas=1 blocks=1 skipfactor=4194304"));
}

TEST_F(BlockLocations, LearntBlockSizeRulesTheLaterReplies) {
  client.blockLocations(1, 1, 2 * MiB, {1, 0});
  client.blockLocations(1, 1, 1 * MiB, {2, 0});
  EXPECT_EQ(ask(0, 4 * MiB, 0, 64 * MiB), 0);
  EXPECT_EQ(loc.blocksize, 2 * MiB);
  EXPECT_EQ(takeLogWithoutLines()[1],
            "debug @getBlkLocation:# skipfactor(2097152) != metaBlockSize(1048576)");
}

// The composition of the two words is kept: callers' block sizes come out of it.
TEST_F(BlockLocations, LowWordWithItsTopBitSetBorrowsFromTheHighWord) {
  client.blockLocations(1, 1, 0x180000000u, {1, 0});
  EXPECT_EQ(ask(0, 1, 0, 64 * MiB), 0);
  EXPECT_EQ(loc.blocksize, 0x80000000u);
}

TEST_F(BlockLocations, HighWordCounts) {
  client.blockLocations(1, 1, 0x300000001u, {1, 0});
  EXPECT_EQ(ask(0, 1, 0, 64 * MiB), 0);
  EXPECT_EQ(loc.blocksize, 0x300000001u);
}

TEST_F(BlockLocations, BlockSizeOf2GiBFromTheLowWordAloneBecomesHuge) {
  client.blockLocations(1, 1, 0x80000000u, {1, 0});
  EXPECT_EQ(ask(0, 1, 0, 64 * MiB), 0);
  EXPECT_EQ(loc.blocksize, 0xFFFFFFFF80000000u);
}

TEST_F(BlockLocations, DistanceToTheBlockIsASigned32BitNumber) {
  client.blockLocations(1, 1, 8 * GiB, {1, 0});
  EXPECT_EQ(ask(3 * GiB, 4 * GiB, 8 * GiB, 64 * GiB), 0);
  // 3 GiB reads as -1 GiB.
  EXPECT_THAT(requests(), ElementsAre(locationsRequest(4 * GiB, 8 * GiB, 3 * GiB)));
}

TEST_F(BlockLocations, ZeroLengthOnAnEmptyFileIsSentAsZero) {
  client.blockLocations(1, 0, 0, {});
  EXPECT_EQ(ask(0, 0, 0, 0), 0);
  EXPECT_THAT(requests(), ElementsAre(locationsRequest(0, 0, 0)));
  EXPECT_EQ(bytesOfLocation(loc), locationBytes(0, 0, 0, 0, 1));
}

TEST_F(BlockLocations, ZeroLengthOnAFileWithDataIsSentAsOne) {
  client.blockLocations(1, 1, 4 * MiB, {8, 0});
  EXPECT_EQ(ask(0, 0, 4 * MiB, 1), 0);
  EXPECT_THAT(requests(), ElementsAre(locationsRequest(0, 4 * MiB, 1)));
  EXPECT_EQ(bytesOfLocation(loc), locationBytes(0, 0, 4 * MiB, 1, 1));
}

TEST_F(BlockLocations, ZeroLengthInsideABlockIsTheDistanceToItsStart) {
  client.blockLocations(1, 1, 4 * MiB, {8, 0});
  EXPECT_EQ(ask(5 * MiB, 0, 4 * MiB, 64 * MiB), 0);
  EXPECT_THAT(requests(), ElementsAre(locationsRequest(4 * MiB, 4 * MiB, 1 * MiB)));
}

TEST_F(BlockLocations, ReplyWithoutBlocksIsAskedForAgain) {
  for (int i = 0; i < 5; ++i) client.blockLocations(1, 0, 4 * MiB, {});
  client.blockLocations(1, 1, 4 * MiB, {8, 0});
  EXPECT_EQ(ask(0, 4 * MiB, 4 * MiB, 64 * MiB), 0);
  EXPECT_EQ(client.calls().size(), 6u);
  for (const std::string& request : requests()) {
    EXPECT_EQ(request, locationsRequest(0, 4 * MiB, 4 * MiB));
  }
  EXPECT_EQ(out.bytes, words({8, 0}));
}

TEST_F(BlockLocations, ReplyWithNeitherBlocksNorTheirSizeIsAskedForAgain) {
  client.blockLocations(1, 0, 0, {});
  client.blockLocations(1, 1, 4 * MiB, {9, 0});
  EXPECT_EQ(ask(5 * MiB, 1, 0, 64 * MiB), 0);
  EXPECT_THAT(requests(),
              ElementsAre(locationsRequest(5 * MiB, 0, 1), locationsRequest(5 * MiB, 0, 1)));
  EXPECT_EQ(bytesOfLocation(loc), locationBytes(5 * MiB, 1, 4 * MiB, 1, 1));
}

// They would be appended for ever, since none of them is an advance.
TEST_F(BlockLocations, BlocksOfNoSizeAreInvalidWhereTheRangeGoesOn) {
  client.blockLocations(1, 1, 0, {8, 0});
  EXPECT_EQ(ask(5 * MiB, 1, 0, 64 * MiB), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(out.bytes, words({8, 0}));
  EXPECT_EQ(bytesOfLocation(loc), locationBytes(5 * MiB, 1, 0, 0, 0));
  EXPECT_THAT(takeLogWithoutLines(),
              ElementsAre("debug @getBlkLocation:# requested offset=5242880 length=1 "
                          "returned length=0 replicas=1 blocks=1 skipfactor=0"));
}

TEST_F(BlockLocations, BlocksOfNoSizePastTheEndAreTheAnswer) {
  client.blockLocations(1, 2, 0, {8, 0, 9, 0});
  EXPECT_EQ(ask(64 * MiB, 1, 0, 64 * MiB), 0);
  EXPECT_EQ(out.bytes, words({8, 0, 9, 0}));
  EXPECT_EQ(bytesOfLocation(loc), locationBytes(64 * MiB, 1, 0, 2, 1));
}

// 2^63 bytes twice are none.
TEST_F(BlockLocations, BlocksWhoseBytesWrapToNoneAreInvalid) {
  client.blockLocations(1, 2, std::uint64_t{1} << 63, {8, 0, 9, 0});
  EXPECT_EQ(ask(0, 1, 0, 64 * MiB), -1);
  EXPECT_EQ(errno, EINVAL);
}

// A file of `size` bytes that the file system holds no blocks for, whatever it is asked.
class CutFile {
 public:
  explicit CutFile(off_t size) : fd_(memfd_create("cut", MFD_CLOEXEC)) {
    EXPECT_EQ(ftruncate(fd_, size), 0);
  }
  ~CutFile() { close(fd_); }
  CutFile(const CutFile&) = delete;
  CutFile& operator=(const CutFile&) = delete;

  int fd() const { return fd_; }

 private:
  int fd_;
};

TEST_F(BlockLocations, AFileCutMeanwhileEndsTheWalk) {
  const CutFile file(8 * MiB);
  int asked = 0;
  client.answerWith([&](unsigned char* buffer) {
    // Blocks for the first 8 MiB, none beyond.
    const std::int32_t counts[] = {1, asked++ == 0 ? 2 : 0, 4 * MiB, 0};
    std::memcpy(buffer + 56, counts, sizeof counts);
    return 0;
  });
  loc = rangeOf(0, 64 * MiB, 0);
  struct stat st = statusOf(64 * MiB, 4 * MiB);  // as it was before
  EXPECT_EQ(getBlkLocation(file.fd(), st, loc, out), 0);
  EXPECT_EQ(asked, 101);
  EXPECT_EQ(bytesOfLocation(loc), locationBytes(0, 64 * MiB, 4 * MiB, 2, 1));
  EXPECT_EQ(out.bytes.size(), 16u);
}

TEST_F(BlockLocations, AFileThatIsStillThereIsAskedAboutAgain) {
  const CutFile file(8 * MiB + 1);
  int asked = 0;
  client.answerWith([&](unsigned char* buffer) {
    const std::int32_t counts[] = {1, ++asked == 250 ? 1 : 0, 16 * MiB, 0};
    std::memcpy(buffer + 56, counts, sizeof counts);
    return 0;
  });
  loc = rangeOf(8 * MiB, 1, 0);
  struct stat st = statusOf(64 * MiB, 4 * MiB);
  EXPECT_EQ(getBlkLocation(file.fd(), st, loc, out), 0);
  EXPECT_EQ(asked, 250);
  EXPECT_EQ(loc.nblock, 1);
}

TEST_F(BlockLocations, AFileThatCantBeAskedEndsTheWalkWithItsErrno) {
  client.answerWith([](unsigned char*) { return 0; });
  loc = rangeOf(0, 1, 4 * MiB);
  struct stat st = statusOf(64 * MiB, 4 * MiB);
  EXPECT_EQ(getBlkLocation(INT_MAX, st, loc, out), -1);
  EXPECT_EQ(errno, EBADF);
}

TEST_F(BlockLocations, BlocksWithoutReplicasHaveNoBytes) {
  client.blockLocations(0, 3, 4 * MiB, {});
  EXPECT_EQ(ask(0, 12 * MiB, 4 * MiB, 64 * MiB), 0);
  EXPECT_EQ(out.bytes, "");
  EXPECT_EQ(loc.nblock, 3);
  EXPECT_EQ(loc.nreplica, 0);
}

TEST_F(BlockLocations, AsManyBlocksWithoutReplicasAsANumberHolds) {
  client.blockLocations(0, INT32_MAX, 4 * MiB, {});
  EXPECT_EQ(ask(0, 12 * MiB, 4 * MiB, 64 * MiB), 0);
  EXPECT_EQ(out.bytes, "");
  EXPECT_EQ(loc.nblock, INT32_MAX);
}

TEST_F(BlockLocations, FirstFailureLeavesNothing) {
  client.fail(ESTALE);
  EXPECT_EQ(ask(0, 8 * MiB, 0, 64 * MiB), -1);
  EXPECT_EQ(errno, ESTALE);
  EXPECT_EQ(out.bytes, "");
  EXPECT_EQ(bytesOfLocation(loc), locationBytes(0, 8 * MiB, 0, 0, 0));
  EXPECT_THAT(takeLog(), IsEmpty());
}

TEST_F(BlockLocations, LaterFailureKeepsTheEntriesButNotTheCounts) {
  client.blockLocations(1, 1, 4 * MiB, {1, 0});
  client.blockLocations(1, 1, 4 * MiB, {2, 0});
  client.fail(ESTALE);
  EXPECT_EQ(ask(0, 16 * MiB, 0, 64 * MiB), -1);
  EXPECT_EQ(errno, ESTALE);
  EXPECT_EQ(out.bytes, words({1, 0, 2, 0}));
  EXPECT_EQ(bytesOfLocation(loc), locationBytes(0, 16 * MiB, 4 * MiB, 0, 0));
}

TEST_F(BlockLocations, PositiveResultIsAFailureToo) {
  client.reply({1, ENODATA, nullptr});
  EXPECT_EQ(ask(0, 8 * MiB, 4 * MiB, 64 * MiB), -1);
  EXPECT_EQ(errno, ENODATA);
}

TEST_F(BlockLocations, NegativeDescriptorAsksNothing) {
  loc = rangeOf(1, 2, 3);
  struct stat st = statusOf(100, 10);
  EXPECT_EQ(getBlkLocation(-1, st, loc, out), -1);
  EXPECT_EQ(bytesOfLocation(loc), locationBytes(1, 2, 3, 0, 0));
  EXPECT_THAT(client.calls(), IsEmpty());
}

TEST_F(BlockLocations, OffsetPastTheEndEndsAfterOneReply) {
  client.blockLocations(2, 0, 4 * MiB, {});
  EXPECT_EQ(ask(64 * MiB, 100, 4 * MiB, 8 * MiB), 0);
  EXPECT_EQ(bytesOfLocation(loc), locationBytes(64 * MiB, 100, 4 * MiB, 0, 2));
}

TEST_F(BlockLocations, FullReplyFitsExactly) {
  std::vector<std::int32_t> all(16128);
  for (std::size_t i = 0; i < all.size(); ++i) all[i] = static_cast<std::int32_t>(i * 2654435761u);
  client.blockLocations(2, 4032, 4 * MiB, all);
  EXPECT_EQ(ask(0, 4032 * 4 * MiB, 4 * MiB, 64 * GiB), 0);
  EXPECT_EQ(out.bytes, words(all));
  EXPECT_EQ(loc.nblock, 4032);
}

// What a broken file system may say must not reach beyond the buffer.
TEST_F(BlockLocations, HostileCountsAreIoErrors) {
  const std::pair<int, int> hostile[] = {
      {1, 8065}, {8065, 1},      {3, 2689}, {65536, 65536}, {2, 0x7fffffff}, {0x7fffffff, 1},
      {-1, 1},   {1, -1},        {-1, -1},  {1, INT32_MIN}, {INT32_MIN, 1},  {16384, 262144},
      {-1, 0},   {INT32_MIN, 2}, {0, -1},   {1 << 30, 4},   {1 << 29, 8}};
  for (const auto& [replicas, blocks] : hostile) {
    client.blockLocations(replicas, blocks, 4 * MiB, {});
    EXPECT_EQ(ask(0, 8 * MiB, 4 * MiB, 64 * MiB), -1) << replicas << " x " << blocks;
    EXPECT_EQ(errno, EIO) << replicas << " x " << blocks;
    EXPECT_EQ(out.bytes, "");
    EXPECT_EQ(loc.nblock, 0);
    EXPECT_EQ(loc.nreplica, 0);
  }
}

TEST_F(BlockLocations, NothingIsLoggedAboveDebug) {
  logger2::currentLevel = LOG_INFO;
  client.blockLocations(1, 1, 1 * MiB, {1, 0});
  EXPECT_EQ(ask(0, 1, 4 * MiB, 64 * MiB), 0);
  EXPECT_THAT(takeLog(), IsEmpty());
}

}  // namespace
