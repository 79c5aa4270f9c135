// ACLs against real files: reading, checking, completing, merging, writing.
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>

#include "core/acl/acl_fixture.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class AclFile : public AclTest {};

TEST_F(AclFile, GetFileBindsAnew) {
  const std::string first = makeFile("first", 0700);
  const std::string second = makeFile("second", 0070);
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
  const std::string path = makeFile("plain");
  ACL ofFile(path, kDefault);  // libacl's answer for what is no directory is EACCES
  EXPECT_EQ(ofFile.dump(), path + "\n");
  EXPECT_THAT(takeLog(), IsEmpty());
}

std::vector<gid_t> groupsOfThread() {
  std::vector<gid_t> groups(static_cast<std::size_t>(getgroups(0, nullptr)));
  getgroups(static_cast<int>(groups.size()), groups.data());
  return groups;
}

TEST_F(AclFile, ADirectoryThatTheCallerMayNotReach) {
  const std::string path = makeDirectory("closed/inner");
  setfacl("d:u:1001:rwx", path);
  const std::vector<gid_t> groupsBefore = groupsOfThread();
  if (isRoot()) {
    const gid_t groups[] = {7, 4242};
    // The system call, which changes this thread alone.
    ASSERT_EQ(syscall(SYS_setgroups, 2, groups), 0);
  }
  std::string groupsLine = "debug acl_get_file error (dump group ids):";
  for (const gid_t group : groupsOfThread()) groupsLine.append(" ").append(std::to_string(group));
  {
    const ClosedDirectory closed(at("closed"));
    ACL unreadable(path, kDefault);
    EXPECT_EQ(unreadable.size(), 0u);
    EXPECT_EQ(unreadable.path(), path);
    EXPECT_THAT(takeLog(), IsEmpty());

    expectThrows(path, EACCES, [&] { ACL acl(path, kAccess); });
    EXPECT_THAT(takeLogWithoutLines(), ElementsAre(groupsLine, "warn @get_file:# " + path));
    logger2::currentLevel = LOG_INFO;
    expectThrows(path, EACCES, [&] { ACL acl(path, kAccess); });
    EXPECT_THAT(takeLogWithoutLines(), ElementsAre("warn @get_file:# " + path));
  }
  if (isRoot()) syscall(SYS_setgroups, groupsBefore.size(), groupsBefore.data());
  ACL reachable(path, kDefault);
  EXPECT_EQ(reachable.size(), 5u);
}

TEST_F(AclFile, AnyOtherFailureOfADefaultAclIsAnError) {
  const std::string path = makeDirectory("d");
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
  for (const int tag : {kUserObj, kGroupObj, kOther}) addEntry(acl, tag, 0, 6);
  addEntry(acl, kUser, 1001, 4);
  for (const unsigned type : {0x8000u, 0x4000u}) {
    expectThrows("/proc/version", EOPNOTSUPP, [&] { ACL unread("/proc/version", type); });
  }
  takeLog();
  expectThrows("/proc/version", EOPNOTSUPP, [&] { acl.set_file("/proc/version", true); });
  EXPECT_THAT(takeLogWithoutLines(), ElementsAre("warn @set_file:# /proc/version"));
}

TEST_F(AclFile, AMountWithoutAclsSaysNotSupported) {
  if (std::getenv("ZORF_MAY_MOUNT") == nullptr) GTEST_SKIP() << "may not mount";
  const std::string folder = makeDirectory("mounted");
  ASSERT_EQ(mount("none", folder.c_str(), "ramfs", 0, nullptr), 0);
  const std::string path = folder + "/f";
  std::ofstream{path} << "f";
  expectThrows(path, EOPNOTSUPP, [&] { ACL acl(path, kAccess); });
  expectThrows(folder, EOPNOTSUPP, [&] { ACL acl(folder, kDefault); });
  ACL acl(kAccess);
  addEntry(acl, kUser, 1001, 4);
  expectThrows(path, EOPNOTSUPP, [&] { acl.set_file(path, true); });
  ACL none(kDefault);
  expectThrows(folder, EOPNOTSUPP, [&] { none.set_file(folder, false); });
  EXPECT_EQ(umount(folder.c_str()), 0);
}

TEST_F(AclFile, SetFileWritesToThePathOfItsArgument) {
  const std::string source = makeFile("source", 0750);
  const std::string target = makeFile("target", 0600);
  ACL acl(source, kAccess);
  EXPECT_TRUE(acl.set_file(target, false));
  EXPECT_EQ(getfacl(target), "user::rwx,group::r-x,other::---");
  EXPECT_EQ(acl.path(), source);
}

TEST_F(AclFile, AFailedWriteIsReportedWithTheWrittenPath) {
  const std::string source = makeFile("source");
  const std::string target = at("missing");
  ACL acl(source, kAccess);
  expectThrows(target, ENOENT, [&] { acl.set_file(target, false); });
  EXPECT_THAT(takeLogWithoutLines(), ElementsAre("warn @set_file:# " + target));
}

TEST_F(AclFile, AnEmptyDefaultAclIsValidAndRemovesTheDirectorysOne) {
  const std::string path = makeDirectory("d");
  setfacl("d:u:1001:rwx", path);
  ACL none(kDefault);
  EXPECT_EQ(none.valid(), 0);
  EXPECT_TRUE(none.set_file(path, false));
  EXPECT_EQ(getfacl(path), "user::rwx,group::r-x,other::r-x");
  EXPECT_TRUE(none.set_file(path, true)) << "removing none is no error";
  EXPECT_THAT(takeLog(), IsEmpty());
}

TEST_F(AclFile, AnEmptyAccessAclIsMalformed) {
  const std::string path = makeFile("f");
  ACL none(kAccess);
  const std::string message = ": Malformed access ACL \"\": Missing or wrong entry";
  expectThrows(message, EINVAL, [&] { none.set_file(path, true); });
  EXPECT_THAT(takeLogWithoutLines(),
              ElementsAre("trace valid failed dump nil\n", "warn @valid:# " + message));
}

TEST_F(AclFile, TheMalformedMessageIsWhole) {
  const std::string path = makeDirectory("d");
  ACL acl(path, kAccess);
  addEntry(acl, kUser, 424242, 5);
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
  addEntry(acl, kUserObj, 0, 7);
  addEntry(acl, kUserObj, 0, 6);
  const std::string message =
      ": Malformed access ACL \"user::rwx,user::rw-,\": Multiple entries of same type";
  expectThrows(message, EINVAL, [&] { acl.valid(); });
  logger2::currentLevel = LOG_ERROR;
  takeLog();
  expectThrows(message, EINVAL, [&] { acl.valid(); });
  EXPECT_THAT(takeLog(), IsEmpty());
}

TEST_F(AclFile, ACheckThatFailsItself) {
  ACL acl(makeFile("f", 0600), kAccess);
  const std::string dump = acl.dump();
  const Override failing(ACLUtil::acl_check, [](acl_t, int*) {
    errno = EIO;
    return -1;
  });
  expectThrows("acl_valid fails", EIO, [&] { acl.valid(); });
  EXPECT_THAT(takeLogWithoutLines(),
              ElementsAre("trace valid failed dump " + dump, "warn @valid:# acl_valid fails"));
}

TEST_F(AclFile, TheLargestIdsAreWritten) {
  const std::string path = makeFile("f", 0600);
  setfacl("u:0:r,g:4294967294:w", path);
  ACL acl(path, kAccess);
  EXPECT_EQ(entriesOf(acl),
            "user_obj::rw-,user::r--,group_obj::---,group:-2:-w-,mask::rw-,other::---");
  EXPECT_TRUE(acl.set_file(path, true));
  EXPECT_EQ(getfacl(path),
            "user::rw-,user:0:r--,group::---,group:4294967294:-w-,mask::rw-,other::---");
}

}  // namespace
