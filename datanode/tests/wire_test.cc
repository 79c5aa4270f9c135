// Checksums, messages and packets as bytes.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <numeric>
#include <string>
#include <thread>
#include <vector>

#include "files/descriptor.h"
#include "wire/bigendian.h"
#include "wire/checksum.h"
#include "wire/frames.h"
#include "wire/stream.h"

namespace datanode {
namespace {

std::span<const std::uint8_t> bytesOf(const std::string& text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

// What makes a stream end, or nothing.
template <class Work>
std::string endOf(Work work) {
  try {
    work();
    return "";
  } catch (const ConnectionEnd& e) {
    return e.what();
  }
}

// Two ends of a connection, one of them a stream.
class Pair {
 public:
  Pair() {
    int ends[2];
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, ends), 0);
    ours_ = Descriptor(ends[0]);
    theirs_ = Descriptor(ends[1]);
  }

  Stream stream() {
    Stream stream(ours_.get(), buffer_);
    stream.allow(std::chrono::seconds(10));
    return stream;
  }
  void say(const std::string& bytes) {
    EXPECT_EQ(send(theirs_.get(), bytes.data(), bytes.size(), 0),
              static_cast<ssize_t>(bytes.size()));
  }
  std::string heard() {
    std::string bytes(1 << 20, '\0');
    const ssize_t size = recv(theirs_.get(), bytes.data(), bytes.size(), 0);
    bytes.resize(size < 0 ? 0 : static_cast<std::size_t>(size));
    return bytes;
  }
  void hangUp() { theirs_ = Descriptor(); }

 private:
  Buffer buffer_;
  Descriptor ours_;
  Descriptor theirs_;
};

template <class T>
std::string inBytes(T value) {
  std::uint8_t bytes[sizeof(T)];
  putBigEndian(bytes, value);
  return {reinterpret_cast<const char*>(bytes), sizeof bytes};
}

std::string packetStart(std::int64_t offset, std::int32_t dataLength, std::uint32_t payload) {
  wire::PacketHeader header;
  header.set_offset_in_block(offset);
  header.set_seqno(7);
  header.set_last_packet_in_block(false);
  header.set_data_len(dataLength);
  header.set_sync_block(true);
  const std::string bytes = header.SerializeAsString();
  return inBytes(payload) + inBytes(static_cast<std::uint16_t>(bytes.size())) + bytes;
}

TEST(ChecksumTest, CrcsHaveTheirCheckValues) {
  EXPECT_EQ(crc32(0, bytesOf("123456789")), 0xcbf43926U);
  EXPECT_EQ(crc32c(0, bytesOf("123456789")), 0xe3069283U);
}

TEST(ChecksumTest, CrcGoesOnWhereItEnded) {
  EXPECT_EQ(crc32c(crc32c(0, bytesOf("1234")), bytesOf("56789")), 0xe3069283U);
  EXPECT_EQ(crc32(crc32(0, bytesOf("1234")), bytesOf("56789")), 0xcbf43926U);
}

TEST(ChecksumTest, LastChunkMayBeShorter) {
  const Checksum checksum(wire::CHECKSUM_CRC32C, 9);
  std::uint8_t sums[8] = {};
  ASSERT_EQ(checksum.sizeFor(10), sizeof sums);
  checksum.compute(bytesOf("1234567891"), sums);
  EXPECT_EQ(getBigEndian<std::uint32_t>(sums), 0xe3069283U);
  EXPECT_EQ(getBigEndian<std::uint32_t>(sums + 4), crc32c(0, bytesOf("1")));
  EXPECT_TRUE(checksum.matches(bytesOf("1234567891"), sums));
  EXPECT_FALSE(checksum.matches(bytesOf("1234567892"), sums));
  EXPECT_FALSE(checksum.matches(bytesOf("2234567891"), sums));
}

TEST(ChecksumTest, NullTakesNoRoomAndMatchesAnything) {
  const Checksum checksum(wire::CHECKSUM_NULL, 0);
  EXPECT_EQ(checksum.sizeFor(1000), 0U);
  EXPECT_TRUE(checksum.matches(bytesOf("1234567891"), nullptr));
}

TEST(FramesTest, MessageCrossesWithItsLength) {
  Pair pair;
  Stream stream = pair.stream();
  wire::ClientReadStatus status;
  status.set_status(wire::CHECKSUM_OK);
  writeMessage(stream, status);
  const std::string bytes = pair.heard();
  EXPECT_EQ(bytes, "\x02\x08\x06");
  pair.say(bytes);
  wire::ClientReadStatus again;
  readMessage(stream, again);
  EXPECT_EQ(again.status(), wire::CHECKSUM_OK);
  EXPECT_EQ(stream.buffered(), 0U);
}

TEST(FramesTest, LongMessageHasALengthOfSeveralBytes) {
  Pair pair;
  Stream stream = pair.stream();
  wire::OperationResponse response;
  response.set_status(wire::ERROR);
  response.set_message(std::string(300, 'x'));
  writeMessage(stream, response);
  const std::string bytes = pair.heard();
  EXPECT_EQ(bytes.substr(0, 2), "\xb1\x02");
  pair.say(bytes);
  wire::OperationResponse again;
  readMessage(stream, again);
  EXPECT_EQ(again.message(), response.message());
}

TEST(FramesTest, MessageBeyondTheLimitIsRefusedByItsLength) {
  Pair pair;
  Stream stream = pair.stream();
  pair.say("\x81\x80\x04");  // 65,537, and none of it is there
  wire::ClientReadStatus status;
  EXPECT_EQ(endOf([&] { readMessage(stream, status); }), "a message of 65537 bytes");
}

TEST(FramesTest, LengthOfMoreThan32BitsIsNone) {
  for (const char* bytes :
       {"\xff\xff\xff\xff\x10", "\xff\xff\xff\xff\xff", "\x80\x80\x80\x80\x80\x01"}) {
    Pair pair;
    Stream stream = pair.stream();
    pair.say(bytes);
    wire::ClientReadStatus status;
    EXPECT_EQ(endOf([&] { readMessage(stream, status); }), "a message's length is no number");
  }
}

TEST(FramesTest, GarbageAndMissingFieldsAreNoMessage) {
  for (const std::string& bytes : {std::string("\x03\xff\xff\xff"), std::string("\x00", 1)}) {
    Pair pair;
    Stream stream = pair.stream();
    pair.say(bytes);
    wire::ClientReadStatus status;
    EXPECT_EQ(endOf([&] { readMessage(stream, status); }), "not a message of its kind");
  }
}

TEST(FramesTest, PacketStartIsReadAsItWasWritten) {
  Pair pair;
  Stream stream = pair.stream();
  const Checksum checksum(wire::CHECKSUM_CRC32C);
  std::uint8_t bytes[PACKET_START_SIZE];
  writePacketStart({1024, 3, 513, 8, true, false}, bytes);
  pair.say({reinterpret_cast<const char*>(bytes), sizeof bytes});
  const PacketStart packet = readPacketStart(stream, checksum);
  EXPECT_EQ(packet.offset, 1024);
  EXPECT_EQ(packet.seqno, 3);
  EXPECT_EQ(packet.dataLength, 513U);
  EXPECT_EQ(packet.checksumsLength, 8U);
  EXPECT_TRUE(packet.last);
  EXPECT_FALSE(packet.sync);
}

TEST(FramesTest, PacketsOfImpossibleSizesAreRefused) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {packetStart(0, 512, 520), ""},
      {packetStart(0, 512, 521), "a packet whose lengths don't agree"},
      {packetStart(0, 0x7fffffff, 520), "a packet whose lengths don't agree"},
      {packetStart(0, -1, 520), "a packet of negative size"},
      {packetStart(-1, 512, 520), "a packet of negative size"},
      {packetStart(0, 512, 3), "a packet of 3 bytes after a header of 27"},
      {packetStart(0, 512, 0x1000001), "a packet of 16777217 bytes after a header of 27"},
      {packetStart(0, 512, 0xffffffff), "a packet of 4294967295 bytes after a header of 27"},
      {inBytes<std::uint32_t>(4) + inBytes<std::uint16_t>(257),
       "a packet of 4 bytes after a header of 257"},
      {inBytes<std::uint32_t>(4) + inBytes<std::uint16_t>(0), "not a message of its kind"},
  };
  for (const auto& [bytes, expected] : cases) {
    Pair pair;
    Stream stream = pair.stream();
    pair.say(bytes);
    EXPECT_EQ(endOf([&] { readPacketStart(stream, Checksum(wire::CHECKSUM_CRC32C)); }), expected);
  }
}

TEST(StreamTest, BytesComeInPiecesAndInOrder) {
  Pair pair;
  Stream stream = pair.stream();
  std::thread other([&] {
    for (const char c : std::string("abcdefgh")) pair.say({c});
  });
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(stream.peek(3)), 3), "abc");
  stream.consume(2);
  std::uint8_t rest[6];
  stream.read(rest);
  other.join();
  EXPECT_EQ(std::string(reinterpret_cast<char*>(rest), 6), "cdefgh");
  EXPECT_EQ(stream.buffered(), 0U);
}

TEST(StreamTest, SmallAnswersGoTogetherBeforeAnythingIsWaitedFor) {
  Pair pair;
  Stream stream = pair.stream();
  pair.say("question");
  stream.peek(1);
  stream.writeSoon(bytesOf("a"));
  stream.writeSoon(bytesOf("b"));
  stream.peek(8);  // there already
  EXPECT_EQ(pair.heard(), "");
  stream.write(bytesOf("c"));
  EXPECT_EQ(pair.heard(), "abc");
  stream.writeSoon(bytesOf("d"));
  stream.allow(std::chrono::milliseconds(10));
  EXPECT_EQ(endOf([&] { stream.peek(9); }), "too slow");
  EXPECT_EQ(pair.heard(), "d");
}

TEST(StreamTest, SilenceEndsItAtTheDeadline) {
  Pair pair;
  Stream stream = pair.stream();
  stream.allow(std::chrono::milliseconds(30));
  const auto began = std::chrono::steady_clock::now();
  EXPECT_EQ(endOf([&] { stream.peek(1); }), "too slow");
  EXPECT_GE(std::chrono::steady_clock::now() - began, std::chrono::milliseconds(30));
}

TEST(StreamTest, DripsDoNotExtendTheDeadline) {
  Pair pair;
  Stream stream = pair.stream();
  stream.allow(std::chrono::milliseconds(100));
  std::thread other([&] {
    for (int i = 0; i < 40; ++i) {
      pair.say("x");
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
  });
  EXPECT_EQ(endOf([&] { stream.peek(40); }), "too slow");
  other.join();
}

TEST(StreamTest, ReaderThatTakesNothingEndsIt) {
  Pair pair;
  Stream stream = pair.stream();
  stream.allow(std::chrono::milliseconds(50));
  const std::vector<std::uint8_t> much(16 << 20);
  EXPECT_EQ(endOf([&] { stream.write(much); }), "too slow");
}

TEST(StreamTest, EndOfTheOtherSideIsPeerGone) {
  Pair pair;
  Stream stream = pair.stream();
  pair.hangUp();
  EXPECT_THROW(stream.peek(1), PeerGone);
  EXPECT_THROW(stream.write(bytesOf("x")), PeerGone);
}

}  // namespace
}  // namespace datanode
