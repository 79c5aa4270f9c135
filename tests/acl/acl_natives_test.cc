// The natives that change ACLs, on real files.
#include <cerrno>

#include "acl/natives_fixture.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class AclNativeChange : public AclNatives {};

TEST_F(AclNativeChange, SetWithANamedUserAloneCompletesTheAcl) {
  const std::string path = makeFile("f", 0640);
  set(path, {{kAccess, kUser, 1001, 5}});
  expectNoError();
  EXPECT_THAT(takeLogWithoutLines(), ElementsAre("trace @convert:# aclspec entry size: 1",
                                                 "trace convert dump: nil\nuser:1001:r-x\n"));
  EXPECT_EQ(getfacl(path), "user::rw-,user:1001:r-x,group::r--,mask::r-x,other::---");
}

TEST_F(AclNativeChange, SetReplacesWhatWasThere) {
  const std::string path = makeFile("f", 0640);
  setfacl("u:5:rwx,g:6:rwx", path);
  set(path, {{kAccess, kUserObj, 0, 7}, {kAccess, kGroupObj, 0, 0}, {kAccess, kOther, 0, 1}});
  expectNoError();
  EXPECT_EQ(getfacl(path), "user::rwx,group::---,other::--x");
}

TEST_F(AclNativeChange, SetKeepsTheSentMask) {
  const std::string path = makeFile("f", 0640);
  set(path, {{kAccess, kUser, 1001, 7}, {kAccess, kMask, 0, 1}});
  expectNoError();
  EXPECT_EQ(getfacl(path), "user::rw-,user:1001:rwx,group::r--,mask::--x,other::---");
}

TEST_F(AclNativeChange, SetWithoutDefaultRecordsLeavesTheDefaultAcl) {
  const std::string path = makeDirectory("d", 0750);
  setfacl("d:u::rwx,d:g::-,d:o::-", path);
  set(path, {{kAccess, kUser, 1001, 4}});
  set(path, {});
  expectNoError();
  EXPECT_EQ(getfacl(path),
            "user::rwx,user:1001:r--,group::r-x,mask::r-x,other::---,"
            "default:user::rwx,default:group::---,default:other::---");
}

TEST_F(AclNativeChange, SetCompletesADefaultAclFromTheAccessAcl) {
  const std::string path = makeDirectory("d", 0754);
  set(path, {{kDefault, kGroup, 7, 2}});
  expectNoError();
  EXPECT_EQ(getfacl(path),
            "user::rwx,group::r-x,other::r--,default:user::rwx,default:group::r-x,"
            "default:group:7:-w-,default:mask::rwx,default:other::r--");
}

TEST_F(AclNativeChange, SetWritesTheScopesInTheOrderTheyCame) {
  const std::string accessFirst = makeDirectory("a", 0700);
  set(accessFirst, {{kAccess, kOther, 0, 7}, {kDefault, kUser, 5, 1}});
  expectNoError();
  EXPECT_EQ(getfacl(accessFirst),
            "user::rwx,group::---,other::rwx,default:user::rwx,default:user:5:--x,"
            "default:group::---,default:mask::--x,default:other::rwx");
  const std::string defaultFirst = makeDirectory("b", 0700);
  set(defaultFirst, {{kDefault, kUser, 5, 1}, {kAccess, kOther, 0, 7}});
  expectNoError();
  EXPECT_EQ(getfacl(defaultFirst),
            "user::rwx,group::---,other::rwx,default:user::rwx,default:user:5:--x,"
            "default:group::---,default:mask::--x,default:other::---");
}

TEST_F(AclNativeChange, ModifyMergesAndComputesTheMaskAnew) {
  const std::string path = makeFile("f", 0640);
  setfacl("u:5:rwx,m::r--", path);
  modify(path, {{kAccess, kUser, 5, 4}, {kAccess, kGroup, 6, 1}});
  expectNoError();
  EXPECT_EQ(getfacl(path), "user::rw-,user:5:r--,group::r--,group:6:--x,mask::r-x,other::---");
  modify(path, {{kAccess, kMask, 0, 2}});
  expectNoError();
  EXPECT_EQ(getfacl(path), "user::rw-,user:5:r--,group::r--,group:6:--x,mask::-w-,other::---");
}

TEST_F(AclNativeChange, ModifyCreatesADefaultAcl) {
  const std::string path = makeDirectory("d", 0754);
  modify(path, {{kDefault, kUser, 5, 7}});
  expectNoError();
  EXPECT_EQ(getfacl(path),
            "user::rwx,group::r-x,other::r--,default:user::rwx,default:user:5:rwx,"
            "default:group::r-x,default:mask::rwx,default:other::r--");
}

TEST_F(AclNativeChange, ModifyWithNothingTouchesNothing) {
  const std::string path = at("missing");
  modify(path, {});
  remove(path, {});
  set(path, {});
  expectNoError();
}

TEST_F(AclNativeChange, RemoveOfTheOnlyNamedEntryLeavesTheMask) {
  const std::string path = makeFile("f", 0640);
  setfacl("u:5:rwx,m::r-x", path);
  remove(path, {{kAccess, kUser, 5, 0}});
  expectNoError();
  EXPECT_EQ(getfacl(path), "user::rw-,group::r--,mask::r-x,other::---");
}

TEST_F(AclNativeChange, RemoveOfAnAbsentEntryIsNoError) {
  const std::string path = makeFile("f", 0640);
  remove(path, {{kAccess, kUser, 5, 0}, {kAccess, kMask, 0, 0}});
  expectNoError();
  EXPECT_EQ(getfacl(path), "user::rw-,group::r--,other::---");
}

TEST_F(AclNativeChange, RemoveOfEveryDefaultEntryRemovesTheDefaultAcl) {
  const std::string path = makeDirectory("d", 0700);
  setfacl("d:u::rwx,d:g::-,d:o::-", path);
  remove(path, {{kDefault, kUserObj, 0, 0}, {kDefault, kGroupObj, 0, 0}, {kDefault, kOther, 0, 0}});
  expectNoError();
  EXPECT_EQ(getfacl(path), "user::rwx,group::---,other::---");
}

TEST_F(AclNativeChange, RemoveDefaultAclNeedsTheFlag) {
  const std::string path = makeDirectory("d", 0700);
  setfacl("d:u::rwx,d:g::-,d:o::-", path);
  const std::string before = getfacl(path);
  NATIVE(removeDefaultAcl)(env, nullptr, javaString(path), JNI_FALSE);
  NATIVE(removeDefaultAcl)(env, nullptr, javaString(at("missing")), JNI_FALSE);
  expectNoError();
  EXPECT_EQ(getfacl(path), before);
  NATIVE(removeDefaultAcl)(env, nullptr, javaString(path), JNI_TRUE);
  expectNoError();
  EXPECT_EQ(getfacl(path), "user::rwx,group::---,other::---");
  EXPECT_THAT(takeLog(), IsEmpty());

  NATIVE(removeDefaultAcl)(env, nullptr, javaString(at("missing")), JNI_TRUE);
  expectError(ENOENT, at("missing"));
  EXPECT_THAT(takeLogWithoutLines(),
              ElementsAre("warn @set_file:# " + at("missing"),
                          "debug @handle_error:# No such file or directory: " + at("missing")));
}

TEST_F(AclNativeChange, RemoveAclLeavesTheBaseEntries) {
  const std::string path = makeDirectory("d", 0750);
  setfacl("u:5:rwx,g:6:r,d:u:5:rwx", path);
  const std::string full = getfacl(path);
  NATIVE(removeAcl)(env, nullptr, javaString(path), JNI_FALSE);
  expectNoError();
  EXPECT_EQ(getfacl(path), "user::rwx,group::r-x,other::---" + full.substr(full.find(",default:")));
  NATIVE(removeAcl)(env, nullptr, javaString(path), JNI_TRUE);
  expectNoError();
  EXPECT_EQ(getfacl(path), "user::rwx,group::r-x,other::---");
}

TEST_F(AclNativeChange, IdsAtBothEnds) {
  const std::string path = makeFile("f", 0600);
  set(path, {{kAccess, kUser, 0, 4}, {kAccess, kGroup, 4294967294u, 2}});
  expectNoError();
  EXPECT_EQ(getfacl(path),
            "user::rw-,user:0:r--,group::---,group:4294967294:-w-,mask::rw-,other::---");
  modify(path, {{kAccess, kUser, 4294967295u, 1}});
  EXPECT_TRUE(takeJavaError()) << "no such id";
  remove(path, {{kAccess, kUser, 0, 0}});
  expectNoError();
  EXPECT_EQ(getfacl(path), "user::rw-,group::---,group:4294967294:-w-,mask::rw-,other::---");
}

}  // namespace
