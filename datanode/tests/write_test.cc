// Writing blocks.
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <thread>
#include <vector>

#include "test_service.h"

namespace datanode {
namespace {

class WriteTest : public ServiceTest {
 protected:
  wire::BaseHeader header() const { return headerFor(tokenFor("/file", BlockToken::WRITE)); }

  std::string acknowledged(TestClient& client, const TestClient::Packet& packet) {
    client.sendPacket(packet, checksum_);
    return client.acknowledgement();
  }
  const std::string file_ = scratch_.write("file", "", 0644);
  const Checksum checksum_{wire::CHECKSUM_CRC32C};
};

TEST_F(WriteTest, PacketsAreInTheFileWhenTheyAreAcknowledged) {
  const std::string bytes = someBytes(200'000);
  TestClient client(port());
  ASSERT_EQ(beginWrite(client, writeRequest(header())), "SUCCESS ");
  EXPECT_EQ(acknowledged(client, {0, 0, bytes.substr(0, 65'536)}), "0 SUCCESS");
  EXPECT_EQ(contentOf(file_), bytes.substr(0, 65'536));
  EXPECT_EQ(acknowledged(client, {1, 65'536, bytes.substr(65'536)}), "1 SUCCESS");
  EXPECT_EQ(contentOf(file_), bytes);
  EXPECT_EQ(acknowledged(client, {2, 200'000, "", true}), "2 SUCCESS");
  EXPECT_EQ(service().metrics.bytesWritten, 200'000U);
}

TEST_F(WriteTest, PacketsThatComeTogetherAreAcknowledgedOneByOne) {
  const std::string bytes = someBytes(3'000);
  TestClient client(port());
  ASSERT_EQ(beginWrite(client, writeRequest(header())), "SUCCESS ");
  for (std::int64_t i = 0; i < 3; ++i) {
    const auto at = static_cast<std::size_t>(i) * 1'000;
    client.sendPacket({i, i * 1'000, bytes.substr(at, 1'000), false, i == 1}, checksum_);
  }
  for (const char* const seqno : {"0", "1", "2"}) {
    EXPECT_EQ(client.acknowledgement(), std::string(seqno) + " SUCCESS");
  }
  EXPECT_EQ(contentOf(file_), bytes);
  client.sendPacket({3, 3'000, bytes.substr(0, 100)}, checksum_);
  client.sendPacket({4, 3'100, bytes.substr(0, 100), false, false, true}, checksum_);
  EXPECT_EQ(client.acknowledgement(), "3 SUCCESS");
  EXPECT_EQ(client.acknowledgement(), "4 ERROR_CHECKSUM");
}

TEST_F(WriteTest, PacketsThatComeTogetherGoWhereTheyBelong) {
  const std::string bytes = someBytes(4'000);
  // Together: they are there before the service has answered.
  TestClient client(port());
  client.ask(WRITE_BLOCK, writeRequest(header()));
  client.sendPacket({0, 0, bytes.substr(0, 1'000)}, checksum_);
  client.sendPacket({1, 500, bytes.substr(3'000, 100)}, checksum_);
  client.sendPacket({2, 1'000, bytes.substr(1'000, 1'000)}, checksum_);
  client.sendPacket({3, 2'000, bytes.substr(2'000, 1'000)}, checksum_);
  client.sendPacket({4, 3'000, "", true}, checksum_);
  EXPECT_EQ(told(client.response()), "SUCCESS ");
  for (const char* const seqno : {"0", "1", "2", "3", "4"}) {
    EXPECT_EQ(client.acknowledgement(), std::string(seqno) + " SUCCESS");
  }
  EXPECT_EQ(contentOf(file_),
            bytes.substr(0, 500) + bytes.substr(3'000, 100) + bytes.substr(600, 2'400));
  EXPECT_EQ(service().metrics.bytesWritten, 3'100U);
}

TEST_F(WriteTest, PacketLargerThanTheBufferIsTakenInPieces) {
  BlockToken token = tokenFor("/file", BlockToken::WRITE);
  token.length = 8 << 20;
  const std::string bytes = someBytes(5'000'001);
  TestClient client(port());
  ASSERT_EQ(beginWrite(client, writeRequest(headerFor(token))), "SUCCESS ");
  EXPECT_EQ(acknowledged(client, {0, 0, bytes}), "0 SUCCESS");
  EXPECT_EQ(contentOf(file_), bytes);
}

TEST_F(WriteTest, DroppingBehindLosesNothing) {
  const std::string bytes = someBytes(20'000'000);
  BlockToken token = tokenFor("/file", BlockToken::WRITE);
  token.length = 32 << 20;
  wire::WriteBlock request = writeRequest(headerFor(token));
  request.mutable_caching_strategy()->set_drop_behind(true);
  TestClient client(port());
  ASSERT_EQ(beginWrite(client, request), "SUCCESS ");
  for (std::size_t at = 0; at < bytes.size(); at += 4'000'000) {
    const auto seqno = static_cast<std::int64_t>(at / 4'000'000);
    const auto offset = static_cast<std::int64_t>(at);
    EXPECT_EQ(acknowledged(client, {seqno, offset, bytes.substr(at, 4'000'000)}),
              std::to_string(seqno) + " SUCCESS");
  }
  EXPECT_EQ(contentOf(file_), bytes);
}

TEST_F(WriteTest, ConnectionTakesTheNextBlock) {
  TestClient client(port());
  for (int i = 0; i < 3; ++i) {
    ASSERT_EQ(beginWrite(client, writeRequest(header())), "SUCCESS ");
    EXPECT_EQ(acknowledged(client, {0, 0, "text"}), "0 SUCCESS");
    EXPECT_EQ(acknowledged(client, {1, 4, "", true}), "1 SUCCESS");
  }
  EXPECT_EQ(service().metrics.connectionsAccepted, 1U);
}

TEST_F(WriteTest, SyncedPacketIsCountedAsSuch) {
  TestClient client(port());
  ASSERT_EQ(beginWrite(client, writeRequest(header())), "SUCCESS ");
  EXPECT_EQ(acknowledged(client, {0, 0, "text", false, true}), "0 SUCCESS");
  EXPECT_EQ(service().metrics.syncs, 1U);
  // hsync without new data is an empty packet.
  EXPECT_EQ(acknowledged(client, {1, 4, "", false, true}), "1 SUCCESS");
  EXPECT_EQ(service().metrics.syncs, 2U);
}

TEST_F(WriteTest, HeartbeatIsAcknowledged) {
  TestClient client(port());
  ASSERT_EQ(beginWrite(client, writeRequest(header())), "SUCCESS ");
  EXPECT_EQ(acknowledged(client, {-1, 0, ""}), "-1 SUCCESS");
  EXPECT_EQ(acknowledged(client, {0, 0, "text"}), "0 SUCCESS");
}

TEST_F(WriteTest, LastChunkMayComeAgain) {
  TestClient client(port());
  ASSERT_EQ(beginWrite(client, writeRequest(header())), "SUCCESS ");
  EXPECT_EQ(acknowledged(client, {0, 0, "ab"}), "0 SUCCESS");
  EXPECT_EQ(acknowledged(client, {1, 0, "abcd"}), "1 SUCCESS");
  EXPECT_EQ(contentOf(file_), "abcd");
}

TEST_F(WriteTest, OtherChecksumsAreTaken) {
  const Checksum checksums[] = {Checksum(wire::CHECKSUM_CRC32, 512),
                                Checksum(wire::CHECKSUM_NULL, 512),
                                Checksum(wire::CHECKSUM_NULL, 0),
                                Checksum(wire::CHECKSUM_NULL, UINT32_MAX),
                                Checksum(wire::CHECKSUM_CRC32C, 1),
                                Checksum(wire::CHECKSUM_CRC32C, 4096),
                                Checksum(wire::CHECKSUM_CRC32C, Checksum::LARGEST_CHUNK)};
  const std::string bytes = someBytes(700'000);
  for (const Checksum& checksum : checksums) {
    TestClient client(port());
    wire::WriteBlock request = writeRequest(header());
    request.mutable_requested_checksum()->set_type(checksum.type());
    request.mutable_requested_checksum()->set_bytes_per_checksum(checksum.chunk());
    ASSERT_EQ(beginWrite(client, request), "SUCCESS ");
    client.sendPacket({0, 0, bytes}, checksum);
    EXPECT_EQ(client.acknowledgement(), "0 SUCCESS");
    EXPECT_EQ(contentOf(file_), bytes);
    if (checksum.type() == wire::CHECKSUM_NULL) continue;
    client.sendPacket({1, 0, std::string(1000, 'x'), false, false, true}, checksum);
    EXPECT_EQ(client.acknowledgement(), "1 ERROR_CHECKSUM");
  }
  EXPECT_EQ(service().metrics.corruptPackets, 4U);
}

TEST_F(WriteTest, ChunksOfNoOrOfTooManyBytesAreRefused) {
  for (const std::uint32_t chunk : {0U, Checksum::LARGEST_CHUNK + 1, UINT32_MAX}) {
    TestClient client(port());
    wire::WriteBlock request = writeRequest(header());
    request.mutable_requested_checksum()->set_bytes_per_checksum(chunk);
    EXPECT_EQ(beginWrite(client, request),
              "ERROR_INVALID checksums of " + std::to_string(chunk) + " bytes each");
  }
}

TEST_F(WriteTest, CorruptPacketIsRefusedAndEndsIt) {
  TestClient client(port());
  ASSERT_EQ(beginWrite(client, writeRequest(header())), "SUCCESS ");
  EXPECT_EQ(acknowledged(client, {0, 0, "good"}), "0 SUCCESS");
  EXPECT_EQ(acknowledged(client, {1, 4, "bad", false, false, true}), "1 ERROR_CHECKSUM");
  EXPECT_EQ(client.acknowledgement(), "end");
  EXPECT_EQ(contentOf(file_), "good");
}

TEST_F(WriteTest, PacketsOutsideOfTheBlockAreRefused) {
  const std::vector<TestClient::Packet> packets = {
      {1, 5, "x"},                              // leaves a hole
      {1, 1 << 20, ""},                         // the same, without data
      {1, INT64_MAX, "x"},                      // overflows
      {1, 0, std::string((1 << 20) + 1, 'x')},  // more than the block may have
      {1, 4, std::string((1 << 20) - 3, 'x')},  // one byte more
  };
  for (const TestClient::Packet& packet : packets) {
    TestClient client(port());
    ASSERT_EQ(beginWrite(client, writeRequest(header())), "SUCCESS ");
    EXPECT_EQ(acknowledged(client, {0, 0, "text"}), "0 SUCCESS");
    EXPECT_EQ(acknowledged(client, packet), "1 ERROR_INVALID") << packet.offset;
    EXPECT_EQ(contentOf(file_), "text");
  }
}

TEST_F(WriteTest, NewBlockReplacesWhatAnEarlierTryLeft) {
  scratch_.write("file", "0123456789", 0644);
  BlockToken token = tokenFor("/file", BlockToken::WRITE);
  token.offset = 4;
  TestClient client(port());
  ASSERT_EQ(beginWrite(client, writeRequest(headerFor(token))), "SUCCESS ");
  EXPECT_EQ(acknowledged(client, {0, 0, "x"}), "0 SUCCESS");
  EXPECT_EQ(contentOf(file_), "0123x");
}

TEST_F(WriteTest, WriterThatHasGoneCutsNothing) {
  scratch_.write("file", "0123456789", 0644);
  BlockToken token = tokenFor("/file", BlockToken::WRITE);
  token.offset = 4;
  TestClient client(port());
  // So that the end comes along with the request.
  const int on = 1;
  ASSERT_EQ(setsockopt(client.socket(), IPPROTO_TCP, TCP_CORK, &on, sizeof on), 0);
  client.ask(WRITE_BLOCK, writeRequest(headerFor(token)));
  ASSERT_EQ(shutdown(client.socket(), SHUT_WR), 0);
  EXPECT_TRUE(client.ended());
  EXPECT_EQ(contentOf(file_), "0123456789");
}

TEST_F(WriteTest, AppendGoesOnWhereTheBlockEnds) {
  scratch_.write("file", "0123456789", 0644);
  BlockToken token = tokenFor("/file", BlockToken::WRITE);
  token.offset = 8;
  for (const auto stage : {wire::WriteBlock::SETUP_APPEND, wire::WriteBlock::SETUP_APPEND_RECOVERY,
                           wire::WriteBlock::SETUP_STREAMING_RECOVERY}) {
    TestClient client(port());
    wire::WriteBlock request = writeRequest(headerFor(token), stage);
    request.set_min_bytes_received(2);
    ASSERT_EQ(beginWrite(client, request), "SUCCESS ");
    EXPECT_EQ(acknowledged(client, {0, 2, "abc"}), "0 SUCCESS");
    EXPECT_EQ(contentOf(file_), "0123456789abc");
  }
}

TEST_F(WriteTest, BlockThatLostBytesIsNotGoneOnWith) {
  scratch_.write("file", "0123456789", 0644);
  BlockToken token = tokenFor("/file", BlockToken::WRITE);
  token.offset = 8;
  TestClient client(port());
  wire::WriteBlock request = writeRequest(headerFor(token), wire::WriteBlock::SETUP_APPEND);
  request.set_min_bytes_received(3);
  EXPECT_EQ(beginWrite(client, request),
            "ERROR /file has 10 bytes, and the writer knows of 3 from 8 on");
}

TEST_F(WriteTest, BlockBeyondTheEndIsRefused) {
  BlockToken token = tokenFor("/file", BlockToken::WRITE);
  token.offset = 1;
  TestClient client(port());
  EXPECT_EQ(beginWrite(client, writeRequest(headerFor(token))),
            "ERROR /file has 0 bytes, and the block begins at 1");
}

TEST_F(WriteTest, EndOfABlockIsConfirmedAgain) {
  scratch_.write("file", "text", 0644);
  TestClient client(port());
  EXPECT_EQ(beginWrite(client, writeRequest(header(), wire::WriteBlock::CLOSE_RECOVERY)),
            "SUCCESS ");
  EXPECT_EQ(contentOf(file_), "text");
}

TEST_F(WriteTest, FurtherDataNodesOfAPipelineAreAcknowledgedFor) {
  TestClient client(port());
  wire::WriteBlock request = writeRequest(header());
  request.add_targets();
  request.add_targets();
  ASSERT_EQ(beginWrite(client, request), "SUCCESS ");
  EXPECT_EQ(acknowledged(client, {0, 0, "text"}), "0 SUCCESS SUCCESS SUCCESS");
  EXPECT_EQ(contentOf(file_), "text");
}

TEST_F(WriteTest, TransfersAreRefused) {
  for (const auto stage : {wire::WriteBlock::TRANSFER_RBW, wire::WriteBlock::TRANSFER_FINALIZED,
                           wire::WriteBlock::DATA_STREAMING, wire::WriteBlock::CLOSE}) {
    TestClient other(port());
    EXPECT_EQ(beginWrite(other, writeRequest(header(), stage)),
              "ERROR_UNSUPPORTED transfer of a block is not supported on zorf");
  }
}

TEST_F(WriteTest, LaterWriterEndsTheEarlierOne) {
  TestClient first(port());
  ASSERT_EQ(beginWrite(first, writeRequest(header())), "SUCCESS ");
  EXPECT_EQ(acknowledged(first, {0, 0, "first"}), "0 SUCCESS");
  TestClient second(port());
  wire::WriteBlock request = writeRequest(header(), wire::WriteBlock::SETUP_APPEND);
  ASSERT_EQ(beginWrite(second, request), "SUCCESS ");
  EXPECT_TRUE(first.ended());
  EXPECT_EQ(acknowledged(second, {0, 5, " second"}), "0 SUCCESS");
  EXPECT_EQ(contentOf(file_), "first second");
}

// Of the same directory.
class OtherService : public ServiceTest {
 public:
  explicit OtherService(const Scratch& served) : ServiceTest(served) {}
  using ServiceTest::port;
  using ServiceTest::service;

 private:
  void TestBody() override {}
};

TEST_F(WriteTest, LaterWriterAtAnotherServiceEndsTheEarlierOne) {
  OtherService other(scratch_);
  TestClient first(port());
  ASSERT_EQ(beginWrite(first, writeRequest(header())), "SUCCESS ");
  EXPECT_EQ(acknowledged(first, {0, 0, "first"}), "0 SUCCESS");
  TestClient second(other.port());
  const wire::WriteBlock request = writeRequest(header(), wire::WriteBlock::SETUP_APPEND);
  ASSERT_EQ(beginWrite(second, request), "SUCCESS ");
  EXPECT_TRUE(first.ended());
  EXPECT_EQ(acknowledged(second, {0, 5, " second"}), "0 SUCCESS");
  // And the other way round, where the earlier one does not pause.
  std::int64_t acknowledgements = 0;
  std::thread busy([&] {
    const Checksum checksum(wire::CHECKSUM_CRC32C);
    std::string answer = "0 SUCCESS";
    for (std::int64_t i = 1; answer == std::to_string(i - 1) + " SUCCESS"; ++i) {
      try {
        second.sendPacket({i, 12, "busy"}, checksum);
        answer = second.acknowledgement();
      } catch (const ConnectionEnd&) {
        break;
      }
      acknowledgements = i;
    }
  });
  TestClient third(port());
  ASSERT_EQ(beginWrite(third, request), "SUCCESS ");
  EXPECT_EQ(acknowledged(third, {0, 12, "third"}), "0 SUCCESS");
  busy.join();
  EXPECT_GT(acknowledgements, 1);
  EXPECT_EQ(contentOf(file_), "first secondthird");
}

TEST_F(WriteTest, WriterThatHasEndedIsNotWaitedFor) {
  OtherService other(scratch_);
  {
    TestClient first(port());
    ASSERT_EQ(beginWrite(first, writeRequest(header())), "SUCCESS ");
    EXPECT_EQ(acknowledged(first, {0, 0, "first"}), "0 SUCCESS");
    EXPECT_EQ(acknowledged(first, {1, 5, "", true}), "1 SUCCESS");
  }
  while (service().metrics.running > 0) usleep(1000);
  const auto start = std::chrono::steady_clock::now();
  TestClient second(other.port());
  ASSERT_EQ(beginWrite(second, writeRequest(header(), wire::WriteBlock::SETUP_APPEND)), "SUCCESS ");
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(500));
}

TEST_F(WriteTest, PacketThatDoesNotComeWholeIsNotWritten) {
  {
    TestClient client(port());
    ASSERT_EQ(beginWrite(client, writeRequest(header())), "SUCCESS ");
    EXPECT_EQ(acknowledged(client, {0, 0, "text"}), "0 SUCCESS");
    std::uint8_t start[PACKET_START_SIZE];
    writePacketStart({4, 1, 512, 4, false, false}, start);
    client.say({reinterpret_cast<const char*>(start), sizeof start});
    client.say(std::string(4 + 511, '\0'));
  }
  while (service().metrics.running > 0) usleep(1000);
  EXPECT_EQ(contentOf(file_), "text");
}

TEST_F(WriteTest, WriteThatFailsIsAnErrorOfItsPacket) {
  // No file of this process may grow beyond 4,096 bytes.
  rlimit before = {};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
  const auto handler = signal(SIGXFSZ, SIG_IGN);
  const rlimit small = {4096, before.rlim_max};
  TestClient client(port());
  ASSERT_EQ(beginWrite(client, writeRequest(header())), "SUCCESS ");
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
  EXPECT_EQ(acknowledged(client, {0, 0, std::string(4096, 'x')}), "0 SUCCESS");
  EXPECT_EQ(acknowledged(client, {1, 4096, "y"}), "1 ERROR");
  EXPECT_EQ(client.acknowledgement(), "end");
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);
  signal(SIGXFSZ, handler);
  EXPECT_EQ(contentOf(file_), std::string(4096, 'x'));
}

}  // namespace
}  // namespace datanode
