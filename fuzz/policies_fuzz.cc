// Every policy against a client library that answers with whatever the input holds.
#include <cassert>
#include <cerrno>

#include "blocks/policy.h"
#include "blocks/query.h"
#include "blocks/zorf_fcntl.h"
#include "fuzz/input.h"
#include "support/entries.h"

namespace {

Input* replies = nullptr;

}  // namespace

// Overwrites the buffer after its first 16 bytes with the next bytes of the input, in every second
// reply only some words; fails when the input is used up, so that every query ends.
extern "C" int zorf_fcntl(int, void* buffer) {
  if (replies->empty()) {
    errno = EIO;
    return -1;
  }
  auto* bytes = static_cast<char*>(buffer);
  std::uint32_t length = 0;
  std::memcpy(&length, bytes, sizeof length);
  const auto kind = replies->number<std::uint8_t>();
  if (length == sizeof(zorfBlockInfo_t)) {
    const std::string body = replies->bytes(kind % 2 == 0 ? 88 : 20);
    std::memcpy(bytes + 16, body.data(), body.size());
    return 0;
  }
  if (kind % 8 == 7) {
    errno = kind;
    return -1;
  }
  const std::string counts = replies->bytes(16);
  std::memcpy(bytes + 56, counts.data(), counts.size());
  if (kind % 2 == 0) {  // plausible counts, so that data is looked at
    const std::uint32_t plausible[] = {kind % 5u, replies->number<std::uint8_t>(), 4096, 0};
    std::memcpy(bytes + 56, plausible, sizeof plausible);
  }
  const std::string data = replies->bytes(replies->number<std::uint8_t>() * 8);
  std::memcpy(bytes + 72, data.data(), data.size());
  return 0;
}

extern "C" int zorf_restripe_file(int, void*, int) {
  return -1;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  replies = &input;
  const auto policy = static_cast<GetBlkCmd>(input.number<std::uint8_t>() % 5);
  struct stat st = {};
  st.st_mode = input.number<std::uint8_t>() % 8 == 0 ? S_IFDIR : S_IFREG;
  st.st_size = input.number<std::int64_t>();
  const auto blocksize = input.number<std::int64_t>();
  st.st_blksize = blocksize % 3 == 0 ? blocksize : 4096;
  location loc = {};
  loc.offset = input.number<std::uint64_t>();
  loc.length = input.number<std::uint64_t>();
  defaultDFSBlockSize = input.number<std::uint64_t>();

  Entries out;
  out.bytes = "front";
  getBlkLocationInt(3, policy, st, loc, out);
  const std::string& stream = out.bytes;
  assert(stream.size() >= 5 + sizeof loc);
  assert(stream.compare(0, 5, "front") == 0);
  // The record in front of the entries is the final one.
  assert(std::memcmp(stream.data() + 5, &loc, sizeof loc) == 0);
  assert((stream.size() - 5 - sizeof loc) % 8 == 0);
  return 0;
}
