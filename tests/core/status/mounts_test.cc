#include "status/mounts.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <new>
#include <optional>

#include "core/status/mounts_fixture.h"

namespace {

class Mounts : public MountsTest {
 protected:
  void expectNone(const std::string& mountPoint) {
    EXPECT_EQ(zorfDeviceAt(mountPoint), std::nullopt) << mountPoint;
  }
};

TEST_F(Mounts, DeviceOfTheMountPoint) {
  table(
      "proc /proc proc rw 0 0\n"
      "/dev/one /zorf/one zorf rw,relatime 0 0\n"
      "two /zorf/two zorf rw 0 0\n");
  EXPECT_EQ(zorfDeviceAt("/zorf/one"), "/dev/one");
  EXPECT_EQ(zorfDeviceAt("/zorf/two"), "two");
  EXPECT_EQ(zorfDeviceAt("/zorf"), std::nullopt);
}

TEST_F(Mounts, OnlyTheWholeTypeMatches) {
  table(
      "a /a zorf2 rw 0 0\n"
      "b /b zor rw 0 0\n"
      "c /c ZORF rw 0 0\n"
      "d /d fuse.zorf rw 0 0\n"
      "zorf /e ext4 zorf 0 0\n");
  for (const char* mountPoint : {"/a", "/b", "/c", "/d", "/e"}) expectNone(mountPoint);
}

TEST_F(Mounts, MountOverAMountIsTheOneSeen) {
  table(
      "below /zorf zorf rw 0 0\n"
      "elsewhere /other zorf rw 0 0\n"
      "above /zorf zorf rw 0 0\n"
      "othertype /zorf ext4 rw 0 0\n");
  EXPECT_EQ(zorfDeviceAt("/zorf"), "above");
}

TEST_F(Mounts, MountPointIsComparedByteForByte) {
  table(
      "dev /zorf zorf rw 0 0\n"
      "slash /slash/ zorf rw 0 0\n"
      "utf8 /z\xC3\xB6rf zorf rw 0 0\n");
  for (const char* mountPoint :
       {"/zorf/", "//zorf", "/zorf/.", "zorf", "/Zorf", "/zor", "/slash"}) {
    expectNone(mountPoint);
  }
  expectNone("");
  EXPECT_EQ(zorfDeviceAt("/slash/"), "slash");
  EXPECT_EQ(zorfDeviceAt("/z\xC3\xB6rf"), "utf8");
}

TEST_F(Mounts, EscapedCharactersAreTheCharacters) {
  table(
      "the\\040device\\011x /my\\040mount zorf rw 0 0\n"
      "back\\134slash /new\\012line zorf rw 0 0\n");
  EXPECT_EQ(zorfDeviceAt("/my mount"), "the device\tx");
  EXPECT_EQ(zorfDeviceAt("/new\nline"), "back\\slash");
  expectNone("/my\\040mount");
}

TEST_F(Mounts, LongAndOddLinesHideNothing) {
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
  EXPECT_EQ(zorfDeviceAt("/zorf"), "dev");
  EXPECT_EQ(zorfDeviceAt("/" + std::string(20000, 'm')), "far");
  EXPECT_EQ(zorfDeviceAt("/last"), "last");
}

TEST_F(Mounts, ManyLines) {
  std::string lines;
  for (int i = 0; i < 3000; ++i) {
    lines += "dev" + std::to_string(i) + " /zorf zorf rw 0 0\n";
  }
  table(lines);
  EXPECT_EQ(zorfDeviceAt("/zorf"), "dev2999");
}

TEST_F(Mounts, EmptyTableHasNoMatch) {
  table("");
  expectNone("/zorf");
}

TEST_F(Mounts, MissingTableHasNoMatch) {
  std::filesystem::remove(table_);
  expectNone("/zorf");
}

TEST_F(Mounts, DirectoryInPlaceOfTheTableHasNoMatch) {
  std::filesystem::remove(table_);
  std::filesystem::create_directory(table_);
  expectNone("/zorf");
}

TEST_F(Mounts, UnreadableTableHasNoMatch) {
  NEEDS_ROOT();
  table("dev /zorf zorf rw 0 0\n");
  ASSERT_EQ(::chmod(table_.c_str(), 0600), 0);
  const AsUser stranger(54321, 54322);
  expectNone("/zorf");
}

// Not taken for the end of the table: the mount over the first one would stay unseen.
TEST_F(Mounts, ALineWithoutMemoryForItIsNoMemory) {
  table("dev1 /zorf zorf rw 0 0\ndev2 /zorf zorf rw 0 0\n");
  Hooks hooks;
  hooks.setmntent = [this](const char*, const char* mode) {
    return ::setmntent(table_.c_str(), mode);
  };
  hooks.fail("getdelim", ENOMEM, 2);
  EXPECT_THROW(zorfDeviceAt("/zorf"), std::bad_alloc);
  hooks.fail("getdelim", EIO, 2);
  EXPECT_EQ(zorfDeviceAt("/zorf"), "dev1");
}

TEST_F(Mounts, TheMachineHasNoSuchMount) {
  hooks_.reset();
  expectNone("/nowhere");
}

}  // namespace
