// A test that switches identities on a thread of its own, which dies with whatever groups it got:
// the supplementary groups of a switch are never put back.
#pragma once

#include <grp.h>
#include <unistd.h>

#include <algorithm>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "core/identity/scratch_users.h"
#include "support/files.h"
#include "support/interpose.h"

#define REQUIRE_SCRATCH_USERS() \
  if (!haveScratchUsers()) GTEST_SKIP() << "may not mount, for users of its own"

class IdentityTest : public CoreTest {
 protected:
  // Runs `body` on a thread of its own and fails if that thread ends with other ids than the
  // process.
  void onOwnThread(const std::function<void()>& body) {
    std::thread([&] {
      const ThreadIdentity before = threadIdentity();
      body();
      const ThreadIdentity after = threadIdentity();
      EXPECT_EQ(after.fsuid, before.fsuid);
      EXPECT_EQ(after.fsgid, before.fsgid);
    }).join();
  }
};

// The ids that getgrouplist(3) gives, for comparison with what the kernel holds.
inline std::vector<unsigned> groupListOf(const char* user, unsigned gid) {
  std::vector<gid_t> groups(70000);
  int count = static_cast<int>(groups.size());
  ::getgrouplist(user, gid, groups.data(), &count);
  groups.resize(static_cast<std::size_t>(count));
  std::vector<unsigned> sorted(groups.begin(), groups.end());
  std::sort(sorted.begin(), sorted.end());
  return sorted;
}
