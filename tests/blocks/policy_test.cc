#include "blocks/policy.h"

#include <cerrno>
#include <limits>

#include "blocks/query.h"
#include "core/blocks/records.h"
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

}  // namespace
