// getBlockLocationsNative and getBlockSizeNative.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "blocks/fileobj.h"
#include "blocks/natives_fixture.h"
#include "blocks/policy.h"
#include "blocks/query.h"
#include "support/java_values.h"
#include "zorf_native.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::IsEmpty;

constexpr auto& getBlockLocationsNative =
    Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_getBlockLocationsNative;
constexpr auto& getBlockSizeNative =
    Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_getBlockSizeNative;

const std::string LOCATIONS = "getBlockLocationsNative";
const std::string SIZE = "getBlockSizeNative";

struct stat statOf(const std::string& path) {
  struct stat st {};
  EXPECT_EQ(stat(path.c_str(), &st), 0);
  return st;
}

class BlockLocationsNative : public BlockNativesTest {
 protected:
  // Empty when the native returns null.
  std::string ask(const std::string& path, jlong offset, jlong length,
                  jbyteArray status = nullptr) {
    jbyteArray result =
        getBlockLocationsNative(env, nullptr, javaString(path), offset, length, status);
    return raised(result == nullptr) ? "" : bytesOf(result);
  }

  std::string requestLine(const std::string& path, const struct stat& st, const std::string& offset,
                          const std::string& length) {
    return line("debug", LOCATIONS,
                path + " inode " + std::to_string(st.st_ino) + " offset " + offset +
                    " request length " + length + " filelen " + std::to_string(st.st_size));
  }
};

TEST_F(BlockLocationsNative, StreamOfAFile) {
  globalBlkCmd = GET_BLK_LOCAL;
  const std::string path = file("data", 8 * MiB);
  client.blockLocations(2, 2, 4 * MiB, {1, 2, 8, 9, 3, 4, 8, 9});
  EXPECT_EQ(ask(path, 0, static_cast<jlong>(8 * MiB)),
            locationBytes(0, 8 * MiB, 4 * MiB, 2, 2) + words({1, 2, 8, 9, 3, 4, 8, 9}));
  EXPECT_THAT(ownLines(),
              ElementsAre(requestLine(path, statOf(path), "0", "8388608"),
                          "debug @getBlkLocation:# requested offset=0 length=8388608 returned "
                          "length=8388608 replicas=2 blocks=2 skipfactor=4194304"));
}

TEST_F(BlockLocationsNative, ReplicaCountOfASharedFileIsPassedOnAsItIs) {
  globalBlkCmd = GET_BLK_SHARED;
  const std::string path = file("data", 8 * MiB);
  client.blockInfo(-3, {1024});
  EXPECT_EQ(ask(path, 0, 1), locationBytes(0, 1, 4 * MiB, 0, -3));
}

// Known at the first reply, so that neither the client library is asked millions of times nor
// memory filled for a result that can't be given.
TEST_F(BlockLocationsNative, WhatNoJavaArrayHoldsIsRefusedAtOnce) {
  constexpr std::uint64_t sparse = std::uint64_t{7} << 60;
  struct stat st = statusOf(sparse, 4 * MiB);
  const std::string path = file("data", 0);
  for (const GetBlkCmd policy : {GET_BLK_LOCAL, GET_BLK_RACKAWARE, GET_BLK_RACKAWARE_SORT}) {
    SCOPED_TRACE(policy);
    globalBlkCmd = policy;
    int asked = 0;
    client.answerWith([&](unsigned char* buffer) {
      const bool isInfo = buffer[0] == 104;
      asked += isInfo ? 0 : 1;
      const std::int32_t counts[] = {2, 4000, 4 * MiB, 0};
      std::memcpy(buffer + (isInfo ? 32 : 56), counts, isInfo ? 4 : sizeof counts);
      if (isInfo) buffer[83] = 1;
      return 0;
    });
    EXPECT_EQ(ask(path, 0, static_cast<jlong>(sparse), javaBytes(bytesOfStatus(st))), "");
    EXPECT_EQ(lastError, errorFor(ENOMEM, ""));
    EXPECT_EQ(asked, 1);
  }
}

TEST_F(BlockLocationsNative, RankedLocationsOfAFile) {
  globalBlkCmd = GET_BLK_RACKAWARE_SORT;
  struct stat st = statusOf(16 * MiB, 4 * MiB);
  client.blockInfo(3, {4});
  client.blockLocations(3, 4, 4 * MiB, {5, 7, 9, 0, 0, 0, 5, 7, 9, 0, 0, 0,  //
                                        5, 7, 2, 0, 0, 0, 5, 8, 2, 0, 0, 0});
  EXPECT_EQ(ask(file("data", 0), 0, 1 << 24, javaBytes(bytesOfStatus(st))),
            locationBytes(0, 16 * MiB, 16 * MiB, 1, 3) + words({5, 7, 9, 4, 3, 2}));
}

TEST_F(BlockLocationsNative, LengthBeyondTheEndIsClamped) {
  globalBlkCmd = GET_BLK_SHARED;
  const std::string path = file("data", 100);
  client.blockInfo(2, {1});
  EXPECT_EQ(ask(path, 40, 61).substr(0, 16), locationBytes(40, 60, 0, 0, 0).substr(0, 16));
  EXPECT_THAT(
      ownLines(),
      Contains("debug @getBlkLocationInt:# Request length 61 is greater than file length 100"));
}

TEST_F(BlockLocationsNative, ClientIsAskedAsRoot) {
  globalBlkCmd = GET_BLK_RACKAWARE;
  NEEDS_ROOT();
  const std::string path = file("data", 100);
  client.blockInfo(2, {1});
  client.blockLocations(1, 1, 4096, {5, 0});
  const AsUser user(4321, 4321);
  EXPECT_NE(ask(path, 0, 100), "");
  ASSERT_EQ(client.calls().size(), 2u);
  for (const ScriptedCall& call : client.calls()) {
    EXPECT_EQ(call.fsuid, 0u);
    EXPECT_EQ(call.fsgid, 0u);
  }
  EXPECT_EQ(threadIdentity().fsuid, 4321u);
  EXPECT_EQ(threadIdentity().fsgid, 4321u);
}

TEST_F(BlockLocationsNative, UnreadableFileStillHasLocations) {
  NEEDS_ROOT();
  globalBlkCmd = GET_BLK_SHARED;
  const std::string path = file("secret", 100, 0600);
  client.blockInfo(2, {1});
  const AsUser user(4321, 4321);
  EXPECT_NE(ask(path, 0, 100), "");
}

TEST_F(BlockLocationsNative, StatusIsTakenAsTheCaller) {
  NEEDS_ROOT();
  ASSERT_EQ(mkdir(at("closed").c_str(), 0700), 0);
  const std::string path = file("closed/data", 100);
  const AsUser user(4321, 4321);
  EXPECT_EQ(ask(path, 0, 100), "");
  EXPECT_EQ(lastError, errorFor(EACCES, path));
  const std::vector<std::string> lines = takeLog();
  EXPECT_THAT(lines, Contains(EndsWith("@@@fails @" + at("closed"))));
  EXPECT_EQ(threadIdentity().fsuid, 4321u);
}

TEST_F(BlockLocationsNative, StatusOfTheCallerOpensClosedDirectoriesToo) {
  NEEDS_ROOT();
  globalBlkCmd = GET_BLK_SHARED;
  ASSERT_EQ(mkdir(at("closed").c_str(), 0700), 0);
  const std::string path = file("closed/data", 100);
  jbyteArray status = javaBytes(bytesOfStatus(statOf(path)));
  client.blockInfo(2, {1});
  const AsUser user(4321, 4321);
  EXPECT_NE(ask(path, 0, 100, status), "");
}

TEST_F(BlockLocationsNative, GivenStatusIsTrusted) {
  globalBlkCmd = GET_BLK_RACKAWARE;
  const std::string path = file("data", 5);
  struct stat st = statusOf(100 * MiB, 1 * MiB);
  client.blockInfo(2, {3});
  client.blockLocations(1, 1, 3 * MiB, {5, 0});
  // Bytes after the record don't count.
  EXPECT_EQ(ask(path, 1, 2, javaBytes(bytesOfStatus(st) + "more")),
            locationBytes(1, 2, 3 * MiB, 1, 1) + words({5, 0}));
  const std::vector<std::string> all = takeLogWithoutLines();
  EXPECT_EQ(all.at(0), requestLine(path, st, "1", "2"));
  for (const std::string& text : all) EXPECT_EQ(text.find("@getStat"), text.npos) << text;
}

TEST_F(BlockLocationsNative, ShortStatusIsJavasOwnError) {
  for (const std::size_t size : {0u, 1u, 143u}) {
    EXPECT_EQ(ask(file("data", 5), 0, 5, javaBytes(std::string(size, '\0'))), "");
    EXPECT_EQ(lastError.className, "java.lang.ArrayIndexOutOfBoundsException");
  }
  EXPECT_THAT(client.calls(), IsEmpty());
}

TEST_F(BlockLocationsNative, DirectoryHasARecordOnly) {
  for (int cmd = 0; cmd <= 3; ++cmd) {
    globalBlkCmd = static_cast<GetBlkCmd>(cmd);
    EXPECT_EQ(ask(at(""), 5, 6), locationBytes(0, 0, 0, 0, 0));
    const struct stat st = statOf(at(""));
    EXPECT_THAT(ownLines(),
                ElementsAre(requestLine(at(""), st, "5", "6"),
                            line("warn", LOCATIONS,
                                 "non-regular filemode: " + std::to_string(st.st_mode))));
  }
  EXPECT_THAT(client.calls(), IsEmpty());
}

TEST_F(BlockLocationsNative, LinkIsFollowed) {
  globalBlkCmd = GET_BLK_SHARED;
  file("data", 100);
  ASSERT_EQ(symlink("data", at("link").c_str()), 0);
  client.blockInfo(2, {1});
  EXPECT_EQ(ask(at("link"), 0, 100).substr(0, 16), locationBytes(0, 100, 0, 0, 0).substr(0, 16));
}

TEST_F(BlockLocationsNative, MissingFile) {
  const std::string path = at("missing");
  EXPECT_EQ(ask(path, 0, 100), "");
  EXPECT_EQ(lastError, errorFor(ENOENT, path));
  const std::vector<std::string> lines = takeLogWithoutLines();
  EXPECT_THAT(lines, Contains("debug @handle_error:# No such file or directory: " + path));
  EXPECT_THAT(lines, Contains(EndsWith("@@@fails @" + path.substr(0, path.rfind('/')))));
  for (const std::string& text : lines) EXPECT_EQ(text.find("open failed"), text.npos);
}

TEST_F(BlockLocationsNative, PathThroughAFileIsMissing) {
  const std::string path = file("data", 5) + "/below";
  EXPECT_EQ(ask(path, 0, 100), "");
  EXPECT_EQ(lastError, errorFor(ENOENT, path));
}

TEST_F(BlockLocationsNative, FileGoneSinceItsStatusFailsInOpen) {
  const std::string path = at("gone");
  EXPECT_EQ(ask(path, 0, 100, javaBytes(bytesOfStatus(statusOf(100, 4096)))), "");
  EXPECT_EQ(lastError, errorFor(ENOENT, path));
  EXPECT_THAT(ownLines(), ElementsAre(requestLine(path, statusOf(100, 4096), "0", "100"),
                                      line("error", LOCATIONS, "open failed with 2"),
                                      "debug @handle_error:# No such file or directory: " + path));
}

TEST_F(BlockLocationsNative, FailedQueryIsRaisedWithThePath) {
  globalBlkCmd = GET_BLK_LOCAL;
  const std::string path = file("data", 100);
  client.fail(EPERM);
  EXPECT_EQ(ask(path, 0, 100), "");
  EXPECT_EQ(lastError, errorFor(EPERM, path));
  const std::vector<std::string> lines = ownLines();
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_THAT(lines[1],
              ::testing::StartsWith("error @getBlkLocationInt:# failed to get extended stat for "));
  EXPECT_EQ(lines[2], "debug @handle_error:# Operation not permitted: " + path);
}

TEST_F(BlockLocationsNative, NegativeNumbersAreLoggedAsJavaGaveThem) {
  globalBlkCmd = GET_BLK_LOCAL;
  const std::string path = file("data", 10);
  client.blockLocations(1, 0, 4096, {});
  EXPECT_EQ(ask(path, -1, 5), locationBytes(~std::uint64_t{0}, 5, 4096, 0, 1));
  EXPECT_EQ(ownLines().at(0), requestLine(path, statOf(path), "-1", "5"));
}

TEST_F(BlockLocationsNative, QuietLevelsCostNoLine) {
  globalBlkCmd = GET_BLK_LOCAL;
  const std::string path = file("data", 100);
  logger2::currentLevel = LOG_OFF;
  client.blockLocations(1, 1, 4096, {5, 0});
  EXPECT_NE(ask(path, 0, 100), "");
  EXPECT_NE(ask(at(""), 0, 100), "");
  EXPECT_EQ(ask(at("gone"), 0, 100), "");
  EXPECT_EQ(ask(at("gone"), 0, 1, javaBytes(bytesOfStatus(statusOf(100, 4096)))), "");
  EXPECT_THAT(takeLog(), IsEmpty());
}

// --- getBlockSizeNative ---

class BlockSizeNative : public BlockNativesTest {
 protected:
  jlong ask(const std::string& path, jbyteArray status = nullptr) {
    const jlong size = getBlockSizeNative(env, nullptr, javaString(path), status);
    raised(size == -1);
    return size;
  }
};

TEST_F(BlockSizeNative, LocalIsTheFileSystemsOwn) {
  globalBlkCmd = GET_BLK_LOCAL;
  const std::string path = file("data", 100);
  client.blockLocations(1, 1, 4 * MiB, {5, 0});
  EXPECT_EQ(ask(path), static_cast<jlong>(4 * MiB));
  EXPECT_EQ(settledBytes(client.calls().at(0).request), locationsRequest(0, 0, 1));
  EXPECT_EQ(ownLines().at(0), line("debug", SIZE, path));
}

TEST_F(BlockSizeNative, LocalEmptyFileHasNone) {
  globalBlkCmd = GET_BLK_LOCAL;
  client.blockLocations(1, 0, 0, {});
  EXPECT_EQ(ask(file("empty", 0)), 0);
  EXPECT_EQ(settledBytes(client.calls().at(0).request), locationsRequest(0, 0, 0));
}

TEST_F(BlockSizeNative, OtherPoliciesUseTheFactor) {
  const std::string path = file("data", 100);
  const struct stat st = statusOf(100, 4 * MiB);
  for (const int cmd : {GET_BLK_SHARED, GET_BLK_RACKAWARE, GET_BLK_RACKAWARE_SORT}) {
    globalBlkCmd = static_cast<GetBlkCmd>(cmd);
    client.blockInfo(2, {32});
    EXPECT_EQ(ask(path, javaBytes(bytesOfStatus(st))), static_cast<jlong>(128 * MiB));
  }
  EXPECT_EQ(client.calls().size(), 3u);
}

TEST_F(BlockSizeNative, WithoutFactorTheDefaultHolds) {
  globalBlkCmd = GET_BLK_SHARED;
  defaultDFSBlockSize = 128 * MiB;
  client.blockInfo(2, {});
  EXPECT_EQ(ask(file("data", 100), javaBytes(bytesOfStatus(statusOf(100, 3 * MiB)))),
            static_cast<jlong>(129 * MiB));
}

TEST_F(BlockSizeNative, DirectoryHasNone) {
  for (int cmd = 0; cmd <= 3; ++cmd) {
    globalBlkCmd = static_cast<GetBlkCmd>(cmd);
    EXPECT_EQ(ask(at("")), 0);
  }
  EXPECT_THAT(client.calls(), IsEmpty());
}

TEST_F(BlockSizeNative, CallersIdentityIsKept) {
  NEEDS_ROOT();
  globalBlkCmd = GET_BLK_SHARED;
  const std::string open = file("data", 100);
  const std::string secret = file("secret", 100, 0600);
  client.blockInfo(2, {1});
  const AsUser user(4321, 4321);
  EXPECT_GT(ask(open), 0);
  EXPECT_EQ(client.calls().at(0).fsuid, 4321u);
  EXPECT_EQ(client.calls().at(0).fsgid, 4321u);
  EXPECT_EQ(ask(secret), -1);
  EXPECT_EQ(lastError, errorFor(EACCES, secret));
  EXPECT_EQ(client.calls().size(), 1u);
  EXPECT_EQ(threadIdentity().fsuid, 4321u);
}

TEST_F(BlockSizeNative, MissingFileFailsInOpen) {
  const std::string path = at("missing");
  EXPECT_EQ(ask(path), -1);
  EXPECT_EQ(lastError, errorFor(ENOENT, path));
  EXPECT_THAT(takeLogWithoutLines(),
              ElementsAre(line("debug", SIZE, path),
                          "debug @handle_error:# No such file or directory: " + path));
}

TEST_F(BlockSizeNative, PathThroughAFileIsNotFoldedIntoMissing) {
  const std::string path = file("data", 5) + "/below";
  EXPECT_EQ(ask(path), -1);
  EXPECT_EQ(lastError, errorFor(ENOTDIR, path));
}

TEST_F(BlockSizeNative, FailedQueryIsRaisedWithThePath) {
  globalBlkCmd = GET_BLK_SHARED;
  const std::string path = file("data", 5);
  client.fail(EIO);
  const LineHook hook([](const std::string&) { errno = EDOM; });
  EXPECT_EQ(ask(path), -1);
  EXPECT_EQ(lastError, errorFor(EIO, path));
}

TEST_F(BlockSizeNative, ShortStatusIsJavasOwnError) {
  for (const std::size_t size : {0u, 143u}) {
    EXPECT_EQ(ask(file("data", 5), javaBytes(std::string(size, '\0'))), -1);
    EXPECT_EQ(lastError.className, "java.lang.ArrayIndexOutOfBoundsException");
  }
  EXPECT_THAT(client.calls(), IsEmpty());
}

// --- the descriptor's holder ---

using FileObj = BlockNativesTest;

TEST_F(FileObj, HoldsAnOpenDescriptorAndClosesIt) {
  int fd = -1;
  {
    const fileObj held(file("data", 5).c_str(), O_RDONLY);
    fd = held.fd();
    ASSERT_GE(fd, 0);
    EXPECT_GE(fcntl(fd, F_GETFD), 0);
  }
  EXPECT_EQ(fcntl(fd, F_GETFD), -1);
}

TEST_F(FileObj, FailedOpenIsTheNegatedErrno) {
  EXPECT_EQ(fileObj(at("missing").c_str(), O_RDONLY).fd(), -ENOENT);
  EXPECT_EQ(fileObj((file("data", 5) + "/x").c_str(), O_RDONLY).fd(), -ENOTDIR);
}

}  // namespace
