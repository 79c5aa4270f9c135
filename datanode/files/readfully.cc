#include "files/readfully.h"

#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace datanode {

void readFully(int file, std::int64_t offset, std::span<std::uint8_t> to) {
  while (!to.empty()) {
    const ssize_t got = pread(file, to.data(), to.size(), offset);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) throw std::system_error(errno, std::generic_category(), "reading the file");
    if (got == 0) {
      throw std::system_error(EIO, std::generic_category(), "the file was cut while it was read");
    }
    to = to.subspan(static_cast<std::size_t>(got));
    offset += got;
  }
}

}  // namespace datanode
