#include "dataset.h"

#include <fcntl.h>
#include <sys/acl.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "client/bench_client.h"

namespace {

void require(bool done, const std::string& doing) {
  if (!done) throw std::system_error(errno, std::generic_category(), doing);
}

void makeFile(const std::string& path, off_t size) {
  const int fd = open(path.c_str(), O_CREAT | O_RDWR | O_CLOEXEC, 0640);
  require(fd >= 0 && ftruncate(fd, size) == 0 && close(fd) == 0, path);
}

void setAcl(const std::string& path, const char* text) {
  acl_t acl = acl_from_text(text);
  require(acl != nullptr && acl_set_file(path.c_str(), ACL_TYPE_ACCESS, acl) == 0,
          "ACL of " + path);
  acl_free(acl);
}

void setAttributes(const std::string& path) {
  const char value[32] = {};
  for (int i = 0; i < DataSet::ATTRIBUTES; ++i) {
    char name[32];
    std::snprintf(name, sizeof name, "user.attr%02d", i);
    require(setxattr(path.c_str(), name, value, sizeof value, 0) == 0, "attribute of " + path);
  }
}

}  // namespace

DataSet::DataSet(const std::string& parent) : directory_(parent + "/zorf-bench-XXXXXX") {
  require(mkdtemp(directory_.data()) != nullptr, directory_);
  for (int thread = 0; thread < THREADS; ++thread) {
    makeFile(file(thread), 64 << 20);
    setAcl(file(thread), "u::rw,u:1:r,u:2:rw,g::r,g:5:r,m::rw,o::-");
    setAttributes(file(thread));
    makeFile(plain(thread), 0);
  }
  makeFile(mode(), 0);
  require(symlink(file(0).c_str(), link().c_str()) == 0, link());
}

DataSet::~DataSet() {
  std::error_code ignored;
  std::filesystem::remove_all(directory_, ignored);
}

struct stat DataSet::status(int thread) const {
  struct stat st = {};
  require(stat(file(thread).c_str(), &st) == 0, file(thread));
  st.st_blksize = BENCH_FS_BLOCK;
  return st;
}

struct stat DataSet::statusOfSize(std::uint64_t size) const {
  struct stat st = status(0);
  st.st_size = static_cast<off_t>(size);
  return st;
}

std::string dataParent() {
  const char* set = std::getenv("TMPDIR");
  const std::string ordinary = set != nullptr ? set : "/tmp";
  std::string probe = "/dev/shm/zorf-probe-XXXXXX";
  const int fd = mkstemp(probe.data());
  if (fd < 0) return ordinary;
  const bool keepsAttributes = fsetxattr(fd, "user.zorf", "1", 1, 0) == 0;
  close(fd);
  unlink(probe.c_str());
  return keepsAttributes ? "/dev/shm" : ordinary;
}
