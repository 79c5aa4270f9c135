#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <vector>

#include "files/cacheuse.h"
#include "service/operations.h"
#include "wire/frames.h"

namespace datanode {

namespace {

using Stage = wire::WriteBlock;

Checksum checksumOf(const wire::Checksum& requested) {
  // Without checksums nothing is done a chunk at a time: what the client says of them may be
  // anything.
  if (requested.type() == wire::CHECKSUM_NULL) return Checksum(wire::CHECKSUM_NULL);
  const std::uint32_t chunk = requested.bytes_per_checksum();
  if (chunk == 0 || chunk > Checksum::LARGEST_CHUNK) {
    throw Refusal(wire::ERROR_INVALID, "checksums of " + std::to_string(chunk) + " bytes each");
  }
  return Checksum(requested.type(), chunk);
}

// What can be asked of the only DataNode of a pipeline by a client.
void checkStage(const wire::WriteBlock& request) {
  const bool ofClients = request.stage() == Stage::SETUP_CREATE ||
                         request.stage() == Stage::SETUP_APPEND ||
                         request.stage() == Stage::SETUP_APPEND_RECOVERY ||
                         request.stage() == Stage::SETUP_STREAMING_RECOVERY ||
                         request.stage() == Stage::CLOSE_RECOVERY;
  if (!ofClients)
    throw Refusal(wire::ERROR_UNSUPPORTED, "transfer of a block is not supported on zorf");
  if (request.targets_size() > 0) {
    throw Refusal(wire::ERROR_UNSUPPORTED,
                  "a pipeline of several DataNodes is not supported on zorf");
  }
}

// The bytes that the block has when its first packet comes.
std::int64_t prepare(const OpenFile& file, const BlockToken& token,
                     const wire::WriteBlock& request) {
  const std::int64_t has = file.size - token.offset;
  const auto refuse = [&](const std::string& what) {
    throw Refusal(wire::ERROR,
                  token.path + " has " + std::to_string(file.size) + " bytes, " + what);
  };
  if (has < 0) refuse("and the block begins at " + std::to_string(token.offset));
  if (request.stage() == Stage::SETUP_CREATE) {
    // What an earlier try at this block left behind must not show up after its end.
    if (has > 0 && ftruncate(file.descriptor.get(), token.offset) != 0) {
      throw std::system_error(errno, std::generic_category(), token.path);
    }
    return 0;
  }
  if (static_cast<std::uint64_t>(has) < request.min_bytes_received()) {
    refuse("and the writer knows of " + std::to_string(request.min_bytes_received()) + " from " +
           std::to_string(token.offset) + " on");
  }
  return has;
}

class BlockWriter {
 public:
  BlockWriter(Service& service, Stream& stream, const OpenFile& file, const BlockToken& token,
              Checksum checksum, std::int64_t end, bool dropBehind)
      : service_(service),
        stream_(stream),
        file_(file.descriptor.get()),
        token_(token),
        checksum_(checksum),
        cache_(CacheUse::writing(file_, token.offset + end, dropBehind)),
        end_(end) {}

  // Until the last packet. Each is acknowledged when it is in the file.
  void run() {
    for (bool last = false; !last;) {
      stream_.allow(service_.packetTime);
      const PacketStart packet = readPacketStart(stream_, checksum_);
      const auto failure = take(packet);
      acknowledge(packet.seqno, failure ? failure->status : wire::SUCCESS);
      if (failure) {
        stream_.allow(std::chrono::seconds(5));
        stream_.finish();
        throw ConnectionEnd(token_.path + ": " + failure->what());
      }
      last = packet.last;
    }
  }

 private:
  std::optional<Refusal> take(const PacketStart& packet) {
    const auto size = static_cast<std::int64_t>(packet.dataLength);
    // It may begin before the end: a client sends the last chunk again when that was not full.
    if (packet.offset > end_ || packet.offset > token_.length ||
        size > token_.length - packet.offset) {
      return Refusal(wire::ERROR_INVALID, "a packet of " + std::to_string(size) + " bytes at " +
                                              std::to_string(packet.offset) +
                                              " of a block that has " + std::to_string(end_) +
                                              " and may have " + std::to_string(token_.length));
    }
    sums_.resize(packet.checksumsLength);
    stream_.read(sums_);
    const std::uint8_t* sums = sums_.data();
    const std::size_t most = Buffer::CAPACITY / checksum_.chunk() * checksum_.chunk();
    for (std::size_t done = 0; done < packet.dataLength;) {
      const std::size_t part = std::min(most, packet.dataLength - done);
      const std::span data(stream_.peek(part), part);
      if (!checksum_.matches(data, sums)) {
        ++service_.metrics.corruptPackets;
        return Refusal(wire::ERROR_CHECKSUM, "a packet with wrong checksums");
      }
      if (const int err = write(data, packet.offset + static_cast<std::int64_t>(done))) {
        return Refusal(wire::ERROR, std::string("writing: ") + std::strerror(err));
      }
      stream_.consume(part);
      sums += checksum_.sizeFor(part);
      done += part;
    }
    end_ = std::max(end_, packet.offset + size);
    cache_.reached(token_.offset + end_);
    service_.metrics.bytesWritten += packet.dataLength;
    if (packet.sync) {
      ++service_.metrics.syncs;
      if (fdatasync(file_) != 0) {
        return Refusal(wire::ERROR, std::string("fdatasync: ") + std::strerror(errno));
      }
    }
    return std::nullopt;
  }

  // Returns 0 or an errno.
  int write(std::span<const std::uint8_t> data, std::int64_t offset) {
    while (!data.empty()) {
      const ssize_t written = pwrite(file_, data.data(), data.size(), token_.offset + offset);
      if (written < 0 && errno == EINTR) continue;
      if (written < 0) return errno;
      data = data.subspan(static_cast<std::size_t>(written));
      offset += written;
    }
    return 0;
  }

  void acknowledge(std::int64_t seqno, wire::Status status) {
    wire::PipelineAck ack;
    ack.set_seqno(seqno);
    ack.add_reply(status);
    writeMessage(stream_, ack);
  }

  Service& service_;
  Stream& stream_;
  const int file_;
  const BlockToken& token_;
  const Checksum checksum_;
  CacheUse cache_;
  std::int64_t end_;  // of what the block has
  std::vector<std::uint8_t> sums_;
};

void confirm(Stream& stream) {
  wire::OperationResponse response;
  response.set_status(wire::SUCCESS);
  response.set_first_bad_link("");
  writeMessage(stream, response);
}

}  // namespace

void writeBlock(Service& service, Stream& stream) {
  wire::WriteBlock request;
  readMessage(stream, request);
  checkStage(request);
  const BlockToken token = authorize(service, request.header().base_header(), BlockToken::WRITE);
  const Checksum checksum = checksumOf(request.requested_checksum());
  const ActingAs user(*accountFor(service, token));
  const OpenFile file = openFile(service, token, O_WRONLY);
  const Writers::Turn turn = service.writers.take(token.inode, stream.socket());
  const std::int64_t has = prepare(file, token, request);
  confirm(stream);
  // There all data had come, and only its end was in doubt.
  if (request.stage() == Stage::CLOSE_RECOVERY) return;
  const bool dropBehind = request.caching_strategy().drop_behind();
  BlockWriter(service, stream, file, token, checksum, has, dropBehind).run();
}

}  // namespace datanode
  const Shares::Share share = shareFor(service, token);
