// getLocatedFileStatusNative.
#include <fcntl.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>

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

constexpr auto& getLocatedFileStatusNative =
    Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_getLocatedFileStatusNative;

class LocatedStatus : public BlockNativesTest {
 protected:
  struct Flags {
    bool follow = true;
    bool location = true;
    bool permission = false;
  };

  // Empty when the native returns null.
  std::string ask(const std::string& path, Flags flags) { return ask(javaString(path), flags); }
  std::string ask(jstring path, Flags flags) {
    jbyteArray result = getLocatedFileStatusNative(env, nullptr, path, flags.follow, flags.location,
                                                   flags.permission);
    return raised(result == nullptr) ? "" : bytesOf(result);
  }

  static std::string statusBytes(const std::string& path) {
    struct stat st {};
    EXPECT_EQ(lstat(path.c_str(), &st), 0);
    return bytesOfStatus(st);
  }

  static std::string line(const std::string& level, const std::string& text) {
    return BlockNativesTest::line(level, "getLocatedFileStatusNative", text);
  }
};

TEST_F(LocatedStatus, WholeFileWithLocations) {
  globalBlkCmd = GET_BLK_LOCAL;
  const std::string path = file("data", 100);
  client.blockLocations(2, 1, 4 * MiB, {5, 6, 0, 0});
  EXPECT_EQ(ask(path, {}),
            statusBytes(path) + locationBytes(0, 100, 4 * MiB, 1, 2) + words({5, 6, 0, 0}));
  EXPECT_EQ(settledBytes(client.calls().at(0).request), locationsRequest(0, 0, 100));
  EXPECT_THAT(ownLines(),
              ElementsAre(line("debug", path + ", 1, needLocation"),
                          "debug @getBlkLocation:# requested offset=0 length=100 returned "
                          "length=4194304 replicas=2 blocks=1 skipfactor=4194304",
                          line("debug", "loc, 0, 100, 4194304, 1, 2")));
}

TEST_F(LocatedStatus, WithoutLocationsLocalStillAnswersTheFirstBlock) {
  globalBlkCmd = GET_BLK_LOCAL;
  const std::string path = file("data", 100);
  client.blockLocations(1, 1, 4 * MiB, {5, 0});
  EXPECT_EQ(ask(path, {.follow = false, .location = false}),
            statusBytes(path) + locationBytes(0, 0, 4 * MiB, 1, 1) + words({5, 0}));
  EXPECT_EQ(settledBytes(client.calls().at(0).request), locationsRequest(0, 0, 1));
  EXPECT_EQ(ownLines().at(0), line("debug", path + ", 0"));
}

TEST_F(LocatedStatus, WithoutLocationsOtherPoliciesAnswerSizeAndReplicas) {
  const std::string path = file("data", 100);
  struct stat st {};
  ASSERT_EQ(stat(path.c_str(), &st), 0);
  const auto blockSize = static_cast<std::uint64_t>(st.st_blksize) * 2;
  for (const int cmd : {GET_BLK_SHARED, GET_BLK_RACKAWARE, GET_BLK_RACKAWARE_SORT}) {
    globalBlkCmd = static_cast<GetBlkCmd>(cmd);
    client.blockInfo(3, {2});
    EXPECT_EQ(ask(path, {.location = false}),
              statusBytes(path) + locationBytes(0, 0, blockSize, 0, 3));
  }
  EXPECT_EQ(client.calls().size(), 3u);
}

TEST_F(LocatedStatus, PermissionComesBetweenStatusAndLocations) {
  globalBlkCmd = GET_BLK_SHARED;
  const std::string path = file("data", 100);
  client.blockInfo(3, {2});
  const std::string result = ask(path, {.permission = true});
  ASSERT_EQ(result.size(), 144u + 2u + 32u);
  EXPECT_EQ(result.substr(0, 146), statusBytes(path) + std::string(2, '\0'));
  EXPECT_EQ(result.substr(146, 16), locationBytes(0, 100, 0, 0, 0).substr(0, 16));
}

TEST_F(LocatedStatus, PermissionTellsOfAnAcl) {
  const std::string path = at("directory");
  ASSERT_EQ(mkdir(path.c_str(), 0755), 0);
  // user::rwx user:4321:r-- group::r-x mask::r-x other::r-x
  Record acl(44);
  acl.u32(0, 2);
  const std::uint32_t entries[][2] = {{0x70001, 0xFFFFFFFF},
                                      {0x40002, 4321},
                                      {0x50004, 0xFFFFFFFF},
                                      {0x50010, 0xFFFFFFFF},
                                      {0x50020, 0xFFFFFFFF}};
  for (std::size_t i = 0; i < 5; ++i)
    acl.u32(4 + 8 * i, entries[i][0]).u32(8 + 8 * i, entries[i][1]);
  const std::string value = acl;
  if (setxattr(path.c_str(), "system.posix_acl_access", value.data(), value.size(), 0) != 0) {
    GTEST_SKIP() << "the temporary directory has no ACLs";
  }
  EXPECT_EQ(ask(path, {.permission = true}), statusBytes(path) + std::string("\x00\x10", 2));
}

TEST_F(LocatedStatus, DirectoryHasItsStatusOnly) {
  for (const bool location : {false, true}) {
    EXPECT_EQ(ask(at(""), {.location = location}), statusBytes(at("")));
    EXPECT_EQ(ask(at(""), {.location = location, .permission = true}),
              statusBytes(at("")) + std::string(2, '\0'));
  }
  EXPECT_THAT(client.calls(), IsEmpty());
}

TEST_F(LocatedStatus, LinkNotFollowedIsItself) {
  file("data", 100);
  const std::string link = at("link");
  ASSERT_EQ(symlink("data", link.c_str()), 0);
  EXPECT_EQ(ask(link, {.follow = false}), statusBytes(link));
  EXPECT_THAT(client.calls(), IsEmpty());
  for (const std::string& text : takeLog()) EXPECT_EQ(text.find("open failed"), text.npos);
}

TEST_F(LocatedStatus, LinkFollowedIsItsTarget) {
  globalBlkCmd = GET_BLK_SHARED;
  const std::string path = file("data", 100);
  ASSERT_EQ(symlink("data", at("link").c_str()), 0);
  client.blockInfo(3, {2});
  EXPECT_EQ(ask(at("link"), {}).substr(0, 160),
            statusBytes(path) + locationBytes(0, 100, 0, 0, 0).substr(0, 16));
}

TEST_F(LocatedStatus, FileSwappedForALinkIsNotOpenedUnlessFollowed) {
  const std::string path = file("data", 100);
  const std::string other = file("other", 100);
  jstring javaPath = javaString(path);
  {
    // Right after its status was taken.
    const LineHook hook([&](const std::string& text) {
      if (text.find(" stat ctime: ") == text.npos) return;
      unlink(path.c_str());
      EXPECT_EQ(symlink(other.c_str(), path.c_str()), 0);
    });
    EXPECT_EQ(ask(javaPath, {.follow = false}), "");
  }
  EXPECT_EQ(lastError, errorFor(ELOOP, ""));
  EXPECT_THAT(client.calls(), IsEmpty());
  EXPECT_THAT(ownLines(), ElementsAre(line("debug", path + ", 0, needLocation"),
                                      line("error", "open failed with 40"),
                                      "debug @handle_error:# Too many levels of symbolic links: ",
                                      line("debug", "getFile status but not found " + path)));

  globalBlkCmd = GET_BLK_SHARED;
  client.blockInfo(3, {2});
  EXPECT_EQ(ask(path, {.follow = true}).size(), 176u);
}

// The asymmetry is kept: only a query without locations is made as root.
TEST_F(LocatedStatus, LocationsAreAskedForAsTheCaller) {
  NEEDS_ROOT();
  globalBlkCmd = GET_BLK_SHARED;
  const std::string path = file("data", 100);
  client.blockInfo(3, {2});
  client.blockInfo(3, {2});
  const AsUser user(4321, 4321);
  EXPECT_NE(ask(path, {.location = true}), "");
  EXPECT_EQ(client.calls().at(0).fsuid, 4321u);
  EXPECT_EQ(client.calls().at(0).fsgid, 4321u);
  EXPECT_NE(ask(path, {.location = false}), "");
  EXPECT_EQ(client.calls().at(1).fsuid, 0u);
  EXPECT_EQ(client.calls().at(1).fsgid, 0u);
  EXPECT_EQ(threadIdentity().fsuid, 4321u);
  EXPECT_EQ(threadIdentity().fsgid, 4321u);
}

TEST_F(LocatedStatus, UnreadableFileFailsOnlyWhenLocationsAreNeeded) {
  NEEDS_ROOT();
  globalBlkCmd = GET_BLK_SHARED;
  const std::string path = file("secret", 100, 0600);
  client.blockInfo(3, {2});
  const AsUser user(4321, 4321);
  EXPECT_EQ(ask(path, {.location = true}), "");
  EXPECT_EQ(lastError, errorFor(EACCES, ""));
  EXPECT_THAT(ownLines(), ElementsAre(line("debug", path + ", 1, needLocation"),
                                      line("error", "open failed with 13"),
                                      "debug @handle_error:# Permission denied: ",
                                      line("debug", "getFile status but not found " + path)));
  EXPECT_NE(ask(path, {.location = false}), "");
  EXPECT_EQ(threadIdentity().fsuid, 4321u);
}

TEST_F(LocatedStatus, MissingFileIsRaisedWithItsPath) {
  const std::string path = at("missing");
  EXPECT_EQ(ask(path, {}), "");
  EXPECT_EQ(lastError, errorFor(ENOENT, path));
  const std::vector<std::string> lines = takeLogWithoutLines();
  EXPECT_EQ(lines.at(0), line("debug", path + ", 1, needLocation"));
  EXPECT_THAT(lines, Contains("debug @handle_error:# No such file or directory: " + path));
  EXPECT_THAT(lines, Contains(EndsWith("@@@fails @" + path.substr(0, path.rfind('/')))));
}

TEST_F(LocatedStatus, DanglingLinkIsMissingWhenFollowed) {
  ASSERT_EQ(symlink("nowhere", at("link").c_str()), 0);
  EXPECT_EQ(ask(at("link"), {.follow = true}), "");
  EXPECT_EQ(lastError, errorFor(ENOENT, at("link")));
}

TEST_F(LocatedStatus, FailedQueryIsRaisedWithoutText) {
  globalBlkCmd = GET_BLK_LOCAL;
  const std::string path = file("data", 100);
  for (const bool location : {true, false}) {
    client.fail(ESTALE);
    EXPECT_EQ(ask(path, {.location = location}), "");
    EXPECT_EQ(lastError, errorFor(ESTALE, ""));
    const std::vector<std::string> lines = ownLines();
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_THAT(lines[1], ::testing::StartsWith(
                              "error @getBlkLocationInt:# failed to get extended stat for "));
    EXPECT_EQ(lines[2], "debug @handle_error:# Stale file handle: ");
    EXPECT_EQ(lines[3], line("debug", "getFile status but not found " + path));
  }
}

}  // namespace
