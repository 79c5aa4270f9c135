// ACLs against real files: reading, checking, completing, merging, writing.
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <optional>
#include <thread>

#include "acl/acl.h"
#include "acl/acl_fixture.h"
#include "jni/exception.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

const char* const kLacksBase =
    "current acl lacks base entries, requires a valid file path to load.";

void add(ACL& acl, int tag, unsigned id, int perm) {
  ACL::Entry entry(acl);
  entry.set_tag(tag);
  if (tag == kUser || tag == kGroup) entry.set_qualifier(&id);
  entry.set_perm(perm);
}

// The entries alone, joined with commas.
std::string entriesOf(ACL& acl) {
  std::string text;
  for (auto it = acl.begin(); !it.cmp(acl.end()); it++) {
    if (!text.empty()) text += ",";
    text += it.dump();
  }
  return text;
}

class AclFile : public AclTest {
 protected:
  template <class Step>
  void expectThrows(const std::string& message, int number, Step step) {
    try {
      step();
      ADD_FAILURE() << "nothing thrown";
    } catch (const IOException& e) {
      EXPECT_EQ(e.what(), message);
      EXPECT_EQ(e.errorNumber, number);
    }
  }
};

TEST_F(AclFile, GetFileBindsAnew) {
  const std::string first = file("first", 0700);
  const std::string second = file("second", 0070);
  ACL acl(first, kAccess);
  acl.get_file(second);
  EXPECT_EQ(acl.dump(), second + "\nuser_obj::---\ngroup_obj::rwx\nother::---\n");
  acl.get_file("");
  EXPECT_EQ(acl.dump(), "nil\n");
}

TEST_F(AclFile, AMissingPathIsReportedWithItsNumber) {
  const std::string path = at("missing");
  for (const int type : {kAccess, kDefault}) {
    expectThrows(path, ENOENT, [&] { ACL acl(path, static_cast<unsigned>(type)); });
    EXPECT_THAT(takeLogWithoutLines(), ElementsAre("warn @get_file:# " + path));
  }
  logger2::currentLevel = LOG_ERROR;
  expectThrows(path, ENOENT, [&] { ACL acl(path, kAccess); });
  EXPECT_THAT(takeLog(), IsEmpty());
}

TEST_F(AclFile, ADefaultAclThatIsDeniedIsEmpty) {
  const std::string path = file("plain");
  ACL ofFile(path, kDefault);  // libacl's answer for what is no directory is EACCES
  EXPECT_EQ(ofFile.dump(), path + "\n");
  EXPECT_THAT(takeLog(), IsEmpty());
}

TEST_F(AclFile, WhatTheCallerMayNotReach) {
  if (!isRoot()) GTEST_SKIP() << "needs root to act as another user";
  directory("closed", 0700);
  const std::string path = directory("closed/inner", 0000);
  setfacl("d:u:1001:rwx", path);
  const std::vector<gid_t> groupsBefore = [] {
    std::vector<gid_t> groups(static_cast<std::size_t>(getgroups(0, nullptr)));
    getgroups(static_cast<int>(groups.size()), groups.data());
    return groups;
  }();
  const gid_t groups[] = {7, 4242};
  // The system call, which changes this thread alone.
  ASSERT_EQ(syscall(SYS_setgroups, 2, groups), 0);
  {
    const ActAs nobody(65534);
    ACL unreadable(path, kDefault);
    EXPECT_EQ(unreadable.size(), 0u);
    EXPECT_THAT(takeLog(), IsEmpty());

    expectThrows(path, EACCES, [&] { ACL acl(path, kAccess); });
    EXPECT_THAT(takeLogWithoutLines(),
                ElementsAre("debug acl_get_file error (dump group ids): 7 4242",
                            "warn @get_file:# " + path));
    logger2::currentLevel = LOG_INFO;
    expectThrows(path, EACCES, [&] { ACL acl(path, kAccess); });
    EXPECT_THAT(takeLogWithoutLines(), ElementsAre("warn @get_file:# " + path));
  }
  syscall(SYS_setgroups, groupsBefore.size(), groupsBefore.data());
  ACL asRoot(path, kDefault);
  EXPECT_EQ(asRoot.size(), 5u);
}

TEST_F(AclFile, AnyOtherFailureOfADefaultAclIsAnError) {
  const std::string path = directory("d");
  const Override failing(ACLUtil::acl_get_file, [](const char*, acl_type_t) -> acl_t {
    errno = EIO;
    return nullptr;
  });
  expectThrows(path, EIO, [&] { ACL acl(path, kDefault); });
  expectThrows(path, EIO, [&] { ACL acl(path, kAccess); });
  EXPECT_THAT(takeLogWithoutLines(),
              ElementsAre("warn @get_file:# " + path, "warn @get_file:# " + path));
}

TEST_F(AclFile, AFileSystemWithoutAclsSaysNotSupported) {
  ACL acl(kAccess);
  for (const int tag : {kUserObj, kGroupObj, kOther}) add(acl, tag, 0, 6);
  add(acl, kUser, 1001, 4);
  for (const unsigned type : {0x8000u, 0x4000u}) {
    expectThrows("/proc/version", EOPNOTSUPP, [&] { ACL unread("/proc/version", type); });
  }
  takeLog();
  expectThrows("/proc/version", EOPNOTSUPP, [&] { acl.set_file("/proc/version", true); });
  EXPECT_THAT(takeLogWithoutLines(), ElementsAre("warn @set_file:# /proc/version"));
}

TEST_F(AclFile, AMountWithoutAclsSaysNotSupported) {
  if (!isRoot()) GTEST_SKIP() << "needs root to mount";
  const std::string folder = directory("mounted");
  // The thread takes its mount namespace, and the mount in it, along when it ends.
  std::thread([&] {
    const AttachedThread attached;
    ASSERT_EQ(unshare(CLONE_NEWNS), 0);
    ASSERT_EQ(mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr), 0);
    ASSERT_EQ(mount("none", folder.c_str(), "ramfs", 0, nullptr), 0);
    const std::string path = folder + "/f";
    std::ofstream{path} << "f";
    expectThrows(path, EOPNOTSUPP, [&] { ACL acl(path, kAccess); });
    expectThrows(folder, EOPNOTSUPP, [&] { ACL acl(folder, kDefault); });
    ACL acl(kAccess);
    add(acl, kUser, 1001, 4);
    expectThrows(path, EOPNOTSUPP, [&] { acl.set_file(path, true); });
    ACL none(kDefault);
    expectThrows(folder, EOPNOTSUPP, [&] { none.set_file(folder, false); });
  }).join();
}

TEST_F(AclFile, SetFileWritesToThePathOfItsArgument) {
  const std::string source = file("source", 0750);
  const std::string target = file("target", 0600);
  ACL acl(source, kAccess);
  EXPECT_TRUE(acl.set_file(target, false));
  EXPECT_EQ(getfacl(target), "user::rwx,group::r-x,other::---");
  EXPECT_EQ(acl.path(), source);
}

TEST_F(AclFile, AFailedWriteIsReportedWithTheWrittenPath) {
  const std::string source = file("source");
  const std::string target = at("missing");
  ACL acl(source, kAccess);
  expectThrows(target, ENOENT, [&] { acl.set_file(target, false); });
  EXPECT_THAT(takeLogWithoutLines(), ElementsAre("warn @set_file:# " + target));
}

TEST_F(AclFile, AnEmptyDefaultAclIsValidAndRemovesTheDirectorysOne) {
  const std::string path = directory("d");
  setfacl("d:u:1001:rwx", path);
  ACL none(kDefault);
  EXPECT_EQ(none.valid(), 0);
  EXPECT_TRUE(none.set_file(path, false));
  EXPECT_EQ(getfacl(path), "user::rwx,group::r-x,other::r-x");
  EXPECT_TRUE(none.set_file(path, true)) << "removing none is no error";
  EXPECT_THAT(takeLog(), IsEmpty());
}

TEST_F(AclFile, AnEmptyAccessAclIsMalformed) {
  const std::string path = file("f");
  ACL none(kAccess);
  const std::string message = ": Malformed access ACL \"\": Missing or wrong entry";
  expectThrows(message, EINVAL, [&] { none.set_file(path, true); });
  EXPECT_THAT(takeLogWithoutLines(),
              ElementsAre("trace valid failed dump nil\n", "warn @valid:# " + message));
}

TEST_F(AclFile, TheMalformedMessageIsWhole) {
  const std::string path = directory("d");
  ACL acl(path, kAccess);
  add(acl, kUser, 424242, 5);
  const std::string message = path +
                              ": Malformed access ACL "
                              "\"user::rwx,user:424242:r-x,group::r-x,other::r-x,\""
                              ": Missing or wrong entry";
  expectThrows(message, EINVAL, [&] { acl.valid(); });
  EXPECT_THAT(takeLogWithoutLines(),
              ElementsAre("trace valid failed dump " + path +
                              "\nuser_obj::rwx\nuser:424242:r-x\ngroup_obj::r-x\nother::r-x\n",
                          "warn @valid:# " + message));
  EXPECT_EQ(getfacl(path), "user::rwx,group::r-x,other::r-x");
}

TEST_F(AclFile, ADefaultAclIsCalledAccessToo) {
  ACL acl(kDefault);
  add(acl, kUserObj, 0, 7);
  add(acl, kUserObj, 0, 6);
  const std::string message =
      ": Malformed access ACL \"user::rwx,user::rw-,\": Multiple entries of same type";
  expectThrows(message, EINVAL, [&] { acl.valid(); });
  logger2::currentLevel = LOG_ERROR;
  takeLog();
  expectThrows(message, EINVAL, [&] { acl.valid(); });
  EXPECT_THAT(takeLog(), IsEmpty());
}

TEST_F(AclFile, ACheckThatFailsItself) {
  ACL acl(file("f", 0600), kAccess);
  const std::string dump = acl.dump();
  const Override failing(ACLUtil::acl_check, [](acl_t, int*) {
    errno = EIO;
    return -1;
  });
  expectThrows("acl_valid fails", EIO, [&] { acl.valid(); });
  EXPECT_THAT(takeLogWithoutLines(),
              ElementsAre("trace valid failed dump " + dump, "warn @valid:# acl_valid fails"));
}

struct Completion {
  const char* name;
  std::vector<AclRecord> sent;
  const char* completed;  // from a file of mode 0751
};

TEST_F(AclFile, CompletionAddsTheBaseEntriesThatAreMissing) {
  const std::string path = file("f", 0751);
  const std::vector<Completion> rows = {
      {"nothing stays nothing", {}, ""},
      {"all three",
       {{0, kUserObj, 0, 1}, {0, kGroupObj, 0, 2}, {0, kOther, 0, 4}},
       "user_obj::--x,group_obj::-w-,other::r--"},
      {"one missing",
       {{0, kUserObj, 0, 1}, {0, kOther, 0, 4}},
       "user_obj::--x,group_obj::r-x,other::r--"},
      {"two missing", {{0, kGroupObj, 0, 2}}, "user_obj::rwx,group_obj::-w-,other::--x"},
      {"named user alone",
       {{0, kUser, 9, 2}},
       "user_obj::rwx,user:9:-w-,group_obj::r-x,mask::rwx,other::--x"},
      {"named group alone",
       {{0, kGroup, 9, 4}},
       "user_obj::rwx,group_obj::r-x,group:9:r--,mask::r-x,other::--x"},
      {"mask alone", {{0, kMask, 0, 2}}, "user_obj::rwx,group_obj::r-x,mask::-w-,other::--x"},
      {"three, but one twice: not completed",
       {{0, kUserObj, 0, 1}, {0, kUserObj, 0, 2}, {0, kOther, 0, 4}},
       "user_obj::--x,user_obj::-w-,other::r--"},
      {"four, one of them twice and one missing",
       {{0, kUserObj, 0, 1}, {0, kUserObj, 0, 2}, {0, kOther, 0, 4}, {0, kOther, 0, 4}},
       "user_obj::--x,user_obj::-w-,group_obj::r-x,other::r--,other::r--"},
  };
  for (const Completion& row : rows) {
    for (const unsigned type : {0x8000u, 0x4000u}) {
      ACL acl(type);
      for (const AclRecord& r : row.sent) add(acl, r.tag, r.id, r.perm);
      acl.make_valid(path);
      EXPECT_EQ(entriesOf(acl), row.completed) << row.name;
    }
  }
}

TEST_F(AclFile, CompletionTakesOnlyBaseEntriesOfTheAccessAcl) {
  const std::string path = directory("d", 0700);
  setfacl("u:5:rwx,m::r--,d:u::---,d:g::---,d:o::---", path);
  ACL acl(kDefault);
  add(acl, kUser, 9, 4);
  acl.make_valid(path);
  EXPECT_EQ(entriesOf(acl), "user_obj::rwx,user:9:r--,group_obj::---,mask::r--,other::---");
}

TEST_F(AclFile, AnEntryWithoutTagCountsForNothing) {
  ACL acl(kAccess);
  const ACL::Entry undefined(acl);
  acl.make_valid("");
  EXPECT_EQ(entriesOf(acl), "undef::---");
}

TEST_F(AclFile, CompletionWithoutAPathFails) {
  for (const int tag : {kUser, kMask, kOther}) {
    ACL acl(kAccess);
    add(acl, tag, 1, 4);
    expectThrows(kLacksBase, 0, [&] { acl.make_valid(""); });
    EXPECT_THAT(takeLogWithoutLines(),
                ElementsAre(std::string("warn @make_valid:# ") + kLacksBase));
    EXPECT_EQ(acl.size(), 1u);
  }
}

TEST_F(AclFile, CompletionFromAMissingFileFails) {
  const std::string path = at("missing");
  ACL acl(kAccess);
  add(acl, kUser, 1, 4);
  expectThrows(path, ENOENT, [&] { acl.set_file(path, true); });
  EXPECT_THAT(takeLogWithoutLines(), ElementsAre("warn @get_file:# " + path));
}

TEST_F(AclFile, AFailedMaskIsReportedWithTheAclsOwnPath) {
  const std::string path = file("f");
  ACL bound(path, kAccess);
  add(bound, kUser, 1, 4);
  const ACL::Entry undefined(bound);  // acl_calc_mask refuses it
  expectThrows(path, EINVAL, [&] { bound.make_valid(at("elsewhere")); });
  EXPECT_THAT(takeLogWithoutLines(), ElementsAre("warn @make_valid:# " + path));
  ACL loose(kAccess);
  add(loose, kUser, 1, 4);
  const ACL::Entry another(loose);
  expectThrows("", EINVAL, [&] { loose.make_valid(path); });
  EXPECT_THAT(takeLogWithoutLines(), ElementsAre("warn @make_valid:# "));
}

// The mask by every combination of what the rule looks at.
TEST_F(AclFile, TheMaskIsComputedWhenNobodySentOne) {
  const std::string path = file("f", 0770);
  for (int bits = 0; bits < 16; ++bits) {
    const bool named = bits & 1;
    const bool mask = bits & 2;
    const bool bound = bits & 4;
    const bool sent = bits & 8;
    ACL acl(bound ? path : "", kAccess);
    if (!bound) {
      for (const int tag : {kUserObj, kGroupObj, kOther}) add(acl, tag, 0, tag == kOther ? 0 : 7);
    }
    if (sent) {
      ACL changes(kAccess);
      add(changes, kMask, 0, 0);
      acl - changes;  // removes nothing: the file has no mask
      EXPECT_TRUE(acl.explicitMask());
    }
    if (named) add(acl, kUser, 9, 7);
    if (mask) add(acl, kMask, 0, 1);
    acl.make_valid(path);
    const bool computed = (named && !mask) || (mask && bound && !sent);
    const char* expectedMask = computed ? "mask::rwx," : mask ? "mask::--x," : "";
    EXPECT_EQ(entriesOf(acl), std::string("user_obj::rwx,") + (named ? "user:9:rwx," : "") +
                                  "group_obj::rwx," + expectedMask + "other::---")
        << "named " << named << " mask " << mask << " bound " << bound << " sent " << sent;
  }
}

TEST_F(AclFile, MergingANamedUserCompletesAndComputesTheMask) {
  const std::string path = file("f", 0754);
  ACL acl(path, kAccess);
  ACL changes(kAccess);
  add(changes, kUser, 1001, 5);
  EXPECT_EQ(&(acl + changes), &acl);
  EXPECT_TRUE(acl.set_file(path, true));
  EXPECT_EQ(getfacl(path), "user::rwx,user:1001:r-x,group::r-x,mask::r-x,other::r--");
}

TEST_F(AclFile, AStoredMaskIsComputedAnewAndASentOneKept) {
  const std::string path = file("f", 0700);
  setfacl("u:5:rwx,m::r--", path);
  ACL changes(kAccess);
  add(changes, kUser, 6, 1);
  {
    ACL acl(path, kAccess);
    acl + changes;
    EXPECT_FALSE(acl.explicitMask());
    acl.set_file(path, true);
    EXPECT_EQ(getfacl(path), "user::rwx,user:5:rwx,user:6:--x,group::---,mask::rwx,other::---");
  }
  add(changes, kMask, 0, 2);
  ACL acl(path, kAccess);
  acl + changes;
  EXPECT_TRUE(acl.explicitMask());
  acl.set_file(path, true);
  EXPECT_EQ(getfacl(path), "user::rwx,user:5:rwx,user:6:--x,group::---,mask::-w-,other::---");
}

TEST_F(AclFile, MergingReplacesTheFirstMatchAndAppendsTheRest) {
  ACL acl(kAccess);
  add(acl, kUser, 5, 7);
  add(acl, kUser, 5, 6);
  add(acl, kOther, 0, 7);
  ACL changes(kDefault);
  add(changes, kUser, 5, 1);
  add(changes, kGroup, 5, 2);
  add(changes, kOther, 0, 0);
  EXPECT_TRUE(acl.changeEntries(changes, 0));
  // libacl sorts the copied entry behind its equal.
  EXPECT_EQ(entriesOf(acl), "user:5:rw-,user:5:--x,group:5:-w-,other::---");
}

TEST_F(AclFile, RemovingTakesTheFirstMatchWhateverItsPermissions) {
  ACL acl(kAccess);
  add(acl, kUser, 5, 7);
  add(acl, kUser, 5, 6);
  add(acl, kUser, 6, 4);
  add(acl, kMask, 0, 4);
  ACL changes(kAccess);
  add(changes, kUser, 5, 0);
  add(changes, kUser, 77, 0);
  add(changes, kMask, 0, 0);
  EXPECT_EQ(&(acl - changes), &acl);
  EXPECT_EQ(entriesOf(acl), "user:5:rw-,user:6:r--");
  EXPECT_TRUE(acl.explicitMask());
}

TEST_F(AclFile, AnUnknownModeOnlyNotesTheMask) {
  ACL acl(kAccess);
  add(acl, kMask, 0, 4);
  ACL changes(kAccess);
  add(changes, kMask, 0, 7);
  EXPECT_TRUE(acl.changeEntries(changes, 2));
  EXPECT_EQ(entriesOf(acl), "mask::r--");
  EXPECT_TRUE(acl.explicitMask());
}

TEST_F(AclFile, ClearLeavesAnAccessAclItsBaseEntries) {
  const std::string path = file("f", 0640);
  setfacl("u:5:rwx,g:6:r,m::rwx", path);
  ACL acl(path, kAccess);
  EXPECT_TRUE(acl.clear());
  EXPECT_EQ(getfacl(path), "user::rw-,group::r--,other::---");
}

TEST_F(AclFile, ClearOfADefaultAclTakesOtherFromTheAccessAcl) {
  const std::string path = directory("d", 0754);
  setfacl("d:u::rw-,d:u:5:rwx,d:g::-wx,d:o::---,d:m::rwx", path);
  ACL acl(path, kDefault);
  EXPECT_TRUE(acl.clear());
  EXPECT_EQ(getfacl(path),
            "user::rwx,group::r-x,other::r--,"
            "default:user::rw-,default:group::-wx,default:other::r--");
}

TEST_F(AclFile, ClearOfAnAbsentDefaultAclIsNoError) {
  const std::string path = directory("d", 0754);
  ACL acl(path, kDefault);
  EXPECT_TRUE(acl.clear());
  EXPECT_EQ(getfacl(path), "user::rwx,group::r-x,other::r--");
}

TEST_F(AclFile, TheLargestIdsAreWritten) {
  const std::string path = file("f", 0600);
  setfacl("u:0:r,g:4294967294:w", path);
  ACL acl(path, kAccess);
  EXPECT_EQ(entriesOf(acl),
            "user_obj::rw-,user::r--,group_obj::---,group:-2:-w-,mask::rw-,other::---");
  EXPECT_TRUE(acl.set_file(path, true));
  EXPECT_EQ(getfacl(path),
            "user::rw-,user:0:r--,group::---,group:4294967294:-w-,mask::rw-,other::---");
}

}  // namespace
