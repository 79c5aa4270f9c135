// Identifiers of block tokens: one that is taken is made of exactly its bytes.
#include <cassert>

#include "files/token.h"
#include "fuzz/input.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string identifier = Input(data, size).rest();
  const auto token = datanode::parseToken(identifier);
  if (!token) return 0;
  assert(identifierOf(*token) == identifier);
  assert(token->offset >= 0 && token->length >= 0 && token->offset + token->length >= 0);
  assert(token->path.starts_with('/') && !token->user.empty());
  return 0;
}
