// The placement policy: what the NameNode is told about where a file's blocks lie.
#pragma once

#include <sys/stat.h>

#include <atomic>
#include <cstdint>
#include <string_view>

#include "blocks/entrystream.h"
#include "blocks/location.h"

enum GetBlkCmd : std::int32_t {
  GET_BLK_LOCAL = 0,           // locations per block of the file system
  GET_BLK_SHARED = 1,          // block size and replica count only
  GET_BLK_RACKAWARE = 2,       // locations per HDFS block, as the file system groups them
  GET_BLK_RACKAWARE_SORT = 3,  // locations per HDFS block, ranked by getBlkLocation_sort
};

// The policy of the process. Set by the native getBlkCmd, meant to run before any query.
extern std::atomic<GetBlkCmd> globalBlkCmd;

constexpr std::size_t LONGEST_POLICY_NAME = 14;
// The policy of that name, or -1. A zero in it ends the name. The beginning of a name stands for
// the first policy that begins so: an empty one for "local".
int policyNamed(std::string_view name);

// Appends the block location stream of the range `loc.offset`, `loc.length` to `out`: `loc` itself,
// in its final state whatever happens, then its block entries. Clamps the range to the file size
// in `st`. Returns 0 or the errno of the query that failed. Anything but a regular file has no
// entries.
int getBlkLocationInt(int fd, GetBlkCmd cmd, struct stat& st, location& loc, EntryStream& out);

// The same for the file at `path`, opened as the calling thread, by the policy of the process. An
// open that fails has an error line in the name of `native`, and its errno is returned.
int locateBlocks(const char* native, const char* path, int flags, struct stat& st, location& loc,
                 EntryStream& out);
