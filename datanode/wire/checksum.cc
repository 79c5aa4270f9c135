#include "wire/checksum.h"

#include <isa-l/crc.h>

#include <algorithm>

#include "wire/bigendian.h"

namespace datanode {

std::uint32_t crc32(std::uint32_t crc, std::span<const std::uint8_t> bytes) {
  return crc32_gzip_refl(crc, bytes.data(), bytes.size());
}

std::uint32_t crc32c(std::uint32_t crc, std::span<const std::uint8_t> bytes) {
  crc = ~crc;
  // The library takes an int's worth at a time, and promises not to write.
  while (!bytes.empty()) {
    const auto part = bytes.first(std::min<std::size_t>(bytes.size(), 1 << 30));
    crc = crc32_iscsi(const_cast<std::uint8_t*>(part.data()), static_cast<int>(part.size()), crc);
    bytes = bytes.subspan(part.size());
  }
  return ~crc;
}

std::uint32_t Checksum::of(std::span<const std::uint8_t> bytes) const {
  return type_ == wire::CHECKSUM_CRC32 ? crc32(0, bytes) : crc32c(0, bytes);
}

void Checksum::compute(std::span<const std::uint8_t> data, std::uint8_t* to) const {
  if (type_ == wire::CHECKSUM_NULL) return;
  for (; !data.empty(); to += 4) {
    const auto chunk = data.first(std::min<std::size_t>(data.size(), chunk_));
    putBigEndian(to, of(chunk));
    data = data.subspan(chunk.size());
  }
}

bool Checksum::matches(std::span<const std::uint8_t> data, const std::uint8_t* checksums) const {
  if (type_ == wire::CHECKSUM_NULL) return true;
  for (; !data.empty(); checksums += 4) {
    const auto chunk = data.first(std::min<std::size_t>(data.size(), chunk_));
    if (getBigEndian<std::uint32_t>(checksums) != of(chunk)) return false;
    data = data.subspan(chunk.size());
  }
  return true;
}

}  // namespace datanode
