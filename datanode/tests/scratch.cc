#include "scratch.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace datanode {

Scratch::Scratch() : path_((std::filesystem::temp_directory_path() / "datanode-XXXXXX").string()) {
  EXPECT_NE(mkdtemp(path_.data()), nullptr);
  EXPECT_EQ(chmod(path_.c_str(), 0755), 0);
}

Scratch::~Scratch() {
  std::filesystem::remove_all(path_);
}

std::string Scratch::write(const std::string& name, const std::string& text, mode_t mode) const {
  std::string path = *this / name;
  // Renamed into place, so that it is another file.
  std::ofstream(path + ".new") << text;
  EXPECT_EQ(chmod((path + ".new").c_str(), mode), 0);
  std::filesystem::rename(path + ".new", path);
  return path;
}

std::string contentOf(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

ino_t inodeOf(const std::string& path) {
  struct stat st = {};
  EXPECT_EQ(stat(path.c_str(), &st), 0) << path;
  return st.st_ino;
}

ThreadStatus statusOfThread() {
  ThreadStatus status;
  std::ifstream in("/proc/thread-self/status");
  for (std::string line; std::getline(in, line);) {
    const auto value = line.substr(std::min(line.size(), line.find('\t') + 1));
    if (line.starts_with("Uid:")) status.uids = value;
    if (line.starts_with("Gid:")) status.gids = value;
    if (line.starts_with("Groups:")) status.groups = value;
  }
  return status;
}

}  // namespace datanode
