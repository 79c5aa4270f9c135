#include "identity/names.h"

#include <algorithm>
#include <cerrno>
#include <string>

#include "core/identity/identity_fixture.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr unsigned UNKNOWN_ID = 4242;

class NamesTest : public CoreTest {
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

}  // namespace
