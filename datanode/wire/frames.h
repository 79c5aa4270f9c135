// How messages and packets lie in the stream.
#pragma once

#include <google/protobuf/message_lite.h>

#include <cstddef>
#include <cstdint>

#include "wire/checksum.h"
#include "wire/datatransfer.pb.h"
#include "wire/stream.h"

namespace datanode {

// An operation carries a token with a path and little else.
constexpr std::size_t LONGEST_MESSAGE = 65'536;
// As clients are told by their own limit.
constexpr std::size_t LONGEST_PACKET = 16'777'216;

// A message after its length as a varint. Bounded before anything is allocated for it.
void readMessage(Stream& in, google::protobuf::MessageLite& message);
void writeMessage(Stream& out, const google::protobuf::MessageLite& message);
// As Stream::writeSoon().
void writeMessageSoon(Stream& out, const google::protobuf::MessageLite& message);

// Version and code in front of an operation's message.
struct OperationStart {
  std::uint16_t version = 0;
  std::uint8_t code = 0;
};
OperationStart readOperationStart(Stream& in);

// A packet's header, after which its checksums and then its data follow.
struct PacketStart {
  std::int64_t offset = 0;  // in the block
  std::int64_t seqno = 0;
  std::size_t dataLength = 0;
  std::size_t checksumsLength = 0;
  bool last = false;
  bool sync = false;
};
// Consistent with itself and with the checksum, or ConnectionEnd.
PacketStart readPacketStart(Stream& in, const Checksum& checksum);

// Whether a whole one has been received, so that it can be read without receiving anything.
bool hasPacket(Stream& in);

// What precedes the checksums of a packet that is sent.
constexpr std::size_t PACKET_START_SIZE = 31;
void writePacketStart(const PacketStart& start, std::uint8_t* to);

}  // namespace datanode
