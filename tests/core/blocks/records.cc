#include "core/blocks/records.h"

#include <cstring>

#include "blocks/policy.h"
#include "blocks/query.h"

Record& Record::u32(std::size_t offset, std::uint32_t value) {
  std::memcpy(&bytes_.at(offset), &value, sizeof value);
  return *this;
}

Record& Record::u64(std::size_t offset, std::uint64_t value) {
  std::memcpy(&bytes_.at(offset), &value, sizeof value);
  return *this;
}

Record& Record::text(std::size_t offset, const std::string& value) {
  bytes_.replace(offset, value.size(), value);
  return *this;
}

std::string blockInfoRequest() {
  return Record(104)
      .u32(0, 104)
      .u32(4, 1)
      .u32(16, 32)
      .u32(20, 3001)
      .u32(48, 56)
      .u32(52, 6001)
      .u32(56, 8)
      .u32(60, 24)
      .u32(64, 0x8000)
      .text(72, "zorf.BGF");
}

std::string locationsRequest(std::uint64_t start, std::uint64_t skipFactor, std::uint64_t length) {
  return Record(52)
      .u32(0, 64584)
      .u32(4, 1)
      .u32(16, 64568)
      .u32(20, 3006)
      .u64(24, start)
      .u64(32, skipFactor)
      .u64(40, length);
}

std::string settledBytes(const std::string& request) {
  std::string part = request.substr(0, 52);
  if (part.size() == 52) part.replace(8, 4, 4, '\0');
  return part;
}

std::string locationBytes(std::uint64_t offset, std::uint64_t length, std::uint64_t blocksize,
                          std::int32_t nblock, std::int32_t nreplica) {
  return Record(32)
      .u64(0, offset)
      .u64(8, length)
      .u64(16, blocksize)
      .u32(24, static_cast<std::uint32_t>(nblock))
      .u32(28, static_cast<std::uint32_t>(nreplica));
}

std::string bytesOfLocation(const location& loc) {
  return {reinterpret_cast<const char*>(&loc), sizeof loc};
}

std::string words(const std::vector<std::int32_t>& values) {
  return {reinterpret_cast<const char*>(values.data()), values.size() * 4};
}

std::vector<std::int32_t> wordsOf(const std::string& bytes) {
  std::vector<std::int32_t> values(bytes.size() / 4);
  if (!values.empty()) std::memcpy(values.data(), bytes.data(), values.size() * 4);
  return values;
}

struct stat statusOf(std::uint64_t size, std::uint64_t fsBlockSize, unsigned mode) {
  struct stat st {};
  st.st_ino = 77;
  st.st_mode = mode;
  st.st_size = static_cast<off_t>(size);
  st.st_blksize = static_cast<blksize_t>(fsBlockSize);
  return st;
}

std::string bytesOfStatus(const struct stat& st) {
  return {reinterpret_cast<const char*>(&st), sizeof st};
}

KeptSettings::KeptSettings()
    : level_(logger2::currentLevel), policy_(globalBlkCmd), blockSize_(defaultDFSBlockSize) {}

KeptSettings::~KeptSettings() {
  logger2::currentLevel = level_;
  globalBlkCmd = static_cast<GetBlkCmd>(policy_);
  defaultDFSBlockSize = blockSize_;
}
