// A block token: what the NameNode allows the bearer to do with which bytes of which file.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace datanode {

struct BlockToken {
  static constexpr std::int32_t READ = 1;
  static constexpr std::int32_t WRITE = 2;

  std::int32_t keyId = 0;
  std::int64_t expiry = 0;  // milliseconds since the epoch
  std::int64_t inode = 0;
  std::int64_t offset = 0;  // of the block in the file
  std::int64_t length = 0;  // that the block may hold
  std::int64_t blockId = 0;
  std::int64_t generationStamp = 0;
  std::int32_t rights = 0;
  std::string user;
  std::string path;  // from the root that is served, "/a/b"

  bool operator==(const BlockToken&) const = default;
};

// Nothing unless every byte is accounted for and the range is one.
std::optional<BlockToken> parseToken(std::string_view identifier);

// The identifier that a NameNode would sign.
std::string identifierOf(const BlockToken& token);

}  // namespace datanode
