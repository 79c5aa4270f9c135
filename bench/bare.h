// The system and libacl calls that natives must make, from C.
#pragma once

#include <functional>
#include <map>
#include <string>

class DataSet;

// One attribute's length and value. Returns the length.
int getAttribute(const char* path, const char* name);
// The names of all attributes, and every value.
void dumpAttributes(const char* path);
// Reads every entry of the access ACL.
void reportAcl(const char* path);

// A file opened for reading while the thread acts as root.
class OpenAsRoot {
 public:
  explicit OpenAsRoot(const char* path);
  ~OpenAsRoot();
  OpenAsRoot(const OpenAsRoot&) = delete;
  OpenAsRoot& operator=(const OpenAsRoot&) = delete;
  int fd() const { return fd_; }

 private:
  unsigned uid_;
  unsigned gid_;
  int fd_;
};

// Runs `calls` rounds for one thread.
using BareLoop = std::function<void(int calls, int thread)>;

// By the name of the native.
std::map<std::string, BareLoop> bareLoops(const DataSet& data);
