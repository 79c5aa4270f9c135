// The block natives when what they stand on fails: system calls, memory, the virtual machine. None
// may leave an identity or a descriptor behind, which the fixture checks after every case.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <functional>

#include "blocks/natives_fixture.h"
#include "blocks/policy.h"
#include "blocks/query.h"
#include "blocks/racksort.h"
#include "support/entries.h"
#include "support/interpose.h"
#include "support/java_values.h"
#include "support/patched_jni.h"
#include "zorf_native.h"

namespace {

using ::testing::ElementsAre;

constexpr auto& getBlkCmd = Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_getBlkCmd;
constexpr auto& getBlockLocationsNative =
    Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_getBlockLocationsNative;
constexpr auto& getBlockSizeNative =
    Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_getBlockSizeNative;
constexpr auto& getLocatedFileStatusNative =
    Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_getLocatedFileStatusNative;
constexpr auto& setReplicationNative =
    Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_setReplication;
constexpr auto& setBGFNative = Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_setBGF;

struct Native {
  const char* name;
  std::function<bool(JNIEnv*, jstring)> call;  // whether it succeeded
};

const Native natives[] = {
    {"getBlockLocationsNative",
     [](JNIEnv* env, jstring path) {
       return getBlockLocationsNative(env, nullptr, path, 0, 100, nullptr) != nullptr;
     }},
    {"getBlockSizeNative",
     [](JNIEnv* env, jstring path) {
       return getBlockSizeNative(env, nullptr, path, nullptr) != -1;
     }},
    {"getLocatedFileStatusNative",
     [](JNIEnv* env, jstring path) {
       return getLocatedFileStatusNative(env, nullptr, path, true, true, true) != nullptr;
     }},
    {"getLocatedFileStatusNative without locations",
     [](JNIEnv* env, jstring path) {
       return getLocatedFileStatusNative(env, nullptr, path, true, false, false) != nullptr;
     }},
    {"setReplication",
     [](JNIEnv* env, jstring path) {
       return setReplicationNative(env, nullptr, path, 2, true) != JNI_FALSE;
     }},
    {"setBGF",
     [](JNIEnv* env, jstring path) { return setBGFNative(env, nullptr, path, 2) != JNI_FALSE; }},
};

class NativeFailures : public BlockNativesTest {
 protected:
  void SetUp() override {
    BlockNativesTest::SetUp();
    globalBlkCmd = GET_BLK_RACKAWARE_SORT;
    path_ = file("data", 100);
    javaPath_ = javaString(path_);
  }

  // Whatever is asked, it is answered well.
  void answerEverything() {
    client.answerWith([](unsigned char* buffer) {
      if (buffer[20] == 0xB9) buffer[83] = 2;  // the block information: a factor of 2
      if (buffer[20] == 0xBE) {                // locations
        buffer[56] = 2;
        buffer[60] = 1;
        buffer[72] = 5;
        buffer[76] = 6;
      }
      return 0;
    });
  }

  std::string path_;
  jstring javaPath_ = nullptr;
};

// Neither kept by a child process, nor a terminal of the process's own, nor waited for.
constexpr int harmless = O_CLOEXEC | O_NOCTTY | O_NONBLOCK;

TEST_F(NativeFailures, FilesAreOpenedReadOnly) {
  answerEverything();
  for (const Native& native : natives) {
    Hooks hooks;
    std::vector<int> flags;
    hooks.open = [&](const char* path, int given, mode_t mode) {
      EXPECT_EQ(path, path_);
      flags.push_back(given);
      return ::open(path, given, mode);
    };
    EXPECT_TRUE(native.call(env, javaPath_)) << native.name;
    EXPECT_THAT(flags, ElementsAre(O_RDONLY | harmless)) << native.name;
  }
}

TEST_F(NativeFailures, LinksNotFollowedAreNotOpened) {
  answerEverything();
  Hooks hooks;
  int flags = 0;
  hooks.open = [&](const char* path, int given, mode_t mode) {
    flags = given;
    return ::open(path, given, mode);
  };
  for (const bool location : {true, false}) {
    EXPECT_NE(getLocatedFileStatusNative(env, nullptr, javaPath_, JNI_FALSE, location, JNI_FALSE),
              nullptr);
    EXPECT_EQ(flags, O_RDONLY | O_NOFOLLOW | harmless);
  }
}

TEST_F(NativeFailures, OutOfDescriptors) {
  for (const Native& native : natives) {
    Hooks hooks;
    hooks.fail("open", EMFILE);
    EXPECT_FALSE(native.call(env, javaPath_)) << native.name;
    const auto error = takeJavaError();
    ASSERT_TRUE(error);
    const bool namesPath = std::string(native.name).starts_with("getBlock");
    EXPECT_EQ(*error, errorFor(EMFILE, namesPath ? path_ : "")) << native.name;
  }
  EXPECT_TRUE(client.calls().empty());
}

TEST_F(NativeFailures, StatusAfterTheOpen) {
  Hooks hooks;
  hooks.fail("lstat", EACCES);
  EXPECT_EQ(getBlockSizeNative(env, nullptr, javaPath_, nullptr), -1);
  EXPECT_EQ(takeJavaError(), errorFor(EACCES, path_));
  EXPECT_EQ(hooks.calls("lstat"), 1) << "only the other natives diagnose the path";
}

TEST_F(NativeFailures, NullPathIsInvalid) {
  for (const Native& native : natives) {
    EXPECT_FALSE(native.call(env, nullptr)) << native.name;
    EXPECT_EQ(takeJavaError(), errorFor(EINVAL, "null argument")) << native.name;
  }
}

TEST_F(NativeFailures, NoRoomForTheResultInJava) {
  answerEverything();
  for (const int number : {0, 2, 3}) {
    const Native& native = natives[number];
    PatchedJni jni;
    jni.table.NewByteArray = [](JNIEnv* e, jsize) -> jbyteArray {
      e->ThrowNew(e->FindClass("java/lang/OutOfMemoryError"), "no room");
      return nullptr;
    };
    EXPECT_FALSE(native.call(env, javaPath_)) << native.name;
    EXPECT_EQ(takeJavaError(), (JavaError{"java.lang.OutOfMemoryError", "no room"}));
  }
}

TEST_F(NativeFailures, NoRoomForThePath) {
  jstring path = javaString(longSpelling(path_));
  for (const Native& native : natives) {
    PatchedJni jni;
    jni.table.GetStringUTFChars = [](JNIEnv*, jstring, jboolean*) -> const char* {
      return nullptr;
    };
    const bool succeeded = native.call(env, path);
    jni.table.GetStringUTFChars = jni.real.GetStringUTFChars;
    EXPECT_FALSE(succeeded) << native.name;
    EXPECT_EQ(takeJavaError(), errorFor(ENOMEM, "")) << native.name;
  }
}

TEST_F(NativeFailures, PolicyNamesNeedNoMemory) {
  jbyteArray name = javaBytes("rackaware" + std::string(5000, 'x'));
  Hooks hooks;
  hooks.fail("operator new", ENOMEM);
  EXPECT_EQ(getBlkCmd(env, nullptr, name, 0), -1);
}

// --- memory of the queries themselves ---

// The allocations of a query over a range that takes one reply of `blocks` blocks.
int allocationsOf(int (*query)(int, struct stat&, location&, EntryStream&), int blocks) {
  constexpr std::uint64_t unit = 4 * MiB;
  ScriptedClient client;
  client.answerWith([=](unsigned char* buffer) {
    const std::int32_t counts[] = {2, blocks, static_cast<std::int32_t>(unit), 0};
    std::memcpy(buffer + 56, counts, sizeof counts);
    for (int i = 0; i < blocks; ++i) {
      const std::int32_t entry[] = {i % 24, 24 + i % 7, 0, 0};
      std::memcpy(buffer + 72 + 16 * i, entry, sizeof entry);
    }
    return 0;
  });
  struct stat st = statusOf(1024 * GiB, unit);
  location loc{};
  loc.length = static_cast<std::uint64_t>(blocks) * unit;
  loc.blocksize = query == &getBlkLocation ? unit : 32 * unit;
  Entries out;
  out.bytes.reserve(100000);
  Hooks hooks;
  EXPECT_EQ(query(3, st, loc, out), 0);
  return hooks.calls("operator new");
}

TEST(QueryMemory, DoesNotGrowWithTheBlocks) {
  const KeptSettings kept;
  logger2::currentLevel = LOG_OFF;
  EXPECT_EQ(allocationsOf(getBlkLocation, 1), 1);  // the buffer of the query
  EXPECT_EQ(allocationsOf(getBlkLocation, 4000), 1);
  EXPECT_EQ(allocationsOf(getBlkLocation_sort, 4000), allocationsOf(getBlkLocation_sort, 64));
}

}  // namespace
