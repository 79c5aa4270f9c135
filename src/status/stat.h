// The raw status record: the bytes of the Linux x86-64 struct stat, and what Java needs to read
// them.
#pragma once

#include <sys/stat.h>

#include <array>
#include <cstdint>

// Where the fields lie in a raw status record: pairs of byte offset and size, for inode, mode,
// size, access, modification and change time (seconds, nanoseconds), uid, gid, and an end marker
// that holds the record's length. Java reads the pairs by position.
extern const std::array<std::int32_t, 18> statusOffsetMemberSize;

// Fills `st` with the status of `path`, of its target when it is a symbolic link and `resolveLink`
// is true (lstat(2), stat(2)). Returns 0 or an errno value, where ENOTDIR is reported as ENOENT: to
// HDFS a path through a file is a missing one.
int getStat(const char* path, bool resolveLink, struct stat& st);
