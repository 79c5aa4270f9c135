// Checksums of the chunks of a block: a CRC for each so many bytes, the last chunk perhaps shorter.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "wire/datatransfer.pb.h"

namespace datanode {

// `crc` is that of the bytes before these, 0 for none.
std::uint32_t crc32(std::uint32_t crc, std::span<const std::uint8_t> bytes);
std::uint32_t crc32c(std::uint32_t crc, std::span<const std::uint8_t> bytes);

class Checksum {
 public:
  // What clients use by default, and what blocks are read with.
  static constexpr std::uint32_t CHUNK = 512;
  static constexpr std::uint32_t LARGEST_CHUNK = 256 * 1024;

  explicit Checksum(wire::ChecksumType type, std::uint32_t chunk = CHUNK)
      : type_(type), chunk_(chunk) {}

  wire::ChecksumType type() const { return type_; }
  std::uint32_t chunk() const { return chunk_; }

  // The bytes of the checksums of so much data.
  std::size_t sizeFor(std::size_t data) const {
    return type_ == wire::CHECKSUM_NULL ? 0 : (data + chunk_ - 1) / chunk_ * 4;
  }
  // sizeFor(data.size()) bytes.
  void compute(std::span<const std::uint8_t> data, std::uint8_t* to) const;
  bool matches(std::span<const std::uint8_t> data, const std::uint8_t* checksums) const;

 private:
  std::uint32_t of(std::span<const std::uint8_t> bytes) const;

  wire::ChecksumType type_;
  std::uint32_t chunk_;
};

}  // namespace datanode
