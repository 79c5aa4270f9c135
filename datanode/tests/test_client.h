// A plain client of the protocol, which says whatever a test wants.
#pragma once

#include <cstdint>
#include <string>

#include "files/descriptor.h"
#include "wire/checksum.h"
#include "wire/datatransfer.pb.h"
#include "wire/frames.h"
#include "wire/stream.h"

namespace datanode {

constexpr std::uint8_t WRITE_BLOCK = 80;
constexpr std::uint8_t READ_BLOCK = 81;
constexpr std::uint8_t BLOCK_CHECKSUM = 85;

Descriptor connectTo(std::uint16_t port);

class TestClient {
 public:
  explicit TestClient(std::uint16_t port);

  void say(const std::string& bytes);
  void ask(std::uint8_t operation, const google::protobuf::MessageLite& message,
           std::uint16_t version = 28);
  wire::OperationResponse response();
  // The next bytes, or fewer where the connection ends.
  std::string hear(std::size_t size);

  // All packets of a read, whose checksums and order are looked at, and the status sent.
  std::string readPackets(const wire::OperationResponse& response,
                          wire::Status status = wire::CHECKSUM_OK);

  struct Packet {
    std::int64_t seqno = 0;
    std::int64_t offset = 0;
    std::string data;
    bool last = false;
    bool sync = false;
    bool corrupt = false;  // its last byte is sent as another one
  };
  void sendPacket(const Packet& packet, const Checksum& checksum);
  // "SEQNO STATUS...", or "end".
  std::string acknowledgement();

  // Whether the other side ended the connection within ten seconds.
  bool ended();
  int socket() const { return socket_.get(); }

 private:
  Descriptor socket_;
  Buffer buffer_;
  Stream stream_;
};

}  // namespace datanode
