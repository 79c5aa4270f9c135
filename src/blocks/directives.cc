#include "blocks/directives.h"

#include <endian.h>
#include <fcntl.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <string>

#include "base/ioexception.h"
#include "base/logger.h"
#include "blocks/fileobj.h"
#include "blocks/query.h"
#include "blocks/zorf_fcntl.h"

namespace {

// All zero but for the header.
template <class Buffer>
Buffer newBuffer() {
  Buffer buffer = {};
  buffer.header.totalLength = sizeof buffer;
  buffer.header.fcntlVersion = ZORF_FCNTL_VERSION;
  return buffer;
}

[[noreturn]] void fail(const char* native, int err, const std::string& line,
                       const std::string& message) {
  ZORF_LOG_AS(LOG_ERROR, native, line);
  throw IOException(message, err);
}

[[noreturn]] void fail(const char* native, int err, const std::string& message) {
  fail(native, err, message, message);
}

void requireOpen(const char* native, const char* path, const fileObj& file) {
  if (file.fd() < 0) fail(native, -file.fd(), std::string("failed to open ") + path, "");
}

[[noreturn]] void failReplication(const char* native, int err, const char* what, const char* path,
                                  short replicas) {
  fail(native, err, std::string(what) + path + " replication " + std::to_string(replicas));
}

// Where a directive gets descriptor 0 it has always left it open.
constexpr bool KEEPS_ZERO = true;

}  // namespace

int setReplication(int fd, short replicas) {
  auto buffer = newBuffer<zorfReplicationDirective_t>();
  buffer.replication.structLen = sizeof buffer.replication;
  buffer.replication.structType = ZORF_FCNTL_SET_REPLICATION;
  buffer.replication.dataReplicas = replicas;
  return zorf_fcntl(fd, &buffer) == 0 ? 0 : -1;
}

int restripeFile(int fd) {
  auto buffer = newBuffer<zorfRestripe_t>();
  buffer.restripe.structLen = sizeof buffer.restripe;
  buffer.restripe.structType = ZORF_RESTRIPE_DATA;
  buffer.restripe.options = ZORF_RESTRIPE_OPTIONS;
  return zorf_restripe_file(fd, &buffer, 0) == 0 ? 0 : -1;
}

int setBGF(int fd, int factor) {
  auto buffer = newBuffer<zorfBgfDirective_t>();
  const std::uint32_t value = htobe32(static_cast<std::uint32_t>(factor));
  buffer.xattr.structLen = sizeof buffer.xattr;
  buffer.xattr.structType = ZORF_FCNTL_SET_XATTR;
  buffer.xattr.nameLen = ZORF_BGF.size();
  buffer.xattr.bufferLen = sizeof value;
  buffer.xattr.flags = ZORF_XATTR_QUERY_FLAGS;
  ZORF_BGF.copy(buffer.xattr.name, sizeof buffer.xattr.name);
  std::memcpy(buffer.xattr.value, &value, sizeof value);
  return zorf_fcntl(fd, &buffer) < 0 ? -1 : 0;
}

void replicate(const char* native, const char* path, short replicas, bool restripe) {
  const fileObj file(path, O_RDONLY, KEEPS_ZERO);
  requireOpen(native, path, file);
  if (setReplication(file.fd(), replicas) != 0) {
    failReplication(native, errno, "failed to set replication for ", path, replicas);
  }
  if (restripe && restripeFile(file.fd()) != 0) {
    failReplication(native, errno, "failed to restripe file ", path, replicas);
  }
}

void group(const char* native, const char* path, int factor) {
  if (factor < 1 || factor > 1024) {
    fail(native, EINVAL, "Invalid BGF(" + std::to_string(factor) + ")");
  }
  const fileObj file(path, O_RDONLY, KEEPS_ZERO);
  requireOpen(native, path, file);
  if (setBGF(file.fd(), factor) != 0) {
    const int err = errno;
    fail(native, err, std::string("Failed to set BGF for ") + path);
  }
}
