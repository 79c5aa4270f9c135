#include "robustness/scratch_files.h"

#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace {

constexpr const char* ACCESS = "system.posix_acl_access";
constexpr const char* DEFAULT = "system.posix_acl_default";

// The kernel's form of user::rwx, user:1001:r-x, group::r-x, mask::r-x, other::---.
std::string kernelAcl() {
  struct Entry {
    std::uint16_t tag;
    std::uint16_t perm;
    std::uint32_t id;
  };
  constexpr std::uint32_t NONE = 0xFFFFFFFF;
  const Entry entries[] = {{1, 7, NONE}, {2, 5, 1001}, {4, 5, NONE}, {16, 5, NONE}, {32, 0, NONE}};
  return words({2}) + std::string(reinterpret_cast<const char*>(entries), sizeof entries);
}

void set(const std::string& path, const char* name, const std::string& value) {
  if (setxattr(path.c_str(), name, value.data(), value.size(), 0) == 0) return;
  throw std::runtime_error(path + ": " + name + ": " + std::strerror(errno));
}

}  // namespace

std::string words(const std::vector<std::int32_t>& values) {
  return {reinterpret_cast<const char*>(values.data()), values.size() * sizeof values[0]};
}

ScratchFiles::ScratchFiles() {
  root_ = std::filesystem::temp_directory_path() / "zorf_faults_XXXXXX";
  if (mkdtemp(root_.data()) == nullptr) throw std::runtime_error("mkdtemp");
  for (const char* directory : {"directory", "changed"}) mkdir(path(directory).c_str(), 0755);
  for (const char* file : {"file", "changedFile"}) {
    std::ofstream(path(file)) << std::string(20000, 'x');
    set(path(file), "user.a", "the value of the first attribute");
    set(path(file), "user.b", std::string("b\0c", 3));
  }
  if (symlink(path("file").c_str(), path("link").c_str()) != 0) throw std::runtime_error("symlink");
  std::ofstream(path("mtab")) << "proc /proc proc rw 0 0\n"
                                 "the-zorf-file-system /zorf zorf rw,relatime 0 0\n"
                                 "tmpfs /tmp tmpfs rw 0 0\n";
  for (const char* file : {"file", "directory"}) set(path(file), ACCESS, kernelAcl());
  set(path("directory"), DEFAULT, kernelAcl());
  restore();
}

ScratchFiles::~ScratchFiles() {
  std::error_code ignored;
  std::filesystem::remove_all(root_, ignored);
}

void ScratchFiles::restore() const {
  set(path("changed"), ACCESS, kernelAcl());
  set(path("changed"), DEFAULT, kernelAcl());
  set(path("changedFile"), ACCESS, kernelAcl());
  set(path("changedFile"), "user.a", "to be removed");
}
