#include "status/linktarget.h"

#include <sys/xattr.h>
#include <unistd.h>

#include "base/logger.h"

unsigned int getPermissionFromMode(const std::string& path, unsigned int /*mode*/,
                                   bool followLink) {
  const auto sizeOf = followLink ? getxattr : lgetxattr;
  const char* const file = path.c_str();
  const bool hasAcl = sizeOf(file, "system.posix_acl_access", nullptr, 0) >= 1 ||
                      sizeOf(file, "system.posix_acl_default", nullptr, 0) >= 1;
  ZORF_LOG(LOG_DEBUG, (hasAcl ? "Acl is set for " : "No Acl for ") << path);
  return hasAcl ? 0x1000 : 0;
}

std::string getLinkTarget(const char* path, int size) {
  // One byte of room more than the target needs shows a target that is longer.
  std::string target(size < 0 ? 0 : static_cast<std::size_t>(size) + 1, '\0');
  if (size >= 0 && readlink(path, target.data(), target.size()) == size) {
    target.resize(static_cast<std::size_t>(size));
    return target;
  }
  ZORF_LOG(LOG_WARN, "Invalid link target for " << path);
  return {};
}
