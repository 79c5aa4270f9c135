#include <fcntl.h>

#include <algorithm>
#include <vector>

#include "files/readfully.h"
#include "service/operations.h"
#include "wire/frames.h"

namespace datanode {

namespace {

// The data of one packet: small enough to stay in a processor's cache from the file to the socket.
constexpr std::size_t PACKET = 131'072;

// Data after its packet's start and checksums, so that one call sends all.
class PacketBuffer {
 public:
  std::uint8_t* data() { return bytes_.data() + DATA; }

  // Sends `size` bytes of data() with the checksums.
  void send(Stream& out, PacketStart start, const Checksum& checksum) {
    start.checksumsLength = checksum.sizeFor(start.dataLength);
    std::uint8_t* const sums = data() - start.checksumsLength;
    std::uint8_t* const begin = sums - PACKET_START_SIZE;
    checksum.compute({data(), start.dataLength}, sums);
    writePacketStart(start, begin);
    out.write({begin, PACKET_START_SIZE + start.checksumsLength + start.dataLength});
  }

 private:
  static constexpr std::size_t DATA = PACKET_START_SIZE + PACKET / Checksum::CHUNK * 4;

  std::vector<std::uint8_t> bytes_ = std::vector<std::uint8_t>(DATA + PACKET);
};

// With packets under way there is no way left to tell a failure.
void fill(const OpenFile& file, std::int64_t offset, std::span<std::uint8_t> to) {
  try {
    readFully(file.descriptor.get(), offset, to);
  } catch (const std::system_error& e) {
    throw ConnectionEnd(e.what());
  }
}

}  // namespace

void readBlock(Service& service, Stream& stream) {
  wire::ReadBlock request;
  readMessage(stream, request);
  const BlockToken token = authorize(service, request.header().base_header(), BlockToken::READ);
  const ActingAs user(*accountFor(service, token));
  const OpenFile file = openFile(service, token, O_RDONLY);

  // A range of the block, in the block.
  const auto length = static_cast<std::uint64_t>(token.length);
  if (request.offset() > length) {
    throw Refusal(wire::ERROR_INVALID, "offset " + std::to_string(request.offset()) +
                                           " is past the block, which has " +
                                           std::to_string(length) + " bytes");
  }
  const std::uint64_t size = std::min<std::uint64_t>(request.len(), length - request.offset());
  auto at = static_cast<std::int64_t>(request.offset());
  const std::int64_t end = at + static_cast<std::int64_t>(size);
  checkRange(file, token, end);

  thread_local PacketBuffer buffer;
  const Checksum checksum(request.send_checksums() ? wire::CHECKSUM_CRC32C : wire::CHECKSUM_NULL);
  wire::OperationResponse response;
  response.set_status(wire::SUCCESS);
  auto* const info = response.mutable_read_checksum_info();
  info->mutable_checksum()->set_type(checksum.type());
  info->mutable_checksum()->set_bytes_per_checksum(checksum.chunk());
  // Chunks are computed as they are sent, so that they begin where the reader wants to.
  info->set_chunk_offset(request.offset());
  writeMessage(stream, response);

  PacketStart packet;
  for (; at < end; at += static_cast<std::int64_t>(packet.dataLength), ++packet.seqno) {
    packet.offset = at;
    packet.dataLength = static_cast<std::size_t>(std::min<std::int64_t>(end - at, PACKET));
    fill(file, token.offset + at, {buffer.data(), packet.dataLength});
    stream.allow(service.packetTime);
    buffer.send(stream, packet, checksum);
    service.metrics.bytesRead += packet.dataLength;
  }
  packet.offset = end;
  packet.dataLength = 0;
  packet.last = true;
  buffer.send(stream, packet, checksum);

  // A reader that took all says what it thinks of the checksums.
  stream.allow(service.messageTime);
  wire::ClientReadStatus status;
  readMessage(stream, status);
  if (status.status() == wire::ERROR_CHECKSUM) ++service.metrics.corruptReads;
}

}  // namespace datanode
