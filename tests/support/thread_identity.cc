#include "support/thread_identity.h"

#include <fstream>
#include <sstream>
#include <string>

ThreadIdentity threadIdentity() {
  ThreadIdentity identity;
  std::ifstream status("/proc/thread-self/status");
  for (std::string line; std::getline(status, line);) {
    std::istringstream words(line);
    std::string key;
    words >> key;
    unsigned real = 0;
    unsigned effective = 0;
    unsigned saved = 0;
    if (key == "Uid:") words >> real >> effective >> saved >> identity.fsuid;
    if (key == "Gid:") words >> real >> effective >> saved >> identity.fsgid;
    if (key == "Groups:") {
      for (unsigned group = 0; words >> group;) identity.groups.push_back(group);
    }
  }
  return identity;
}
