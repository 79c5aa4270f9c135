// The users and groups that with_scratch_users.sh puts into the test's own view of /etc.
#pragma once

#include <cstdlib>
#include <string>
#include <vector>

struct ScratchUser {
  const char* name;
  unsigned uid;
  unsigned gid;
};

constexpr ScratchUser MANY_GROUPS{"zorf_many", 60001, 60001};  // in MANY_GROUPS_COUNT more groups
constexpr unsigned MANY_GROUPS_FIRST = 61001;
constexpr unsigned MANY_GROUPS_COUNT = 300;
constexpr ScratchUser PRIMARY_ROOT{"zorf_root_group", 60002, 0};
constexpr ScratchUser ABOVE_2_31{"zorf_high", 3000000000u, 3000000001u};
constexpr ScratchUser NOBODY{"nobody", 65534, 65534};
// Eight users user 1..8, each in two groups of its own beside the primary one.
constexpr unsigned PLAIN_USERS = 8;
inline std::string plainUser(unsigned i) {
  return "zorf_user" + std::to_string(i);
}
constexpr unsigned plainUid(unsigned i) {
  return 60100 + i;
}
constexpr unsigned plainGroup(unsigned i, unsigned which) {
  return 62000 + 10 * i + which;
}
// A group whose line in the database is longer than 16384 bytes.
constexpr const char* BIG_GROUP = "zorf_big";
constexpr unsigned BIG_GROUP_GID = 63000;

// False where the tests run without them: there with_scratch_users.sh may not mount.
inline bool haveScratchUsers() {
  return std::getenv("ZORF_SCRATCH_USERS") != nullptr;
}
