#include <sys/fsuid.h>
#include <sys/stat.h>

#include <cerrno>

#include "identity/fsaccount.h"
#include "identity/identity_fixture.h"
#include "support/java_values.h"
#include "zorf_native.h"

namespace {

using ::testing::ElementsAre;
using ::testing::MatchesRegex;

using IdentityNativesTest = IdentityInJvm;

jlong switchTo(jstring user) {
  return Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_setFsUid__Ljava_lang_String_2(
      jniEnv(), nullptr, user);
}

void giveBack(jlong handle) {
  Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_setFsUid__J(jniEnv(), nullptr, handle);
}

jint setUMask(jshort mask) {
  return Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_setUMask(jniEnv(), nullptr, mask);
}

TEST_F(IdentityNativesTest, HandleSwitchesAndGivesBack) {
  REQUIRE_SCRATCH_USERS();
  onOwnThread([] {
    const jlong handle = switchTo(javaString(plainUser(1)));
    EXPECT_NE(handle, 0);
    EXPECT_EQ(threadIdentity().fsuid, plainUid(1));
    EXPECT_EQ(threadIdentity().fsgid, plainUid(1));
    giveBack(handle);
    EXPECT_EQ(threadIdentity().fsuid, 0u);
    EXPECT_EQ(threadIdentity().fsgid, 0u);
    EXPECT_THAT(threadIdentity().groups,
                ElementsAre(plainUid(1), plainGroup(1, 0), plainGroup(1, 1)));
  });
}

TEST_F(IdentityNativesTest, RoundTripMakesNoCallBeyondWhatItNeeds) {
  REQUIRE_SCRATCH_USERS();
  logger2::currentLevel = LOG_INFO;
  onOwnThread([] {
    jstring user = javaString(plainUser(1));
    Hooks hooks;
    giveBack(switchTo(user));
    EXPECT_EQ(hooks.calls("sysconf"), 1);
    EXPECT_EQ(hooks.calls("getpwnam_r"), 1);
    EXPECT_EQ(hooks.calls("getgrouplist"), 1);
    EXPECT_EQ(hooks.calls("syscall"), 1);
    EXPECT_EQ(hooks.calls("setfsuid"), 2);
    EXPECT_EQ(hooks.calls("setfsgid"), 2);
    EXPECT_EQ(hooks.calls(), 8);
    EXPECT_EQ(hooks.allocations(), 0);
  });
}

TEST_F(IdentityNativesTest, HandleZeroDoesNothing) {
  Hooks hooks;
  giveBack(0);
  EXPECT_EQ(hooks.calls(), 0);
  EXPECT_TRUE(takeLog().empty());
}

TEST_F(IdentityNativesTest, UnknownUserActsAsNobody) {
  NEEDS_ROOT();
  onOwnThread([] {
    const jlong handle = switchTo(javaString("no-such-user"));
    EXPECT_NE(handle, 0);
    EXPECT_EQ(threadIdentity().fsuid, NOBODY.uid);
    giveBack(handle);
  });
}

TEST_F(IdentityNativesTest, HandleComesAlsoWithoutASwitch) {
  onOwnThread([] {
    Hooks hooks;
    hooks.getpwnam_r = [](const char*, passwd*, char*, std::size_t, passwd** found) {
      *found = nullptr;
      return 0;
    };
    const jlong handle = switchTo(javaString("no-such-user"));
    EXPECT_NE(handle, 0);
    giveBack(handle);
    EXPECT_EQ(hooks.allocations(), 0);
  });
}

TEST_F(IdentityNativesTest, NullEmptyZeroAndHugeNames) {
  onOwnThread([] {
    EXPECT_EQ(switchTo(nullptr), 0);
    EXPECT_EQ(takeJavaError(), errorFor(EINVAL, "null argument"));
    for (const std::string& name :
         {std::string(), std::string("\xC0\x80root"), std::string(100000, 'x')}) {
      const jlong handle = switchTo(javaString(name));
      EXPECT_NE(handle, 0);
      giveBack(handle);
      EXPECT_EQ(takeJavaError(), std::nullopt);
    }
  });
}

TEST_F(IdentityNativesTest, LoggerThatThrowsUndoesTheSwitch) {
  REQUIRE_SCRATCH_USERS();
  onOwnThread([] {
    jstring user = javaString(plainUser(1));
    letLoggerThrow("disk full");
    Hooks hooks;
    EXPECT_EQ(switchTo(user), 0);
    EXPECT_EQ(hooks.allocations(), 0);
    letLoggerThrow("");
    EXPECT_EQ(takeJavaError(), (JavaError{"java.lang.RuntimeException", "disk full"}));
    EXPECT_EQ(threadIdentity().fsuid, 0u);
    EXPECT_EQ(threadIdentity().fsgid, 0u);
  });
}

TEST_F(IdentityNativesTest, NoMemoryForTheHandleIsARuntimeExceptionWithoutASwitch) {
  REQUIRE_SCRATCH_USERS();
  onOwnThread([] {
    jstring user = javaString(std::string(40, 'x'));
    logger2::currentLevel = LOG_OFF;
    const ThreadIdentity before = threadIdentity();
    for (int nth = 1; nth <= 2; ++nth) {  // the name's characters, then the object
      Hooks hooks;
      hooks.fail("operator new", ENOMEM, nth);
      EXPECT_EQ(switchTo(user), 0);
      EXPECT_EQ(hooks.allocations(), 0);
      EXPECT_EQ(takeJavaError(), errorFor(ENOMEM, ""));
      EXPECT_EQ(threadIdentity(), before);
    }
  });
}

TEST_F(IdentityNativesTest, UMaskIsLoggedInDecimalAndSet) {
  const mode_t before = umask(0);
  EXPECT_EQ(setUMask(18), 1);
  EXPECT_EQ(umask(before), mode_t{022});
  EXPECT_THAT(
      takeLogWithoutLines(),
      ElementsAre("debug @Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_setUMask:# "
                  "set umask 18"));
}

TEST_F(IdentityNativesTest, NegativeUMaskIsSignExtended) {
  Hooks hooks;
  mode_t passed = 0;
  hooks.umask = [&](mode_t mask) {
    passed = mask;
    return mode_t{0};
  };
  EXPECT_EQ(setUMask(-1), 1);
  EXPECT_EQ(passed, 0xFFFFFFFFu);
  EXPECT_THAT(takeLogWithoutLines(), ElementsAre(MatchesRegex("debug @.*setUMask:# set umask -1")));
}

TEST_F(IdentityNativesTest, LoggerThatThrowsDoesNotKeepTheIdentity) {
  NEEDS_ROOT();
  onOwnThread([] {
    letLoggerThrow("disk full");
    { const FSAccount account(1234, 5678); }
    EXPECT_EQ(threadIdentity().fsuid, 0u);
    letLoggerThrow("");
    EXPECT_EQ(takeJavaError(), (JavaError{"java.lang.RuntimeException", "disk full"}));
  });
}

}  // namespace
