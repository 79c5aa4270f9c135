// Every message of the data transfer protocol, and the starts of operations and packets, from a
// connection that says whatever the input holds and ends.
#include <sys/socket.h>

#include <cassert>

#include "files/descriptor.h"
#include "fuzz/input.h"
#include "wire/frames.h"

namespace {

using namespace datanode;

template <class Message>
void read(Stream& stream) {
  Message message;
  readMessage(stream, message);
  assert(message.IsInitialized());
}

void readOne(Stream& stream, unsigned int kind) {
  switch (kind) {
    case 0:
      return read<wire::ReadBlock>(stream);
    case 1:
      return read<wire::WriteBlock>(stream);
    case 2:
      return read<wire::BlockChecksum>(stream);
    case 3:
      return read<wire::ClientReadStatus>(stream);
    case 4:
      readOperationStart(stream);
      return;
    default: {
      const Checksum checksum(kind == 5 ? wire::CHECKSUM_NULL : wire::CHECKSUM_CRC32C, kind);
      const PacketStart packet = readPacketStart(stream, checksum);
      assert(packet.offset >= 0);
      assert(packet.dataLength + packet.checksumsLength <= LONGEST_PACKET);
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static Buffer buffer;
  if (size > 100'000) return 0;
  Input input(data, size);
  const unsigned int kind = input.number<std::uint8_t>() % 8;
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, ends) != 0) return 0;
  const Descriptor ours(ends[0]);
  Descriptor theirs(ends[1]);
  const std::string bytes = input.rest();
  if (send(theirs.get(), bytes.data(), bytes.size(), 0) < 0 && !bytes.empty()) return 0;
  theirs = Descriptor();
  Stream stream(ours.get(), buffer);
  stream.allow(std::chrono::seconds(5));
  try {
    for (;;) readOne(stream, kind);
  } catch (const ConnectionEnd&) {
  }
  return 0;
}
