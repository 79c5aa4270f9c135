#include "service/ending.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <system_error>

namespace datanode {

Ending::Ending() : event_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  if (!event_) throw std::system_error(errno, std::generic_category(), "eventfd");
}

void Ending::begin() {
  begun_ = true;
  const std::uint64_t one = 1;
  [[maybe_unused]] const ssize_t written = write(event_.get(), &one, sizeof one);
}

}  // namespace datanode
