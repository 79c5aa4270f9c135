// A client library that answers for any file, and needs 48 KiB of stack for it as a closed one may.
#include <cerrno>
#include <cstdint>
#include <cstring>

#include "blocks/zorf_fcntl.h"

extern "C" [[gnu::visibility("default")]] int zorf_fcntl(int fd, void* buffer);
extern "C" [[gnu::visibility("default")]] int zorf_restripe_file(int fd, void* buffer, int flags);

namespace {

void useStack() {
  volatile char stack[48 * 1024];
  for (std::size_t i = 0; i < sizeof stack; i += 512) stack[i] = 1;
  stack[0] = stack[sizeof stack - 512];
}

}  // namespace

extern "C" int zorf_fcntl(int /*fd*/, void* buffer) {
  useStack();
  std::uint32_t length = 0;
  std::memcpy(&length, buffer, sizeof length);
  if (length == sizeof(zorfBlockInfo_t)) {
    auto& info = *static_cast<zorfBlockInfo_t*>(buffer);
    info.replication.words[2] = 2;
    info.xattr.value[3] = 2;
  } else if (length == sizeof(zorfBlockLocations_t)) {
    auto& reply = *static_cast<zorfBlockLocations_t*>(buffer);
    reply.query.replicas = 2;
    reply.query.blocks = 3;
    reply.query.metaBlockSizeLow = 4096;
    const std::int32_t entries[] = {7, 50'000, 0, 0, 7, 8, 0, 0, 9, 8, 0, 0};
    std::memcpy(reply.query.data, entries, sizeof entries);
  }
  return 0;
}

extern "C" int zorf_restripe_file(int /*fd*/, void* /*buffer*/, int /*flags*/) {
  useStack();
  return 0;
}
