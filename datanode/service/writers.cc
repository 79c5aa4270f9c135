#include "service/writers.h"

#include <sys/socket.h>

#include <cerrno>
#include <chrono>
#include <system_error>

namespace datanode {

Writers::Turn Writers::take(std::int64_t inode, int socket) {
  std::unique_lock lock(mutex_);
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  for (;;) {
    const auto [earlier, isFree] = sockets_.try_emplace(inode, socket);
    if (isFree) return {*this, inode};
    shutdown(earlier->second, SHUT_RDWR);
    if (ended_.wait_until(lock, deadline) == std::cv_status::timeout) {
      throw std::system_error(EBUSY, std::generic_category(), "an earlier writer does not end");
    }
  }
}

Writers::Turn::~Turn() {
  const std::lock_guard lock(writers_.mutex_);
  writers_.sockets_.erase(inode_);
  writers_.ended_.notify_all();
}

}  // namespace datanode
