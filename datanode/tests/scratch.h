// Files and threads of the tests.
#pragma once

#include <sys/stat.h>

#include <string>

namespace datanode {

// A directory that everybody can reach, for the life of the object.
class Scratch {
 public:
  Scratch();
  ~Scratch();
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;

  const std::string& path() const { return path_; }
  std::string operator/(const std::string& name) const { return path_ + "/" + name; }
  // Makes or replaces a file; its path.
  std::string write(const std::string& name, const std::string& text, mode_t mode) const;

 private:
  std::string path_;
};

std::string contentOf(const std::string& path);
ino_t inodeOf(const std::string& path);

// The lines of /proc that say who the calling thread is.
struct ThreadStatus {
  std::string uids;
  std::string gids;
  std::string groups;

  bool operator==(const ThreadStatus&) const = default;
};
ThreadStatus statusOfThread();

}  // namespace datanode
