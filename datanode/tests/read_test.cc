// Reading blocks and their checksums.
#include <fcntl.h>
#include <openssl/evp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <vector>

#include "test_service.h"
#include "wire/bigendian.h"

namespace datanode {
namespace {

class ReadTest : public ServiceTest {
 protected:
  // The checksum of a block's first bytes, after its "STATUS ".
  wire::OperationResponse checksum(const BlockToken& token, std::uint64_t size,
                                   wire::BlockChecksumType type) {
    TestClient client(port());
    wire::BlockChecksum request;
    *request.mutable_header() = headerFor(token);
    request.mutable_header()->mutable_block()->set_num_bytes(size);
    request.mutable_options()->set_block_checksum_type(type);
    client.ask(BLOCK_CHECKSUM, request);
    return client.response();
  }

  const std::string bytes_ = someBytes(1'000'000);
  const std::string file_ = scratch_.write("file", bytes_, 0644);
};

TEST_F(ReadTest, WholeBlockComesAsItIs) {
  EXPECT_EQ(read(tokenFor("/file", BlockToken::READ), 0, 1'000'000), bytes_);
}

TEST_F(ReadTest, AnyRangeComesAsItIs) {
  const BlockToken token = tokenFor("/file", BlockToken::READ);
  for (const std::uint64_t offset : {0U, 1U, 511U, 512U, 513U, 131'071U, 999'999U, 1'000'000U}) {
    for (const std::uint64_t length : {0U, 1U, 512U, 513U, 131'073U, 1'000'000U}) {
      EXPECT_EQ(read(token, offset, length), bytes_.substr(offset, length))
          << offset << " " << length;
    }
  }
}

TEST_F(ReadTest, BlockIsARangeOfItsFile) {
  BlockToken token = tokenFor("/file", BlockToken::READ);
  token.offset = 4096;
  token.length = 8192;
  EXPECT_EQ(read(token, 0, 8192), bytes_.substr(4096, 8192));
  EXPECT_EQ(read(token, 100, 50), bytes_.substr(4196, 50));
  // Never beyond the block, whatever is asked for.
  EXPECT_EQ(read(token, 8000, 100'000), bytes_.substr(4096 + 8000, 192));
  EXPECT_EQ(read(token, 0, UINT64_MAX), bytes_.substr(4096, 8192));
  EXPECT_EQ(read(token, 8193, 1),
            "ERROR_INVALID offset 8193 is past the block, which has 8192 bytes");
  EXPECT_EQ(read(token, UINT64_MAX, 1),
            "ERROR_INVALID offset 18446744073709551615 is past the block, which has 8192 bytes");
}

TEST_F(ReadTest, FileThatWasCutIsTold) {
  const BlockToken token = tokenFor("/file", BlockToken::READ);
  ASSERT_EQ(truncate(file_.c_str(), 100), 0);
  EXPECT_EQ(read(token, 0, 100), bytes_.substr(0, 100));
  EXPECT_EQ(read(token, 0, 101), "ERROR /file has 100 bytes, and the block goes on to 101");
}

TEST_F(ReadTest, WithoutChecksumsThereAreNone) {
  TestClient client(port());
  wire::ReadBlock request = readRequest(headerFor(tokenFor("/file", BlockToken::READ)), 7, 900'000);
  request.set_send_checksums(false);
  client.ask(READ_BLOCK, request);
  const wire::OperationResponse response = client.response();
  EXPECT_EQ(response.read_checksum_info().checksum().type(), wire::CHECKSUM_NULL);
  EXPECT_EQ(client.readPackets(response), bytes_.substr(7, 900'000));
}

TEST_F(ReadTest, ShortReadIsAnsweredInOnePiece) {
  TestClient client(port());
  client.ask(READ_BLOCK, readRequest(headerFor(tokenFor("/file", BlockToken::READ)), 7, 1000));
  pollfd readable = {client.socket(), POLLIN, 0};
  ASSERT_EQ(poll(&readable, 1, 10'000), 1);
  std::uint8_t bytes[4096];
  const ssize_t came = recv(client.socket(), bytes, sizeof bytes, MSG_PEEK);
  const wire::OperationResponse response = client.response();
  EXPECT_EQ(client.readPackets(response), bytes_.substr(7, 1000));
  // The answer's length, the answer, two checksums and the data, the packet without any.
  EXPECT_EQ(static_cast<std::size_t>(came),
            1 + response.ByteSizeLong() + PACKET_START_SIZE + 2 * 4 + 1000 + PACKET_START_SIZE);
}

TEST_F(ReadTest, HintsChangeNoByte) {
  const std::string large = someBytes(20'000'000);
  scratch_.write("large", large, 0644);
  for (const std::int64_t readahead :
       {INT64_MIN, std::int64_t{0}, std::int64_t{100'000}, INT64_MAX}) {
    for (const bool checksums : {false, true}) {
      TestClient client(port());
      wire::ReadBlock request =
          readRequest(headerFor(tokenFor("/large", BlockToken::READ)), 5, large.size());
      request.mutable_caching_strategy()->set_readahead(readahead);
      request.mutable_caching_strategy()->set_drop_behind(true);
      request.set_send_checksums(checksums);
      client.ask(READ_BLOCK, request);
      EXPECT_EQ(client.readPackets(client.response()), large.substr(5));
    }
  }
}

TEST_F(ReadTest, ConnectionTakesOneOperationAfterTheOther) {
  const BlockToken token = tokenFor("/file", BlockToken::READ);
  TestClient client(port());
  for (std::uint64_t i = 0; i < 20; ++i) {
    client.ask(READ_BLOCK, readRequest(headerFor(token), i * 1000, 1000));
    EXPECT_EQ(client.readPackets(client.response()), bytes_.substr(i * 1000, 1000));
  }
  EXPECT_EQ(service().metrics.connectionsAccepted, 1U);
}

TEST_F(ReadTest, OperationsThatComeTogetherAreServedInTurn) {
  const BlockToken token = tokenFor("/file", BlockToken::READ);
  TestClient client(port());
  wire::ClientReadStatus status;
  status.set_status(wire::SUCCESS);
  for (std::uint64_t i = 0; i < 3; ++i) {
    client.ask(READ_BLOCK, readRequest(headerFor(token), i, 10));
    client.say("\x02" + status.SerializeAsString());
  }
  for (std::uint64_t i = 0; i < 3; ++i) {
    const wire::OperationResponse response = client.response();
    EXPECT_EQ(response.read_checksum_info().chunk_offset(), i);
    // The status was sent before; one more would be taken for an operation.
    const std::size_t packets = 31 + 4 + 10 + 31;
    EXPECT_EQ(client.hear(packets).substr(35, 10), bytes_.substr(i, 10));
  }
}

TEST_F(ReadTest, ReaderThatFindsItCorruptIsCounted) {
  TestClient client(port());
  client.ask(READ_BLOCK, readRequest(headerFor(tokenFor("/file", BlockToken::READ)), 0, 10));
  client.readPackets(client.response(), wire::ERROR_CHECKSUM);
  // Its next operation is served after the status.
  client.ask(READ_BLOCK, readRequest(headerFor(tokenFor("/file", BlockToken::READ)), 0, 10));
  client.response();
  EXPECT_EQ(service().metrics.corruptReads, 1U);
}

TEST_F(ReadTest, ChecksumIsTheMd5OfTheChunksChecksums) {
  const wire::OperationResponse response =
      checksum(tokenFor("/file", BlockToken::READ), 1'000'000, wire::MD5CRC);
  ASSERT_EQ(told(response), "SUCCESS ");
  std::vector<std::uint8_t> sums;
  for (std::size_t at = 0; at < bytes_.size(); at += 512) {
    const std::string chunk = bytes_.substr(at, 512);
    std::uint8_t sum[4];
    putBigEndian(sum,
                 crc32c(0, {reinterpret_cast<const std::uint8_t*>(chunk.data()), chunk.size()}));
    sums.insert(sums.end(), sum, sum + 4);
  }
  std::string md5(16, '\0');
  EVP_Digest(sums.data(), sums.size(), reinterpret_cast<unsigned char*>(md5.data()), nullptr,
             EVP_md5(), nullptr);
  const auto& answer = response.checksum_response();
  EXPECT_EQ(answer.block_checksum(), md5);
  EXPECT_EQ(answer.bytes_per_crc(), 512U);
  EXPECT_EQ(answer.crc_per_block(), 1954U);
  EXPECT_EQ(answer.crc_type(), wire::CHECKSUM_CRC32C);
}

TEST_F(ReadTest, CombinedChecksumIsThatOfAllBytes) {
  const wire::OperationResponse response =
      checksum(tokenFor("/file", BlockToken::READ), 777'777, wire::COMPOSITE_CRC);
  ASSERT_EQ(told(response), "SUCCESS ");
  std::uint8_t sum[4];
  putBigEndian(sum, crc32c(0, {reinterpret_cast<const std::uint8_t*>(bytes_.data()), 777'777}));
  EXPECT_EQ(response.checksum_response().block_checksum(),
            std::string(reinterpret_cast<char*>(sum), 4));
}

TEST_F(ReadTest, ChecksumNeverGoesBeyondTheBlock) {
  BlockToken token = tokenFor("/file", BlockToken::READ);
  token.length = 5;
  const wire::OperationResponse response = checksum(token, UINT64_MAX, wire::COMPOSITE_CRC);
  std::uint8_t sum[4];
  putBigEndian(sum, crc32c(0, {reinterpret_cast<const std::uint8_t*>(bytes_.data()), 5}));
  EXPECT_EQ(response.checksum_response().block_checksum(),
            std::string(reinterpret_cast<char*>(sum), 4));
}

TEST_F(ReadTest, ManyThreadsReadAtOnce) {
  const BlockToken token = tokenFor("/file", BlockToken::READ);
  const std::uint16_t at = port();
  std::vector<std::thread> readers;
  std::atomic<int> wrong{0};
  for (std::uint64_t i = 0; i < 16; ++i) {
    readers.emplace_back([&, i] {
      TestClient client(at);
      for (std::uint64_t round = 0; round < 20; ++round) {
        const std::uint64_t offset = (i * 50'021 + round * 7'919) % 900'000;
        client.ask(READ_BLOCK, readRequest(headerFor(token), offset, 65'536));
        if (client.readPackets(client.response()) != bytes_.substr(offset, 65'536)) ++wrong;
      }
    });
  }
  for (std::thread& reader : readers) reader.join();
  EXPECT_EQ(wrong, 0);
}

}  // namespace
}  // namespace datanode
