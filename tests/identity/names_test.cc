#include "identity/names.h"

#include <algorithm>
#include <cerrno>
#include <string>

#include "identity/identity_fixture.h"
#include "support/java_values.h"
#include "zorf_native.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr unsigned UNKNOWN_ID = 4242;

class NamesTest : public JvmTest {
 protected:
  std::string name = "before";
  unsigned uid = 111;
  unsigned gid = 222;
};

TEST_F(NamesTest, RootAndItsGroupAreFoundSilently) {
  EXPECT_EQ(uid_to_usrname(0, name), 0);
  EXPECT_EQ(name, "root");
  EXPECT_EQ(gid_to_grpname(0, name), 0);
  EXPECT_EQ(name, "root");
  EXPECT_EQ(username_to_uidgid("root", uid, gid), 0);
  EXPECT_EQ(uid, 0u);
  EXPECT_EQ(gid, 0u);
  gid = 222;
  EXPECT_EQ(grpname_to_gid("root", gid), 0);
  EXPECT_EQ(gid, 0u);
  EXPECT_THAT(takeLog(), IsEmpty());
}

TEST_F(NamesTest, UnknownUidIsEinvalAndLeavesTheName) {
  EXPECT_EQ(uid_to_usrname(UNKNOWN_ID, name), EINVAL);
  EXPECT_EQ(name, "before");
  EXPECT_THAT(takeLogWithoutLines(),
              ElementsAre("debug @uid_to_usrname:# getpwuid_r() unable to find entry in password "
                          "database for 4242"));
}

TEST_F(NamesTest, UnknownGidIsEinvalAndNamesTheWrongCall) {
  EXPECT_EQ(gid_to_grpname(UNKNOWN_ID, name), EINVAL);
  EXPECT_EQ(name, "before");
  EXPECT_THAT(takeLogWithoutLines(),
              ElementsAre("debug @gid_to_grpname:# getpwgid_r() unable to find entry in password "
                          "database for 4242"));
}

TEST_F(NamesTest, IdsInMessagesAreUnsigned) {
  EXPECT_EQ(uid_to_usrname(4294967294u, name), EINVAL);
  EXPECT_THAT(takeLogWithoutLines(),
              ElementsAre("debug @uid_to_usrname:# getpwuid_r() unable to find entry in password "
                          "database for 4294967294"));
}

TEST_F(NamesTest, UnknownUserNameLeavesTheIds) {
  EXPECT_EQ(username_to_uidgid("no-such-user", uid, gid), EINVAL);
  EXPECT_EQ(uid, 111u);
  EXPECT_EQ(gid, 222u);
  EXPECT_THAT(takeLogWithoutLines(),
              ElementsAre("debug @username_to_uidgid:# getpwnam_r() unable to find entry in "
                          "password database for no-such-user"));
}

TEST_F(NamesTest, UnknownGroupNameHasNoBlankBeforeTheName) {
  EXPECT_EQ(grpname_to_gid("no-such-group", gid), EINVAL);
  EXPECT_EQ(gid, 222u);
  EXPECT_THAT(takeLogWithoutLines(),
              ElementsAre("debug @grpname_to_gid:# getgrnam_r() unable to find entry in password "
                          "database forno-such-group"));
}

TEST_F(NamesTest, EmptyGroupNameEndsTheTextInFor) {
  EXPECT_EQ(grpname_to_gid("", gid), EINVAL);
  EXPECT_THAT(takeLogWithoutLines(), ElementsAre("debug @grpname_to_gid:# getgrnam_r() unable to "
                                                 "find entry in password database for"));
}

TEST_F(NamesTest, UnreachableDatabaseIsEinvalWithErrnoInTheText) {
  Hooks hooks;
  hooks.fail("getpwuid_r", EIO);
  EXPECT_EQ(uid_to_usrname(0, name), EINVAL);
  hooks.fail("getgrgid_r", EMFILE);
  EXPECT_EQ(gid_to_grpname(0, name), EINVAL);
  hooks.fail("getpwnam_r", EIO);
  EXPECT_EQ(username_to_uidgid("root", uid, gid), EINVAL);
  hooks.fail("getgrnam_r", EIO);
  EXPECT_EQ(grpname_to_gid("root", gid), EINVAL);
  EXPECT_EQ(name, "before");
  EXPECT_THAT(takeLogWithoutLines(),
              ElementsAre("debug @uid_to_usrname:# getpwuid_r() failed with 5",
                          "error @gid_to_grpname:# getgrgid_r() failed with 24",
                          "debug @username_to_uidgid:# getpwnam_r() failed with 5",
                          "debug @grpname_to_gid:# getgrgid_r() failed with 5"));
}

TEST_F(NamesTest, WithoutMemoryForTheBufferItIsEnomem) {
  Hooks hooks;
  hooks.sysconf = [](int) { return -1L; };
  const char* const allocation = "operator new[](nothrow)";
  hooks.fail(allocation, ENOMEM);
  EXPECT_EQ(uid_to_usrname(0, name), ENOMEM);
  hooks.fail(allocation, ENOMEM);
  EXPECT_EQ(gid_to_grpname(0, name), ENOMEM);
  hooks.fail(allocation, ENOMEM);
  EXPECT_EQ(username_to_uidgid("root", uid, gid), ENOMEM);
  hooks.fail(allocation, ENOMEM);
  EXPECT_EQ(grpname_to_gid("root", gid), ENOMEM);
  EXPECT_EQ(name, "before");
  EXPECT_EQ(uid, 111u);
  EXPECT_EQ(gid, 222u);
  EXPECT_THAT(takeLogWithoutLines(),
              ElementsAre("debug @uid_to_usrname:# new failed, pwdbufsize = 16384",
                          "debug @gid_to_grpname:# new failed, grpbufsize = 16384",
                          "debug @username_to_uidgid:# new failed, pwdbufsize = 16384",
                          "debug @grpname_to_gid:# new failed, grpbufsize = 16384"));
}

TEST_F(NamesTest, BufferStartsAtTheSystemsSuggestion) {
  Hooks hooks;
  std::vector<std::size_t> sizes;
  hooks.sysconf = [](int which) { return which == _SC_GETPW_R_SIZE_MAX ? 700L : 900L; };
  hooks.getpwuid_r = [&](uid_t id, passwd* entry, char* buffer, std::size_t size, passwd** found) {
    sizes.push_back(size);
    return ::getpwuid_r(id, entry, buffer, size, found);
  };
  hooks.getgrgid_r = [&](gid_t id, group* entry, char* buffer, std::size_t size, group** found) {
    sizes.push_back(size);
    return ::getgrgid_r(id, entry, buffer, size, found);
  };
  EXPECT_EQ(uid_to_usrname(0, name), 0);
  EXPECT_EQ(gid_to_grpname(0, name), 0);
  EXPECT_THAT(sizes, ElementsAre(700u, 900u));
}

TEST_F(NamesTest, BufferDoublesFrom16384WhileErrnoIsErange) {
  Hooks hooks;
  std::vector<std::size_t> sizes;
  bool zeroed = true;
  hooks.sysconf = [](int) { return -1L; };
  hooks.getgrnam_r = [&](const char* group_name, group* entry, char* buffer, std::size_t size,
                         group** found) {
    sizes.push_back(size);
    zeroed = zeroed && std::all_of(buffer, buffer + size, [](char c) { return c == 0; });
    if (sizes.size() < 4) {
      errno = ERANGE;
      return 1;  // what decides is errno, not the value
    }
    return ::getgrnam_r(group_name, entry, buffer, size, found);
  };
  EXPECT_EQ(grpname_to_gid("root", gid), 0);
  EXPECT_THAT(sizes, ElementsAre(16384u, 32768u, 65536u, 131072u));
  EXPECT_TRUE(zeroed);
}

TEST_F(NamesTest, StaleErangeDoesNotMakeItTryAgain) {
  Hooks hooks;
  hooks.getpwnam_r = [](const char*, passwd*, char*, std::size_t, passwd** found) {
    *found = nullptr;
    return EIO;  // errno untouched
  };
  errno = ERANGE;
  EXPECT_EQ(username_to_uidgid("root", uid, gid), EINVAL);
  EXPECT_EQ(hooks.calls("getpwnam_r"), 1);
  EXPECT_THAT(takeLogWithoutLines(),
              ElementsAre("debug @username_to_uidgid:# getpwnam_r() failed with 0"));
}

TEST_F(NamesTest, NothingIsKeptOnAnyPath) {
  Hooks hooks;
  const long before = hooks.allocations();
  uid_to_usrname(UNKNOWN_ID, name);
  hooks.fail("getpwuid_r", EIO);
  uid_to_usrname(0, name);
  uid_to_usrname(0, name);  // "root" fits into the string itself
  EXPECT_EQ(hooks.allocations(), before);
}

TEST_F(NamesTest, GroupLongerThanTheFirstBufferIsFound) {
  REQUIRE_SCRATCH_USERS();
  Hooks hooks;
  hooks.sysconf = [](int) { return -1L; };
  EXPECT_EQ(grpname_to_gid(BIG_GROUP, gid), 0);
  EXPECT_EQ(gid, BIG_GROUP_GID);
  EXPECT_GT(hooks.calls("getgrnam_r"), 1);
  EXPECT_EQ(gid_to_grpname(BIG_GROUP_GID, name), 0);
  EXPECT_EQ(name, BIG_GROUP);
}

TEST_F(NamesTest, NamesOfKnownIdsAndIdsOfKnownNamesAgree) {
  REQUIRE_SCRATCH_USERS();
  EXPECT_EQ(username_to_uidgid(ABOVE_2_31.name, uid, gid), 0);
  EXPECT_EQ(uid, ABOVE_2_31.uid);
  EXPECT_EQ(gid, ABOVE_2_31.gid);
  EXPECT_EQ(uid_to_usrname(ABOVE_2_31.uid, name), 0);
  EXPECT_EQ(name, ABOVE_2_31.name);
}

TEST_F(NamesTest, BothNamesOfUnknownIdsAreTheirNumbers) {
  std::string user;
  std::string group;
  EXPECT_EQ(uidgid_to_name(UNKNOWN_ID, UNKNOWN_ID, user, group), 0);
  EXPECT_EQ(user, "4242");
  EXPECT_EQ(group, "4242");
  EXPECT_THAT(takeLogWithoutLines(),
              ElementsAre("debug @uid_to_usrname:# getpwuid_r() unable to find entry in password "
                          "database for 4242",
                          "warn @uidgid_to_name:# Unable to map uid to name for uid: 4242",
                          "debug @gid_to_grpname:# getpwgid_r() unable to find entry in password "
                          "database for 4242",
                          "warn @uidgid_to_name:# Unable to map gid to name for gid: 4242"));
}

TEST_F(NamesTest, BothNamesOfRoot) {
  std::string user;
  std::string group;
  EXPECT_EQ(uidgid_to_name(0, 0, user, group), 0);
  EXPECT_EQ(user, "root");
  EXPECT_EQ(group, "root");
}

TEST_F(NamesTest, AboveWarnUnmappedIdsAreSilent) {
  logger2::currentLevel = LOG_ERROR;
  std::string user;
  std::string group;
  EXPECT_EQ(uidgid_to_name(4294967295u, 4294967294u, user, group), 0);
  EXPECT_EQ(user, "4294967295");
  EXPECT_EQ(group, "4294967294");
  EXPECT_THAT(takeLog(), IsEmpty());
}

// --- natives ---

jstring getUser(JNIEnv* env, jint uid) {
  return Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_getUser(env, nullptr, uid);
}
jstring getGroup(JNIEnv* env, jint gid) {
  return Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_getGroup(env, nullptr, gid);
}
jint getUid(JNIEnv* env, jstring name) {
  return Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_getUid(env, nullptr, name);
}
jint getGid(JNIEnv* env, jstring name) {
  return Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_getGid(env, nullptr, name);
}

TEST_F(NamesTest, NativesAnswerForRoot) {
  EXPECT_EQ(stringOf(getUser(env, 0)), "root");
  EXPECT_EQ(stringOf(getGroup(env, 0)), "root");
  EXPECT_EQ(getUid(env, javaString("root")), 0);
  EXPECT_EQ(getGid(env, javaString("root")), 0);
}

TEST_F(NamesTest, UnassignedIdsRaiseEinvalWithAnEmptyText) {
  EXPECT_EQ(getUser(env, UNKNOWN_ID), nullptr);
  EXPECT_EQ(takeJavaError(), (JavaError{"java.io.IOException", "Invalid argument: "}));
  EXPECT_EQ(getGroup(env, UNKNOWN_ID), nullptr);
  EXPECT_EQ(takeJavaError(), (JavaError{"java.io.IOException", "Invalid argument: "}));
}

TEST_F(NamesTest, UnknownNamesRaiseEinvalWithTheName) {
  EXPECT_EQ(getUid(env, javaString("no-such-user")), -1);
  EXPECT_EQ(takeJavaError(), (JavaError{"java.io.IOException", "Invalid argument: no-such-user"}));
  EXPECT_EQ(getGid(env, javaString("no-such-group")), -1);
  EXPECT_EQ(takeJavaError(), (JavaError{"java.io.IOException", "Invalid argument: no-such-group"}));
}

TEST_F(NamesTest, NoMemoryForTheBufferRaisesARuntimeException) {
  jstring root = javaString("root");
  Hooks hooks;
  const auto withoutMemory = [&](const auto& native) {
    hooks.fail("operator new[](nothrow)", ENOMEM);
    return native();
  };
  EXPECT_EQ(withoutMemory([&] { return getUser(env, 0); }), nullptr);
  EXPECT_EQ(takeJavaError(), errorFor(ENOMEM, ""));
  EXPECT_EQ(withoutMemory([&] { return getGroup(env, 0); }), nullptr);
  EXPECT_EQ(takeJavaError(), errorFor(ENOMEM, ""));
  EXPECT_EQ(withoutMemory([&] { return getUid(env, root); }), -1);
  EXPECT_EQ(takeJavaError(), errorFor(ENOMEM, "root"));
  EXPECT_EQ(withoutMemory([&] { return getGid(env, root); }), -1);
  EXPECT_EQ(takeJavaError(), errorFor(ENOMEM, "root"));
}

TEST_F(NamesTest, NullNamesRaiseEinval) {
  EXPECT_EQ(getUid(env, nullptr), -1);
  EXPECT_EQ(takeJavaError(), errorFor(EINVAL, "null argument"));
  EXPECT_EQ(getGid(env, nullptr), -1);
  EXPECT_EQ(takeJavaError(), errorFor(EINVAL, "null argument"));
}

TEST_F(NamesTest, EmptyAndHugeAndZeroNamesAreUnknown) {
  for (const std::string& bad :
       {std::string(), std::string(100000, 'x'), std::string("\xC0\x80")}) {
    EXPECT_EQ(getUid(env, javaString(bad)), -1);
    EXPECT_EQ(takeJavaError(), errorFor(EINVAL, bad));
    EXPECT_EQ(getGid(env, javaString(bad)), -1);
    EXPECT_EQ(takeJavaError(), errorFor(EINVAL, bad));
  }
}

TEST_F(NamesTest, IdsAbove2To31ArriveNegative) {
  REQUIRE_SCRATCH_USERS();
  const auto uidAsInt = static_cast<jint>(ABOVE_2_31.uid);
  const auto gidAsInt = static_cast<jint>(ABOVE_2_31.gid);
  EXPECT_LT(uidAsInt, 0);
  EXPECT_EQ(getUid(env, javaString(ABOVE_2_31.name)), uidAsInt);
  EXPECT_EQ(getGid(env, javaString(ABOVE_2_31.name)), gidAsInt);
  EXPECT_EQ(stringOf(getUser(env, uidAsInt)), ABOVE_2_31.name);
  EXPECT_EQ(stringOf(getGroup(env, gidAsInt)), ABOVE_2_31.name);
}

TEST_F(NamesTest, LoggersExceptionIsWhatJavaSees) {
  letLoggerThrow("disk full");
  EXPECT_EQ(getUser(env, UNKNOWN_ID), nullptr);
  EXPECT_EQ(takeJavaError(), (JavaError{"java.lang.RuntimeException", "disk full"}));
}

}  // namespace
