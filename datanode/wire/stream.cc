#include "wire/stream.h"

#include <poll.h>
#include <sys/sendfile.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cassert>
#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

namespace datanode {

namespace {

[[noreturn]] void fail(const char* what, int err) {
  const std::string text = std::string(what) + ": " + std::strerror(err);
  if (err == ECONNRESET || err == EPIPE) throw PeerGone(text);
  throw ConnectionEnd(text);
}

bool wouldBlock(int err) {
  return err == EAGAIN || err == EWOULDBLOCK;
}

}  // namespace

const std::uint8_t* Stream::peek(std::size_t size) {
  assert(size <= Buffer::CAPACITY);
  if (buffered() < size) {
    if (begin_ > 0) {
      std::memmove(buffer_.data(), buffer_.data() + begin_, buffered());
      end_ -= begin_;
      begin_ = 0;
    }
    while (end_ < size) end_ += receive(buffer_.data() + end_, Buffer::CAPACITY - end_);
  }
  return buffer_.data() + begin_;
}

bool Stream::waitUnless(int event, std::chrono::milliseconds most) {
  if (buffered() > 0) return true;
  begin_ = end_ = 0;
  end_ = receive(buffer_.data(), Buffer::CAPACITY, event, Clock::now() + most);
  return end_ > 0;
}

bool Stream::hasEnded() const {
  char next;
  return buffered() == 0 && recv(socket_, &next, 1, MSG_PEEK | MSG_DONTWAIT) == 0;
}

void Stream::read(std::span<std::uint8_t> to) {
  const std::size_t had = std::min(to.size(), buffered());
  std::copy_n(buffer_.data() + begin_, had, to.begin());
  consume(had);
  to = to.subspan(had);
  while (!to.empty()) to = to.subspan(receive(to.data(), to.size()));
}

std::size_t Stream::receive(std::uint8_t* to, std::size_t most, int event, Clock::time_point end) {
  flush();
  for (;;) {
    const ssize_t got = recv(socket_, to, most, 0);
    if (got > 0) return static_cast<std::size_t>(got);
    if (got == 0) throw PeerGone("closed by the other side");
    const int err = errno;
    if (wouldBlock(err)) {
      if (!await(POLLIN, event, end)) return 0;
    } else if (err != EINTR) {
      fail("receiving", err);
    }
  }
}

void Stream::writeSoon(std::span<const std::uint8_t> bytes) {
  soon_.insert(soon_.end(), bytes.begin(), bytes.end());
}

void Stream::flush() {
  write({});
}

void Stream::write(std::span<const std::uint8_t> bytes, bool moreFollows) {
  iovec pieces[] = {{soon_.data(), soon_.size()},
                    {const_cast<std::uint8_t*>(bytes.data()), bytes.size()}};
  msghdr message = {};
  message.msg_iov = pieces;
  message.msg_iovlen = 2;
  for (std::size_t left = soon_.size() + bytes.size(); left > 0;) {
    const ssize_t sent = sendmsg(socket_, &message, MSG_NOSIGNAL | (moreFollows ? MSG_MORE : 0));
    if (sent >= 0) {
      auto taken = static_cast<std::size_t>(sent);
      left -= taken;
      for (iovec& piece : pieces) {
        const std::size_t part = std::min(taken, piece.iov_len);
        piece.iov_base = static_cast<std::uint8_t*>(piece.iov_base) + part;
        piece.iov_len -= part;
        taken -= part;
      }
      continue;
    }
    const int err = errno;
    if (wouldBlock(err)) {
      await(POLLOUT);
    } else if (err != EINTR) {
      fail("sending", err);
    }
  }
  soon_.clear();
}

void Stream::finish() {
  flush();
  shutdown(socket_, SHUT_WR);
  begin_ = end_ = 0;
  try {
    for (;;) receive(buffer_.data(), Buffer::CAPACITY);
  } catch (const ConnectionEnd&) {
    // That is what was waited for.
  }
}

void Stream::sendFile(int file, std::int64_t offset, std::size_t size) {
  off_t at = offset;
  while (size > 0) {
    const ssize_t sent = sendfile(socket_, file, &at, size);
    if (sent > 0) {
      size -= static_cast<std::size_t>(sent);
      continue;
    }
    if (sent == 0) throw ConnectionEnd("the file was cut while it was read");
    const int err = errno;
    if (wouldBlock(err)) {
      await(POLLOUT);
    } else if (err == EINVAL || err == ENOSYS) {
      // A file system that can't.
      return copyFile(file, at, size);
    } else if (err != EINTR) {
      fail("sending from a file", err);
    }
  }
}

void Stream::copyFile(int file, std::int64_t offset, std::size_t size) {
  std::vector<std::uint8_t> piece(std::min<std::size_t>(size, 65'536));
  while (size > 0) {
    const ssize_t got = pread(file, piece.data(), std::min(size, piece.size()), offset);
    if (got == 0) throw ConnectionEnd("the file was cut while it was read");
    if (got < 0 && errno != EINTR) fail("reading a file", errno);
    if (got < 0) continue;
    write({piece.data(), static_cast<std::size_t>(got)});
    offset += got;
    size -= static_cast<std::size_t>(got);
  }
}

bool Stream::await(short events, int event, Clock::time_point end) {
  for (;;) {
    const auto now = Clock::now();
    if (now >= deadline_) throw ConnectionEnd("too slow");
    if (now >= end) return false;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(std::min(deadline_, end) - now);
    // A negative descriptor is passed over.
    pollfd waited[] = {{socket_, events, 0}, {event, POLLIN, 0}};
    const auto most = std::min<std::int64_t>(left.count(), 60'000);
    // Errors and hang-ups show at the call that follows.
    const int ready = poll(waited, 2, static_cast<int>(most));
    if (ready > 0) return waited[0].revents != 0;
    if (ready < 0 && errno != EINTR) fail("waiting", errno);
  }
}

}  // namespace datanode
