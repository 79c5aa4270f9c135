// The rack-aware order: for every HDFS block the locations that hold most of its data.
#pragma once

#include <sys/stat.h>

#include "blocks/entrystream.h"
#include "blocks/location.h"
#include "blocks/nthelement.h"

// Folds the file system's blocks in the range of `loc` into HDFS blocks of `loc.blocksize` bytes
// and appends one entry for each to `out`: `loc.nreplica` location identifiers, chosen by how many
// of the blocks they hold, then as many of those counts; -1 where fewer locations were found.
// Aligns `loc.blocksize` down to the file system's block size and sets the out fields of `loc`;
// after a failure they count no blocks, whatever was appended.
//
// Returns 0, or -1 with errno as the client library set it, EIO for a reply and EINVAL for block
// sizes that can't be worked with; a `loc.blocksize` of 0 and a negative descriptor are -1 and
// leave errno alone. std::bad_alloc as getBlkLocation throws it. Any number of threads may run it
// at once.
int getBlkLocation_sort(int fd, struct stat& st, location& loc, EntryStream& out);
