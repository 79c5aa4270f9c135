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

TEST_F(LinkTargetTest, NativeAsksForNoByteMore) {
  Hooks hooks;
  std::size_t asked = 0;
  hooks.readlink = [&](const char* name, char* buffer, std::size_t size) {
    asked = size;
    return ::readlink(name, buffer, size);
  };
  target(link_, 10);
  EXPECT_EQ(asked, 10U);
}

}  // namespace
