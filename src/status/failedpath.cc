#include "status/failedpath.h"

#include <libgen.h>
#include <unistd.h>

#include <cstring>
#include <optional>

#include "acl/acl.h"
#include "base/ioexception.h"
#include "base/logger.h"
#include "identity/fsaccount.h"
#include "identity/names.h"
#include "status/stat.h"

namespace {

std::string parentOf(std::string path) {
  return dirname(path.data());
}

// The component's ACLs, as far as they can be read, and what kept the rest from it.
std::string aclsOf(const std::string& component, bool directory) {
  std::string text;
  try {
    ACL access(component, ACL_TYPE_ACCESS);
    std::optional<ACL> inherited;
    if (directory) inherited.emplace(ACL_TYPE_DEFAULT).get_file(component);
    text += "\nACLs: " + access.dump();
    if (inherited) text += "\nACLs: " + inherited->dump();
  } catch (const IOException& e) {
    text += "\nACL error:" + std::to_string(e.errorNumber) + " " + e.what();
  }
  return text;
}

void describe(Fmt& text, const std::string& component, const struct stat& st) {
  std::string user;
  std::string group;
  uidgid_to_name(st.st_uid, st.st_gid, user, group);
  text << "\n"
       << "@" << component << " ino:" << st.st_ino << " u:" << st.st_uid << ":" << user
       << " g:" << st.st_gid << ":" << group << " m:" << std::oct << st.st_mode << std::dec
       << " ctime: " << st.st_ctim.tv_sec << "," << st.st_ctim.tv_nsec
       << " mtime: " << st.st_mtim.tv_sec << "," << st.st_mtim.tv_nsec
       << aclsOf(component, S_ISDIR(st.st_mode));
}

}  // namespace

std::string getFailedPathInt(const char* path, const char* stopAt, bool resolveLink,
                             struct stat& st, bool asRoot) {
  std::string component = path;
  Fmt text;
  text << "tid:" << gettid();
  while (component != stopAt && component != "/") {
    const int err = getStat(component.c_str(), resolveLink, st);
    // As root every component is described. Where the status of one fails, `st` still holds that of
    // the component before, and the description has that.
    if (err == 0 || asRoot) describe(text, component, st);
    if (err == 0 && !asRoot) break;
    std::string parent = parentOf(component);
    if (parent == component) break;  // the top of a relative path
    component = std::move(parent);
  }
  if (!asRoot) text << "\n@@@fails @" << component;
  ZORF_LOG(LOG_DEBUG, text.str());
  return component;
}

std::string getFailedPath(const char* path, bool resolveLink, struct stat& st) {
  if (!logger2::enabled(LOG_DEBUG)) return {};
  std::memset(&st, 0, sizeof st);
  std::string reached = getFailedPathInt(path, "/", resolveLink, st, false);
  const FSAccount root(0, 0);
  getFailedPathInt(path, reached.c_str(), resolveLink, st, true);
  return reached;
}
