#include "blocks/directives.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "blocks/natives_fixture.h"
#include "blocks/policy.h"
#include "blocks/query.h"
#include "core/blocks/directive_records.h"
#include "support/java_values.h"
#include "zorf_native.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr auto& setReplicationNative =
    Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_setReplication;
constexpr auto& setBGFNative = Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_setBGF;

// --- setReplication from Java ---

class SetReplication : public BlockNativesTest {
 protected:
  bool set(const std::string& path, jshort replicas, bool restripe) {
    return !raised(setReplicationNative(env, nullptr, javaString(path), replicas, restripe) ==
                   JNI_FALSE);
  }
  static std::string line(const std::string& level, const std::string& text) {
    return BlockNativesTest::line(level, "setReplication", text);
  }
};

TEST_F(SetReplication, WithoutRestripeSetsTheDirectiveOnly) {
  const std::string path = file("data", 100);
  client.reply({});
  EXPECT_TRUE(set(path, 3, false));
  ASSERT_EQ(client.calls().size(), 1u);
  EXPECT_EQ(client.calls()[0].request, replicationDirective(3));
  EXPECT_THAT(takeLogWithoutLines(), ElementsAre(line("trace", path + ", 3")));
}

TEST_F(SetReplication, WithRestripeMovesTheDataToo) {
  const std::string path = file("data", 100);
  client.reply({});
  client.reply({});
  EXPECT_TRUE(set(path, -1, true));
  ASSERT_EQ(client.calls().size(), 2u);
  EXPECT_EQ(client.calls()[0].request, replicationDirective(-1));
  EXPECT_EQ(client.calls()[1].function, "zorf_restripe_file");
  EXPECT_EQ(client.calls()[1].request, restripeArgument());
  EXPECT_EQ(client.calls()[0].fd, client.calls()[1].fd);
  EXPECT_THAT(takeLogWithoutLines(), ElementsAre(line("trace", path + ", -1")));
}

TEST_F(SetReplication, FileThatCantBeOpened) {
  const std::string path = at("missing");
  EXPECT_FALSE(set(path, 3, true));
  EXPECT_EQ(lastError, errorFor(ENOENT, ""));
  EXPECT_THAT(client.calls(), IsEmpty());
  EXPECT_THAT(takeLogWithoutLines(),
              ElementsAre(line("trace", path + ", 3"), line("error", "failed to open " + path),
                          "debug @handle_error:# No such file or directory: "));
}

TEST_F(SetReplication, RefusedCount) {
  const std::string path = file("data", 100);
  client.fail(EINVAL);
  EXPECT_FALSE(set(path, 300, true));
  const std::string message = "failed to set replication for " + path + " replication 300";
  EXPECT_EQ(lastError, errorFor(EINVAL, message));
  EXPECT_EQ(client.calls().size(), 1u);
  EXPECT_THAT(takeLogWithoutLines(),
              ElementsAre(line("trace", path + ", 300"), line("error", message),
                          "debug @handle_error:# Invalid argument: " + message));
}

TEST_F(SetReplication, FailedRestripe) {
  const std::string path = file("data", 100);
  client.reply({});
  client.fail(EBUSY);
  EXPECT_FALSE(set(path, 2, true));
  const std::string message = "failed to restripe file " + path + " replication 2";
  EXPECT_EQ(lastError, errorFor(EBUSY, message));
  EXPECT_THAT(takeLogWithoutLines(),
              ElementsAre(line("trace", path + ", 2"), line("error", message),
                          "debug @handle_error:# Device or resource busy: " + message));
}

TEST_F(SetReplication, PositiveResultsFailWithTheErrnoTheyLeave) {
  const std::string path = file("data", 100);
  client.reply({1, ENODATA, nullptr});
  EXPECT_FALSE(set(path, 2, false));
  EXPECT_EQ(lastError,
            errorFor(ENODATA, "failed to set replication for " + path + " replication 2"));
}

TEST_F(SetReplication, CallersIdentityIsKept) {
  NEEDS_ROOT();
  const std::string path = file("data", 100);
  const std::string secret = file("secret", 100, 0600);
  client.reply({});
  const AsUser user(4321, 4321);
  EXPECT_TRUE(set(path, 2, false));
  EXPECT_EQ(client.calls()[0].fsuid, 4321u);
  EXPECT_EQ(client.calls()[0].fsgid, 4321u);
  EXPECT_FALSE(set(secret, 2, false));
  EXPECT_EQ(lastError, errorFor(EACCES, ""));
}

TEST_F(SetReplication, DirectoriesCanBeOpened) {
  client.reply({});
  EXPECT_TRUE(set(at(""), 2, false));
}

TEST_F(SetReplication, TraceLineNeedsTrace) {
  logger2::currentLevel = LOG_DEBUG;
  client.reply({});
  EXPECT_TRUE(set(file("data", 100), 1, false));
  EXPECT_THAT(takeLog(), IsEmpty());
  logger2::currentLevel = LOG_OFF;
  EXPECT_FALSE(set(at("missing"), 1, false));
  EXPECT_THAT(takeLog(), IsEmpty());
}

// --- setBGF from Java ---

class SetBGF : public BlockNativesTest {
 protected:
  bool set(const std::string& path, jint factor) {
    return !raised(setBGFNative(env, nullptr, javaString(path), factor) == JNI_FALSE);
  }
  static std::string line(const std::string& level, const std::string& text) {
    return BlockNativesTest::line(level, "setBGF", text);
  }
};

TEST_F(SetBGF, FactorsFrom1To1024AreWritten) {
  const std::string path = file("data", 100);
  client.reply({});
  client.reply({});
  EXPECT_TRUE(set(path, 1));
  EXPECT_TRUE(set(path, 1024));
  ASSERT_EQ(client.calls().size(), 2u);
  EXPECT_EQ(client.calls()[0].request, bgfDirective(std::string("\0\0\0\1", 4)));
  EXPECT_EQ(client.calls()[1].request, bgfDirective(std::string("\0\0\4\0", 4)));
  EXPECT_THAT(takeLogWithoutLines(),
              ElementsAre(line("trace", path + ", 1"), line("trace", path + ", 1024")));
}

TEST_F(SetBGF, OtherFactorsAreRefusedWithoutTouchingTheFile) {
  const std::string path = at("missing");  // not even looked for
  for (const jint factor : {0, -1, 1025, INT32_MAX, INT32_MIN}) {
    const std::string number = std::to_string(factor);
    EXPECT_FALSE(set(path, factor));
    EXPECT_EQ(lastError, errorFor(EINVAL, "Invalid BGF(" + number + ")"));
    EXPECT_THAT(takeLogWithoutLines(),
                ElementsAre(line("trace", path + ", " + number),
                            line("error", "Invalid BGF(" + number + ")"),
                            "debug @handle_error:# Invalid argument: Invalid BGF(" + number + ")"));
  }
  EXPECT_THAT(client.calls(), IsEmpty());
}

TEST_F(SetBGF, FileThatCantBeOpened) {
  const std::string path = at("missing");
  EXPECT_FALSE(set(path, 4));
  EXPECT_EQ(lastError, errorFor(ENOENT, ""));
  EXPECT_THAT(takeLogWithoutLines(),
              ElementsAre(line("trace", path + ", 4"), line("error", "failed to open " + path),
                          "debug @handle_error:# No such file or directory: "));
}

TEST_F(SetBGF, RefusedByTheFileSystem) {
  const std::string path = file("data", 100);
  client.fail(EPERM);
  EXPECT_FALSE(set(path, 4));
  EXPECT_EQ(lastError, errorFor(EPERM, "Failed to set BGF for " + path));
  EXPECT_THAT(
      takeLogWithoutLines(),
      ElementsAre(line("trace", path + ", 4"), line("error", "Failed to set BGF for " + path),
                  "debug @handle_error:# Operation not permitted: Failed to set BGF for " + path));
}

TEST_F(SetBGF, PositiveResultIsSuccess) {
  client.reply({1, 0, nullptr});
  EXPECT_TRUE(set(file("data", 100), 4));
}

TEST_F(SetBGF, CallersIdentityIsKept) {
  NEEDS_ROOT();
  const std::string path = file("data", 100);
  const std::string secret = file("secret", 100, 0600);
  client.reply({});
  const AsUser user(4321, 4321);
  EXPECT_TRUE(set(path, 4));
  EXPECT_EQ(client.calls()[0].fsuid, 4321u);
  EXPECT_FALSE(set(secret, 4));
  EXPECT_EQ(lastError, errorFor(EACCES, ""));
}

// --- a descriptor that happens to be 0 ---

bool isOpen(int fd) {
  return fcntl(fd, F_GETFD) >= 0;
}

// In a process of its own, whose standard input is free for the native's open.
class DescriptorZero : public BlockNativesTest {
 protected:
  void SetUp() override {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    BlockNativesTest::SetUp();
  }

  // Exits 0 when descriptor 0 was the one that was used and is then open or not, as wanted.
  template <class Native>
  [[noreturn]] void runWithZeroFree(bool openAfterwards, Native native) {
    jstring path = javaString(file("data", 100));
    for (int i = 0; i < 2; ++i) client.reply({});
    close(0);
    native(path);
    const bool open = isOpen(0);
    std::filesystem::remove_all(at(""));  // for this process never gets to TearDown
    if (env->ExceptionCheck()) _exit(2);
    if (client.calls().empty() || client.calls()[0].fd != 0) _exit(3);
    _exit(open == openAfterwards ? 0 : 4);
  }
};

// Kept: the directives never close a descriptor of 0.
TEST_F(DescriptorZero, IsLeftOpenBySetReplication) {
  EXPECT_EXIT(runWithZeroFree(
                  true, [&](jstring path) { setReplicationNative(env, nullptr, path, 2, true); }),
              ::testing::ExitedWithCode(0), "");
}

TEST_F(DescriptorZero, IsLeftOpenBySetBGF) {
  EXPECT_EXIT(runWithZeroFree(true, [&](jstring path) { setBGFNative(env, nullptr, path, 2); }),
              ::testing::ExitedWithCode(0), "");
}

TEST_F(DescriptorZero, IsClosedByTheQueries) {
  globalBlkCmd = GET_BLK_SHARED;
  EXPECT_EXIT(
      runWithZeroFree(false,
                      [&](jstring path) {
                        Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_getBlockSizeNative(
                            env, nullptr, path, nullptr);
                      }),
      ::testing::ExitedWithCode(0), "");
}

}  // namespace
