// Block locations the plain way: what the library is measured against. Same results, simplest code.
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <string>

// The stream of policy "local": the system's blocks, passed through.
std::string plainLocal(int fd, const struct stat& st);

// The stream of "rackaware-sort": counted in a std::map for each HDFS block, selected in a
// std::vector.
std::string plainSort(int fd, const struct stat& st, std::uint64_t hdfsBlock);

// Asks for the same ranges as the library does and looks at nothing: the client library's own
// share. A skip factor of 0 leaves the block size to the client.
void clientOnly(int fd, const struct stat& st, std::uint64_t skipFactor);
