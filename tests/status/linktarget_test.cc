#include "status/linktarget.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <limits>

#include "status/status_fixture.h"
#include "support/interpose.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class LinkTargetTest : public InJvm<FilesTest> {
 protected:
  void SetUp() override {
    InJvm::SetUp();
    link_ = makeLink("link", "0123456789");
  }

  jbyteArray target(const std::string& path, jint size) {
    return ZORF_CALL(getLinkTargetNative)(env, nullptr, javaString(path), size);
  }

  void expectNoTarget(const std::string& path, jint size, int err) {
    EXPECT_EQ(target(path, size), nullptr) << size;
    EXPECT_EQ(takeJavaError(), errorFor(err, "")) << size;
    EXPECT_THAT(takeLines(), ElementsAre(nativeLine("warn", "getLinkTargetNative",
                                                    "Invalid link target for " + path),
                                         errorLine(err, "")))
        << size;
  }

  std::string link_;
};

TEST_F(LinkTargetTest, TargetComesCutToTheSizeAsked) {
  EXPECT_EQ(bytesOf(target(link_, 1)), "0");
  EXPECT_EQ(bytesOf(target(link_, 9)), "012345678");
  EXPECT_EQ(bytesOf(target(link_, 10)), "0123456789");
  EXPECT_EQ(bytesOf(target(link_, 11)), "0123456789");
  EXPECT_EQ(bytesOf(target(link_, 4096)), "0123456789");
  EXPECT_EQ(bytesOf(target(link_, 4097)), "0123456789");
  EXPECT_EQ(bytesOf(target(link_, 1 << 20)), "0123456789");
  EXPECT_THAT(takeLines(), IsEmpty());
}

TEST_F(LinkTargetTest, LongestTargetArrivesWhole) {
  const std::string text(4095, 't');
  const std::string link = makeLink("longest", text);
  EXPECT_EQ(bytesOf(target(link, 4095)), text);
  EXPECT_EQ(bytesOf(target(link, 8000)), text);
  EXPECT_EQ(getLinkTarget(link.c_str(), 4095), text);
}

TEST_F(LinkTargetTest, TargetIsBytesNotText) {
  const std::string text = "\xFF\xFE/\xED\xA0\xBD\xED\xB8\x80\n";
  const std::string link = makeLink("bytes", text);
  EXPECT_EQ(bytesOf(target(link, 100)), text);
}

TEST_F(LinkTargetTest, NoRoomIsEinval) {
  expectNoTarget(link_, 0, EINVAL);
  expectNoTarget(link_, -1, EINVAL);
  expectNoTarget(link_, std::numeric_limits<jint>::min(), EINVAL);
}

TEST_F(LinkTargetTest, OnlyLinksHaveTargets) {
  expectNoTarget(makeFile("file"), 10, EINVAL);
  expectNoTarget(makeDirectory("directory"), 10, EINVAL);
  expectNoTarget(at("missing"), 10, ENOENT);
  expectNoTarget(at("file/x"), 10, ENOTDIR);
}

TEST_F(LinkTargetTest, LinkBehindALockedDirectoryIsDenied) {
  NEEDS_ROOT();
  makeDirectory("locked", 0700);
  const std::string link = makeLink("locked/link", "x");
  const AsUser stranger(STRANGER_UID, STRANGER_GID);
  expectNoTarget(link, 10, EACCES);
  EXPECT_EQ(bytesOf(target(link_, 10)), "0123456789");
}

TEST_F(LinkTargetTest, EveryErrorHasItsException) {
  for (const int err : {EPERM, EACCES, ENOENT, ENOMEM, EIO}) {
    Hooks hooks;
    hooks.fail("readlink", err);
    expectNoTarget(link_, 10, err);
  }
}

TEST_F(LinkTargetTest, WarningsEndAboveWarn) {
  logger2::currentLevel = LOG_WARN;
  EXPECT_EQ(target(at("missing"), 10), nullptr);
  EXPECT_TRUE(takeJavaError());
  EXPECT_EQ(getLinkTarget(link_.c_str(), 9), "");
  EXPECT_EQ(takeLines().size(), 2U);
  logger2::currentLevel = LOG_ERROR;
  EXPECT_EQ(target(at("missing"), 10), nullptr);
  EXPECT_EQ(takeJavaError(), errorFor(ENOENT, ""));
  EXPECT_EQ(getLinkTarget(link_.c_str(), 9), "");
  EXPECT_THAT(takeLines(), IsEmpty());
}

TEST_F(LinkTargetTest, EveryAllocationMayFail) {
  jstring name = javaString(link_);
  for (const char* form :
       {"operator new", "operator new[]", "operator new(nothrow)", "operator new[](nothrow)"}) {
    for (int nth = 1; nth < 100; ++nth) {
      jbyteArray result = nullptr;
      bool reached = false;
      {
        Hooks hooks;
        hooks.fail(form, ENOMEM, nth);
        result = ZORF_CALL(getLinkTargetNative)(env, nullptr, name, 1 << 20);
        reached = hooks.calls(form) >= nth;
        EXPECT_EQ(hooks.allocations(), 0) << form << nth;
      }
      const auto error = takeJavaError();
      if (result == nullptr) {
        EXPECT_EQ(error->className, "java.lang.RuntimeException") << form << nth;
      } else {
        EXPECT_EQ(bytesOf(result), "0123456789") << form << nth;
        EXPECT_EQ(error, std::nullopt);
      }
      if (!reached) break;
    }
  }
}

TEST_F(LinkTargetTest, PlainReaderInsistsOnTheLength) {
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

TEST_F(LinkTargetTest, PlainReaderAsksForOneByteMore) {
  Hooks hooks;
  std::size_t asked = 0;
  hooks.readlink = [&](const char* name, char* buffer, std::size_t size) {
    asked = size;
    return ::readlink(name, buffer, size);
  };
  getLinkTarget(link_.c_str(), 10);
  EXPECT_EQ(asked, 11U);
  target(link_, 10);
  EXPECT_EQ(asked, 10U);
}

class AclFlagTest : public InJvm<FilesTest> {
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
  EXPECT_EQ(takeJavaError(), std::nullopt);
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
