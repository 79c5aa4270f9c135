#include "status/mounts.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>

#include "status/status_fixture.h"
#include "support/interpose.h"

namespace {

using ::testing::ElementsAre;

// Tests over a mount table of their own: /etc/mtab itself where with_scratch_mtab.sh made it one,
// otherwise a file that is opened in its place.
class MountsTest : public InJvm<FilesTest> {
 protected:
  void SetUp() override {
    InJvm::SetUp();
    if (std::getenv("ZORF_SCRATCH_MTAB") != nullptr) {
      table_ = "/etc/mtab";
      return;
    }
    table_ = at("mtab");
    hooks_.emplace();
    hooks_->setmntent = [this](const char* file, const char* mode) {
      EXPECT_STREQ(file, "/etc/mtab");
      EXPECT_EQ(*mode, 'r');
      return ::setmntent(table_.c_str(), mode);
    };
  }
  void TearDown() override {
    hooks_.reset();
    std::filesystem::remove_all(table_);
    InJvm::TearDown();
  }

  void table(const std::string& lines) {
    std::ofstream out(table_, std::ios::trunc);
    out << lines;
    ASSERT_TRUE(out.flush());
  }

  std::string deviceAt(const std::string& mountPoint) {
    jstring name = ZORF_CALL(getFsName)(env, nullptr, javaString(mountPoint));
    return name == nullptr ? "(null)" : stringOf(name);
  }
  void expectNone(const std::string& mountPoint) {
    EXPECT_EQ(deviceAt(mountPoint), "(null)");
    EXPECT_EQ(takeJavaError(), (JavaError{"java.io.IOException", "Success: " + mountPoint}));
    EXPECT_THAT(takeLines(), ElementsAre(nativeLine("trace", "getFsName", mountPoint),
                                         "debug @handle_error:# Success: " + mountPoint));
  }

  std::string table_;
  std::optional<Hooks> hooks_;
};

TEST_F(MountsTest, DeviceOfTheMountPoint) {
  table(
      "proc /proc proc rw 0 0\n"
      "/dev/one /zorf/one zorf rw,relatime 0 0\n"
      "two /zorf/two zorf rw 0 0\n");
  EXPECT_EQ(deviceAt("/zorf/one"), "/dev/one");
  EXPECT_THAT(takeLines(), ElementsAre(nativeLine("trace", "getFsName", "/zorf/one")));
  EXPECT_EQ(deviceAt("/zorf/two"), "two");
  EXPECT_EQ(zorfDeviceAt("/zorf/two"), "two");
  EXPECT_EQ(zorfDeviceAt("/zorf"), std::nullopt);
}

TEST_F(MountsTest, OnlyTheWholeTypeMatches) {
  table(
      "a /a zorf2 rw 0 0\n"
      "b /b zor rw 0 0\n"
      "c /c ZORF rw 0 0\n"
      "d /d fuse.zorf rw 0 0\n"
      "zorf /e ext4 zorf 0 0\n");
  for (const char* mountPoint : {"/a", "/b", "/c", "/d", "/e"}) expectNone(mountPoint);
}

TEST_F(MountsTest, MountOverAMountIsTheOneSeen) {
  table(
      "below /zorf zorf rw 0 0\n"
      "elsewhere /other zorf rw 0 0\n"
      "above /zorf zorf rw 0 0\n"
      "othertype /zorf ext4 rw 0 0\n");
  EXPECT_EQ(deviceAt("/zorf"), "above");
}

TEST_F(MountsTest, MountPointIsComparedByteForByte) {
  table(
      "dev /zorf zorf rw 0 0\n"
      "slash /slash/ zorf rw 0 0\n"
      "utf8 /z\xC3\xB6rf zorf rw 0 0\n");
  for (const char* mountPoint :
       {"/zorf/", "//zorf", "/zorf/.", "zorf", "/Zorf", "/zor", "/slash"}) {
    expectNone(mountPoint);
  }
  expectNone("");
  EXPECT_EQ(deviceAt("/slash/"), "slash");
  EXPECT_EQ(deviceAt("/z\xC3\xB6rf"), "utf8");
}

TEST_F(MountsTest, EscapedCharactersAreTheCharacters) {
  table(
      "the\\040device\\011x /my\\040mount zorf rw 0 0\n"
      "back\\134slash /new\\012line zorf rw 0 0\n");
  EXPECT_EQ(deviceAt("/my mount"), "the device\tx");
  EXPECT_EQ(deviceAt("/new\nline"), "back\\slash");
  takeLines();
  expectNone("/my\\040mount");
}

TEST_F(MountsTest, LongAndOddLinesHideNothing) {
  table(
      "# a comment\n"
      "\n"
      "overlay /overlay overlay lowerdir=" +
      std::string(20000, 'l') +
      " 0 0\n"
      "short\n"
      "dev /zorf zorf options=" +
      std::string(20000, 'o') +
      " 0 0\n"
      "# dev2 /zorf zorf rw 0 0\n"
      "zorf\n"
      "far /" +
      std::string(20000, 'm') +
      " zorf rw 0 0\n"
      "last /last zorf rw 0 0");
  EXPECT_EQ(deviceAt("/zorf"), "dev");
  EXPECT_EQ(deviceAt("/" + std::string(20000, 'm')), "far");
  EXPECT_EQ(deviceAt("/last"), "last");
}

TEST_F(MountsTest, ManyLines) {
  std::string lines;
  for (int i = 0; i < 3000; ++i) {
    lines += "dev" + std::to_string(i) + " /zorf zorf rw 0 0\n";
  }
  table(lines);
  EXPECT_EQ(deviceAt("/zorf"), "dev2999");
}

TEST_F(MountsTest, EmptyTableHasNoMatch) {
  table("");
  expectNone("/zorf");
}

TEST_F(MountsTest, MissingTableHasNoMatch) {
  std::filesystem::remove(table_);
  expectNone("/zorf");
}

TEST_F(MountsTest, DirectoryInPlaceOfTheTableHasNoMatch) {
  std::filesystem::remove(table_);
  std::filesystem::create_directory(table_);
  expectNone("/zorf");
}

TEST_F(MountsTest, UnreadableTableHasNoMatch) {
  NEEDS_ROOT();
  table("dev /zorf zorf rw 0 0\n");
  ASSERT_EQ(::chmod(table_.c_str(), 0600), 0);
  const AsUser stranger(STRANGER_UID, STRANGER_GID);
  expectNone("/zorf");
}

// Not taken for the end of the table: the mount over the first one would stay unseen.
TEST_F(MountsTest, ALineWithoutMemoryForItIsNoMemory) {
  table("dev1 /zorf zorf rw 0 0\ndev2 /zorf zorf rw 0 0\n");
  Hooks hooks;
  hooks.setmntent = [this](const char*, const char* mode) {
    return ::setmntent(table_.c_str(), mode);
  };
  hooks.fail("getdelim", ENOMEM, 2);
  EXPECT_EQ(deviceAt("/zorf"), "(null)");
  EXPECT_EQ(takeJavaError(), errorFor(ENOMEM, ""));
  hooks.fail("getdelim", EIO, 2);
  EXPECT_EQ(deviceAt("/zorf"), "dev1");
}

TEST_F(MountsTest, TheMachineHasNoSuchMount) {
  hooks_.reset();
  expectNone("/nowhere");
}

TEST_F(MountsTest, ArgumentIsTracedOnlyAtTrace) {
  table("dev /zorf zorf rw 0 0\n");
  logger2::currentLevel = LOG_DEBUG;
  EXPECT_EQ(deviceAt("/zorf"), "dev");
  EXPECT_THAT(takeLines(), ElementsAre());
}

}  // namespace
