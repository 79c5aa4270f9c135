#include "identity/fsaccount.h"

#include <sys/fsuid.h>
#include <sys/syscall.h>

#include <cerrno>
#include <fstream>
#include <regex>

#include "core/identity/identity_fixture.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;

using FSAccountTest = IdentityTest;

// A switch line with address and thread id left open.
std::string switchLine(int fromUid, int fromGid, unsigned uid, unsigned gid) {
  return "debug @setfsid:# @0x[0-9a-f]+ tid:[0-9]+ u,g \\(" + std::to_string(fromUid) + ", " +
         std::to_string(fromGid) + "\\) => \\(" + std::to_string(uid) + ", " + std::to_string(gid) +
         "\\)";
}

TEST_F(FSAccountTest, ActsAsThoseIdsForItsLife) {
  NEEDS_ROOT();
  onOwnThread([] {
    {
      const FSAccount account(1234, 5678);
      EXPECT_EQ(threadIdentity().fsuid, 1234u);
      EXPECT_EQ(threadIdentity().fsgid, 5678u);
    }
    EXPECT_EQ(threadIdentity().fsuid, 0u);
    EXPECT_EQ(threadIdentity().fsgid, 0u);
  });
}

TEST_F(FSAccountTest, SwitchAndRestoreAreLoggedWithTwoAts) {
  NEEDS_ROOT();
  onOwnThread([] {
    takeLog();
    { const FSAccount account(4294967294u, 5678); }
    EXPECT_THAT(takeLogWithoutLines(),
                ElementsAre(MatchesRegex(switchLine(0, 0, 4294967294u, 5678)),
                            MatchesRegex(switchLine(-2, 5678, 0, 0))));
  });
}

TEST_F(FSAccountTest, LineNamesTheObjectAndTheKernelsThread) {
  onOwnThread([] {
    takeLog();
    std::string expected;
    {
      const FSAccount account(0, 0);
      Fmt text;
      text << "@" << static_cast<const void*>(&account) << " tid:" << gettid() << " u,g (";
      expected = text.str();
    }
    EXPECT_THAT(takeLog(), ::testing::Each(::testing::HasSubstr(expected)));
  });
}

TEST_F(FSAccountTest, NestsAndActsAsRootInside) {
  NEEDS_ROOT();
  onOwnThread([] {
    const FSAccount user(1234, 5678);
    {
      const FSAccount root(0, 0);
      EXPECT_EQ(threadIdentity().fsuid, 0u);
    }
    EXPECT_EQ(threadIdentity().fsuid, 1234u);
    EXPECT_EQ(threadIdentity().fsgid, 5678u);
  });
}

TEST_F(FSAccountTest, IsRestoredWhenACppExceptionPasses) {
  NEEDS_ROOT();
  onOwnThread([] {
    try {
      const FSAccount account(1234, 5678);
      throw 1;
    } catch (int) {
    }
    EXPECT_EQ(threadIdentity().fsuid, 0u);
  });
}

TEST_F(FSAccountTest, SwitchNeedsNoMemoryForItsLines) {
  NEEDS_ROOT();
  onOwnThread([] {
    Hooks hooks;
    for (int nth = 1; nth < 6; ++nth) {
      hooks.fail("operator new", ENOMEM, nth);
      { const FSAccount account(1234, 5678); }
      EXPECT_EQ(threadIdentity().fsuid, 0u);
    }
  });
}

TEST_F(FSAccountTest, RefusedIdsAreLoggedAndTheOtherStepGoesOn) {
  onOwnThread([] {
    Hooks hooks;
    hooks.setfsuid = [](uid_t) {
      errno = EINVAL;
      return -1;
    };
    hooks.setfsgid = [](gid_t) {
      errno = EPERM;
      return -1;
    };
    takeLog();
    { const FSAccount account(7, 8); }
    const auto lines = takeLogWithoutLines();
    EXPECT_EQ(hooks.calls("setfsuid"), 2);
    EXPECT_EQ(hooks.calls("setfsgid"), 2);
    EXPECT_THAT(lines,
                ElementsAre("error @setfsid:# error:22uid:7", "error @setfsid:# error:1gid:8",
                            MatchesRegex(switchLine(-1, -1, 7, 8)),
                            "error @setfsid:# error:22uid:4294967295",
                            "error @setfsid:# error:1gid:4294967295",
                            MatchesRegex(switchLine(-1, -1, 4294967295u, 4294967295u))));
  });
}

TEST_F(FSAccountTest, AsAnOrdinaryUserTheKernelKeepsTheIdsAndTheLineSaysSo) {
  onOwnThread([] {
    // The capability goes with the effective uid; setresuid by system call is this thread's alone.
    const bool root = geteuid() == 0;
    if (root) {
      ASSERT_EQ(::syscall(SYS_setresuid, 65534, 65534, 0), 0);
    }
    const ThreadIdentity before = threadIdentity();
    takeLog();
    {
      const FSAccount account(1234, before.fsgid);
      EXPECT_EQ(threadIdentity(), before);
    }
    const auto uid = static_cast<int>(before.fsuid);
    const auto gid = static_cast<int>(before.fsgid);
    EXPECT_THAT(takeLogWithoutLines(),
                ElementsAre(MatchesRegex(switchLine(uid, gid, 1234, before.fsgid)),
                            MatchesRegex(switchLine(uid, gid, before.fsuid, before.fsgid))));
    if (root) {
      ASSERT_EQ(::syscall(SYS_setresuid, 0, 0, 0), 0);
    }
  });
}

TEST_F(FSAccountTest, UserNameBringsIdsAndGroups) {
  REQUIRE_SCRATCH_USERS();
  onOwnThread([] {
    takeLog();
    {
      const FSAccount account(plainUser(3));
      const ThreadIdentity identity = threadIdentity();
      EXPECT_EQ(identity.fsuid, plainUid(3));
      EXPECT_EQ(identity.fsgid, plainUid(3));
      EXPECT_THAT(identity.groups, ElementsAre(plainUid(3), plainGroup(3, 0), plainGroup(3, 1)));
    }
    EXPECT_THAT(threadIdentity().groups,
                ElementsAre(plainUid(3), plainGroup(3, 0), plainGroup(3, 1)));
    EXPECT_THAT(takeLogWithoutLines(), ElementsAre("debug setgroups: 60103 62030 62031",
                                                   MatchesRegex(switchLine(0, 0, 60103, 60103)),
                                                   MatchesRegex(switchLine(60103, 60103, 0, 0))));
  });
}

TEST_F(FSAccountTest, UserInMoreThan128GroupsGetsThemAll) {
  REQUIRE_SCRATCH_USERS();
  onOwnThread([] {
    Hooks hooks;
    const FSAccount account(MANY_GROUPS.name);
    EXPECT_EQ(hooks.calls("getgrouplist"), 2);
    const auto groups = threadIdentity().groups;
    EXPECT_EQ(groups.size(), MANY_GROUPS_COUNT + 1);
    EXPECT_EQ(groups, groupListOf(MANY_GROUPS.name, MANY_GROUPS.gid));
  });
}

TEST_F(FSAccountTest, PrimaryGroupRootKeepsTheSupplementaryGroups) {
  REQUIRE_SCRATCH_USERS();
  onOwnThread([] {
    { const FSAccount first(plainUser(1)); }
    const auto groups = threadIdentity().groups;
    Hooks hooks;
    const FSAccount account(PRIMARY_ROOT.name);
    EXPECT_EQ(threadIdentity().fsuid, PRIMARY_ROOT.uid);
    EXPECT_EQ(threadIdentity().fsgid, 0u);
    EXPECT_EQ(threadIdentity().groups, groups);
    EXPECT_EQ(hooks.calls("syscall"), 0);
  });
}

TEST_F(FSAccountTest, IdsAbove2To31Work) {
  REQUIRE_SCRATCH_USERS();
  onOwnThread([] {
    const FSAccount account(ABOVE_2_31.name);
    EXPECT_EQ(threadIdentity().fsuid, ABOVE_2_31.uid);
    EXPECT_EQ(threadIdentity().fsgid, ABOVE_2_31.gid);
    EXPECT_THAT(threadIdentity().groups, ElementsAre(ABOVE_2_31.gid));
  });
}

TEST_F(FSAccountTest, UnknownUserActsAsNobodyWithItsOwnNamesGroups) {
  NEEDS_ROOT();
  onOwnThread([] {
    takeLog();
    Hooks hooks;
    std::string askedFor;
    hooks.getgrouplist = [&](const char* user, gid_t group, gid_t* groups, int* count) {
      askedFor = user;
      return ::getgrouplist(user, group, groups, count);
    };
    {
      const FSAccount account("no-such-user");
      EXPECT_EQ(threadIdentity().fsuid, NOBODY.uid);
      EXPECT_EQ(threadIdentity().fsgid, NOBODY.gid);
      EXPECT_THAT(threadIdentity().groups, ElementsAre(NOBODY.gid));
    }
    EXPECT_EQ(askedFor, "no-such-user");
    EXPECT_THAT(
        takeLogWithoutLines(),
        ElementsAre("debug @username_to_uidgid:# getpwnam_r() unable to find entry in password "
                    "database for no-such-user",
                    "warn @FSAccount:# Unable to map username: no-such-user to uid.",
                    "debug setgroups: 65534", MatchesRegex(switchLine(0, 0, 65534, 65534)),
                    MatchesRegex(switchLine(65534, 65534, 0, 0))));
  });
}

TEST_F(FSAccountTest, WithoutNobodyThereIsNoSwitch) {
  onOwnThread([] {
    Hooks hooks;
    hooks.getpwnam_r = [](const char*, passwd*, char*, std::size_t, passwd** found) {
      *found = nullptr;
      return 0;
    };
    takeLog();
    const ThreadIdentity before = threadIdentity();
    {
      const FSAccount account("no-such-user");
      EXPECT_EQ(threadIdentity(), before);
    }
    EXPECT_EQ(threadIdentity(), before);
    const auto lines = takeLogWithoutLines();
    ASSERT_EQ(lines.size(), 6u);
    EXPECT_EQ(lines[1], "warn @FSAccount:# Unable to map username: no-such-user to uid.");
    EXPECT_EQ(lines[3], "warn @FSAccount:# Unable to map username: nobody to uid.");
    EXPECT_EQ(lines[4], "error @FSAccount:# rc:22username:no-such-user");
    EXPECT_THAT(lines[5],
                MatchesRegex(switchLine(static_cast<int>(before.fsuid),
                                        static_cast<int>(before.fsgid), 4294967295u, 4294967295u)));
  });
}

TEST_F(FSAccountTest, WithoutMemoryForTheLookupThereIsNoSwitchAndNoNobody) {
  onOwnThread([] {
    Hooks hooks;
    hooks.fail("operator new[](nothrow)", ENOMEM);
    takeLog();
    const ThreadIdentity before = threadIdentity();
    {
      const FSAccount account("root");
      EXPECT_EQ(threadIdentity(), before);
    }
    EXPECT_EQ(hooks.calls("getpwnam_r"), 0);
    EXPECT_EQ(takeLogWithoutLines()[1], "error @FSAccount:# rc:12username:root");
  });
}

TEST_F(FSAccountTest, WithoutMemoryForTheGroupsThereIsNoSwitch) {
  REQUIRE_SCRATCH_USERS();
  onOwnThread([] {
    Hooks hooks;
    hooks.fail("operator new[](nothrow)", ENOMEM, 2);  // the first is the lookup's
    takeLog();
    const ThreadIdentity before = threadIdentity();
    {
      const FSAccount account(plainUser(1));
      EXPECT_EQ(threadIdentity(), before);
    }
    const auto lines = takeLogWithoutLines();
    ASSERT_GE(lines.size(), 2u);
    EXPECT_EQ(lines[0], "debug @setgroups:# failed to alloc int * 128 buffer");
    EXPECT_EQ(lines[1], "error @FSAccount:# error:12 setgroups");
    EXPECT_EQ(hooks.calls("syscall"), 0);
  });
}

TEST_F(FSAccountTest, RefusedGroupListGoesUnnoticed) {
  REQUIRE_SCRATCH_USERS();
  onOwnThread([] {
    Hooks hooks;
    hooks.fail("syscall", EPERM);
    const FSAccount account(plainUser(1));
    EXPECT_EQ(threadIdentity().fsuid, plainUid(1));
    EXPECT_THAT(threadIdentity().groups, IsEmpty());
  });
}

TEST_F(FSAccountTest, GroupListThatNeverFitsEndsAsNoMemory) {
  onOwnThread([] {
    Hooks hooks;
    hooks.getgrouplist = [](const char*, gid_t, gid_t*, int*) { return -1; };
    EXPECT_EQ(setgroups("root", 1), -ENOMEM);
  });
}

TEST_F(FSAccountTest, DumpGidListsTheThreadsGroupsWithoutPrefix) {
  REQUIRE_SCRATCH_USERS();
  onOwnThread([] {
    { const FSAccount account(plainUser(2)); }
    takeLog();
    EXPECT_EQ(dump_gid("acl_get_file error"), 0);
    EXPECT_EQ(dump_gid(nullptr), 0);
    EXPECT_THAT(takeLog(),
                ElementsAre("debug acl_get_file error (dump group ids): 60102 62020 62021",
                            "debug (dump group ids): 60102 62020 62021"));
  });
}

TEST_F(FSAccountTest, DumpGidReturnsTheErrno) {
  Hooks hooks;
  hooks.fail("getgroups", EFAULT);
  EXPECT_EQ(dump_gid("x"), -EFAULT);
  hooks.fail("getgroups", EINVAL, 2);
  EXPECT_EQ(dump_gid("x"), -EINVAL);
  EXPECT_THAT(takeLog(), IsEmpty());
}

TEST_F(FSAccountTest, AboveDebugDumpGidAsksNothing) {
  logger2::currentLevel = LOG_INFO;
  Hooks hooks;
  EXPECT_EQ(dump_gid("x"), 0);
  EXPECT_EQ(hooks.calls(), 0);
}

static_assert(!std::is_copy_constructible_v<FSAccount>);
static_assert(!std::is_copy_assignable_v<FSAccount>);
static_assert(!std::is_default_constructible_v<FSAccount>);
static_assert(std::is_nothrow_destructible_v<FSAccount>);

}  // namespace
