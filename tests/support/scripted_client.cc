#include "support/scripted_client.h"

#include <endian.h>

#include <cerrno>
#include <cstring>

#include "blocks/zorf_fcntl.h"
#include "support/thread_identity.h"

namespace {

ScriptedClient* current = nullptr;

std::string requestOf(const void* buffer) {
  std::uint32_t length = 0;
  std::memcpy(&length, buffer, sizeof length);
  return {static_cast<const char*>(buffer), length};
}

int dispatch(const char* function, int fd, void* buffer, int flags) {
  if (current == nullptr) {
    errno = ENOSYS;
    return -1;
  }
  if (current->generator()) return current->generator()(static_cast<unsigned char*>(buffer));
  const ThreadIdentity identity = threadIdentity();
  return current->answer({function, fd, requestOf(buffer), flags, identity.fsuid, identity.fsgid},
                         static_cast<unsigned char*>(buffer));
}

void put32(unsigned char* buffer, std::size_t offset, std::uint32_t value) {
  std::memcpy(buffer + offset, &value, sizeof value);
}

}  // namespace

extern "C" int zorf_fcntl(int fd, void* buffer) {
  return dispatch("zorf_fcntl", fd, buffer, 0);
}

extern "C" int zorf_restripe_file(int fd, void* buffer, int flags) {
  return dispatch("zorf_restripe_file", fd, buffer, flags);
}

ScriptedClient::ScriptedClient() {
  current = this;
}

ScriptedClient::~ScriptedClient() {
  current = nullptr;
}

int ScriptedClient::answer(ScriptedCall call, unsigned char* buffer) {
  calls_.push_back(std::move(call));
  if (next_ == replies_.size()) {
    errno = ENOSYS;
    return -1;
  }
  const ScriptedReply& reply = replies_[next_++];
  if (reply.write) reply.write(buffer);
  errno = reply.err;
  return reply.result;
}

void ScriptedClient::blockInfo(int replicas, const std::vector<std::int32_t>& factor) {
  reply({0, 0, [=](unsigned char* buffer) {
           put32(buffer, 32, static_cast<std::uint32_t>(replicas));
           if (factor.empty()) {
             put32(buffer, 68, 1);
           } else {
             put32(buffer, 80, htobe32(static_cast<std::uint32_t>(factor[0])));
           }
         }});
}

void ScriptedClient::blockLocations(int replicas, int blocks, std::uint64_t metaBlockSize,
                                    const std::vector<std::int32_t>& entries) {
  reply({0, 0, [=](unsigned char* buffer) {
           put32(buffer, 56, static_cast<std::uint32_t>(replicas));
           put32(buffer, 60, static_cast<std::uint32_t>(blocks));
           put32(buffer, 64, static_cast<std::uint32_t>(metaBlockSize));
           put32(buffer, 68, static_cast<std::uint32_t>(metaBlockSize >> 32));
           if (!entries.empty()) std::memcpy(buffer + 72, entries.data(), entries.size() * 4);
         }});
}
