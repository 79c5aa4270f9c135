#include <fcntl.h>
#include <openssl/evp.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "files/readfully.h"
#include "service/operations.h"
#include "wire/bigendian.h"
#include "wire/frames.h"

namespace datanode {

namespace {

constexpr std::size_t PIECE = 131'072;
static_assert(PIECE % Checksum::CHUNK == 0);

// What a block comes to, as HDFS compares files: the MD5 of the checksums of all chunks, or one CRC
// for all, which is what theirs can be combined to.
class Digest {
 public:
  explicit Digest(wire::BlockChecksumType type) : type_(type) {
    if (!md5_ || EVP_DigestInit_ex(md5_.get(), EVP_md5(), nullptr) != 1) {
      throw Refusal(wire::ERROR, "MD5 is not to be had");
    }
  }

  void add(std::span<const std::uint8_t> data) {
    if (type_ == wire::COMPOSITE_CRC) {
      crc_ = crc32c(crc_, data);
      return;
    }
    const Checksum checksum(wire::CHECKSUM_CRC32C);
    sums_.resize(checksum.sizeFor(data.size()));
    checksum.compute(data, sums_.data());
    EVP_DigestUpdate(md5_.get(), sums_.data(), sums_.size());
  }

  std::string result() {
    std::uint8_t bytes[EVP_MAX_MD_SIZE];
    unsigned int size = 4;
    if (type_ == wire::COMPOSITE_CRC) {
      putBigEndian(bytes, crc_);
    } else {
      EVP_DigestFinal_ex(md5_.get(), bytes, &size);
    }
    return {reinterpret_cast<const char*>(bytes), size};
  }

 private:
  const wire::BlockChecksumType type_;
  std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> md5_{EVP_MD_CTX_new(), EVP_MD_CTX_free};
  std::uint32_t crc_ = 0;
  std::vector<std::uint8_t> sums_;
};

}  // namespace

void blockChecksum(Service& service, Stream& stream) {
  wire::BlockChecksum request;
  readMessage(stream, request);
  const BlockToken token = authorize(service, request.header(), BlockToken::READ);
  const wire::BlockChecksumType type = request.options().block_checksum_type();
  if (request.options().stripe_length() != 0) {
    throw Refusal(wire::ERROR_UNSUPPORTED, "checksums of stripes are not supported on zorf");
  }
  const Shares::Share share = shareFor(service, token);
  const ActingAs user(*accountFor(service, token));
  const OpenFile file = openFile(service, token, O_RDONLY);
  // A client that wants less than the whole file says so in the last block's size.
  const auto size = static_cast<std::int64_t>(std::min<std::uint64_t>(
      request.header().block().num_bytes(), static_cast<std::uint64_t>(token.length)));
  checkRange(file, token, size);

  Digest digest(type);
  std::vector<std::uint8_t> piece(PIECE);
  for (std::int64_t at = 0; at < size;) {
    const std::span part(piece.data(),
                         static_cast<std::size_t>(std::min<std::int64_t>(size - at, PIECE)));
    readFully(file.descriptor.get(), token.offset + at, part);
    digest.add(part);
    at += static_cast<std::int64_t>(part.size());
  }

  wire::OperationResponse response;
  response.set_status(wire::SUCCESS);
  auto* const answer = response.mutable_checksum_response();
  answer->set_bytes_per_crc(Checksum::CHUNK);
  answer->set_crc_per_block(
      static_cast<std::uint64_t>((size + Checksum::CHUNK - 1) / Checksum::CHUNK));
  answer->set_block_checksum(digest.result());
  answer->set_crc_type(wire::CHECKSUM_CRC32C);
  answer->mutable_options()->set_block_checksum_type(type);
  stream.allow(service.messageTime);
  writeMessage(stream, response);
}

}  // namespace datanode
