// What the library says about files, changes on them, and keeps.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/fsuid.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <thread>
#include <vector>

#include "client.h"

namespace {

constexpr std::uint64_t mib = 1 << 20;
constexpr std::uint64_t block = 4 * mib;

void setAttribute(const TempFile& file, const char* name, const std::string& value) {
  ASSERT_EQ(0, setxattr(file.path().c_str(), name, value.data(), value.size(), 0)) << errno;
}

// The locations of a reply, one line for each entry.
std::string lines(const Locations& found) {
  std::ostringstream out;
  const auto perEntry = static_cast<std::size_t>(2 * found.replicas);
  for (std::size_t i = 0; i < found.words.size(); ++i) {
    out << found.words[i] << ((i + 1) % perEntry == 0 ? '\n' : ' ');
  }
  return out.str();
}

TEST(Files, WithoutAttributesHaveTheDefaults) {
  const TempFile file(9 * mib);
  const BlockInfo info = blockInfo(file.fd());
  EXPECT_EQ(0, info.err);
  EXPECT_EQ(2, info.replicas);
  EXPECT_EQ(std::nullopt, info.factor);
  const Locations found = locations(file.fd(), 0, 0, 9 * mib);
  EXPECT_EQ(0, found.err);
  EXPECT_EQ(2, found.replicas);
  EXPECT_EQ(3, found.blocks);
  EXPECT_EQ(block, found.metaBlockSize);
}

TEST(Files, EntriesGiveLocationsThenRacks) {
  const TempFile file(10 * block);
  const Locations found = locations(file.fd(), 0, 0, 10 * block);
  for (std::size_t entry = 0; entry < 40; entry += 4) {
    EXPECT_EQ(found.words[entry] / 10, found.words[entry + 2]);
    EXPECT_EQ(found.words[entry + 1] / 10, found.words[entry + 3]);
    EXPECT_NE(found.words[entry + 2], found.words[entry + 3]);
  }
}

TEST(Files, RangesAreAnsweredFromTheBlockOfTheirStart) {
  const TempFile file(4 * block + 1);
  const Locations all = locations(file.fd(), 0, 0, 5 * block);
  ASSERT_EQ(5, all.blocks);
  const auto entries = [&](std::uint64_t start, std::uint64_t length) {
    return lines(locations(file.fd(), start, 0, length));
  };
  const auto expected = [&](std::size_t first, std::size_t count) {
    Locations some = all;
    some.words.assign(all.words.begin() + static_cast<std::ptrdiff_t>(4 * first),
                      all.words.begin() + static_cast<std::ptrdiff_t>(4 * (first + count)));
    return lines(some);
  };
  EXPECT_EQ(expected(0, 1), entries(0, 1));
  EXPECT_EQ(expected(0, 2), entries(block - 1, 2));
  EXPECT_EQ(expected(3, 2), entries(3 * block + 5, block));
  EXPECT_EQ(expected(4, 1), entries(4 * block, ~0ULL));
  EXPECT_EQ("", entries(4 * block + 1, block));
  EXPECT_EQ("", entries(~0ULL, ~0ULL));
}

TEST(Files, EmptyOnesHaveNoBlocksAndNoBlockSize) {
  const TempFile file;
  const Locations found = locations(file.fd(), 0, 0, 0);
  EXPECT_EQ(0, found.err);
  EXPECT_EQ(0, found.blocks);
  EXPECT_EQ(0U, found.metaBlockSize);
  EXPECT_EQ(3 * block, locations(file.fd(), 0, 3 * block, 0).metaBlockSize);
}

TEST(Files, SkipFactorGroupsBlocks) {
  const TempFile file(10 * block);
  const Locations all = locations(file.fd(), 0, 0, 10 * block);
  const Locations groups = locations(file.fd(), 0, 3 * block, 10 * block);
  EXPECT_EQ(4, groups.blocks);
  EXPECT_EQ(3 * block, groups.metaBlockSize);
  for (std::size_t group = 0; group < 4; ++group) {
    for (std::size_t i = 0; i < 4; ++i) {
      EXPECT_EQ(all.words[12 * group + i], groups.words[4 * group + i]);
    }
  }
  EXPECT_EQ(1, locations(file.fd(), 0, std::uint64_t{3} << 40, block).blocks);
  EXPECT_EQ(std::uint64_t{3} << 40,
            locations(file.fd(), 0, std::uint64_t{3} << 40, block).metaBlockSize);
}

TEST(Files, SkipFactorOfTheHostFileSystemIsTaken) {
  const TempFile file(3 * block);
  struct stat status = {};
  ASSERT_EQ(0, fstat(file.fd(), &status));
  const auto unit = static_cast<std::uint64_t>(status.st_blksize);
  ASSERT_EQ(0U, block % unit);
  const Locations all = locations(file.fd(), 0, 0, 3 * block);
  const Locations units = locations(file.fd(), block - unit, unit, 2 * unit);
  EXPECT_EQ(2, units.blocks);
  EXPECT_EQ(unit, units.metaBlockSize);
  EXPECT_TRUE(std::equal(units.words.begin(), units.words.end(), all.words.begin()));
  EXPECT_EQ(0, locations(file.fd(), 0, 3 * unit, block).err);
}

TEST(Files, ReplicationChangesTheLayoutOnlyByRestriping) {
  const TempFile file(20 * block);
  const std::string before = lines(locations(file.fd(), 0, 0, 20 * block));
  ASSERT_EQ(0, setReplication(file.fd(), 3));
  EXPECT_EQ(3, blockInfo(file.fd()).replicas);
  EXPECT_EQ(before, lines(locations(file.fd(), 0, 0, 20 * block)));
  ASSERT_EQ(0, restripe(file.fd()));
  EXPECT_EQ(3, locations(file.fd(), 0, 0, 20 * block).replicas);
  ASSERT_EQ(0, setReplication(file.fd(), 2));
  EXPECT_EQ(3, locations(file.fd(), 0, 0, 20 * block).replicas);
  ASSERT_EQ(0, restripe(file.fd()));
  EXPECT_EQ(before, lines(locations(file.fd(), 0, 0, 20 * block)));
}

TEST(Files, EveryReplicaCountIsKept) {
  const TempFile file(block);
  for (int replicas = 1; replicas <= 16; ++replicas) {
    ASSERT_EQ(0, setReplication(file.fd(), replicas));
    ASSERT_EQ(0, restripe(file.fd()));
    EXPECT_EQ(replicas, blockInfo(file.fd()).replicas);
    const Locations found = locations(file.fd(), 0, 0, 1);
    EXPECT_EQ(replicas, found.replicas);
    EXPECT_EQ(static_cast<std::size_t>(replicas),
              std::set<std::int32_t>(found.words.begin(), found.words.begin() + replicas).size());
  }
  EXPECT_EQ(EINVAL, setReplication(file.fd(), 17));
  EXPECT_EQ(16, blockInfo(file.fd()).replicas);
}

TEST(Files, FactorIsKeptBigEndian) {
  const TempFile file;
  for (const std::int32_t factor : {1, 3, 1024, 0x12345678}) {
    ASSERT_EQ(0, setFactor(file.fd(), factor));
    EXPECT_EQ(factor, blockInfo(file.fd()).factor);
  }
  EXPECT_EQ("\x12\x34\x56\x78", file.attribute("user.BGF"));
}

TEST(Files, PropertiesAreKeptForOtherProcesses) {
  const TempFile file(100 * block);
  const std::string where = "locations '" + file.path() + "' 0 0 999999999999";
  EXPECT_EQ("2 none\n", inOtherProcess("info '" + file.path() + "'"));
  EXPECT_EQ(lines(locations(file.fd(), 0, 0, ~0ULL)), inOtherProcess(where));
  EXPECT_EQ("", inOtherProcess("set '" + file.path() + "' 4 7"));
  EXPECT_EQ(4, blockInfo(file.fd()).replicas);
  EXPECT_EQ(7, blockInfo(file.fd()).factor);
  EXPECT_EQ("4 7\n", inOtherProcess("info '" + file.path() + "'"));
  EXPECT_EQ(4, locations(file.fd(), 0, 0, 1).replicas);
  EXPECT_EQ(lines(locations(file.fd(), 0, 0, ~0ULL)), inOtherProcess(where));
}

TEST(Files, LongOnesTakeSeveralReplies) {
  const std::uint64_t size = std::uint64_t{1} << 40;
  const TempFile file(size);
  const std::uint64_t blocks = size / block;
  std::uint64_t seen = 0;
  int replies = 0;
  for (std::uint64_t offset = 0; offset < size; ++replies) {
    const Locations found = locations(file.fd(), offset, 0, size - offset);
    ASSERT_EQ(0, found.err);
    ASSERT_EQ(2, found.replicas);
    const std::uint64_t left = blocks - seen;
    ASSERT_EQ(left < 4032 ? left : 4032, static_cast<std::uint64_t>(found.blocks));
    for (std::size_t i = 0; i < found.words.size(); i += 4) {
      ASSERT_NE(found.words[i + 2], found.words[i + 3]) << "one rack has both replicas";
    }
    seen += static_cast<std::uint64_t>(found.blocks);
    offset += block * static_cast<std::uint64_t>(found.blocks);
  }
  EXPECT_EQ(blocks, seen);
  EXPECT_EQ(66, replies);
}

// How many blocks each reply for the whole file has, in the order of its bytes.
std::vector<std::int32_t> replies(const TempFile& file, std::uint64_t size, std::uint64_t unit) {
  std::vector<std::int32_t> counts;
  for (std::uint64_t offset = 0; offset < size && counts.size() < 100;) {
    const Locations found = locations(file.fd(), offset, unit, size - offset);
    EXPECT_EQ(0, found.err);
    counts.push_back(found.blocks);
    offset += unit * static_cast<std::uint64_t>(found.blocks);
  }
  return counts;
}

TEST(Files, FullRepliesEndWithAWholeGroupOfBlocks) {
  using Counts = std::vector<std::int32_t>;
  const TempFile file(5000 * block);
  EXPECT_EQ((Counts{4032, 968}), replies(file, 5000 * block, block));
  ASSERT_EQ(0, setReplication(file.fd(), 5));
  ASSERT_EQ(0, restripe(file.fd()));
  EXPECT_EQ((Counts{1600, 1600, 1600, 200}), replies(file, 5000 * block, block));
  ASSERT_EQ(0, setFactor(file.fd(), 500));
  EXPECT_EQ((Counts{1500, 1500, 1500, 500}), replies(file, 5000 * block, block));
  ASSERT_EQ(0, setFactor(file.fd(), 1612));
  EXPECT_EQ((Counts{1612, 1612, 1612, 164}), replies(file, 5000 * block, block));
  // More than there is room for.
  ASSERT_EQ(0, setFactor(file.fd(), 1613));
  EXPECT_EQ((Counts{1612, 1612, 1612, 164}), replies(file, 5000 * block, block));
}

TEST(Files, BlocksOfTheHostFileSystemAreToldOneByOneInFullReplies) {
  const TempFile file(100 * mib);
  struct stat status = {};
  ASSERT_EQ(0, fstat(file.fd(), &status));
  const auto unit = static_cast<std::uint64_t>(status.st_blksize);
  ASSERT_EQ(0, setFactor(file.fd(), 100));
  const auto units = static_cast<std::int32_t>(100 * mib / unit);
  const std::vector<std::int32_t> counts = replies(file, 100 * mib, unit);
  std::int32_t told = 0;
  for (const std::int32_t count : counts) {
    told += count;
    EXPECT_EQ(told == units ? units % 4000 : 4000, count);
  }
  EXPECT_EQ(units, told);
}

TEST(Files, AFactorThatCannotBeIsNoGroup) {
  const TempFile file(5000 * block);
  for (const std::string& value : {std::string("abc"), std::string(4, '\0')}) {
    setAttribute(file, "user.BGF", value);
    EXPECT_EQ(4032, locations(file.fd(), 0, 0, ~0ULL).blocks);
  }
}

TEST(Files, DirectoriesHavePropertiesButNoBlocks) {
  const int fd =
      open(std::filesystem::temp_directory_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  EXPECT_EQ(2, blockInfo(fd).replicas);
  EXPECT_EQ(EINVAL, locations(fd, 0, 0, 1).err);
  EXPECT_EQ(EINVAL, restripe(fd));
  close(fd);
}

TEST(Files, AttributesThatCannotBeAreIoErrors) {
  for (const char* value : {"", "0", "17", "two", "3 ", "123456789", "-1"}) {
    const TempFile file(block);
    setAttribute(file, "user.zorf.replication", value);
    EXPECT_EQ(EIO, blockInfo(file.fd()).err) << value;
    EXPECT_EQ(EIO, restripe(file.fd())) << value;
    setAttribute(file, "user.zorf.layout", value);
    EXPECT_EQ(EIO, locations(file.fd(), 0, 0, 1).err) << value;
    EXPECT_EQ(0, setReplication(file.fd(), 2));
    EXPECT_EQ(0, restripe(file.fd()));
    EXPECT_EQ(2, locations(file.fd(), 0, 0, 1).replicas);
  }
  for (const char* value : {"", "abc", "abcde"}) {
    const TempFile file;
    setAttribute(file, "user.BGF", value);
    auto request = blockInfoRequest();
    EXPECT_EQ(-1, client().fcntl(file.fd(), &request)) << value;
    EXPECT_EQ(EIO, errno);
    EXPECT_EQ(48U, request.header.errorOffset);
  }
}

TEST(Files, ChangesNeedPermissionToWriteTheFile) {
  const TempFile file(block);
  ASSERT_EQ(0, chmod(file.path().c_str(), 0444));
  std::thread([&] {
    if (geteuid() == 0) setfsuid(65534);  // this thread only, which ends
    EXPECT_EQ(EACCES, setReplication(file.fd(), 3));
    EXPECT_EQ(EACCES, setFactor(file.fd(), 3));
    EXPECT_EQ(EACCES, restripe(file.fd()));
    EXPECT_EQ(2, blockInfo(file.fd()).replicas);
    auto request = replicationRequest(3);
    client().fcntl(file.fd(), &request);
    EXPECT_EQ(16U, request.header.errorOffset);
  }).join();
}

TEST(Files, WithoutUserAttributesCanBeReadButNotChanged) {
  const int fd = open("/proc/self/maps", O_RDONLY | O_CLOEXEC);
  ASSERT_EQ(-1, fsetxattr(fd, "user.zorf.replication", "3", 1, 0));
  const int err = errno;
  EXPECT_EQ(2, blockInfo(fd).replicas);
  EXPECT_EQ(std::nullopt, blockInfo(fd).factor);
  EXPECT_EQ(err, setReplication(fd, 3));
  EXPECT_EQ(err, setFactor(fd, 3));
  close(fd);
}

TEST(Files, ManyThreadsMayAskAndChange) {
  const TempFile file(1000 * block);
  ASSERT_EQ(0, setReplication(file.fd(), 3));
  const std::string expected = lines(locations(file.fd(), 0, 0, ~0ULL));
  std::atomic<int> wrong = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 200; ++i) {
    threads.emplace_back([&, i] {
      const TempFile own(block);
      for (int turn = 1; turn <= 5; ++turn) {
        const std::int32_t factor = 1000 * i + turn;
        if (setFactor(own.fd(), factor) != 0 || blockInfo(own.fd()).factor != factor) ++wrong;
        if (setReplication(file.fd(), 3) != 0 || blockInfo(file.fd()).replicas != 3) ++wrong;
        if (lines(locations(file.fd(), 0, 0, ~0ULL)) != expected) ++wrong;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(0, wrong);
}

}  // namespace
