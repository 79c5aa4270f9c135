// What the emulated file system knows about a file beyond POSIX, kept in the file's own extended
// attributes, so that it outlives the process and every process sees the same:
//     user.zorf.replication  the replication directive, a decimal number
//     user.zorf.layout       the replicas that the data has, a decimal number
//     user.BGF               the block group factor, a big-endian 32-bit integer
//
// All functions return 0 or an errno value: the kernel's, or EIO for an attribute whose value can't
// be one. Reading from a file system without user attributes finds none.
#pragma once

#include <array>

namespace standin {

using Factor = std::array<unsigned char, 4>;

// Leave `replicas` as it is when the file has no such attribute.
int readReplication(int fd, int& replicas);
int readLayout(int fd, int& replicas);
int writeReplication(int fd, int replicas);
int writeLayout(int fd, int replicas);

int readFactor(int fd, Factor& factor, bool& present);
int writeFactor(int fd, const Factor& factor);

}  // namespace standin
