// A range of a file that is known to exist.
#pragma once

#include <cstdint>
#include <span>

namespace datanode {

// std::system_error; EIO where the file was cut meanwhile.
void readFully(int file, std::int64_t offset, std::span<std::uint8_t> to);

}  // namespace datanode
