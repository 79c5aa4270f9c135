#include "service/server.h"

#include <pthread.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <new>
#include <system_error>
#include <utility>

#include "service/log.h"
#include "service/sockets.h"

namespace datanode {

namespace {

using Clock = std::chrono::steady_clock;

// Name services run on it, and they are not frugal.
constexpr std::size_t STACK = 262'144;
// Kept waiting for a minute without work.
constexpr unsigned int FEWEST_THREADS = 4;

// Once per arming; what is meant is the list's node.
constexpr std::uint32_t EVENTS = EPOLLIN | EPOLLRDHUP | EPOLLONESHOT;

}  // namespace

Server::Server(Service& service, const Limits& limits)
    : service_(service),
      limits_(limits),
      epoll_(epoll_create1(EPOLL_CLOEXEC)),
      stopping_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      addresses_("connections", limits.connectionsOfAddress) {
  epoll_event event{EPOLLIN, {nullptr}};
  if (!epoll_ || !stopping_ ||
      epoll_ctl(epoll_.get(), EPOLL_CTL_ADD, stopping_.get(), &event) != 0) {
    throw std::system_error(errno, std::generic_category(), "epoll");
  }
  const std::lock_guard lock(mutex_);
  startThread();
}

Server::~Server() = default;

void Server::accept(const Descriptor& listener) {
  for (;;) {
    std::string peer;
    Descriptor socket = acceptFrom(listener, peer);
    if (!socket) {
      // Out of descriptors or memory: those that are there end some time.
      if (errno != EAGAIN && errno != ECONNABORTED && errno != EINTR) {
        logLine(Level::ERROR, std::string("accepting: ") + std::strerror(errno));
      }
      return;
    }
    auto share = addresses_.take(peer.substr(0, peer.rfind(':')));
    const std::lock_guard lock(mutex_);
    if (!share || idle_.size() + busy_.size() >= limits_.connections) {
      ++service_.metrics.connectionsRefused;
      if (!share) ++service_.metrics.addressRefusals;
      continue;
    }
    ++service_.metrics.connectionsAccepted;
    ++service_.metrics.connections;
    idle_.push_back(
        {std::move(socket), std::move(peer), std::move(*share), Clock::now() + limits_.idle, {}});
    idle_.back().self = std::prev(idle_.end());
    epoll_event event{EVENTS, {&idle_.back()}};
    if (epoll_ctl(epoll_.get(), EPOLL_CTL_ADD, idle_.back().socket.get(), &event) != 0) {
      logLine(Level::ERROR, std::string("epoll: ") + std::strerror(errno));
      --service_.metrics.connections;
      idle_.pop_back();
    }
  }
}

void Server::closeIdle() {
  const auto now = Clock::now();
  const std::lock_guard lock(mutex_);
  // A thread may be about to serve it, so that it is the thread that closes it: the socket now has
  // its end to say. Later ones are met next time.
  for (Connection& connection : idle_) {
    if (connection.idleUntil > now) break;
    shutdown(connection.socket.get(), SHUT_RDWR);
  }
}

bool Server::stop(std::chrono::milliseconds drain) {
  service_.ending.begin();
  std::unique_lock lock(mutex_);
  stopped_ = true;
  for (Connection& connection : idle_) shutdown(connection.socket.get(), SHUT_RDWR);
  const auto closed = [this] { return idle_.empty() && busy_.empty(); };
  if (!ended_.wait_for(lock, drain, closed)) {
    logLine(Level::WARN, std::to_string(busy_.size()) + " operations are cut off");
    for (Connection& connection : busy_) shutdown(connection.socket.get(), SHUT_RDWR);
  }
  const std::uint64_t one = 1;
  [[maybe_unused]] const ssize_t written = write(stopping_.get(), &one, sizeof one);
  // A file system that doesn't answer holds its threads for as long as it likes.
  if (!ended_.wait_for(lock, std::chrono::seconds(5), [this] { return threads_ == 0; })) {
    return false;
  }
  lock.unlock();
  if (lastEnded_) pthread_join(*lastEnded_, nullptr);
  return true;
}

void Server::startThread() {
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, STACK);
  pthread_t thread;
  const int err = pthread_create(&thread, &attributes, threadMain, this);
  pthread_attr_destroy(&attributes);
  if (err != 0) {
    logLine(Level::ERROR, std::string("starting a thread: ") + std::strerror(err));
    return;
  }
  // It counts as waiting from now on, so that one is started for a burst and not many.
  ++threads_;
  ++waiting_;
  ++service_.metrics.threads;
}

void* Server::threadMain(void* server) {
  static_cast<Server*>(server)->work();
  return nullptr;
}

void Server::work() {
  Buffer buffer;
  for (;;) {
    epoll_event event = {};
    const int events = epoll_wait(epoll_.get(), &event, 1, 60'000);
    if (events > 0 && event.data.ptr != nullptr) {
      auto& connection = *static_cast<Connection*>(event.data.ptr);
      makeBusy(connection);
      serve(connection, buffer);
      continue;
    }
    std::unique_lock lock(mutex_);
    if (events > 0 || (events == 0 && waiting_ > FEWEST_THREADS)) {
      --waiting_;
      --threads_;
      --service_.metrics.threads;
      const auto before = std::exchange(lastEnded_, pthread_self());
      ended_.notify_all();
      lock.unlock();
      if (before) pthread_join(*before, nullptr);
      return;
    }
  }
}

void Server::serve(Connection& connection, Buffer& buffer) {
  Stream stream(connection.socket.get(), buffer);
  ++service_.metrics.running;
  bool open = true;
  try {
    // What came along with the operation before is served at once: the buffer is the thread's.
    do {
      open = serveOperation(service_, stream, connection.peer);
    } while (open && stream.buffered() > 0);
  } catch (const PeerGone&) {
    open = false;
  } catch (const std::exception& e) {
    open = false;
    logLine(Level::WARN, connection.peer + ": " + e.what());
  }
  --service_.metrics.running;
  if (open) {
    makeIdle(connection);
  } else {
    end(connection);
  }
}

void Server::makeBusy(Connection& connection) {
  const std::lock_guard lock(mutex_);
  busy_.splice(busy_.end(), idle_, connection.self);
  if (--waiting_ == 0 && threads_ < limits_.threads) startThread();
}

void Server::makeIdle(Connection& connection) {
  const std::lock_guard lock(mutex_);
  ++waiting_;
  idle_.splice(idle_.end(), busy_, connection.self);
  connection.idleUntil = Clock::now() + limits_.idle;
  if (stopped_) shutdown(connection.socket.get(), SHUT_RDWR);
  epoll_event event{EVENTS, {&connection}};
  epoll_ctl(epoll_.get(), EPOLL_CTL_MOD, connection.socket.get(), &event);
}

void Server::end(Connection& connection) {
  const std::lock_guard lock(mutex_);
  ++waiting_;
  --service_.metrics.connections;
  busy_.erase(connection.self);
  ended_.notify_all();
}

}  // namespace datanode
