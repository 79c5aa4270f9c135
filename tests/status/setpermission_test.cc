#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "status/status_fixture.h"
#include "support/interpose.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class SetPermissionTest : public InJvm<FilesTest> {
 protected:
  bool set(const std::string& path, int permission) {
    return ZORF_CALL(setPermission)(env, nullptr, javaString(path),
                                    static_cast<jshort>(permission)) == JNI_TRUE;
  }

  // The mode of a file that had 0421 before, in octal.
  std::string modeAfter(int permission) {
    const std::string file = makeFile("file" + std::to_string(permission), 0421);
    EXPECT_TRUE(set(file, permission));
    return statOf("%a", file);
  }

  void expectFailure(const std::string& path, int err) {
    EXPECT_FALSE(set(path, 0777));
    EXPECT_EQ(takeJavaError(), errorFor(err, path));
    EXPECT_THAT(takeLines(), ElementsAre(nativeLine("trace", "setPermission", path + ", 511"),
                                         errorLine(err, path)));
  }
};

TEST_F(SetPermissionTest, PermissionAndStickyBitsAreSet) {
  EXPECT_EQ(modeAfter(0), "0");
  EXPECT_EQ(modeAfter(0644), "644");
  EXPECT_EQ(modeAfter(0777), "777");
  EXPECT_EQ(modeAfter(01777), "1777");
}

TEST_F(SetPermissionTest, HigherBitsAreLost) {
  EXPECT_EQ(modeAfter(2541), "755");
  EXPECT_EQ(modeAfter(1024), "0");
  EXPECT_EQ(modeAfter(1025), "1");
  EXPECT_EQ(modeAfter(32767), "1777");
}

TEST_F(SetPermissionTest, NegativeRemainderIsPassedOnSignExtended) {
  // What the kernel makes of it: the twelve low bits.
  EXPECT_EQ(modeAfter(-1), "7777");
  EXPECT_EQ(modeAfter(-1023), "6001");
  EXPECT_EQ(modeAfter(-1024), "0");
  EXPECT_EQ(modeAfter(-1025), "7777");
  EXPECT_EQ(modeAfter(-32768), "0");

  mode_t given = 0;
  Hooks hooks;
  hooks.chmod = [&](const char*, mode_t mode) {
    given = mode;
    return 0;
  };
  EXPECT_TRUE(set("/x", -1));
  EXPECT_EQ(given, 0xFFFFFFFFU);
  EXPECT_TRUE(set("/x", -1023));
  EXPECT_EQ(given, 0xFFFFFC01U);
}

TEST_F(SetPermissionTest, ArgumentsAreTraced) {
  const std::string file = makeFile("file");
  EXPECT_TRUE(set(file, 2541));
  EXPECT_THAT(takeLines(), ElementsAre(nativeLine("trace", "setPermission", file + ", 2541")));
  EXPECT_TRUE(set(file, -1024));
  EXPECT_THAT(takeLines(), ElementsAre(nativeLine("trace", "setPermission", file + ", -1024")));
  logger2::currentLevel = LOG_DEBUG;
  EXPECT_TRUE(set(file, 0600));
  EXPECT_THAT(takeLines(), IsEmpty());
}

TEST_F(SetPermissionTest, DirectoriesAndLinkTargetsToo) {
  const std::string directory = makeDirectory("directory");
  EXPECT_TRUE(set(directory, 01770));
  EXPECT_EQ(statOf("%a", directory), "1770");
  const std::string file = makeFile("file");
  EXPECT_TRUE(set(makeLink("link", "file"), 0604));
  EXPECT_EQ(statOf("%a", file), "604");
}

TEST_F(SetPermissionTest, MissingFiles) {
  expectFailure(at("missing"), ENOENT);
  expectFailure(makeLink("dangling", "missing"), ENOENT);
  expectFailure(makeFile("file") + "/x", ENOTDIR);
  makeLink("a", "b");
  expectFailure(makeLink("b", "a"), ELOOP);
  expectFailure(at(std::string(256, 'n')), ENAMETOOLONG);

  // A separator would follow something, so the trace of an empty path has none.
  takeLines();
  EXPECT_FALSE(set("", 0777));
  EXPECT_EQ(takeJavaError(), errorFor(ENOENT, ""));
  EXPECT_THAT(takeLines(),
              ElementsAre(nativeLine("trace", "setPermission", "511"), errorLine(ENOENT, "")));
}

TEST_F(SetPermissionTest, OnlyTheOwnerMayChangeAMode) {
  NEEDS_ROOT();
  const std::string others = makeFile("others", 0666);
  const std::string own = makeFile("own", 0600);
  ASSERT_EQ(::chown(own.c_str(), STRANGER_UID, STRANGER_GID), 0);
  makeDirectory("locked", 0700);
  const std::string hidden = makeFile("locked/file", 0666);
  ASSERT_EQ(::chown(hidden.c_str(), STRANGER_UID, STRANGER_GID), 0);
  {
    const AsUser stranger(STRANGER_UID, STRANGER_GID);
    expectFailure(others, EPERM);
    expectFailure(hidden, EACCES);
    EXPECT_TRUE(set(own, 0640));
  }
  EXPECT_EQ(statOf("%a", others), "666");
  EXPECT_EQ(statOf("%a", hidden), "666");
  EXPECT_EQ(statOf("%a", own), "640");
}

TEST_F(SetPermissionTest, EveryErrorHasItsException) {
  const std::string file = makeFile("file");
  for (const int err : {EPERM, EACCES, ENOENT, ENOMEM, EROFS, EIO}) {
    Hooks hooks;
    hooks.fail("chmod", err);
    expectFailure(file, err);
  }
}

}  // namespace
