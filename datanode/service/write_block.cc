#include <fcntl.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <vector>

#include "files/cacheuse.h"
#include "files/claim.h"
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

// What a client can ask. It may name further DataNodes, to go on at when this one fails: what is in
// the file they have, too, so that nothing is passed on to them.
void checkStage(const wire::WriteBlock& request) {
  const bool ofClients = request.stage() == Stage::SETUP_CREATE ||
                         request.stage() == Stage::SETUP_APPEND ||
                         request.stage() == Stage::SETUP_APPEND_RECOVERY ||
                         request.stage() == Stage::SETUP_STREAMING_RECOVERY ||
                         request.stage() == Stage::CLOSE_RECOVERY;
  if (!ofClients)
    throw Refusal(wire::ERROR_UNSUPPORTED, "transfer of a block is not supported on zorf");
}

// The bytes that the block has when its first packet comes.
std::int64_t prepare(const Stream& stream, const OpenFile& file, const BlockToken& token,
                     const wire::WriteBlock& request) {
  const std::int64_t has = file.size - token.offset;
  const auto refuse = [&](const std::string& what) {
    throw Refusal(wire::ERROR,
                  token.path + " has " + std::to_string(file.size) + " bytes, " + what);
  };
  if (has < 0) refuse("and the block begins at " + std::to_string(token.offset));
  if (request.stage() == Stage::SETUP_CREATE) {
    // A client that did not wait for this may have written the block elsewhere since.
    if (stream.hasEnded()) throw PeerGone("the writer has gone");
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
  // Data that were verified, and are not in the file yet.
  struct Piece {
    std::span<const std::uint8_t> data;
    std::int64_t seqno = 0;
    bool endsPacket = false;
    bool sync = false;
  };

 public:
  BlockWriter(Service& service, Stream& stream, const OpenFile& file, Claim& claim,
              const BlockToken& token, Checksum checksum, const wire::WriteBlock& request,
              std::int64_t end)
      : service_(service),
        stream_(stream),
        file_(file.descriptor.get()),
        claim_(claim),
        token_(token),
        checksum_(checksum),
        pipeline_(1 + request.targets_size()),
        cache_(
            CacheUse::writing(file_, token.offset + end, request.caching_strategy().drop_behind())),
        end_(end),
        mayComeAgain_(request.stage() == Stage::SETUP_CREATE ||
                      request.stage() == Stage::SETUP_APPEND) {}

  // Until the last packet. Packets that came together go to the file together, and each is
  // acknowledged when it is there, in one answer with the others: it is sent before the next bytes
  // are received, or anything else takes its time.
  void run() {
    for (bool last = false; !last;) {
      stream_.allow(service_.packetTime);
      // Between packets, and not only when there is none: a writer may be quicker than this.
      bool hasCome = false;
      while (!hasCome) {
        if (service_.ending.hasBegun()) {
          store();
          fail(OUT_OF_BAND, Refusal(wire::OOB_RESTART, "its writer is to come again"));
        }
        if (claim_.isContested()) {
          throw ConnectionEnd(token_.path + ": there is a later writer at another DataNode");
        }
        hasCome = stream_.waitUnless(service_.ending.event(), std::chrono::seconds(1));
      }
      const PacketStart packet = readPacketStart(stream_, checksum_);
      if (const auto failure = take(packet)) {
        store();
        fail(packet.seqno, *failure);
      }
      last = packet.last;
      if (last || packet.sync || pieces_.size() == MOST_PIECES || !hasPacket(stream_)) store();
    }
    stream_.flush();
  }

 private:
  static constexpr std::int64_t OUT_OF_BAND = -2;
  static constexpr std::size_t MOST_PIECES = 64;

  // Leaves the end of the data, or all of it, in pieces_.
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
    if (packet.offset != piecesEnd_) store();
    sums_.resize(packet.checksumsLength);
    stream_.read(sums_);
    const std::uint8_t* sums = sums_.data();
    const std::size_t most = Buffer::CAPACITY / checksum_.chunk() * checksum_.chunk();
    std::size_t done = 0;
    do {
      const std::size_t part = std::min(most, packet.dataLength - done);
      const std::span data(stream_.peek(part), part);
      if (!checksum_.matches(data, sums)) {
        ++service_.metrics.corruptPackets;
        return Refusal(wire::ERROR_CHECKSUM, "a packet with wrong checksums");
      }
      if (pieces_.empty()) at_ = packet.offset + static_cast<std::int64_t>(done);
      piecesEnd_ = packet.offset + static_cast<std::int64_t>(done + part);
      stream_.consume(part);
      sums += checksum_.sizeFor(part);
      done += part;
      const bool whole = done == packet.dataLength;
      pieces_.push_back({data, packet.seqno, whole, packet.sync});
      if (!whole) store();
    } while (done < packet.dataLength);
    end_ = std::max(end_, packet.offset + size);
    return std::nullopt;
  }

  // All pieces to the file, and the acknowledgements of the packets that end with one of them.
  // Before anything is received: they lie in the stream's buffer.
  void store() {
    std::size_t stored = 0;
    std::size_t ofNext = 0;  // bytes of the piece after these that are in the file, too
    while (stored < pieces_.size()) {
      iovec bytes[MOST_PIECES];
      int count = 0;
      for (std::size_t i = stored; i < pieces_.size(); ++i) {
        const auto data = pieces_[i].data.subspan(i == stored ? ofNext : 0);
        bytes[count++] = {const_cast<std::uint8_t*>(data.data()), data.size()};
      }
      const ssize_t written = pwritev(file_, bytes, count, token_.offset + at_);
      const int err = errno;
      if (written < 0 && err == EINTR) continue;
      if (written < 0) fail(pieces_[stored].seqno, failed("writing", err));
      at_ += written;
      ofNext += static_cast<std::size_t>(written);
      for (; stored < pieces_.size() && ofNext >= pieces_[stored].data.size(); ++stored) {
        ofNext -= pieces_[stored].data.size();
        stands(pieces_[stored]);
      }
    }
    pieces_.clear();
  }

  void stands(const Piece& piece) {
    service_.metrics.bytesWritten += piece.data.size();
    if (!piece.endsPacket) return;
    cache_.reached(token_.offset + at_);
    if (piece.sync) {
      ++service_.metrics.syncs;
      stream_.flush();
      if (fdatasync(file_) != 0) fail(piece.seqno, failed("fdatasync", errno));
    }
    acknowledge(piece.seqno, wire::SUCCESS, pipeline_);
    mayComeAgain_ = true;
  }

  // There may be space again in a moment. If not, the client has the reason from the NameNode,
  // which it asks when it comes again; of this service it would take no more than that something
  // failed. One that has come again and got nowhere is not to try for ever.
  Refusal failed(const char* what, int err) const {
    const bool isFull = err == ENOSPC || err == EDQUOT;
    return {isFull && mayComeAgain_ ? wire::OOB_RESTART : wire::ERROR,
            std::string(what) + ": " + std::strerror(err)};
  }

  [[noreturn]] void fail(std::int64_t seqno, const Refusal& failure) {
    acknowledge(seqno, failure.status, 1);
    stream_.allow(std::chrono::seconds(5));
    stream_.finish();
    throw ConnectionEnd(token_.path + ": " + failure.what());
  }

  void acknowledge(std::int64_t seqno, wire::Status status, int replies) {
    wire::PipelineAck ack;
    ack.set_seqno(seqno);
    for (int i = 0; i < replies; ++i) ack.add_reply(status);
    writeMessageSoon(stream_, ack);
  }

  Service& service_;
  Stream& stream_;
  const int file_;
  Claim& claim_;
  const BlockToken& token_;
  const Checksum checksum_;
  const int pipeline_;  // DataNodes that the client knows of
  CacheUse cache_;
  std::vector<Piece> pieces_;  // one after the other, the first at at_
  std::int64_t at_ = 0;
  std::int64_t piecesEnd_ = 0;
  std::int64_t end_;  // of what the block has, pieces included
  bool mayComeAgain_;
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
  const Shares::Share share = shareFor(service, token);
  const ActingAs user(*accountFor(service, token));
  OpenFile file = openFile(service, token, O_WRONLY);
  const Writers::Turn turn = service.writers.take(token.inode, stream.socket());
  Claim claim(file.descriptor.get());
  file.size = sizeOf(file.descriptor, token);  // with all that an earlier writer wrote
  const std::int64_t has = prepare(stream, file, token, request);
  confirm(stream);
  // There all data had come, and only its end was in doubt.
  if (request.stage() == Stage::CLOSE_RECOVERY) return;
  BlockWriter(service, stream, file, claim, token, checksum, request, has).run();
}

}  // namespace datanode
