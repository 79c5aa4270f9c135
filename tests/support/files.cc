#include "support/files.h"

#include <sys/stat.h>
#include <sys/syscall.h>

#include <cstdlib>
#include <fstream>

#include "support/open_files.h"

namespace fs = std::filesystem;

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

void FilesTest::SetUp() {
  CoreTest::SetUp();
  root_ = parent + "/zorf-test-XXXXXX";
  ASSERT_NE(mkdtemp(root_.data()), nullptr);
  ASSERT_EQ(::chmod(root_.c_str(), 0755), 0);
  identity_ = threadIdentity();
}

void FilesTest::TearDown() {
  EXPECT_EQ(threadIdentity(), identity_);
  EXPECT_THAT(openFilesBelow(root_), ::testing::IsEmpty());
  // Tests leave directories that their owner may not list.
  for (const auto& entry : fs::directory_iterator(root_)) {
    if (fs::is_directory(entry.symlink_status())) {
      fs::permissions(entry.path(), fs::perms::owner_all, fs::perm_options::add);
    }
  }
  std::error_code failed;
  fs::remove_all(root_, failed);
  EXPECT_FALSE(failed) << failed.message();
  CoreTest::TearDown();
}

std::string FilesTest::at(const std::string& name) const {
  return name.empty() ? root_ : root_ + "/" + name;
}

std::string FilesTest::makeFile(const std::string& name, mode_t mode,
                                const std::string& content) const {
  const std::string path = at(name);
  std::ofstream(path) << content;
  EXPECT_EQ(::chmod(path.c_str(), mode), 0) << path;
  return path;
}

std::string FilesTest::makeDirectory(const std::string& name, mode_t mode) const {
  const std::string path = at(name);
  fs::create_directories(path);
  EXPECT_EQ(::chmod(path.c_str(), mode), 0) << path;
  return path;
}

std::string FilesTest::makeLink(const std::string& name, const std::string& target) const {
  const std::string path = at(name);
  fs::create_symlink(target, path);
  return path;
}
