// The requests of the directives, byte for byte.
#pragma once

#include <string>

#include "core/blocks/records.h"

inline std::string replicationDirective(std::int32_t replicas) {
  return Record(56).u32(0, 56).u32(4, 1).u32(16, 40).u32(20, 2005).u32(
      32, static_cast<std::uint32_t>(replicas));
}

inline std::string restripeArgument() {
  return Record(64).u32(0, 64).u32(4, 1).u32(16, 48).u32(20, 2008).u32(24, 2);
}

inline std::string bgfDirective(const std::string& bigEndian) {
  return Record(72)
      .u32(0, 72)
      .u32(4, 1)
      .u32(16, 56)
      .u32(20, 6002)
      .u32(24, 8)
      .u32(28, 4)
      .u32(32, 0x8000)
      .text(40, "zorf.BGF")
      .text(48, bigEndian);
}
