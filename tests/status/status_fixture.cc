#include "status/status_fixture.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <sstream>

#include "support/open_files.h"

namespace fs = std::filesystem;

namespace {

// getfacl(1) writes the tags of the owner's entries short, and the id 0 of a named entry.
std::string aclText(const std::string& path, const char* option, const std::string& prefix) {
  std::istringstream entries(outputOf({"getfacl", "-cnEp", option, path}));
  std::string text = path + "\n";
  for (std::string line; std::getline(entries, line);) {
    if (line.empty()) continue;
    if (line.starts_with("user::")) line.replace(0, 4, "user_obj");
    if (line.starts_with("group::")) line.replace(0, 5, "group_obj");
    if (line.starts_with("user:0:")) line.erase(5, 1);
    if (line.starts_with("group:0:")) line.erase(6, 1);
    text += prefix + line + "\n";
  }
  return text;
}

// "<seconds>,<nanoseconds>" of a time after 1970.
std::string commaTime(const std::string& decimal) {
  const std::int64_t time = nanoseconds(decimal);
  return std::to_string(time / 1'000'000'000) + "," + std::to_string(time % 1'000'000'000);
}

}  // namespace

std::string nativeLine(const std::string& level, const std::string& method,
                       const std::string& text) {
  return level + " @Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_" + method + ":# " +
         text;
}

void StatusTest::SetUp() {
  JvmTest::SetUp();
  dir_ = (fs::temp_directory_path() / "zorf_status.XXXXXX").string();
  ASSERT_NE(mkdtemp(dir_.data()), nullptr);
  ASSERT_EQ(::chmod(dir_.c_str(), 0755), 0);
  identity_ = threadIdentity();
}

void StatusTest::TearDown() {
  EXPECT_EQ(threadIdentity(), identity_);
  EXPECT_THAT(openFilesBelow(dir_), ::testing::IsEmpty());
  fs::remove_all(dir_);
  JvmTest::TearDown();
}

std::string StatusTest::path(const std::string& name) const {
  return name.empty() ? dir_ : dir_ + "/" + name;
}

std::string StatusTest::makeFile(const std::string& name, mode_t mode) {
  const std::string file = path(name);
  const int fd = ::open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  EXPECT_GE(fd, 0) << std::strerror(errno);
  EXPECT_EQ(::fchmod(fd, mode), 0);
  ::close(fd);
  return file;
}

std::string StatusTest::makeDirectory(const std::string& name, mode_t mode) {
  const std::string directory = path(name);
  EXPECT_EQ(::mkdir(directory.c_str(), 0700), 0) << std::strerror(errno);
  EXPECT_EQ(::chmod(directory.c_str(), mode), 0);
  return directory;
}

std::string StatusTest::makeLink(const std::string& name, const std::string& target) {
  const std::string link = path(name);
  EXPECT_EQ(::symlink(target.c_str(), link.c_str()), 0) << std::strerror(errno);
  return link;
}

AsUser::AsUser(unsigned uid, unsigned gid)
    : uid_(threadIdentity().fsuid), gid_(threadIdentity().fsgid) {
  // Group first: after the switch of the user the thread may lack the right.
  ::syscall(SYS_setfsgid, static_cast<long>(gid), 0L, 0L);
  ::syscall(SYS_setfsuid, static_cast<long>(uid), 0L, 0L);
}

AsUser::~AsUser() {
  ::syscall(SYS_setfsuid, uid_, 0L, 0L);
  ::syscall(SYS_setfsgid, gid_, 0L, 0L);
}

std::string outputOf(std::vector<std::string> command) {
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) {
    ADD_FAILURE() << "pipe2";
    return "";
  }
  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
  std::vector<char*> argv;
  for (std::string& word : command) argv.push_back(word.data());
  argv.push_back(nullptr);
  pid_t child = -1;
  const int failed = ::posix_spawnp(&child, argv[0], &actions, nullptr, argv.data(), environ);
  ::posix_spawn_file_actions_destroy(&actions);
  ::close(ends[1]);
  std::string text;
  char piece[4096];
  for (ssize_t n; (n = ::read(ends[0], piece, sizeof piece)) > 0;) {
    text.append(piece, static_cast<std::size_t>(n));
  }
  ::close(ends[0]);
  int status = -1;
  if (failed == 0) ::waitpid(child, &status, 0);
  EXPECT_EQ(status, 0) << command[0] << " of " << command.back() << " failed";
  if (text.ends_with('\n')) text.pop_back();
  return text;
}

std::string statOf(const std::string& format, const std::string& path, bool follow) {
  if (follow) return outputOf({"stat", "-L", "-c", format, "--", path});
  return outputOf({"stat", "-c", format, "--", path});
}

std::int64_t nanoseconds(const std::string& decimal) {
  const std::size_t point = decimal.find('.');
  const std::int64_t seconds = std::stoll(decimal.substr(0, point));
  const std::int64_t fraction = std::stoll(decimal.substr(point + 1));
  // "-0.5" has no sign left once its seconds are a number.
  return seconds * 1'000'000'000 + (decimal.front() == '-' ? -fraction : fraction);
}

std::vector<std::string> takeLines() {
  const std::string prefix = "debug @setfsid:# @";
  std::vector<std::string> lines = takeLogWithoutLines();
  for (std::string& line : lines) {
    if (!line.starts_with(prefix + "0x")) continue;
    line.replace(prefix.size(), line.find(' ', prefix.size()) - prefix.size(), "ADDRESS");
  }
  return lines;
}

std::string tid() {
  return std::string("tid:") + std::to_string(::gettid());
}

std::string statLine(const std::string& path, bool resolveLink) {
  return "debug @getStat:# " + tid() + " path: " + path +
         " stat ctime: " + commaTime(statOf("%.9Z", path, resolveLink));
}

std::string lstatFailed(const std::string& path, int err, bool resolveLink) {
  return "debug @getStat:# lstat for " + path + " error " + std::to_string(err) + " resolveLink " +
         (resolveLink ? "1" : "0");
}

std::string targetFailed(const std::string& path, int err) {
  return "debug @getStat:# link target is invalid, stat for " + path + " error " +
         std::to_string(err) + " resolveLink 1";
}

std::string errorLine(int err, const std::string& message) {
  return "debug @handle_error:# " + errorFor(err, message).message;
}

std::string groupsLine(const std::string& prefix) {
  std::string line = "debug " + prefix + " (dump group ids):";
  for (const unsigned group : threadIdentity().groups)
    line.append(" ").append(std::to_string(group));
  return line;
}

std::string identityLine(unsigned fromUid, unsigned fromGid, unsigned toUid, unsigned toGid) {
  const auto pair = [](auto a, auto b) {
    return std::string("(") + std::to_string(a) + ", " + std::to_string(b) + ")";
  };
  return "debug @setfsid:# @ADDRESS " + tid() + " u,g " +
         pair(static_cast<int>(fromUid), static_cast<int>(fromGid)) + " => " + pair(toUid, toGid);
}

std::string described(const std::string& path, bool resolveLink) {
  std::string text = describedRecord(path, path, resolveLink);
  text += "\nACLs: " + aclText(path, "-a", "");
  if (statOf("%F", path, resolveLink) == "directory") {
    text += "\nACLs: " + aclText(path, "-d", "default:");
  }
  return text;
}

std::string describedRecord(const std::string& path, const std::string& record, bool resolveLink) {
  std::istringstream words(statOf("%i %u %U %g %G %f %.9Z %.9Y", record, resolveLink));
  std::string ino, uid, user, gid, group, modified, changed;
  unsigned long mode = 0;
  words >> ino >> uid >> user >> gid >> group >> std::hex >> mode >> changed >> modified;
  if (user == "UNKNOWN") user = uid;
  if (group == "UNKNOWN") group = gid;
  std::ostringstream text;
  text << "\n@" << path << " ino:" << ino << " u:" << uid << ":" << user << " g:" << gid << ":"
       << group << " m:" << std::oct << mode << " ctime: " << commaTime(changed)
       << " mtime: " << commaTime(modified);
  return text.str();
}
