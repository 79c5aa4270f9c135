// The files that the natives are called on, below a directory of their own:
//
//   file        20000 bytes, user.a and user.b, an access ACL; only ever read
//   link        to file
//   directory   an access and a default ACL; only ever read
//   changed     a directory like that, and changedFile a file like that; to be changed
//   mtab        a mount table in which /zorf is of type zorf
#pragma once

#include <cstdint>
#include <string>
#include <vector>

class ScratchFiles {
 public:
  ScratchFiles();
  ~ScratchFiles();
  ScratchFiles(const ScratchFiles&) = delete;
  ScratchFiles& operator=(const ScratchFiles&) = delete;

  const std::string& root() const { return root_; }
  std::string path(const std::string& name) const { return root_ + "/" + name; }

  // Puts changed and changedFile back.
  void restore() const;

 private:
  std::string root_;
};

// 32-bit words in host order, as ACL specifications consist of.
std::string words(const std::vector<std::int32_t>& values);
