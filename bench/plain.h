// Block locations the plain way: what the library is measured against. Same results, simplest code.
#pragma once

#include <sys/stat.h>

#include <sstream>
#include <string>

#include "blocks/location.h"

// The system's blocks passed through; the stream's text is taken as a string.
std::string plainLocal(int fd, const struct stat& st, location& loc);

// Counted in a std::map for each HDFS block, selected in a std::vector.
int plainSort(int fd, const struct stat& st, location& loc, std::ostream& out);

// Asks for the same ranges as the library does and looks at nothing: the client library's own
// share. A skip factor of 0 leaves the block size to the client.
void clientOnly(int fd, const struct stat& st, std::uint64_t skipFactor);
