// Whether a file carries a POSIX ACL, and where a symbolic link points: asked of the kernel
// directly.
#pragma once

#include <string>

// 0x1000 when the file has an access or a default ACL, else 0; any error counts as none. Of a
// symbolic link itself unless `followLink`. `mode` is not looked at: the caller combines the two.
unsigned int getPermissionFromMode(const std::string& path, unsigned int mode, bool followLink);

// The target of the link `path`, or "" when it can't be read or is not exactly `size` bytes long.
std::string getLinkTarget(const char* path, int size);
