// The file-system identity of the calling thread: fsuid, fsgid (setfsuid(2)) and supplementary
// groups.
#pragma once

#include <string>

// Gives the calling thread another identity for the life of the object, which must end on the same
// thread. Nests: each object puts back the fsuid and fsgid it found. The supplementary groups that
// a switch to a user name installs are not put back.
class FSAccount {
 public:
  // Acts as that user, or as "nobody" when the host doesn't know the name. Where no identity can be
  // had the thread keeps its own, and an error line says why.
  explicit FSAccount(const std::string& username);

  // Acts as these ids; the supplementary groups stay. FSAccount(0, 0) acts as root.
  FSAccount(unsigned int uid, unsigned int gid);

  ~FSAccount();
  FSAccount(const FSAccount&) = delete;
  FSAccount& operator=(const FSAccount&) = delete;

  // Sets fsuid and fsgid and remembers the ones in force before.
  void setfsid(unsigned int uid, unsigned int gid) noexcept;

 private:
  // No switch yet. The public constructors delegate to it, so that what they did is undone when
  // they throw.
  FSAccount() = default;

  unsigned int prevFsUid = static_cast<unsigned int>(-1);  // -1: nothing to put back
  unsigned int prevFsGid = static_cast<unsigned int>(-1);
};

// Replaces the calling thread's supplementary groups, and no other thread's, by those of `username`
// (getgrouplist(3)). Returns 0, or a negative errno when the group buffer can't be allocated.
int setgroups(const char* username, unsigned int primaryGid);

// Logs the calling thread's supplementary groups at debug, after `prefix` unless that is null.
// Returns 0 or a negative errno from getgroups(2).
int dump_gid(const char* prefix);
