#include "status/stat.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <sstream>

#include "status/status_fixture.h"
#include "support/interpose.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// Positions of the fields in the layout table.
enum Pair { INODE, MODE, SIZE, ACCESSED, MODIFIED, CHANGED, UID, GID, END };

class StatTest : public InJvm<FilesTest> {
 protected:
  jbyteArray status(const std::string& path, bool resolveLink = false) {
    return ZORF_CALL(getFileStatusNative)(env, nullptr, javaString(path),
                                          resolveLink ? JNI_TRUE : JNI_FALSE);
  }
  jlong inode(const std::string& path) {
    return ZORF_CALL(getINum)(env, nullptr, javaString(path));
  }

  std::vector<jint> layout() {
    jintArray array = ZORF_CALL(getFileStatusFormatNative)(env, nullptr);
    std::vector<jint> table(static_cast<std::size_t>(env->GetArrayLength(array)));
    env->GetIntArrayRegion(array, 0, static_cast<jsize>(table.size()), table.data());
    return table;
  }

  // As Java decodes a record: `size` bytes of the pair's field, from `skip` bytes into it.
  std::uint64_t number(const std::string& record, Pair pair, std::size_t size,
                       std::size_t skip = 0) {
    std::uint64_t value = 0;
    std::memcpy(&value, record.data() + layout()[2 * pair] + skip, size);
    return value;
  }
  std::uint64_t field(const std::string& record, Pair pair) {
    return number(record, pair, static_cast<std::size_t>(layout()[2 * pair + 1]));
  }
  std::int64_t time(const std::string& record, Pair pair) {
    return static_cast<std::int64_t>(number(record, pair, 8)) * 1'000'000'000 +
           static_cast<std::int64_t>(number(record, pair, 8, 8));
  }

  void expectWhatStatSays(const std::string& path, bool resolveLink = false) {
    jbyteArray array = status(path, resolveLink);
    ASSERT_NE(array, nullptr) << path;
    const std::string record = bytesOf(array);
    EXPECT_EQ(record.size(), 144U);
    std::istringstream words(statOf("%i %f %s %u %g %.9X %.9Y %.9Z", path, resolveLink));
    std::uint64_t ino = 0, mode = 0, size = 0, uid = 0, gid = 0;
    std::string accessed, modified, changed;
    words >> ino >> std::hex >> mode >> std::dec >> size >> uid >> gid >> accessed >> modified >>
        changed;
    EXPECT_EQ(field(record, INODE), ino) << path;
    EXPECT_EQ(field(record, MODE), mode) << path;
    EXPECT_EQ(field(record, SIZE), size) << path;
    EXPECT_EQ(field(record, UID), uid) << path;
    EXPECT_EQ(field(record, GID), gid) << path;
    EXPECT_EQ(time(record, ACCESSED), nanoseconds(accessed)) << path;
    EXPECT_EQ(time(record, MODIFIED), nanoseconds(modified)) << path;
    EXPECT_EQ(time(record, CHANGED), nanoseconds(changed)) << path;
  }

  void expectNoStatus(const std::string& path, bool resolveLink, int err) {
    EXPECT_EQ(status(path, resolveLink), nullptr);
    EXPECT_EQ(takeJavaError(), errorFor(err, path));
  }
  void expectNoInode(const std::string& path, int err) {
    EXPECT_EQ(inode(path), -1);
    EXPECT_EQ(takeJavaError(), errorFor(err, "stat failed for " + path));
  }

  void setTimes(const std::string& path, timespec accessed, timespec modified) {
    const timespec times[] = {accessed, modified};
    ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW), 0);
  }
};

TEST_F(StatTest, LayoutIsEighteenNumbersEndingInTheLength) {
  EXPECT_THAT(layout(),
              ElementsAre(8, 8, 24, 4, 48, 8, 72, 16, 88, 16, 104, 16, 28, 4, 32, 4, 144, 0));
  EXPECT_THAT(takeLines(),
              ElementsAre(nativeLine("debug", "getFileStatusFormatNative",
                                     "8, 8, 24, 4, 48, 8, 72, 16, 88, 16, 104, 16, 28, 4, 32, 4, "
                                     "144, 0")));
  logger2::currentLevel = LOG_INFO;
  layout();
  EXPECT_THAT(takeLines(), IsEmpty());
}

TEST_F(StatTest, FilesAndDirectories) {
  const std::string file = makeFile("file", 0640);
  ASSERT_EQ(::truncate(file.c_str(), 12345), 0);
  expectWhatStatSays(file);
  expectWhatStatSays(makeFile("setuid", 06711));
  expectWhatStatSays(makeDirectory("directory", 01777));
  expectWhatStatSays("/");
  expectWhatStatSays("/proc");
}

TEST_F(StatTest, LinkItselfOrItsTarget) {
  const std::string file = makeFile("file");
  ASSERT_EQ(::truncate(file.c_str(), 777), 0);
  const std::string link = makeLink("link", "file");
  expectWhatStatSays(link, false);
  expectWhatStatSays(link, true);
  const std::string own = bytesOf(status(link, false));
  EXPECT_EQ(field(own, MODE) & 0xF000, 0xA000U);
  EXPECT_EQ(field(own, SIZE), 4U);
  EXPECT_EQ(bytesOf(status(link, true)), bytesOf(status(file, false)));
}

TEST_F(StatTest, SpecialFiles) {
  expectWhatStatSays("/dev/null");
  const std::string pipe = at("pipe");
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  expectWhatStatSays(pipe);

  const std::string bound = at("socket");
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  ASSERT_LT(bound.size(), sizeof address.sun_path);
  std::memcpy(address.sun_path, bound.c_str(), bound.size());
  const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  ASSERT_EQ(::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  ::close(fd);
  expectWhatStatSays(bound);
}

TEST_F(StatTest, DevicesOfTheirOwn) {
  const std::string block = at("block");
  if (::mknod(block.c_str(), S_IFBLK | 0660, makedev(7, 200)) != 0) {
    GTEST_SKIP() << "needs the right to make devices: " << std::strerror(errno);
  }
  expectWhatStatSays(block);
  const std::string character = at("character");
  ASSERT_EQ(::mknod(character.c_str(), S_IFCHR | 0600, makedev(1, 3)), 0);
  expectWhatStatSays(character);
}

TEST_F(StatTest, SizeAbove2To32) {
  const std::string file = makeFile("sparse");
  ASSERT_EQ(::truncate(file.c_str(), (5LL << 30) + 3), 0);
  expectWhatStatSays(file);
  EXPECT_EQ(field(bytesOf(status(file)), SIZE), 5368709123U);
}

TEST_F(StatTest, InodeNumberAbove2To32) {
  const std::string file = makeFile("file");
  Hooks hooks;
  hooks.lstat = [](const char* name, struct stat* st) {
    const int result = ::lstat(name, st);
    st->st_ino = 0xFEDCBA9876543210U;
    return result;
  };
  hooks.stat = [](const char* name, struct stat* st) {
    const int result = ::stat(name, st);
    st->st_ino = 0x123456789ABCDEF0U;
    return result;
  };
  EXPECT_EQ(field(bytesOf(status(file)), INODE), 0xFEDCBA9876543210U);
  EXPECT_EQ(inode(file), 0x123456789ABCDEF0);
}

TEST_F(StatTest, TimesBefore1970AndAfter2038) {
  const std::string file = makeFile("file");
  setTimes(file, {-2, 750'000'000}, {-1'000'000'000, 1});
  expectWhatStatSays(file);
  EXPECT_EQ(time(bytesOf(status(file)), ACCESSED), -1'250'000'000);
  EXPECT_EQ(time(bytesOf(status(file)), MODIFIED), -999'999'999'999'999'999);
  setTimes(file, {4'102'444'800, 999'999'999}, {2'147'483'648, 123'456'789});
  expectWhatStatSays(file);
  EXPECT_EQ(time(bytesOf(status(file)), ACCESSED), 4'102'444'800'999'999'999);
}

TEST_F(StatTest, LinkKeepsItsOwnTimes) {
  const std::string file = makeFile("file");
  const std::string link = makeLink("link", "file");
  setTimes(file, {1000, 1}, {2000, 2});
  setTimes(link, {3000, 3}, {4000, 4});
  expectWhatStatSays(link, false);
  expectWhatStatSays(link, true);
  EXPECT_EQ(time(bytesOf(status(link, false)), MODIFIED), 4'000'000'000'004);
  EXPECT_EQ(time(bytesOf(status(link, true)), MODIFIED), 2'000'000'000'002);
}

TEST_F(StatTest, OwnersAbove2To31) {
  NEEDS_ROOT();
  const std::string file = makeFile("file");
  ASSERT_EQ(::chown(file.c_str(), 3'000'000'000, 4'294'967'294), 0);
  expectWhatStatSays(file);
}

TEST_F(StatTest, SuccessLogsThreadPathAndChangeTime) {
  const std::string file = makeFile("file");
  setTimes(file, {1000, 1}, {2000, 2});
  struct stat st {};
  EXPECT_EQ(getStat(file.c_str(), false, st), 0);
  EXPECT_THAT(takeLines(), ElementsAre(statLine(file)));
  status(file);
  EXPECT_THAT(takeLines(), ElementsAre(statLine(file)));
  // Followed, the line names the link and the target's time.
  const std::string link = makeLink("link", "file");
  EXPECT_EQ(getStat(link.c_str(), true, st), 0);
  EXPECT_THAT(takeLines(), ElementsAre(statLine(link, true)));
  logger2::currentLevel = LOG_INFO;
  EXPECT_EQ(getStat(file.c_str(), true, st), 0);
  EXPECT_THAT(takeLines(), IsEmpty());
}

TEST_F(StatTest, MissingFileIsNoSuchFile) {
  const std::string missing = at("missing");
  struct stat st {};
  EXPECT_EQ(getStat(missing.c_str(), true, st), ENOENT);
  EXPECT_THAT(takeLines(), ElementsAre(lstatFailed(missing, ENOENT, true)));
  expectNoStatus(missing, true, ENOENT);
  EXPECT_EQ(takeLines()[0], lstatFailed(missing, ENOENT, true));
  expectNoInode(missing, ENOENT);
  EXPECT_THAT(takeLines(), ElementsAre(nativeLine("trace", "getINum", missing),
                                       errorLine(ENOENT, "stat failed for " + missing)));
  expectNoStatus("", false, ENOENT);
  expectNoInode("", ENOENT);
}

TEST_F(StatTest, PathThroughAFileIsMissingButItsInodeIsAnError) {
  const std::string through = makeFile("file") + "/x";
  struct stat st {};
  EXPECT_EQ(getStat(through.c_str(), false, st), ENOENT);
  EXPECT_THAT(takeLines(), ElementsAre(lstatFailed(through, ENOTDIR, false)));
  expectNoStatus(through, false, ENOENT);
  expectNoInode(through, ENOTDIR);
}

TEST_F(StatTest, DanglingLinkIsNoSuchFileWhenFollowed) {
  const std::string link = makeLink("link", "missing");
  expectWhatStatSays(link, false);
  takeLines();
  struct stat st {};
  EXPECT_EQ(getStat(link.c_str(), true, st), ENOENT);
  EXPECT_THAT(takeLines(), ElementsAre(targetFailed(link, ENOENT)));
  expectNoStatus(link, true, ENOENT);
  expectNoInode(link, ENOENT);
}

TEST_F(StatTest, LinkThroughAFileIsMissingToo) {
  makeFile("file");
  const std::string link = makeLink("link", "file/x");
  struct stat st {};
  EXPECT_EQ(getStat(link.c_str(), true, st), ENOENT);
  EXPECT_THAT(takeLines(), ElementsAre(targetFailed(link, ENOTDIR)));
  expectNoStatus(link, true, ENOENT);
}

TEST_F(StatTest, LoopOfLinksIsAnError) {
  const std::string a = makeLink("a", "b");
  makeLink("b", "a");
  expectWhatStatSays(a, false);
  expectNoStatus(a, true, ELOOP);
  expectNoStatus(a + "/x", false, ELOOP);
  expectNoInode(a, ELOOP);
}

TEST_F(StatTest, DeniedFileLogsTheGroupsFirst) {
  NEEDS_ROOT();
  makeDirectory("locked", 0700);
  const std::string file = makeFile("locked/file", 0666);
  struct stat st {};
  const AsUser stranger(STRANGER_UID, STRANGER_GID);
  EXPECT_EQ(getStat(file.c_str(), true, st), EACCES);
  EXPECT_THAT(takeLines(),
              ElementsAre(groupsLine("getStat error"), lstatFailed(file, EACCES, true)));
  expectNoStatus(file, true, EACCES);
  takeLines();
  expectNoInode(file, EACCES);
  EXPECT_THAT(takeLines(), ElementsAre(nativeLine("trace", "getINum", file),
                                       errorLine(EACCES, "stat failed for " + file)));
}

TEST_F(StatTest, DeniedLinkTargetLogsNoGroups) {
  NEEDS_ROOT();
  makeDirectory("locked", 0700);
  makeFile("locked/file", 0666);
  const std::string link = makeLink("link", "locked/file");
  struct stat st {};
  const AsUser stranger(STRANGER_UID, STRANGER_GID);
  EXPECT_EQ(getStat(link.c_str(), true, st), EACCES);
  EXPECT_THAT(takeLines(), ElementsAre(targetFailed(link, EACCES)));
  expectNoStatus(link, true, EACCES);
}

TEST_F(StatTest, NothingIsLoggedAboveDebug) {
  logger2::currentLevel = LOG_INFO;
  const std::string missing = at("missing");
  {
    Hooks hooks;
    hooks.fail("lstat", EACCES);
    expectNoStatus(missing, true, EACCES);
    EXPECT_EQ(hooks.calls("lstat"), 1);
    EXPECT_EQ(hooks.calls("getgroups"), 0);
  }
  expectNoInode(missing, ENOENT);
  EXPECT_THAT(takeLines(), IsEmpty());
  logger2::currentLevel = LOG_DEBUG;
  EXPECT_EQ(inode("/"), static_cast<jlong>(std::stoull(statOf("%i", "/"))));
  EXPECT_THAT(takeLines(), IsEmpty());
}

TEST_F(StatTest, EveryErrorHasItsException) {
  const std::string file = makeFile("file");
  for (const int err : {EPERM, EACCES, ENOENT, ENOMEM, EIO, ESTALE}) {
    Hooks hooks;
    hooks.fail("lstat", err);
    expectNoStatus(file, false, err);
    hooks.fail("stat", err);
    expectNoInode(file, err);
  }
}

TEST_F(StatTest, FailedStatusIsDiagnosed) {
  NEEDS_ROOT();
  const std::string missing = at("missing");
  expectNoStatus(missing, false, ENOENT);
  const std::string walked = "debug @getFailedPathInt:# " + tid();
  EXPECT_THAT(takeLines(),
              ElementsAre(lstatFailed(missing, ENOENT, false), errorLine(ENOENT, missing),
                          lstatFailed(missing, ENOENT, false), statLine(at("")),
                          walked + described(at("")) + "\n@@@fails @" + at(""),
                          identityLine(::geteuid(), ::getegid(), 0, 0),
                          lstatFailed(missing, ENOENT, false), "warn @get_file:# " + missing,
                          walked + describedRecord(missing, at("")) + "\nACL error:2 " + missing,
                          identityLine(0, 0, ::geteuid(), ::getegid())));
}

TEST_F(StatTest, InodeNumberFollowsLinks) {
  const std::string file = makeFile("file");
  const std::string link = makeLink("link", "file");
  EXPECT_EQ(inode(link), static_cast<jlong>(std::stoull(statOf("%i", file))));
  EXPECT_THAT(takeLines(), ElementsAre(nativeLine("trace", "getINum", link)));
}

}  // namespace
