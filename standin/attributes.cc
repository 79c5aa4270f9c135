#include "attributes.h"

#include <sys/types.h>
#include <sys/xattr.h>

#include <cerrno>
#include <charconv>
#include <cstddef>
#include <system_error>

#include "topology.h"

namespace standin {
namespace {

constexpr char replicationName[] = "user.zorf.replication";
constexpr char layoutName[] = "user.zorf.layout";
constexpr char factorName[] = "user.BGF";

// Reads at most `room` bytes; `length` is -1 when the file has no such attribute.
int read(int fd, const char* name, void* value, std::size_t room, ssize_t& length) {
  length = fgetxattr(fd, name, value, room);
  if (length >= 0) return 0;
  const int err = errno;
  if (err == ENODATA || err == ENOTSUP) return 0;
  return err == ERANGE ? EIO : err;
}

int write(int fd, const char* name, const void* value, std::size_t length) {
  return fsetxattr(fd, name, value, length, 0) == 0 ? 0 : errno;
}

int readReplicas(int fd, const char* name, int& replicas) {
  char text[8];
  ssize_t length = 0;
  if (const int err = read(fd, name, text, sizeof text, length); err != 0) return err;
  if (length < 0) return 0;
  int value = 0;
  const auto [stop, error] = std::from_chars(text, text + length, value);
  if (error != std::errc{} || stop != text + length || value < 1 || value > maxReplicas) return EIO;
  replicas = value;
  return 0;
}

int writeReplicas(int fd, const char* name, int replicas) {
  char text[16];
  const auto end = std::to_chars(text, text + sizeof text, replicas).ptr;
  return write(fd, name, text, static_cast<std::size_t>(end - text));
}

}  // namespace

int readReplication(int fd, int& replicas) {
  return readReplicas(fd, replicationName, replicas);
}

int readLayout(int fd, int& replicas) {
  return readReplicas(fd, layoutName, replicas);
}

int writeReplication(int fd, int replicas) {
  return writeReplicas(fd, replicationName, replicas);
}

int writeLayout(int fd, int replicas) {
  return writeReplicas(fd, layoutName, replicas);
}

int readFactor(int fd, Factor& factor, bool& present) {
  ssize_t length = 0;
  if (const int err = read(fd, factorName, factor.data(), factor.size(), length); err != 0) {
    return err;
  }
  present = length >= 0;
  return !present || length == static_cast<ssize_t>(factor.size()) ? 0 : EIO;
}

int writeFactor(int fd, const Factor& factor) {
  return write(fd, factorName, factor.data(), factor.size());
}

}  // namespace standin
