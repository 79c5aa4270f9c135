#include "blocks/directives.h"

#include <endian.h>

#include <cstdint>
#include <cstring>

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
