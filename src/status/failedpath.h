// Which component of a path denies access: diagnostics for the debug log, never a Java exception.
#pragma once

#include <sys/stat.h>

#include <string>

// One walk from `path` towards the root, as the calling thread's identity. It ends at `stopAt` or
// "/"; unless `asRoot`, already at the first component that can be stat'ed. Returns where it ended,
// and logs a description of each component it saw. `st` is scratch.
std::string getFailedPathInt(const char* path, const char* stopAt, bool resolveLink,
                             struct stat& st, bool asRoot);

// The deepest ancestor of `path`, or `path` itself, that the caller can reach; logs it, then, as
// root, every component between. Empty, without touching the file system, when debug is not logged.
std::string getFailedPath(const char* path, bool resolveLink, struct stat& st);
