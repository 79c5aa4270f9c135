// A file's HDFS block size and replica count, and its block locations as the file system has them.
//
// Both operations return 0, or -1 with errno as the client library set it (EIO and EINVAL for
// replies and block sizes that can't be worked with); a negative descriptor is -1 and leaves errno
// alone. std::bad_alloc when the entries can't fit into a Java array, known at the first reply. Any
// number of threads may run them at once.
#pragma once

#include <sys/stat.h>

#include <atomic>
#include <cstdint>
#include <string_view>

#include "blocks/entrystream.h"
#include "blocks/location.h"

// The extended attribute that holds a file's block group factor, and its name in the user
// namespace.
inline constexpr std::string_view ZORF_BGF = "zorf.BGF";
inline constexpr std::string_view USER_BGF = "user.BGF";

// The HDFS block size of files without a block group factor. Set by the native getBlkCmd.
extern std::atomic<std::uint64_t> defaultDFSBlockSize;

// Turns `loc.blocksize` from the file system's block size of the file into its HDFS block size, a
// multiple of it, and sets `loc.nreplica`.
int getBlkInfoInternal(int fd, location& loc);

// Appends the file system's own entries for the range of `loc` to `out`, one for every
// `loc.blocksize` bytes, or for every block of the file system when that is 0 on entry. The range
// is widened down to a block boundary. Sets the out fields of `loc`; after a failure they count no
// blocks, whatever was appended.
int getBlkLocation(int fd, struct stat& st, location& loc, EntryStream& out);
