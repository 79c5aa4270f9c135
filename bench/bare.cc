#include "bare.h"

#include <acl/libacl.h>
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <grp.h>
#include <mntent.h>
#include <pwd.h>
#include <sys/acl.h>
#include <sys/fsuid.h>
#include <sys/syscall.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <vector>

#include "dataset.h"
#include "plain.h"
#include "zorf_fcntl.h"

namespace {

void must(bool done) {
  if (done) return;
  std::cerr << "zorf_bench: a bare call failed: " << std::strerror(errno) << "\n";
  std::abort();
}

// `once` of the thread's number, as a loop.
template <class Once>
BareLoop loop(Once once) {
  return [once](int calls, int thread) {
    for (int i = 0; i < calls; ++i) once(thread);
  };
}

// Paths are made before the clock runs.
std::vector<std::string> paths(const DataSet& data, bool plain) {
  std::vector<std::string> all;
  for (int t = 0; t < DataSet::THREADS; ++t) all.push_back(plain ? data.plain(t) : data.file(t));
  return all;
}

// Reads every entry of an ACL, as whoever reports it must.
void readEntries(acl_t acl) {
  acl_entry_t entry = nullptr;
  for (int rc = acl_get_entry(acl, ACL_FIRST_ENTRY, &entry); rc == 1;
       rc = acl_get_entry(acl, ACL_NEXT_ENTRY, &entry)) {
    acl_tag_t tag = ACL_UNDEFINED_TAG;
    acl_get_tag_type(entry, &tag);
    if (tag == ACL_USER || tag == ACL_GROUP) {
      void* qualifier = acl_get_qualifier(entry);
      benchmark::DoNotOptimize(*static_cast<unsigned*>(qualifier));
      acl_free(qualifier);
    }
    acl_permset_t permissions = nullptr;
    acl_get_permset(entry, &permissions);
    int bits = 0;
    for (const unsigned bit : {unsigned{ACL_READ}, unsigned{ACL_WRITE}, unsigned{ACL_EXECUTE}}) {
      bits = bits * 2 + acl_get_perm(permissions, bit);
    }
    benchmark::DoNotOptimize(bits);
  }
}

}  // namespace

int getAttribute(const char* path, const char* name) {
  char value[256];
  const auto length = getxattr(path, name, nullptr, 0);
  must(length >= 0 && static_cast<std::size_t>(length) <= sizeof value);
  return static_cast<int>(getxattr(path, name, value, static_cast<std::size_t>(length)));
}

void dumpAttributes(const char* path) {
  char names[1024];
  const auto length = listxattr(path, nullptr, 0);
  must(length > 0 && static_cast<std::size_t>(length) <= sizeof names);
  must(listxattr(path, names, static_cast<std::size_t>(length)) == length);
  for (const char* name = names; name < names + length; name += std::strlen(name) + 1) {
    if (std::strncmp(name, "user.", 5) == 0) getAttribute(path, name);
  }
}

void reportAcl(const char* path) {
  acl_t acl = acl_get_file(path, ACL_TYPE_ACCESS);
  must(acl != nullptr);
  readEntries(acl);
  acl_free(acl);
}

OpenAsRoot::OpenAsRoot(const char* path)
    : uid_(static_cast<unsigned>(setfsuid(0))),
      gid_(static_cast<unsigned>(setfsgid(0))),
      fd_(open(path, O_RDONLY | O_CLOEXEC)) {
  must(fd_ >= 0);
}

OpenAsRoot::~OpenAsRoot() {
  close(fd_);
  setfsuid(uid_);
  setfsgid(gid_);
}

namespace {

void addUser1(acl_t* acl) {
  acl_entry_t entry = nullptr;
  acl_create_entry(acl, &entry);
  acl_set_tag_type(entry, ACL_USER);
  const uid_t uid = 1;
  acl_set_qualifier(entry, &uid);
  acl_permset_t permissions = nullptr;
  acl_get_permset(entry, &permissions);
  acl_add_perm(permissions, ACL_READ);
}

// The entries of `from` that `wanted` accepts, appended to `to`.
template <class Wanted>
void copyEntries(acl_t from, acl_t* to, Wanted wanted) {
  acl_entry_t entry = nullptr;
  for (int rc = acl_get_entry(from, ACL_FIRST_ENTRY, &entry); rc == 1;
       rc = acl_get_entry(from, ACL_NEXT_ENTRY, &entry)) {
    acl_tag_t tag = ACL_UNDEFINED_TAG;
    acl_get_tag_type(entry, &tag);
    if (!wanted(tag)) continue;
    acl_entry_t copy = nullptr;
    acl_create_entry(to, &copy);
    acl_copy_entry(copy, entry);
  }
}

bool isBase(acl_tag_t tag) {
  return tag == ACL_USER_OBJ || tag == ACL_GROUP_OBJ || tag == ACL_OTHER;
}

void writeAcl(const char* path, acl_t acl) {
  must(acl_check(acl, nullptr) == 0 && acl_set_file(path, ACL_TYPE_ACCESS, acl) == 0);
  acl_free(acl);
}

// The file's base entries, with user 1 beside them or not.
void setBaseAcl(const char* path, bool named) {
  acl_t file = acl_get_file(path, ACL_TYPE_ACCESS);
  acl_t acl = acl_init(0);
  if (named) addUser1(&acl);
  copyEntries(file, &acl, isBase);
  if (named) acl_calc_mask(&acl);
  acl_free(file);
  writeAcl(path, acl);
}

// The file's own entries, with user 1 beside them or not.
void changeAcl(const char* path, bool named) {
  acl_t acl = acl_get_file(path, ACL_TYPE_ACCESS);
  acl_entry_t entry = nullptr;
  acl_entry_t found = nullptr;
  for (int rc = acl_get_entry(acl, ACL_FIRST_ENTRY, &entry); rc == 1;
       rc = acl_get_entry(acl, ACL_NEXT_ENTRY, &entry)) {
    acl_tag_t tag = ACL_UNDEFINED_TAG;
    acl_get_tag_type(entry, &tag);
    if (tag == ACL_USER) found = entry;
  }
  if (named) {
    if (found == nullptr) addUser1(&acl);
    acl_calc_mask(&acl);
  } else if (found != nullptr) {
    acl_delete_entry(acl, found);
  }
  writeAcl(path, acl);
}

// One query of the length that finds out the block size.
void oneQuery(int fd) {
  struct stat st = {};
  st.st_size = 1;
  clientOnly(fd, st, 0);
}

template <class Record>
void direct(const char* path) {
  const int fd = open(path, O_RDONLY | O_CLOEXEC);
  must(fd >= 0);
  Record record = {};
  record.header.totalLength = sizeof record;
  must(zorf_fcntl(fd, &record) == 0);
  close(fd);
}

void addAcls(std::map<std::string, BareLoop>& loops, const DataSet& data) {
  const auto files = paths(data, false);
  const auto plains = paths(data, true);
  const auto at = [](const std::vector<std::string>& all, int t) {
    return all[static_cast<std::size_t>(t)].c_str();
  };
  loops["getAclStatus"] = loop([=](int t) { reportAcl(at(files, t)); });
  loops["setAcl"] = loop([=](int t) { setBaseAcl(at(plains, t), true); });
  loops["modifyAclEntries"] = loop([=](int t) { changeAcl(at(plains, t), true); });
  loops["removeAclEntries"] = loop([=](int t) { changeAcl(at(plains, t), false); });
  loops["removeAcl"] = loop([=](int t) { setBaseAcl(at(plains, t), false); });
  loops["removeDefaultAcl"] = loop([directory = data.directory()](int) {
    acl_t none = acl_init(0);
    must(acl_set_file(directory.c_str(), ACL_TYPE_DEFAULT, none) == 0);
    acl_free(none);
  });
}

void addAttributes(std::map<std::string, BareLoop>& loops, const DataSet& data) {
  const auto files = paths(data, false);
  const auto plains = paths(data, true);
  const auto at = [](const std::vector<std::string>& all, int t) {
    return all[static_cast<std::size_t>(t)].c_str();
  };
  static const char value[32] = {};
  loops["setExtendedAttribute"] = loop(
      [=](int t) { must(setxattr(at(plains, t), "user.bench", value, sizeof value, 0) == 0); });
  loops["removeXAttr"] = loop([=](int t) {
    must(setxattr(at(plains, t), "user.other", value, sizeof value, 0) == 0);
    must(getxattr(at(plains, t), "user.other", nullptr, 0) > 0);
    must(removexattr(at(plains, t), "user.other") == 0);
  });
  loops["listXAttrs"] = loop(
      [directory = data.directory()](int) { must(listxattr(directory.c_str(), nullptr, 0) == 0); });
  loops["getXAttrs"] = loop([=](int t) { must(getAttribute(at(files, t), "user.attr00") == 32); });
  loops["dumpXAttrs"] = loop([=](int t) { dumpAttributes(at(files, t)); });
}

void addBlocks(std::map<std::string, BareLoop>& loops, const DataSet& data) {
  const auto files = paths(data, false);
  const auto plains = paths(data, true);
  const auto at = [](const std::vector<std::string>& all, int t) {
    return all[static_cast<std::size_t>(t)].c_str();
  };
  loops["getBlockLocationsNative"] = loop([=, st = data.status(0)](int t) {
    const OpenAsRoot file(at(files, t));
    clientOnly(file.fd(), st, 0);
  });
  loops["getBlockSizeNative"] = loop([=](int t) {
    const int fd = open(at(files, t), O_RDONLY | O_CLOEXEC);
    oneQuery(fd);
    close(fd);
  });
  loops["getLocatedFileStatusNative"] = loop([=](int t) {
    struct stat st;
    must(lstat(at(files, t), &st) == 0);
    must(getxattr(at(files, t), "system.posix_acl_access", nullptr, 0) > 0);
    const OpenAsRoot file(at(files, t));
    oneQuery(file.fd());
  });
  loops["setReplication"] = loop([=](int t) { direct<zorfReplicationDirective_t>(at(plains, t)); });
  loops["setBGF"] = loop([=](int t) { direct<zorfBgfDirective_t>(at(plains, t)); });
}

void addIdentity(std::map<std::string, BareLoop>& loops, const std::string& user,
                 const std::string& group, unsigned uid, unsigned gid) {
  using Buffer = std::array<char, 1024>;
  loops["getUser"] = loop([uid](int) {
    Buffer buffer;
    passwd record;
    passwd* found = nullptr;
    must(getpwuid_r(uid, &record, buffer.data(), buffer.size(), &found) == 0 && found != nullptr);
  });
  loops["getGroup"] = loop([gid](int) {
    Buffer buffer;
    ::group record;
    ::group* found = nullptr;
    must(getgrgid_r(gid, &record, buffer.data(), buffer.size(), &found) == 0 && found != nullptr);
  });
  loops["getUid"] = loop([user](int) {
    Buffer buffer;
    passwd record;
    passwd* found = nullptr;
    must(getpwnam_r(user.c_str(), &record, buffer.data(), buffer.size(), &found) == 0);
  });
  loops["getGid"] = loop([group](int) {
    Buffer buffer;
    ::group record;
    ::group* found = nullptr;
    must(getgrnam_r(group.c_str(), &record, buffer.data(), buffer.size(), &found) == 0);
  });
  loops["setFsUid"] = loop([user](int) {
    Buffer buffer;
    passwd record;
    passwd* found = nullptr;
    must(getpwnam_r(user.c_str(), &record, buffer.data(), buffer.size(), &found) == 0);
    std::array<gid_t, 128> groups;
    int count = groups.size();
    getgrouplist(user.c_str(), record.pw_gid, groups.data(), &count);
    syscall(SYS_setgroups, static_cast<std::size_t>(count), groups.data());
    const auto before = static_cast<unsigned>(setfsuid(record.pw_uid));
    const auto groupBefore = static_cast<unsigned>(setfsgid(record.pw_gid));
    setfsuid(before);
    setfsgid(groupBefore);
  });
  loops["setUMask"] = loop([](int) { umask(022); });
}

void addStatus(std::map<std::string, BareLoop>& loops, const DataSet& data) {
  const auto files = paths(data, false);
  const auto at = [](const std::vector<std::string>& all, int t) {
    return all[static_cast<std::size_t>(t)].c_str();
  };
  loops["getFileStatusNative"] = loop([=](int t) {
    struct stat st;
    must(lstat(at(files, t), &st) == 0);
  });
  loops["getINum"] = loop([=](int t) {
    struct stat st;
    must(stat(at(files, t), &st) == 0);
  });
  loops["getLinkTargetNative"] = loop([link = data.link()](int) {
    char target[4096];
    must(readlink(link.c_str(), target, sizeof target) > 0);
  });
  loops["setPermission"] =
      loop([mode = data.mode()](int) { must(chmod(mode.c_str(), 0640) == 0); });
  loops["getFsName"] = loop([](int) {
    FILE* table = setmntent("/etc/mtab", "re");
    must(table != nullptr);
    mntent entry{};
    char line[16384];
    while (getmntent_r(table, &entry, line, sizeof line) != nullptr) {
    }
    endmntent(table);
  });
}

}  // namespace

std::map<std::string, BareLoop> bareLoops(const DataSet& data, const std::string& user,
                                          const std::string& group, unsigned uid, unsigned gid) {
  std::map<std::string, BareLoop> loops;
  addIdentity(loops, user, group, uid, gid);
  addStatus(loops, data);
  addBlocks(loops, data);
  addAttributes(loops, data);
  addAcls(loops, data);
  return loops;
}
