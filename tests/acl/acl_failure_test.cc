// The natives that change ACLs, when they fail: what Java sees, what is logged, and that files
// stay as they were.
#include <cerrno>

#include "acl/natives_fixture.h"

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

class AclNativeFailure : public AclNatives {};

TEST_F(AclNativeFailure, NullArguments) {
  const std::string path = makeFile("f", 0644);
  jbyteArray spec = javaBytes(specOf({{kAccess, kUserObj, 0, 0}}));
  const JavaError null = errorFor(EINVAL, "null argument");
  const std::string nullLine = "debug @handle_error:# Invalid argument: null argument";

  EXPECT_EQ(NATIVE(getAclStatus)(env, nullptr, nullptr, javaBytes(rawStatus(path))), nullptr);
  EXPECT_EQ(takeJavaError(), null);
  EXPECT_THAT(takeLogWithoutLines(),
              ElementsAre(nullLine, "debug @handle_error:# Invalid argument: failed to get path"));
  for (const SpecNative native : kSpecNatives) {
    native(env, nullptr, nullptr, spec);
    EXPECT_EQ(takeJavaError(), null);
    EXPECT_THAT(takeLogWithoutLines(), ElementsAre(nullLine));
    native(env, nullptr, javaString(path), nullptr);
    EXPECT_EQ(takeJavaError(), null);
    EXPECT_THAT(takeLogWithoutLines(), ElementsAre(nullLine));
  }
  NATIVE(removeDefaultAcl)(env, nullptr, nullptr, JNI_TRUE);
  EXPECT_EQ(takeJavaError(), null);
  NATIVE(removeAcl)(env, nullptr, nullptr, JNI_TRUE);
  EXPECT_EQ(takeJavaError(), null);
  EXPECT_THAT(takeLogWithoutLines(), ElementsAre(nullLine, nullLine));
  EXPECT_EQ(getfacl(path), "user::rw-,group::r--,other::r--");
}

TEST_F(AclNativeFailure, SetStopsAtTheFirstFailureAndKeepsWhatItWrote) {
  const std::string path = makeDirectory("d", 0700);
  const std::vector<AclRecord> twice = {{kDefault, kUser, 5, 1}, {kDefault, kUser, 5, 1}};
  std::vector<AclRecord> records = {{kAccess, kOther, 0, 7}};
  records.insert(records.end(), twice.begin(), twice.end());
  set(path, records);
  const auto error = takeJavaError();
  ASSERT_TRUE(error);
  EXPECT_THAT(error->message, HasSubstr("Invalid argument: : Malformed access ACL \"user::rwx,"));
  EXPECT_THAT(error->message, HasSubstr("mask::--x,other::rwx,\": Duplicate entries"));
  EXPECT_EQ(getfacl(path), "user::rwx,group::---,other::rwx");

  records = twice;
  records.push_back({kAccess, kOther, 0, 0});
  set(path, records);
  EXPECT_TRUE(takeJavaError());
  EXPECT_EQ(getfacl(path), "user::rwx,group::---,other::rwx") << "the access ACL was not reached";
}

TEST_F(AclNativeFailure, ARejectedAclIsReportedWhole) {
  const std::string path = makeFile("f", 0600);
  logger2::currentLevel = LOG_DEBUG;
  set(path, {{kAccess, kUserObj, 0, 7}, {kAccess, kUserObj, 0, 6}, {kAccess, kOther, 0, 4}});
  const std::string message =
      ": Malformed access ACL \"user::rwx,user::rw-,other::r--,\": Multiple entries of same type";
  expectError(EINVAL, message);
  EXPECT_THAT(takeLogWithoutLines(),
              ElementsAre("warn @valid:# " + message,
                          "debug @handle_error:# Invalid argument: " + message));
  EXPECT_EQ(getfacl(path), "user::rw-,group::---,other::---");
}

TEST_F(AclNativeFailure, ADefaultAclOfAFileIsDenied) {
  const std::string path = makeFile("f", 0600);
  logger2::currentLevel = LOG_DEBUG;
  for (const SpecNative native : {NATIVE(setAcl), NATIVE(modifyAclEntries)}) {
    call(native, path, specOf({{kDefault, kUser, 5, 4}}));
    expectError(EACCES, path);
    EXPECT_THAT(takeLogWithoutLines(),
                ElementsAre("warn @set_file:# " + path,
                            "debug @handle_error:# Permission denied: " + path));
  }
  EXPECT_EQ(getfacl(path), "user::rw-,group::---,other::---");
}

TEST_F(AclNativeFailure, AMissingPath) {
  const std::string path = at("missing");
  logger2::currentLevel = LOG_DEBUG;
  for (const SpecNative native : kSpecNatives) {
    call(native, path, specOf({{kAccess, kUser, 5, 4}}));
    expectError(ENOENT, path);
    EXPECT_THAT(takeLogWithoutLines(),
                ElementsAre("warn @get_file:# " + path,
                            "debug @handle_error:# No such file or directory: " + path));
  }
}

TEST_F(AclNativeFailure, RemoveDoesNotCompleteWhatItTookAway) {
  const std::string path = makeFile("f", 0640);
  logger2::currentLevel = LOG_WARN;
  remove(path, {{kAccess, kUserObj, 0, 0}});
  expectError(EINVAL,
              path + ": Malformed access ACL \"group::r--,other::---,\": Missing or wrong entry");
  EXPECT_EQ(getfacl(path), "user::rw-,group::r--,other::---");
}

TEST_F(AclNativeFailure, RemoveAclGoesOnToTheDefaultAclAfterAFailure) {
  const std::string path = makeDirectory("d", 0750);
  setfacl("d:u:5:rwx", path);
  {
    logger2::currentLevel = LOG_WARN;
    const Override failing(ACLUtil::acl_get_file, [](const char*, acl_type_t) -> acl_t {
      errno = EACCES;
      return nullptr;
    });
    NATIVE(removeAcl)(env, nullptr, javaString(path), JNI_TRUE);
  }
  expectError(EACCES, path);
  EXPECT_EQ(getfacl(path), "user::rwx,group::r-x,other::---");
}

TEST_F(AclNativeFailure, RemoveAclWhoseHalvesBothFailRaisesTheFirst) {
  const std::string path = makeDirectory("d", 0750);
  logger2::currentLevel = LOG_DEBUG;
  const Override read(ACLUtil::acl_get_file, [](const char*, acl_type_t) -> acl_t {
    errno = EIO;
    return nullptr;
  });
  const Override write(ACLUtil::acl_set_file, [](const char*, acl_type_t, acl_t) {
    errno = EPERM;
    return -1;
  });
  NATIVE(removeAcl)(env, nullptr, javaString(path), JNI_TRUE);
  expectError(EIO, path);
  EXPECT_THAT(
      takeLogWithoutLines(),
      ElementsAre("warn @get_file:# " + path, "debug @handle_error:# Input/output error: " + path,
                  "warn @set_file:# " + path,
                  "debug @handle_error:# Operation not permitted: " + path));
}

TEST_F(AclNativeFailure, SpecificationsThatAreWrongAreNamed) {
  const std::string path = makeFile("f", 0600);
  logger2::currentLevel = LOG_DEBUG;
  for (const SpecNative native : kSpecNatives) {
    call(native, path, specOf({{kAccess, kUser, 5, 7}, {5, kUser, 5, 7}}));
    const std::string text = "convert,807 unknown acl scope: 5";
    EXPECT_EQ(takeJavaError(), (JavaError{"java.io.IOException", "Success: " + text}));
    EXPECT_THAT(takeLogWithoutLines(),
                ElementsAre("warn @convert:# " + text, "debug @handle_error:# Success: " + text));
    call(native, path, specOf({{kAccess, kUser, 5, 7}, {kAccess, 3, 5, 7}}));
    EXPECT_EQ(takeJavaError(), (JavaError{"java.io.IOException", "Success: "}));
    EXPECT_THAT(takeLogWithoutLines(),
                ElementsAre("warn @convert:# ", "debug @handle_error:# Success: "));
  }
  EXPECT_EQ(getfacl(path), "user::rw-,group::---,other::---");
}

TEST_F(AclNativeFailure, WrongSpecificationsNeverChangeTheFile) {
  const std::string path = makeDirectory("d", 0751);
  setfacl("u:5:rwx,g:6:r,m::r,d:u:7:rwx", path);
  logger2::currentLevel = LOG_OFF;
  const std::string before = getfacl(path);
  const std::string raw = rawStatus(path);
  const auto reportBefore = status(path, raw);
  const std::string whole = specOf({{kAccess, kUser, 5, 1},
                                    {kAccess, kGroup, 6, 7},
                                    {kDefault, kUser, 7, 2},
                                    {kDefault, kOther, 0, 7},
                                    {kAccess, kMask, 0, 7}});
  int failures = 0;
  const auto expectHarmless = [&](const std::string& spec) {
    for (const SpecNative native : kSpecNatives) {
      call(native, path, spec);
      ++failures;
      ASSERT_TRUE(takeJavaError()) << spec.size() << " bytes";
      ASSERT_EQ(status(path, raw), reportBefore) << spec.size() << " bytes";
    }
  };
  // Not from the last record's permission on: there the cut only loses its value.
  for (std::size_t size = 4; size < whole.size() - 4; ++size) expectHarmless(whole.substr(0, size));
  expectHarmless(int32Bytes(0x7FFFFFFF) + whole.substr(4));
  expectHarmless(std::string(1 << 20, '\xFF').replace(0, 4, int32Bytes(1)));
  EXPECT_EQ(getfacl(path), before);
  EXPECT_GT(failures, 200);
  for (const std::string& nothing :
       {std::string(), std::string(3, '\1'), int32Bytes(0), int32Bytes(-1) + whole.substr(4),
        std::string(1 << 20, '\0')}) {
    for (const SpecNative native : kSpecNatives) call(native, path, nothing);
    expectNoError();
  }
  EXPECT_EQ(getfacl(path), before);
}

TEST_F(AclNativeFailure, AMebibyteOfEntriesIsRefusedByTheFileSystem) {
  const std::string path = makeFile("f", 0600);
  logger2::currentLevel = LOG_WARN;
  std::vector<AclRecord> records;
  for (unsigned id = 1 << 16; id > 0; --id) records.push_back({kAccess, kUser, id, 5});
  set(path, records);
  EXPECT_TRUE(takeJavaError());
  EXPECT_EQ(getfacl(path), "user::rw-,group::---,other::---");
}

}  // namespace
