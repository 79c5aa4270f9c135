#include "status/failedpath.h"

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <new>
#include <thread>
#include <utility>

#include "acl/aclutil.h"
#include "core/status/status_fixture.h"
#include "support/interpose.h"

namespace {

using ::testing::ElementsAreArray;

using Lines = std::vector<std::string>;

class FailedPathTest : public FilesTest {
 protected:
  void SetUp() override {
    FilesTest::SetUp();
    ASSERT_TRUE(ACLUtil::init());
    takeLog();
    // Each diagnosis would say so, in lines of its own.
    if (getpwuid(::geteuid()) == nullptr || getgrgid(::getegid()) == nullptr) {
      GTEST_SKIP() << "needs a user and a group with names";
    }
  }

  // Runs the diagnosis and compares its result and every line of its log. `climb` are the lines of
  // the components that pass 1 skips, deepest first; `reached` describes the one it ends at, or is
  // empty; `pass2` are the lines between the switches of identity.
  void expectDiagnosis(const std::string& path, bool resolveLink, const std::string& result,
                       const Lines& climb, const std::string& reached, const Lines& pass2,
                       unsigned uid = ::geteuid(), unsigned gid = ::getegid()) {
    takeLines();
    struct stat st {};
    if (uid == ::geteuid()) {
      EXPECT_EQ(getFailedPath(path.c_str(), resolveLink, st), result);
    } else {
      const AsUser user(uid, gid);
      EXPECT_EQ(getFailedPath(path.c_str(), resolveLink, st), result);
      EXPECT_EQ(threadIdentity().fsuid, uid);
      EXPECT_EQ(threadIdentity().fsgid, gid);
    }
    Lines lines = climb;
    lines.push_back(description(reached + "\n@@@fails @" + result));
    // An ordinary user can't become root: the kernel leaves the ids and says they were the same.
    const unsigned rootUid = ::geteuid() == 0 ? 0 : uid;
    const unsigned rootGid = ::geteuid() == 0 ? 0 : gid;
    lines.push_back(identityLine(uid, gid, 0, 0));
    lines.insert(lines.end(), pass2.begin(), pass2.end());
    lines.push_back(identityLine(rootUid, rootGid, uid, gid));
    EXPECT_THAT(takeLines(), ElementsAreArray(lines));
  }

  std::string description(const std::string& components) {
    return "debug @getFailedPathInt:# " + tid() + components;
  }
  // What the diagnosis says about ACLs that can't be read, in its text and as a line of its own.
  std::string aclError(const std::string& path, int err) {
    return std::string("\nACL error:") + std::to_string(err) + " " + path;
  }
  std::string aclWarning(const std::string& path) { return "warn @get_file:# " + path; }
};

TEST_F(FailedPathTest, AccessiblePathIsItsOwnResult) {
  for (const std::string& name :
       {makeFile("file", 0640), makeDirectory("directory", 01770), makeFile("setuid", 04711)}) {
    const timespec times[] = {{1000, 1}, {2000, 2}};
    ASSERT_EQ(::utimensat(AT_FDCWD, name.c_str(), times, 0), 0);
    ASSERT_NE(described(name).find(" mtime: 2000,2\n"), std::string::npos);
    expectDiagnosis(name, false, name, {statLine(name)}, described(name), {description("")});
  }
}

TEST_F(FailedPathTest, AclsAreDescribedEntryByEntry) {
  const std::string file = makeFile("file", 0640);
  outputOf({"setfacl", "-m", "u:0:rw,u:1001:rx,g:0:x,g:54322:-,m::rw", file});
  const std::string directory = makeDirectory("directory");
  outputOf({"setfacl", "-m", "u:1001:rwx,d:u:1002:r,d:g:7:wx", directory});
  ASSERT_NE(described(file).find("\nuser::rw-\n"), std::string::npos);
  ASSERT_NE(described(directory).find("\ndefault:user:1002:r--\n"), std::string::npos);
  expectDiagnosis(file, false, file, {statLine(file)}, described(file), {description("")});
  expectDiagnosis(directory, false, directory, {statLine(directory)}, described(directory),
                  {description("")});
}

TEST_F(FailedPathTest, OwnersWithoutANameAreNumbers) {
  NEEDS_ROOT();
  const std::string file = makeFile("file");
  ASSERT_EQ(::chown(file.c_str(), STRANGER_UID, STRANGER_GID), 0);
  ASSERT_NE(described(file).find(" u:54321:54321 g:54322:54322 m:100644 "), std::string::npos);
  expectDiagnosis(
      file, false, file,
      {statLine(file),
       "debug @uid_to_usrname:# getpwuid_r() unable to find entry in password database for 54321",
       "warn @uidgid_to_name:# Unable to map uid to name for uid: 54321",
       "debug @gid_to_grpname:# getpwgid_r() unable to find entry in password database for 54322",
       "warn @uidgid_to_name:# Unable to map gid to name for gid: 54322"},
      described(file), {description("")});
}

TEST_F(FailedPathTest, RootDirectoryHasNothingToDescribe) {
  expectDiagnosis("/", false, "/", {}, "", {description("")});
}

TEST_F(FailedPathTest, LockedDirectoryIsFoundAtEveryDepth) {
  NEEDS_ROOT();
  Lines levels{at("")};
  for (std::string name = "1"; levels.size() <= 10;
       name += std::string("/") + std::to_string(levels.size())) {
    levels.push_back(makeDirectory(name));
  }
  for (std::size_t locked = 0; locked < levels.size(); ++locked) {
    ASSERT_EQ(::chmod(levels[locked].c_str(), 0700), 0);
    Lines climb;
    Lines pass2;
    std::string text;
    for (std::size_t i = levels.size() - 1; i > locked; --i) {
      climb.push_back(groupsLine("getStat error"));
      climb.push_back(lstatFailed(levels[i], EACCES, true));
      pass2.push_back(statLine(levels[i]));
      text += described(levels[i]);
    }
    climb.push_back(statLine(levels[locked]));
    pass2.push_back(description(text));
    expectDiagnosis(levels.back(), true, levels[locked], climb, described(levels[locked]), pass2,
                    STRANGER_UID, STRANGER_GID);
    ASSERT_EQ(::chmod(levels[locked].c_str(), 0755), 0);
  }
}

// What can't be stat'ed is described with the record of whatever was read last: the ancestor where
// pass 1 ended.
TEST_F(FailedPathTest, MissingComponentsAreDescribedWithTheRecordReadLast) {
  const std::string top = makeDirectory("top", 0711);
  const std::string a = top + "/a";
  const std::string b = a + "/b";
  const Lines climb{lstatFailed(b, ENOENT, false), lstatFailed(a, ENOENT, false), statLine(top)};
  const std::string text =
      describedRecord(b, top) + aclError(b, ENOENT) + describedRecord(a, top) + aclError(a, ENOENT);
  expectDiagnosis(b, false, top, climb, described(top),
                  {lstatFailed(b, ENOENT, false), aclWarning(b), lstatFailed(a, ENOENT, false),
                   aclWarning(a), description(text)});
}

TEST_F(FailedPathTest, ComponentsBelowAFile) {
  const std::string file = makeFile("file", 0600);
  const std::string below = file + "/x";
  expectDiagnosis(below, true, file, {lstatFailed(below, ENOTDIR, true), statLine(file)},
                  described(file),
                  {lstatFailed(below, ENOTDIR, true), aclWarning(below),
                   description(describedRecord(below, file) + aclError(below, ENOTDIR))});
}

TEST_F(FailedPathTest, NothingReachedLeavesAnEmptyRecord) {
  const std::string missing = "/zorf-missing-" + tid();
  expectDiagnosis(
      missing, false, "/", {lstatFailed(missing, ENOENT, false)}, "",
      {lstatFailed(missing, ENOENT, false), aclWarning(missing),
       description("\n@" + missing + " ino:0 u:0:root g:0:root m:0 ctime: 0,0 mtime: 0,0" +
                   aclError(missing, ENOENT))});
}

TEST_F(FailedPathTest, LinkToADirectoryHasADefaultAclOnlyWhenFollowed) {
  const std::string directory = makeDirectory("directory");
  outputOf({"setfacl", "-m", "u:1001:rwx,d:u:1002:r", directory});
  const std::string link = makeLink("link", "directory");
  ASSERT_NE(described(link, true), described(link, false));
  expectDiagnosis(link, false, link, {statLine(link)}, described(link), {description("")});
  expectDiagnosis(link, true, link, {statLine(link, true)}, described(link, true),
                  {description("")});
}

TEST_F(FailedPathTest, DanglingLink) {
  const std::string link = makeLink("link", "missing");
  const std::string own = describedRecord(link, link) + aclError(link, ENOENT);
  expectDiagnosis(link, false, link, {statLine(link), aclWarning(link)}, own, {description("")});
  expectDiagnosis(link, true, at(""), {targetFailed(link, ENOENT), statLine(at(""))},
                  described(at("")),
                  {targetFailed(link, ENOENT), aclWarning(link), description(own)});
}

TEST_F(FailedPathTest, LoopOfLinks) {
  const std::string a = makeLink("a", "b");
  const std::string below = makeLink("b", "a") + "/x";
  const std::string own = describedRecord(a, a) + aclError(a, ELOOP);
  expectDiagnosis(a, false, a, {statLine(a), aclWarning(a)}, own, {description("")});
  expectDiagnosis(a, true, at(""), {targetFailed(a, ELOOP), statLine(at(""))}, described(at("")),
                  {targetFailed(a, ELOOP), aclWarning(a), description(own)});
  const std::string b = at("b");
  expectDiagnosis(below, false, b, {lstatFailed(below, ELOOP, false), statLine(b), aclWarning(b)},
                  describedRecord(b, b) + aclError(b, ELOOP),
                  {lstatFailed(below, ELOOP, false), aclWarning(below),
                   description(describedRecord(below, b) + aclError(below, ELOOP))});
}

TEST_F(FailedPathTest, DeniedLinkTargetIsDescribedAsRoot) {
  NEEDS_ROOT();
  makeDirectory("locked", 0700);
  makeFile("locked/file");
  const std::string link = makeLink("link", "locked/file");
  expectDiagnosis(link, true, at(""), {targetFailed(link, EACCES), statLine(at(""))},
                  described(at("")), {statLine(link, true), description(described(link, true))},
                  STRANGER_UID, STRANGER_GID);
}

TEST_F(FailedPathTest, RelativePathEndsAtTheWorkingDirectory) {
  const std::string top = "zorf-missing";
  const std::string below = top + "/x";
  expectDiagnosis(
      below, false, ".",
      {lstatFailed(below, ENOENT, false), lstatFailed(top, ENOENT, false), statLine(".")},
      described("."),
      {lstatFailed(below, ENOENT, false), aclWarning(below), lstatFailed(top, ENOENT, false),
       aclWarning(top),
       description(describedRecord(below, ".") + aclError(below, ENOENT) +
                   describedRecord(top, ".") + aclError(top, ENOENT))});
}

TEST_F(FailedPathTest, EveryPathComesToAnEnd) {
  for (const bool always : {false, true}) {
    for (const std::string& name :
         std::vector<std::string>{"", ".", "..", "/", "//", "//zorf-missing", "a", "./zorf-missing",
                                  "../zorf-missing/", "/zorf-missing///x//"}) {
      struct stat st {};
      std::string result;
      {
        Hooks hooks;
        if (always) {
          hooks.lstat = [](const char*, struct stat*) {
            errno = EACCES;
            return -1;
          };
        }
        result = getFailedPath(name.c_str(), true, st);
        EXPECT_LE(hooks.calls("lstat"), 8) << name;
      }
      if (name.starts_with("/zorf") || name == "/") {
        EXPECT_EQ(result, "/");
      }
      takeLines();
    }
  }
}

TEST_F(FailedPathTest, WalkStopsBeforeItsEnd) {
  const std::string a = makeDirectory("a");
  const std::string b = makeDirectory("a/b");
  const std::string c = makeFile("a/b/c");
  struct stat st {};
  EXPECT_EQ(getFailedPathInt(c.c_str(), at("").c_str(), false, st, true), at(""));
  EXPECT_THAT(takeLines(),
              ElementsAreArray({statLine(c), statLine(b), statLine(a),
                                description(described(c) + described(b) + described(a))}));
  EXPECT_EQ(getFailedPathInt(c.c_str(), c.c_str(), false, st, false), c);
  EXPECT_THAT(takeLines(), ElementsAreArray({description("\n@@@fails @" + c)}));
  const std::string missing = at("missing");
  EXPECT_EQ(getFailedPathInt(missing.c_str(), at("").c_str(), false, st, false), at(""));
  EXPECT_THAT(takeLines(), ElementsAreArray({lstatFailed(missing, ENOENT, false),
                                             description("\n@@@fails @" + at(""))}));
}

TEST_F(FailedPathTest, AboveDebugNothingIsDone) {
  const std::string missing = at("missing");
  for (const int level : {LOG_INFO, LOG_WARN, LOG_ERROR, LOG_FATAL, LOG_OFF}) {
    logger2::currentLevel = level;
    struct stat st {};
    Hooks hooks;
    EXPECT_EQ(getFailedPath(missing.c_str(), false, st), "");
    EXPECT_EQ(hooks.calls(), 0);
  }
  EXPECT_THAT(takeLines(), ::testing::IsEmpty());
}

TEST_F(FailedPathTest, WithoutLibaclTheRestIsDescribed) {
  const std::string file = makeFile("file");
  void* const handle = std::exchange(ACLUtil::libacl_handle, nullptr);
  expectDiagnosis(file, false, file, {statLine(file)},
                  describedRecord(file, file) + "\nACL error:38 libacl.so.1 is not loaded",
                  {description("")});
  ACLUtil::libacl_handle = handle;
}

TEST_F(FailedPathTest, ThreadsDiagnoseEachAsItsOwnUser) {
  NEEDS_ROOT();
  const std::string locked = makeDirectory("locked", 0700);
  const std::string file = makeFile("locked/file");
  const auto diagnose = [&](unsigned id) {
    const AsUser user(id, id);
    const ThreadIdentity identity = threadIdentity();
    for (int i = 0; i < 20; ++i) {
      struct stat st {};
      // Who owns the directory, and only he, gets as far as the file.
      EXPECT_EQ(getFailedPath(file.c_str(), false, st), id == 0 ? file : locked);
      EXPECT_EQ(threadIdentity(), identity);
    }
  };
  std::vector<std::thread> threads;
  for (const unsigned id : {0U, 54321U, 54322U, 54323U}) threads.emplace_back(diagnose, id);
  for (std::thread& thread : threads) thread.join();
}

// Memory may run out in either pass; the second runs under another identity.
TEST_F(FailedPathTest, EveryAllocationMayFailAndTheIdentityIsBack) {
  NEEDS_ROOT();
  const std::string locked = makeDirectory("locked", 0700);
  const std::string file = makeFile("locked/file");
  const AsUser stranger(STRANGER_UID, STRANGER_GID);
  const ThreadIdentity identity = threadIdentity();
  int asRoot = 0;
  for (int nth = 1;; ++nth) {
    bool reached = false;
    {
      Hooks hooks;
      hooks.fail("operator new", ENOMEM, nth);
      try {
        struct stat st {};
        EXPECT_EQ(getFailedPath(file.c_str(), true, st), locked) << nth;
      } catch (const std::bad_alloc&) {
        if (hooks.calls("setfsuid") > 0) ++asRoot;
      }
      reached = hooks.calls("operator new") >= nth;
      EXPECT_EQ(hooks.allocations(), 0) << nth;
    }
    EXPECT_EQ(threadIdentity(), identity) << nth;
    if (!reached) break;
    ASSERT_LT(nth, 2000);
  }
  EXPECT_GT(asRoot, 0);
}

}  // namespace
