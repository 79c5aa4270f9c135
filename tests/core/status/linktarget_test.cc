#include "status/linktarget.h"

#include <unistd.h>

#include <cerrno>
#include <limits>

#include "core/status/status_fixture.h"
#include "support/interpose.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class LinkReader : public FilesTest {
 protected:
  void SetUp() override {
    FilesTest::SetUp();
    link_ = makeLink("link", "0123456789");
  }

  std::string link_;
};

TEST_F(LinkReader, PlainReaderInsistsOnTheLength) {
  EXPECT_EQ(getLinkTarget(link_.c_str(), 10), "0123456789");
  EXPECT_THAT(takeLines(), IsEmpty());
  for (const int size : {9, 11, 0, 1 << 20, -1, -2, std::numeric_limits<int>::min()}) {
    EXPECT_EQ(getLinkTarget(link_.c_str(), size), "") << size;
    EXPECT_THAT(takeLines(), ElementsAre("warn @getLinkTarget:# Invalid link target for " + link_))
        << size;
  }
  const std::string missing = at("missing");
  EXPECT_EQ(getLinkTarget(missing.c_str(), 10), "");
  EXPECT_THAT(takeLines(), ElementsAre("warn @getLinkTarget:# Invalid link target for " + missing));
}

TEST_F(LinkReader, PlainReaderAsksForOneByteMore) {
  Hooks hooks;
  std::size_t asked = 0;
  hooks.readlink = [&](const char* name, char* buffer, std::size_t size) {
    asked = size;
    return ::readlink(name, buffer, size);
  };
  getLinkTarget(link_.c_str(), 10);
  EXPECT_EQ(asked, 11U);
}

class AclFlagTest : public FilesTest {
 protected:
  void expectFlag(const std::string& path, unsigned int mode, bool followLink) {
    EXPECT_EQ(getPermissionFromMode(path, mode, followLink), 0x1000U) << path;
    EXPECT_THAT(takeLines(), ElementsAre("debug @getPermissionFromMode:# Acl is set for " + path));
  }
  void expectNone(const std::string& path, bool followLink) {
    EXPECT_EQ(getPermissionFromMode(path, 0x1000 | 0777, followLink), 0U) << path;
    EXPECT_THAT(takeLines(), ElementsAre("debug @getPermissionFromMode:# No Acl for " + path));
  }
};

TEST_F(AclFlagTest, AccessAclSetsTheFlagWhateverTheMode) {
  const std::string file = makeFile("file");
  expectNone(file, true);
  outputOf({"setfacl", "-m", "u:1001:r", file});
  for (const unsigned int mode : {0U, 0777U, 0x1000U, 0xFFFFFFFFU}) expectFlag(file, mode, true);
  expectFlag(file, 0, false);
}

TEST_F(AclFlagTest, DefaultAclAloneSetsTheFlag) {
  const std::string directory = makeDirectory("directory");
  expectNone(directory, true);
  outputOf({"setfacl", "-d", "-m", "u:1001:r", directory});
  expectFlag(directory, 0, true);
  expectFlag(directory, 0, false);
}

TEST_F(AclFlagTest, LinkItselfHasNone) {
  const std::string file = makeFile("file");
  outputOf({"setfacl", "-m", "u:1001:r", file});
  const std::string link = makeLink("link", "file");
  expectFlag(link, 0, true);
  expectNone(link, false);
}

TEST_F(AclFlagTest, ErrorsCountAsNone) {
  expectNone(at("missing"), true);
  expectNone(at("missing"), false);
  expectNone("/proc/self/status", true);
  Hooks hooks;
  hooks.fail("getxattr", EACCES);
  expectNone(makeFile("file"), true);
}

TEST_F(AclFlagTest, DefaultAclIsAskedForOnlyWithoutAnAccessAcl) {
  std::vector<std::string> asked;
  ssize_t access = 1;
  Hooks hooks;
  const auto answer = [&](const char*, const char* name, void* value, std::size_t size) -> ssize_t {
    asked.emplace_back(name);
    EXPECT_EQ(value, nullptr);
    EXPECT_EQ(size, 0U);
    return asked.back() == "system.posix_acl_access" ? access : 0;
  };
  hooks.getxattr = answer;
  hooks.lgetxattr = answer;
  EXPECT_EQ(getPermissionFromMode("/x", 0, true), 0x1000U);
  EXPECT_THAT(asked, ElementsAre("system.posix_acl_access"));
  EXPECT_EQ(hooks.calls("lgetxattr"), 0);
  asked.clear();
  access = 0;
  EXPECT_EQ(getPermissionFromMode("/x", 0, false), 0U);
  EXPECT_THAT(asked, ElementsAre("system.posix_acl_access", "system.posix_acl_default"));
  EXPECT_EQ(hooks.calls("lgetxattr"), 2);
  EXPECT_EQ(hooks.calls("getxattr"), 1);
}

TEST_F(AclFlagTest, NothingIsLoggedAboveDebug) {
  logger2::currentLevel = LOG_INFO;
  getPermissionFromMode(makeFile("file"), 0, true);
  EXPECT_THAT(takeLines(), IsEmpty());
}

}  // namespace
