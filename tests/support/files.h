// Tests with files of their own, which may act on them as other users.
#pragma once

#include <sys/types.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "support/core_test.h"
#include "support/thread_identity.h"

#define NEEDS_ROOT() \
  if (::geteuid() != 0) GTEST_SKIP() << "needs root, to act as others or to give files away"

// File-system ids of the calling thread for a scope, by the system calls alone.
class AsUser {
 public:
  AsUser(unsigned uid, unsigned gid);
  ~AsUser();
  AsUser(const AsUser&) = delete;
  AsUser& operator=(const AsUser&) = delete;

 private:
  long uid_;
  long gid_;
};

// A directory that everyone may search, removed afterwards. No test may leave the thread with
// another identity or a file in there open.
class FilesTest : public CoreTest {
 protected:
  void SetUp() override;
  void TearDown() override;

  // A path in the directory, that of the directory itself for "".
  std::string at(const std::string& name) const;
  // Each makes one and returns its path.
  std::string makeFile(const std::string& name, mode_t mode = 0644,
                       const std::string& content = "") const;
  std::string makeDirectory(const std::string& name, mode_t mode = 0755) const;
  std::string makeLink(const std::string& name, const std::string& target) const;

  std::string parent = std::filesystem::temp_directory_path();  // may be set before SetUp

 private:
  std::string root_;
  ThreadIdentity identity_;
};
