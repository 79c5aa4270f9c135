#include "files/account.h"

#include <grp.h>
#include <linux/capability.h>
#include <sys/fsuid.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <new>

#include "identity/names.h"

namespace datanode {

namespace {

constexpr auto KEPT = std::chrono::minutes(5);
constexpr std::size_t MOST_KEPT = 10'000;
constexpr unsigned int UNCHANGED = static_cast<unsigned int>(-1);

std::shared_ptr<const Account> ask(const std::string& user) {
  unsigned int uid = 0;
  unsigned int gid = 0;
  if (username_to_uidgid(user, uid, gid) != 0) return nullptr;
  auto account = std::make_shared<Account>(Account{user, uid, gid, {}});
  int count = 64;
  for (bool complete = false; !complete;) {
    const int room = count;
    account->groups.resize(static_cast<std::size_t>(room));
    complete = getgrouplist(user.c_str(), gid, account->groups.data(), &count) >= 0;
    // Too small, but no larger size named: the C library itself had no memory for the list.
    if (!complete && count <= room) throw std::bad_alloc();
  }
  account->groups.resize(static_cast<std::size_t>(count));
  return account;
}

// Of the calling thread; the C library's functions change every thread.
std::vector<gid_t> groupsOfThread() {
  for (;;) {
    std::vector<gid_t> groups(static_cast<std::size_t>(std::max(getgroups(0, nullptr), 0)));
    const int count = getgroups(static_cast<int>(groups.size()), groups.data());
    if (count < 0) continue;
    groups.resize(static_cast<std::size_t>(count));
    return groups;
  }
}

void setGroupsOfThread(const std::vector<gid_t>& groups) {
  syscall(SYS_setgroups, groups.size(), groups.data());
}

// An id that is none changes nothing and tells the one in force.
gid_t fsgidOfThread() {
  return static_cast<gid_t>(setfsgid(UNCHANGED));
}

// Those of the calling thread.
class Capabilities {
 public:
  Capabilities() {
    if (syscall(SYS_capget, &header_, data_) != 0) data_[0] = data_[1] = {};
  }

  bool has(unsigned int which) const {
    return (data_[CAP_TO_INDEX(which)].effective & CAP_TO_MASK(which)) != 0;
  }
  bool mayHave(unsigned int which) const {
    return (data_[CAP_TO_INDEX(which)].permitted & CAP_TO_MASK(which)) != 0;
  }
  // Whether the kernel took it.
  bool set(unsigned int which, bool on) {
    auto& effective = data_[CAP_TO_INDEX(which)].effective;
    effective = on ? effective | CAP_TO_MASK(which) : effective & ~CAP_TO_MASK(which);
    return syscall(SYS_capset, &header_, data_) == 0;
  }

 private:
  __user_cap_header_struct header_{_LINUX_CAPABILITY_VERSION_3, 0};
  __user_cap_data_struct data_[_LINUX_CAPABILITY_U32S_3] = {};
};

bool isThread(uid_t uid, gid_t gid, std::vector<gid_t> groups) {
  auto has = groupsOfThread();
  std::sort(has.begin(), has.end());
  std::sort(groups.begin(), groups.end());
  return fsuidOfThread() == uid && fsgidOfThread() == gid && has == groups;
}

}  // namespace

std::shared_ptr<const Account> Accounts::find(const std::string& user) {
  const auto now = std::chrono::steady_clock::now();
  {
    const std::lock_guard lock(mutex_);
    const auto found = entries_.find(user);
    if (found != entries_.end() && now < found->second.until) return found->second.account;
  }
  // Asked without the lock: a name service may take its time. Nor is it kept that it knows no such
  // user, which is also what one that fails says.
  auto account = ask(user);
  if (account == nullptr) return account;
  const std::lock_guard lock(mutex_);
  if (entries_.size() >= MOST_KEPT) entries_.clear();
  entries_.insert_or_assign(user, Entry{account, now + KEPT});
  return account;
}

bool canActAsOthers() {
  const Capabilities own;
  return own.has(CAP_SETUID) && own.has(CAP_SETGID);
}

uid_t fsuidOfThread() {
  return static_cast<uid_t>(setfsuid(UNCHANGED));
}

PastPermissions::PastPermissions() {
  Capabilities own;
  raised_ = !own.has(CAP_DAC_OVERRIDE) && own.mayHave(CAP_DAC_OVERRIDE) &&
            own.set(CAP_DAC_OVERRIDE, true);
}

PastPermissions::~PastPermissions() {
  if (raised_ && !Capabilities().set(CAP_DAC_OVERRIDE, false)) std::abort();
}

ActingAs::ActingAs(const Account& account) {
  // The superuser is who the threads are anyway, or else somebody whom they can't become.
  if (account.uid == geteuid()) return;
  if (!canActAsOthers()) throw IdentityError("this service acts as its own user alone");
  groups_ = groupsOfThread();
  setGroupsOfThread(account.groups);
  switched_.emplace(account.uid, account.gid);
  if (!isThread(account.uid, account.gid, account.groups)) {
    restore();
    throw IdentityError("the kernel refused the identity of " + account.name);
  }
}

ActingAs::~ActingAs() {
  restore();
}

void ActingAs::restore() noexcept {
  if (!switched_) return;
  switched_.reset();
  setGroupsOfThread(groups_);
  if (!isThread(geteuid(), getegid(), groups_)) std::abort();
}

}  // namespace datanode
