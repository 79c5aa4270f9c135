// The six natives with Java values, on real files.
#include <sys/stat.h>

#include <cerrno>
#include <chrono>
#include <cstring>

#include "acl/acl_fixture.h"
#include "zorf_native.h"

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

#define NATIVE(method) Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_##method

const char* const kScopeZero = "convert,807 unknown acl scope: 0";

const std::vector<AclRecord> kBase644 = {
    {kAccess, kUserObj, 0, 6}, {kAccess, kGroupObj, 0, 4}, {kAccess, kOther, 0, 4}};

class AclNatives : public AclTest {
 protected:
  static std::string rawStatus(const std::string& path) {
    struct stat st {};
    EXPECT_EQ(stat(path.c_str(), &st), 0) << path;
    std::string bytes(sizeof st, '\0');
    std::memcpy(bytes.data(), &st, sizeof st);
    return bytes;
  }
  // The report, or nothing and a Java exception pending.
  std::optional<std::string> status(const std::string& path, const std::string& raw) {
    jbyteArray report = NATIVE(getAclStatus)(env, nullptr, javaString(path), javaBytes(raw));
    if (report == nullptr) return std::nullopt;
    std::string bytes = bytesOf(report);
    env->DeleteLocalRef(report);
    return bytes;
  }
  using SpecNative = decltype(&NATIVE(setAcl));
  static constexpr SpecNative kSpecNatives[] = {NATIVE(setAcl), NATIVE(modifyAclEntries),
                                                NATIVE(removeAclEntries)};

  void call(SpecNative native, const std::string& path, const std::string& spec) {
    jstring javaPath = javaString(path);
    jbyteArray javaSpec = javaBytes(spec);
    native(env, nullptr, javaPath, javaSpec);
    env->DeleteLocalRef(javaPath);
    env->DeleteLocalRef(javaSpec);
  }
  void set(const std::string& path, const std::vector<AclRecord>& records) {
    call(NATIVE(setAcl), path, specOf(records));
  }
  void modify(const std::string& path, const std::vector<AclRecord>& records) {
    call(NATIVE(modifyAclEntries), path, specOf(records));
  }
  void remove(const std::string& path, const std::vector<AclRecord>& records) {
    call(NATIVE(removeAclEntries), path, specOf(records));
  }
  void expectNoError() { EXPECT_EQ(takeJavaError(), std::nullopt); }
  void expectError(int number, const std::string& message) {
    EXPECT_EQ(takeJavaError(), errorFor(number, message));
  }
};

TEST_F(AclNatives, StatusOfAPlainFile) {
  const std::string path = file("f", 0644);
  const auto report = status(path, rawStatus(path));
  ASSERT_TRUE(report);
  EXPECT_EQ(report->size(), 36u);
  EXPECT_EQ(*report, reportOf(kBase644));
  EXPECT_THAT(
      takeLogWithoutLines(),
      ElementsAre("trace AclEntry count:3",
                  "trace convert dump: " + path + "\nuser_obj::rw-\ngroup_obj::r--\nother::r--\n"));
}

TEST_F(AclNatives, StatusOfADirectoryHasTheDefaultRecordsLast) {
  const std::string path = directory("d", 0750);
  setfacl("u:0:r,d:u::rwx,d:g::r-x,d:o::---,d:g:4294967294:w,d:m::rwx", path);
  EXPECT_EQ(status(path, rawStatus(path)), reportOf({{kAccess, kUserObj, 0, 7},
                                                     {kAccess, kUser, 0, 4},
                                                     {kAccess, kGroupObj, 0, 5},
                                                     {kAccess, kMask, 0, 5},
                                                     {kAccess, kOther, 0, 0},
                                                     {kDefault, kUserObj, 0, 7},
                                                     {kDefault, kGroupObj, 0, 5},
                                                     {kDefault, kGroup, 4294967294u, 2},
                                                     {kDefault, kMask, 0, 7},
                                                     {kDefault, kOther, 0, 0}}));
}

TEST_F(AclNatives, StatusOfADirectoryWithoutDefaultAcl) {
  const std::string path = directory("d", 0644);
  EXPECT_EQ(status(path, rawStatus(path)), reportOf(kBase644));
}

TEST_F(AclNatives, StatusBelievesTheRecordAboutTheKindOfFile) {
  const std::string folder = directory("d", 0644);
  setfacl("d:u::rwx,d:g::-,d:o::-", folder);
  const std::string plain = file("f", 0644);
  EXPECT_EQ(status(folder, rawStatus(plain)), reportOf(kBase644));
  EXPECT_EQ(status(plain, rawStatus(folder)), reportOf(kBase644));
}

TEST_F(AclNatives, StatusReadsNoMoreThanTheRecord) {
  const std::string path = file("f", 0644);
  EXPECT_EQ(status(path, rawStatus(path) + "and more"), reportOf(kBase644));
}

TEST_F(AclNatives, StatusWithoutARecordStatsThePath) {
  const std::string folder = directory("d", 0644);
  setfacl("d:u::rwx,d:g::-,d:o::-", folder);
  jbyteArray report = NATIVE(getAclStatus)(env, nullptr, javaString(folder), nullptr);
  ASSERT_NE(report, nullptr);
  EXPECT_EQ(bytesOf(report).size(), 72u);
  const std::string missing = at("missing");
  EXPECT_EQ(NATIVE(getAclStatus)(env, nullptr, javaString(missing), nullptr), nullptr);
  expectError(ENOENT, missing);
}

TEST_F(AclNatives, AShortRecordIsTheVirtualMachinesError) {
  const std::string path = directory("d");
  for (const std::size_t size : {0u, 1u, 143u}) {
    EXPECT_EQ(status(path, std::string(size, 'x')), std::nullopt);
    const auto error = takeJavaError();
    ASSERT_TRUE(error);
    EXPECT_EQ(error->className, "java.lang.ArrayIndexOutOfBoundsException");
  }
  EXPECT_THAT(takeLog(), IsEmpty());
}

TEST_F(AclNatives, StatusOfAMissingPathIsDiagnosed) {
  const std::string path = at("missing");
  EXPECT_EQ(status(path, std::string(144, '\0')), std::nullopt);
  expectError(ENOENT, path);
  const auto lines = takeLogWithoutLines();
  ASSERT_GE(lines.size(), 3u);
  EXPECT_EQ(lines[0], "warn @get_file:# " + path);
  EXPECT_EQ(lines[1], "debug @handle_error:# No such file or directory: " + path);
  EXPECT_THAT(lines,
              ::testing::Contains(HasSubstr("@@@fails @" + at("").substr(0, at("").size() - 1))));

  logger2::currentLevel = LOG_WARN;
  EXPECT_EQ(status(path, std::string(144, '\0')), std::nullopt);
  expectError(ENOENT, path);
  EXPECT_THAT(takeLogWithoutLines(), ElementsAre("warn @get_file:# " + path));
}

TEST_F(AclNatives, StatusOfWhatTheCallerMayNotReach) {
  if (!isRoot()) GTEST_SKIP() << "needs root to act as another user";
  directory("closed", 0700);
  const std::string path = directory("closed/inner");
  const std::string raw = rawStatus(path);
  logger2::currentLevel = LOG_WARN;
  const ActAs nobody(65534);
  EXPECT_EQ(status(path, raw), std::nullopt);
  EXPECT_EQ(takeJavaError(),
            (JavaError{"java.nio.file.AccessDeniedException", "Permission denied: " + path}));
}

TEST_F(AclNatives, StatusWhoseDefaultAclFails) {
  const std::string path = directory("d");
  static decltype(ACLUtil::acl_get_file) realGet;
  realGet = ACLUtil::acl_get_file;
  const Override failing(ACLUtil::acl_get_file, [](const char* name, acl_type_t type) -> acl_t {
    if (type == 0x8000) return realGet(name, type);
    errno = EIO;
    return nullptr;
  });
  EXPECT_EQ(status(path, rawStatus(path)), std::nullopt);
  expectError(EIO, path);
}

TEST_F(AclNatives, NullArguments) {
  const std::string path = file("f", 0644);
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

TEST_F(AclNatives, SetWithANamedUserAloneCompletesTheAcl) {
  const std::string path = file("f", 0640);
  set(path, {{kAccess, kUser, 1001, 5}});
  expectNoError();
  EXPECT_THAT(takeLogWithoutLines(), ElementsAre("trace @convert:# aclspec entry size: 1",
                                                 "trace convert dump: nil\nuser:1001:r-x\n"));
  EXPECT_EQ(getfacl(path), "user::rw-,user:1001:r-x,group::r--,mask::r-x,other::---");
}

TEST_F(AclNatives, SetReplacesWhatWasThere) {
  const std::string path = file("f", 0640);
  setfacl("u:5:rwx,g:6:rwx", path);
  set(path, {{kAccess, kUserObj, 0, 7}, {kAccess, kGroupObj, 0, 0}, {kAccess, kOther, 0, 1}});
  expectNoError();
  EXPECT_EQ(getfacl(path), "user::rwx,group::---,other::--x");
}

TEST_F(AclNatives, SetKeepsTheSentMask) {
  const std::string path = file("f", 0640);
  set(path, {{kAccess, kUser, 1001, 7}, {kAccess, kMask, 0, 1}});
  expectNoError();
  EXPECT_EQ(getfacl(path), "user::rw-,user:1001:rwx,group::r--,mask::--x,other::---");
}

TEST_F(AclNatives, SetWithoutDefaultRecordsLeavesTheDefaultAcl) {
  const std::string path = directory("d", 0750);
  setfacl("d:u::rwx,d:g::-,d:o::-", path);
  set(path, {{kAccess, kUser, 1001, 4}});
  set(path, {});
  expectNoError();
  EXPECT_EQ(getfacl(path),
            "user::rwx,user:1001:r--,group::r-x,mask::r-x,other::---,"
            "default:user::rwx,default:group::---,default:other::---");
}

TEST_F(AclNatives, SetCompletesADefaultAclFromTheAccessAcl) {
  const std::string path = directory("d", 0754);
  set(path, {{kDefault, kGroup, 7, 2}});
  expectNoError();
  EXPECT_EQ(getfacl(path),
            "user::rwx,group::r-x,other::r--,default:user::rwx,default:group::r-x,"
            "default:group:7:-w-,default:mask::rwx,default:other::r--");
}

TEST_F(AclNatives, SetWritesTheScopesInTheOrderTheyCame) {
  const std::string accessFirst = directory("a", 0700);
  set(accessFirst, {{kAccess, kOther, 0, 7}, {kDefault, kUser, 5, 1}});
  expectNoError();
  EXPECT_EQ(getfacl(accessFirst),
            "user::rwx,group::---,other::rwx,default:user::rwx,default:user:5:--x,"
            "default:group::---,default:mask::--x,default:other::rwx");
  const std::string defaultFirst = directory("b", 0700);
  set(defaultFirst, {{kDefault, kUser, 5, 1}, {kAccess, kOther, 0, 7}});
  expectNoError();
  EXPECT_EQ(getfacl(defaultFirst),
            "user::rwx,group::---,other::rwx,default:user::rwx,default:user:5:--x,"
            "default:group::---,default:mask::--x,default:other::---");
}

TEST_F(AclNatives, SetStopsAtTheFirstFailureAndKeepsWhatItWrote) {
  const std::string path = directory("d", 0700);
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

TEST_F(AclNatives, ARejectedAclIsReportedWhole) {
  const std::string path = file("f", 0600);
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

TEST_F(AclNatives, ADefaultAclOfAFileIsDenied) {
  const std::string path = file("f", 0600);
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

TEST_F(AclNatives, AMissingPath) {
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

TEST_F(AclNatives, ModifyMergesAndComputesTheMaskAnew) {
  const std::string path = file("f", 0640);
  setfacl("u:5:rwx,m::r--", path);
  modify(path, {{kAccess, kUser, 5, 4}, {kAccess, kGroup, 6, 1}});
  expectNoError();
  EXPECT_EQ(getfacl(path), "user::rw-,user:5:r--,group::r--,group:6:--x,mask::r-x,other::---");
  modify(path, {{kAccess, kMask, 0, 2}});
  expectNoError();
  EXPECT_EQ(getfacl(path), "user::rw-,user:5:r--,group::r--,group:6:--x,mask::-w-,other::---");
}

TEST_F(AclNatives, ModifyCreatesADefaultAcl) {
  const std::string path = directory("d", 0754);
  modify(path, {{kDefault, kUser, 5, 7}});
  expectNoError();
  EXPECT_EQ(getfacl(path),
            "user::rwx,group::r-x,other::r--,default:user::rwx,default:user:5:rwx,"
            "default:group::r-x,default:mask::rwx,default:other::r--");
}

TEST_F(AclNatives, ModifyWithNothingTouchesNothing) {
  const std::string path = at("missing");
  modify(path, {});
  remove(path, {});
  set(path, {});
  expectNoError();
}

TEST_F(AclNatives, RemoveOfTheOnlyNamedEntryLeavesTheMask) {
  const std::string path = file("f", 0640);
  setfacl("u:5:rwx,m::r-x", path);
  remove(path, {{kAccess, kUser, 5, 0}});
  expectNoError();
  EXPECT_EQ(getfacl(path), "user::rw-,group::r--,mask::r-x,other::---");
}

TEST_F(AclNatives, RemoveOfAnAbsentEntryIsNoError) {
  const std::string path = file("f", 0640);
  remove(path, {{kAccess, kUser, 5, 0}, {kAccess, kMask, 0, 0}});
  expectNoError();
  EXPECT_EQ(getfacl(path), "user::rw-,group::r--,other::---");
}

TEST_F(AclNatives, RemoveDoesNotCompleteWhatItTookAway) {
  const std::string path = file("f", 0640);
  logger2::currentLevel = LOG_WARN;
  remove(path, {{kAccess, kUserObj, 0, 0}});
  expectError(EINVAL,
              path + ": Malformed access ACL \"group::r--,other::---,\": Missing or wrong entry");
  EXPECT_EQ(getfacl(path), "user::rw-,group::r--,other::---");
}

TEST_F(AclNatives, RemoveOfEveryDefaultEntryRemovesTheDefaultAcl) {
  const std::string path = directory("d", 0700);
  setfacl("d:u::rwx,d:g::-,d:o::-", path);
  remove(path, {{kDefault, kUserObj, 0, 0}, {kDefault, kGroupObj, 0, 0}, {kDefault, kOther, 0, 0}});
  expectNoError();
  EXPECT_EQ(getfacl(path), "user::rwx,group::---,other::---");
}

TEST_F(AclNatives, RemoveDefaultAclNeedsTheFlag) {
  const std::string path = directory("d", 0700);
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

TEST_F(AclNatives, RemoveAclLeavesTheBaseEntries) {
  const std::string path = directory("d", 0750);
  setfacl("u:5:rwx,g:6:r,d:u:5:rwx", path);
  const std::string full = getfacl(path);
  NATIVE(removeAcl)(env, nullptr, javaString(path), JNI_FALSE);
  expectNoError();
  EXPECT_EQ(getfacl(path), "user::rwx,group::r-x,other::---" + full.substr(full.find(",default:")));
  NATIVE(removeAcl)(env, nullptr, javaString(path), JNI_TRUE);
  expectNoError();
  EXPECT_EQ(getfacl(path), "user::rwx,group::r-x,other::---");
}

TEST_F(AclNatives, RemoveAclGoesOnToTheDefaultAclAfterAFailure) {
  const std::string path = directory("d", 0750);
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

TEST_F(AclNatives, RemoveAclWhoseHalvesBothFailRaisesTheFirst) {
  const std::string path = directory("d", 0750);
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

TEST_F(AclNatives, SpecificationsThatAreWrongAreNamed) {
  const std::string path = file("f", 0600);
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

TEST_F(AclNatives, WrongSpecificationsNeverChangeTheFile) {
  const std::string path = directory("d", 0751);
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

TEST_F(AclNatives, AMebibyteOfEntriesIsRefusedByTheFileSystem) {
  const std::string path = file("f", 0600);
  logger2::currentLevel = LOG_WARN;
  std::vector<AclRecord> records;
  for (unsigned id = 1 << 16; id > 0; --id) records.push_back({kAccess, kUser, id, 5});
  set(path, records);
  EXPECT_TRUE(takeJavaError());
  EXPECT_EQ(getfacl(path), "user::rw-,group::---,other::---");
}

TEST_F(AclNatives, IdsAtBothEnds) {
  const std::string path = file("f", 0600);
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

TEST_F(AclNatives, ALoggerThatThrowsReachesJava) {
  const std::string path = file("f", 0600);
  letLoggerThrow("no log");
  set(path, {{kAccess, kUser, 5, 4}});
  EXPECT_EQ(takeJavaError(), (JavaError{"java.lang.RuntimeException", "no log"}));
  letLoggerThrow("");
}

}  // namespace
