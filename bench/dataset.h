// The files that are measured on: made by the program, removed when it ends.
#pragma once

#include <sys/stat.h>

#include <string>

class DataSet {
 public:
  static constexpr int THREADS = 8;
  static constexpr int ATTRIBUTES = 20;

  // In a new directory below `parent`: for each thread a "fileN" of 64 MiB (sparse) with a few ACL
  // entries and ATTRIBUTES attributes of 32 bytes, and an empty "plainN" to make changes to; a
  // "link" to file0; and "mode", which never has an ACL. Throws std::system_error.
  explicit DataSet(const std::string& parent);
  ~DataSet();
  DataSet(const DataSet&) = delete;
  DataSet& operator=(const DataSet&) = delete;

  const std::string& directory() const { return directory_; }
  std::string file(int thread) const { return directory_ + "/file" + std::to_string(thread); }
  std::string plain(int thread) const { return directory_ + "/plain" + std::to_string(thread); }
  std::string link() const { return directory_ + "/link"; }
  std::string mode() const { return directory_ + "/mode"; }

  // The file's status, as it were on a file system of BENCH_FS_BLOCK blocks.
  struct stat status(int thread) const;
  // The same, of a file of that size.
  struct stat statusOfSize(std::uint64_t size) const;

 private:
  std::string directory_;
};

// The parent to use: memory, where that keeps user attributes, else the temporary directory.
std::string dataParent();
