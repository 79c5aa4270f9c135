#include "test_client.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <vector>

#include "wire/bigendian.h"

namespace datanode {

namespace {

std::span<const std::uint8_t> bytesOf(const std::string& text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

}  // namespace

Descriptor connectTo(std::uint16_t port) {
  Descriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  EXPECT_EQ(connect(socket.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  // A packet goes in parts here, and none of them waits for an acknowledgement of the one before.
  const int on = 1;
  EXPECT_EQ(setsockopt(socket.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on), 0);
  EXPECT_EQ(fcntl(socket.get(), F_SETFL, O_NONBLOCK), 0);
  return socket;
}

TestClient::TestClient(std::uint16_t port)
    : socket_(connectTo(port)), stream_(socket_.get(), buffer_) {
  stream_.allow(std::chrono::seconds(60));
}

void TestClient::say(const std::string& bytes) {
  stream_.write(bytesOf(bytes));
}

void TestClient::ask(std::uint8_t operation, const google::protobuf::MessageLite& message,
                     std::uint16_t version) {
  std::uint8_t start[3] = {0, 0, operation};
  putBigEndian(start, version);
  stream_.write(start);
  writeMessage(stream_, message);
}

wire::OperationResponse TestClient::response() {
  wire::OperationResponse response;
  readMessage(stream_, response);
  return response;
}

std::string TestClient::hear(std::size_t size) {
  std::string bytes;
  try {
    while (bytes.size() < size) {
      bytes += static_cast<char>(*stream_.peek(1));
      stream_.consume(1);
    }
  } catch (const ConnectionEnd&) {
  }
  return bytes;
}

std::string TestClient::readPackets(const wire::OperationResponse& response, wire::Status status) {
  const auto& info = response.read_checksum_info();
  const Checksum checksum(info.checksum().type(), info.checksum().bytes_per_checksum());
  std::string data;
  for (std::int64_t seqno = 0;; ++seqno) {
    const PacketStart packet = readPacketStart(stream_, checksum);
    EXPECT_EQ(packet.seqno, seqno);
    EXPECT_EQ(packet.offset, static_cast<std::int64_t>(info.chunk_offset() + data.size()));
    std::vector<std::uint8_t> sums(packet.checksumsLength);
    std::vector<std::uint8_t> bytes(packet.dataLength);
    stream_.read(sums);
    stream_.read(bytes);
    EXPECT_TRUE(checksum.matches(bytes, sums.data()));
    data.append(bytes.begin(), bytes.end());
    if (packet.last) break;
  }
  wire::ClientReadStatus answer;
  answer.set_status(status);
  writeMessage(stream_, answer);
  return data;
}

void TestClient::sendPacket(const Packet& packet, const Checksum& checksum) {
  std::vector<std::uint8_t> sums(checksum.sizeFor(packet.data.size()));
  checksum.compute(bytesOf(packet.data), sums.data());
  wire::PacketHeader header;
  header.set_offset_in_block(packet.offset);
  header.set_seqno(packet.seqno);
  header.set_last_packet_in_block(packet.last);
  header.set_data_len(static_cast<std::int32_t>(packet.data.size()));
  if (packet.sync) header.set_sync_block(true);
  const std::string headerBytes = header.SerializeAsString();
  std::uint8_t lengths[6];
  putBigEndian(lengths, static_cast<std::uint32_t>(4 + sums.size() + packet.data.size()));
  putBigEndian(lengths + 4, static_cast<std::uint16_t>(headerBytes.size()));
  std::string data = packet.data;
  if (packet.corrupt) data.back() = static_cast<char>(data.back() ^ 1);
  stream_.write(lengths);
  say(headerBytes);
  stream_.write(sums);
  say(data);
}

std::string TestClient::acknowledgement() {
  try {
    wire::PipelineAck ack;
    readMessage(stream_, ack);
    std::string text = std::to_string(ack.seqno());
    for (const int reply : ack.reply()) {
      text += " " + wire::Status_Name(static_cast<wire::Status>(reply));
    }
    return text;
  } catch (const ConnectionEnd&) {
    return "end";
  }
}

bool TestClient::ended() {
  stream_.allow(std::chrono::seconds(10));
  try {
    for (;;) {
      stream_.peek(1);
      stream_.consume(stream_.buffered());
    }
  } catch (const PeerGone&) {
    return true;
  } catch (const ConnectionEnd&) {
    return false;
  }
}

}  // namespace datanode
