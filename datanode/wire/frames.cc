#include "wire/frames.h"

#include <string>

#include "wire/bigendian.h"

namespace datanode {

namespace {

// All fields of a header and some to come.
constexpr std::size_t LONGEST_PACKET_HEADER = 256;

std::uint32_t readVarint(Stream& in) {
  std::uint32_t value = 0;
  for (unsigned int shift = 0; shift < 32; shift += 7) {
    const std::uint8_t byte = *in.peek(1);
    in.consume(1);
    // The fifth byte has room for four bits.
    if (shift == 28 && byte > 0x0f) break;
    value |= static_cast<std::uint32_t>(byte & 0x7f) << shift;
    if (byte < 0x80) return value;
  }
  throw ConnectionEnd("a message's length is no number");
}

void parse(google::protobuf::MessageLite& message, const std::uint8_t* bytes, std::size_t size) {
  // In two steps: in one the library writes a line of its own about a missing field.
  if (!message.ParsePartialFromArray(bytes, static_cast<int>(size)) || !message.IsInitialized()) {
    throw ConnectionEnd("not a message of its kind");
  }
}

}  // namespace

void readMessage(Stream& in, google::protobuf::MessageLite& message) {
  const std::size_t size = readVarint(in);
  if (size > LONGEST_MESSAGE) {
    throw ConnectionEnd("a message of " + std::to_string(size) + " bytes");
  }
  parse(message, in.peek(size), size);
  in.consume(size);
}

void writeMessage(Stream& out, const google::protobuf::MessageLite& message) {
  writeMessageSoon(out, message);
  out.flush();
}

void writeMessageSoon(Stream& out, const google::protobuf::MessageLite& message) {
  std::string bytes;
  auto size = message.ByteSizeLong();
  for (; size >= 0x80; size >>= 7) bytes.push_back(static_cast<char>(size | 0x80));
  bytes.push_back(static_cast<char>(size));
  message.AppendToString(&bytes);
  out.writeSoon({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()});
}

OperationStart readOperationStart(Stream& in) {
  const std::uint8_t* bytes = in.peek(3);
  const OperationStart start{getBigEndian<std::uint16_t>(bytes), bytes[2]};
  in.consume(3);
  return start;
}

PacketStart readPacketStart(Stream& in, const Checksum& checksum) {
  const std::uint8_t* lengths = in.peek(6);
  // Of checksums and data, itself included.
  const auto payload = getBigEndian<std::uint32_t>(lengths);
  const std::size_t headerLength = getBigEndian<std::uint16_t>(lengths + 4);
  in.consume(6);
  if (payload < 4 || payload > LONGEST_PACKET || headerLength > LONGEST_PACKET_HEADER) {
    throw ConnectionEnd("a packet of " + std::to_string(payload) + " bytes after a header of " +
                        std::to_string(headerLength));
  }
  wire::PacketHeader header;
  parse(header, in.peek(headerLength), headerLength);
  in.consume(headerLength);

  PacketStart start;
  start.offset = header.offset_in_block();
  start.seqno = header.seqno();
  start.last = header.last_packet_in_block();
  start.sync = header.sync_block();
  if (header.data_len() < 0 || start.offset < 0) throw ConnectionEnd("a packet of negative size");
  start.dataLength = static_cast<std::size_t>(header.data_len());
  start.checksumsLength = checksum.sizeFor(start.dataLength);
  if (payload != 4 + start.checksumsLength + start.dataLength) {
    throw ConnectionEnd("a packet whose lengths don't agree");
  }
  return start;
}

bool hasPacket(Stream& in) {
  if (in.buffered() < 6) return false;
  const std::uint8_t* const lengths = in.peek(6);
  const std::size_t size = std::size_t{2} + getBigEndian<std::uint32_t>(lengths) +
                           getBigEndian<std::uint16_t>(lengths + 4);
  return in.buffered() >= size;
}

void writePacketStart(const PacketStart& start, std::uint8_t* to) {
  wire::PacketHeader header;
  header.set_offset_in_block(start.offset);
  header.set_seqno(start.seqno);
  header.set_last_packet_in_block(start.last);
  header.set_data_len(static_cast<std::int32_t>(start.dataLength));
  constexpr std::size_t headerSize = PACKET_START_SIZE - 6;
  putBigEndian(to, static_cast<std::uint32_t>(4 + start.checksumsLength + start.dataLength));
  putBigEndian(to + 4, static_cast<std::uint16_t>(headerSize));
  header.SerializeToArray(to + 6, headerSize);
}

}  // namespace datanode
