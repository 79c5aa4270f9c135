// getAclStatus: the report of a file, and what happens when there is none.
#include <cerrno>

#include "acl/natives_fixture.h"

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

const std::vector<AclRecord> kBase644 = {
    {kAccess, kUserObj, 0, 6}, {kAccess, kGroupObj, 0, 4}, {kAccess, kOther, 0, 4}};

class AclStatus : public AclNatives {};

TEST_F(AclStatus, StatusOfAPlainFile) {
  const std::string path = makeFile("f", 0644);
  const auto report = status(path, rawStatus(path));
  ASSERT_TRUE(report);
  EXPECT_EQ(report->size(), 36u);
  EXPECT_EQ(*report, reportOf(kBase644));
  EXPECT_THAT(
      takeLogWithoutLines(),
      ElementsAre("trace AclEntry count:3",
                  "trace convert dump: " + path + "\nuser_obj::rw-\ngroup_obj::r--\nother::r--\n"));
}

TEST_F(AclStatus, StatusOfADirectoryHasTheDefaultRecordsLast) {
  const std::string path = makeDirectory("d", 0750);
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

TEST_F(AclStatus, StatusOfADirectoryWithoutDefaultAcl) {
  const std::string path = makeDirectory("d", 0644);
  EXPECT_EQ(status(path, rawStatus(path)), reportOf(kBase644));
}

TEST_F(AclStatus, StatusBelievesTheRecordAboutTheKindOfFile) {
  const std::string folder = makeDirectory("d", 0644);
  setfacl("d:u::rwx,d:g::-,d:o::-", folder);
  const std::string plain = makeFile("f", 0644);
  EXPECT_EQ(status(folder, rawStatus(plain)), reportOf(kBase644));
  EXPECT_EQ(status(plain, rawStatus(folder)), reportOf(kBase644));
}

TEST_F(AclStatus, StatusReadsNoMoreThanTheRecord) {
  const std::string path = makeFile("f", 0644);
  EXPECT_EQ(status(path, rawStatus(path) + "and more"), reportOf(kBase644));
}

TEST_F(AclStatus, StatusWithoutARecordStatsThePath) {
  const std::string folder = makeDirectory("d", 0644);
  setfacl("d:u::rwx,d:g::-,d:o::-", folder);
  jbyteArray report = NATIVE(getAclStatus)(env, nullptr, javaString(folder), nullptr);
  ASSERT_NE(report, nullptr);
  EXPECT_EQ(bytesOf(report).size(), 72u);
  const std::string missing = at("missing");
  EXPECT_EQ(NATIVE(getAclStatus)(env, nullptr, javaString(missing), nullptr), nullptr);
  expectError(ENOENT, missing);
}

TEST_F(AclStatus, AShortRecordIsTheVirtualMachinesError) {
  const std::string path = makeDirectory("d");
  for (const std::size_t size : {0u, 1u, 143u}) {
    EXPECT_EQ(status(path, std::string(size, 'x')), std::nullopt);
    const auto error = takeJavaError();
    ASSERT_TRUE(error);
    EXPECT_EQ(error->className, "java.lang.ArrayIndexOutOfBoundsException");
  }
  EXPECT_THAT(takeLog(), IsEmpty());
}

TEST_F(AclStatus, StatusOfAMissingPathIsDiagnosed) {
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

TEST_F(AclStatus, StatusOfWhatTheCallerMayNotReach) {
  const std::string path = makeDirectory("closed/inner");
  const std::string raw = rawStatus(path);
  logger2::currentLevel = LOG_WARN;
  const ClosedDirectory closed(at("closed"));
  EXPECT_EQ(status(path, raw), std::nullopt);
  EXPECT_EQ(takeJavaError(),
            (JavaError{"java.nio.file.AccessDeniedException", "Permission denied: " + path}));
  EXPECT_THAT(takeLogWithoutLines(), ElementsAre("warn @get_file:# " + path));
}

TEST_F(AclStatus, StatusWhoseDefaultAclFails) {
  const std::string path = makeDirectory("d");
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

}  // namespace
