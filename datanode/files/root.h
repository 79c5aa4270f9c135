// The directory that is served, and the files below it.
#pragma once

#include <string>
#include <system_error>

#include "files/descriptor.h"
#include "files/token.h"

namespace datanode {

class Root {
 public:
  // std::system_error where it can't be had.
  explicit Root(std::string directory);

  // The token's file, with the identity of the calling thread. Neither ".." nor a symbolic link on
  // the way leads anywhere, and a file that took the place of the signed one is ESTALE. To write,
  // its permissions are no matter to its owner: who makes a file that nobody may write writes it.
  // std::system_error.
  Descriptor open(const BlockToken& token, int access) const;

  const std::string& directory() const { return directory_; }

 private:
  Descriptor find(const BlockToken& token, int flags) const;
  Descriptor openOwn(const BlockToken& token, int flags) const;

  std::string directory_;
  Descriptor descriptor_;
};

}  // namespace datanode
