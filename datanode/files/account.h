// Users of the host, and threads that act as one of them.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "identity/fsaccount.h"

namespace datanode {

struct Account {
  std::string name;
  uid_t uid = 0;
  gid_t gid = 0;
  std::vector<gid_t> groups;
};

// What the name service says of users, kept for five minutes, so that a change of groups arrives as
// late as in a NameNode. Any thread may ask.
class Accounts {
 public:
  // Null for a user whom the host doesn't know.
  std::shared_ptr<const Account> find(const std::string& user);

 private:
  struct Entry {
    std::shared_ptr<const Account> account;
    std::chrono::steady_clock::time_point until;
  };

  std::mutex mutex_;
  std::map<std::string, Entry> entries_;
};

// Whether this process can act as others.
bool canActAsOthers();

// As whom the kernel takes the calling thread's file calls.
uid_t fsuidOfThread();

// For its life the permissions of files don't hold the calling thread back, where the process has
// the right to that. Ends the process where the thread would keep it.
class PastPermissions {
 public:
  PastPermissions();
  ~PastPermissions();
  PastPermissions(const PastPermissions&) = delete;
  PastPermissions& operator=(const PastPermissions&) = delete;

 private:
  bool raised_ = false;
};

// The thread could not become the user; it is as it was.
struct IdentityError : std::runtime_error {
  using runtime_error::runtime_error;
};

// The calling thread's file calls are that user's for the life of the object: fsuid, fsgid and
// groups, compared with what the kernel says afterwards. Ends the process where the thread's own
// identity does not come back, since it would act as somebody else from then on.
//
// A process that can't act as others serves its own user alone.
class ActingAs {
 public:
  explicit ActingAs(const Account& account);
  ~ActingAs();
  ActingAs(const ActingAs&) = delete;
  ActingAs& operator=(const ActingAs&) = delete;

 private:
  void restore() noexcept;

  std::vector<gid_t> groups_;          // those of the thread
  std::optional<FSAccount> switched_;  // none while nothing was switched
};

}  // namespace datanode
