// The bytes of one connection, within time limits and bounded memory. For one thread at a time.
#pragma once

#include <sys/uio.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <stdexcept>
#include <vector>

namespace datanode {

// The connection is of no further use: closed, out of time, or out of step. What was the matter is
// for the log, since nothing can be told to the other side.
struct ConnectionEnd : std::runtime_error {
  using runtime_error::runtime_error;
};

// The other side ended the connection, which it may at any time.
struct PeerGone : ConnectionEnd {
  using ConnectionEnd::ConnectionEnd;
};

// Memory of a worker thread that streams use in turn. Only what is used of it is ever touched.
class Buffer {
 public:
  static constexpr std::size_t CAPACITY = 524'288;

  std::uint8_t* data() { return bytes_.get(); }

 private:
  // Not value-initialised: the kernel gives pages as they are written.
  std::unique_ptr<std::uint8_t[]> bytes_{new std::uint8_t[CAPACITY]};
};

class Stream {
 public:
  // The socket must be non-blocking and stays the caller's. `buffer` holds what was received and
  // not yet taken, so that it may serve another stream only when buffered() is 0.
  Stream(int socket, Buffer& buffer) : socket_(socket), buffer_(buffer) {}

  // All that follows, until the next call, has to be done within this time.
  void allow(std::chrono::milliseconds time) { deadline_ = Clock::now() + time; }

  int socket() const { return socket_; }

  std::size_t buffered() const { return end_ - begin_; }

  // The next `size` bytes, at most Buffer::CAPACITY, without taking them; valid until the next call
  // that receives.
  const std::uint8_t* peek(std::size_t size);
  // Waits until there is something to peek at; false where nothing has come and the descriptor
  // `event` is readable, or so much time has passed.
  bool waitUnless(int event, std::chrono::milliseconds most);
  // Whether the other side ended the connection, and nothing is left to be taken.
  bool hasEnded() const;
  // Takes what was peeked at.
  void consume(std::size_t size) { begin_ += size; }
  // The next bytes, past the buffer where they are many.
  void read(std::span<std::uint8_t> to);

  // Everything, or ConnectionEnd.
  void write(std::span<const std::uint8_t> bytes, bool moreFollows = false);
  // Goes along with what is written next, or before anything is waited for: a few small answers
  // cost the other side no more than one does.
  void writeSoon(std::span<const std::uint8_t> bytes);
  // What writeSoon() left.
  void flush();
  // Says that nothing follows, and takes and drops what still comes, so that what was written is
  // not lost in a connection that is reset. Until the deadline.
  void finish();

  // From a file's range that is known to exist; ends the connection where it no longer does.
  void sendFile(int file, std::int64_t offset, std::size_t size);

 private:
  using Clock = std::chrono::steady_clock;
  static constexpr int NO_EVENT = -1;

  void copyFile(int file, std::int64_t offset, std::size_t size);
  // Nothing received is 0, and only where there is an `event` or an end before the deadline.
  std::size_t receive(std::uint8_t* to, std::size_t most, int event = NO_EVENT,
                      Clock::time_point end = Clock::time_point::max());
  // Waits until the socket takes or has bytes, until the deadline; false where `event` is readable
  // and the socket is not, or at the `end` before.
  bool await(short events, int event = NO_EVENT, Clock::time_point end = Clock::time_point::max());

  int socket_;
  Buffer& buffer_;
  std::size_t begin_ = 0;  // of what is buffered
  std::size_t end_ = 0;
  std::vector<std::uint8_t> soon_;  // written, but not sent
  Clock::time_point deadline_ = Clock::now();
};

}  // namespace datanode
