#include "bare.h"

#include <acl/libacl.h>
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/acl.h>
#include <sys/fsuid.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <vector>

#include "blocks/zorf_fcntl.h"
#include "dataset.h"
#include "plain.h"

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

std::map<std::string, BareLoop> bareLoops(const DataSet& data) {
  std::vector<std::string> files;  // made before the clock runs
  for (int t = 0; t < DataSet::THREADS; ++t) files.push_back(data.file(t));
  const auto file = [files](int t) { return files[static_cast<std::size_t>(t)].c_str(); };
  std::map<std::string, BareLoop> loops;
  loops["getFileStatusNative"] = loop([=](int t) {
    struct stat st;
    must(lstat(file(t), &st) == 0);
  });
  loops["getINum"] = loop([=](int t) {
    struct stat st;
    must(stat(file(t), &st) == 0);
  });
  loops["getLinkTargetNative"] = loop([link = data.link()](int) {
    char target[4096];
    must(readlink(link.c_str(), target, sizeof target) > 0);
  });
  loops["setPermission"] =
      loop([mode = data.mode()](int) { must(chmod(mode.c_str(), 0640) == 0); });
  loops["getAclStatus"] = loop([=](int t) { reportAcl(file(t)); });
  loops["getXAttrs"] = loop([=](int t) { must(getAttribute(file(t), "user.attr00") == 32); });
  loops["dumpXAttrs"] = loop([=](int t) { dumpAttributes(file(t)); });
  loops["getBlockLocationsNative"] = loop([=, st = data.status(0)](int t) {
    const OpenAsRoot open(file(t));
    clientOnly(open.fd(), st, 0);
  });
  return loops;
}
