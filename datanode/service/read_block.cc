#include <fcntl.h>

#include <algorithm>
#include <vector>

#include "files/cacheuse.h"
#include "files/readfully.h"
#include "service/operations.h"
#include "wire/frames.h"

namespace datanode {

namespace {

// The data of one packet: small enough to stay in a processor's cache from the file to the socket.
constexpr std::size_t PACKET = 131'072;
// Without checksums none of it is touched here.
constexpr std::int64_t PLAIN_PACKET = 1 << 20;

// Data after its packet's start and checksums, with room for the start of the next, so that one
// call sends all.
class PacketBuffer {
 public:
  std::span<std::uint8_t> data(std::size_t size) { return {bytes_.data() + DATA, size}; }

  // Sends data(start.dataLength) with its checksums, and with it `next`, if any, which has no data.
  void send(Stream& out, PacketStart start, const Checksum& checksum, const PacketStart* next) {
    start.checksumsLength = checksum.sizeFor(start.dataLength);
    std::uint8_t* const sums = bytes_.data() + DATA - start.checksumsLength;
    std::uint8_t* const begin = sums - PACKET_START_SIZE;
    std::uint8_t* end = bytes_.data() + DATA + start.dataLength;
    checksum.compute(data(start.dataLength), sums);
    writePacketStart(start, begin);
    if (next != nullptr) {
      writePacketStart(*next, end);
      end += PACKET_START_SIZE;
    }
    out.write({begin, end});
  }

 private:
  static constexpr std::size_t DATA = PACKET_START_SIZE + PACKET / Checksum::CHUNK * 4;

  std::vector<std::uint8_t> bytes_ = std::vector<std::uint8_t>(DATA + PACKET + PACKET_START_SIZE);
};

// With packets under way there is no way left to tell a failure.
void fill(const OpenFile& file, std::int64_t offset, std::span<std::uint8_t> to) {
  try {
    readFully(file.descriptor.get(), offset, to);
  } catch (const std::system_error& e) {
    throw ConnectionEnd(e.what());
  }
}

void sendStart(Stream& out, const PacketStart& start) {
  std::uint8_t bytes[PACKET_START_SIZE];
  writePacketStart(start, bytes);
  out.write(bytes, start.dataLength > 0);
}

// The bytes of a range go from the file to the socket by themselves.
void sendPlain(Stream& out, const PacketStart& start, const OpenFile& file, std::int64_t offset) {
  sendStart(out, start);
  out.sendFile(file.descriptor.get(), offset, start.dataLength);
}

}  // namespace

void readBlock(Service& service, Stream& stream) {
  wire::ReadBlock request;
  readMessage(stream, request);
  const BlockToken token = authorize(service, request.header().base_header(), BlockToken::READ);
  const Shares::Share share = shareFor(service, token);
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
  writeMessageSoon(stream, response);

  CacheUse cache = CacheUse::reading(file.descriptor.get(), token.offset + at, token.offset + end,
                                     request.caching_strategy().has_readahead()
                                         ? request.caching_strategy().readahead()
                                         : CacheUse::READAHEAD,
                                     request.caching_strategy().drop_behind());
  const std::int64_t most = request.send_checksums() ? PACKET : PLAIN_PACKET;
  PacketStart last;
  last.offset = end;
  last.seqno = (end - at + most - 1) / most;
  last.last = true;
  PacketStart packet;
  for (; at < end; at += static_cast<std::int64_t>(packet.dataLength), ++packet.seqno) {
    packet.offset = at;
    packet.dataLength = static_cast<std::size_t>(std::min(end - at, most));
    stream.allow(service.packetTime);
    if (request.send_checksums()) {
      fill(file, token.offset + at, buffer.data(packet.dataLength));
      buffer.send(stream, packet, checksum, packet.seqno + 1 == last.seqno ? &last : nullptr);
    } else {
      sendPlain(stream, packet, file, token.offset + at);
    }
    cache.reached(token.offset + at + static_cast<std::int64_t>(packet.dataLength));
    service.metrics.bytesRead += packet.dataLength;
  }
  if (size == 0 || !request.send_checksums()) sendStart(stream, last);

  // A reader that took all says what it thinks of the checksums.
  stream.allow(service.messageTime);
  wire::ClientReadStatus status;
  readMessage(stream, status);
  if (status.status() == wire::ERROR_CHECKSUM) ++service.metrics.corruptReads;
}

}  // namespace datanode
