#include "service/sockets.h"

#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <stdexcept>

namespace datanode {

namespace {

std::string nameOf(const sockaddr_storage& address, socklen_t size) {
  char host[NI_MAXHOST];
  char port[NI_MAXSERV];
  if (getnameinfo(reinterpret_cast<const sockaddr*>(&address), size, host, sizeof host, port,
                  sizeof port, NI_NUMERICHOST | NI_NUMERICSERV) != 0) {
    return "unknown";
  }
  std::string name = host;
  if (address.ss_family == AF_INET6) name = '[' + name + ']';
  return name + ':' + port;
}

void turnOn(const Descriptor& socket, int level, int option) {
  const int on = 1;
  setsockopt(socket.get(), level, option, &on, sizeof on);
}

}  // namespace

Descriptor listenAt(const std::string& address, std::uint16_t port) {
  const auto fail = [&](const char* what) {
    throw std::runtime_error("can't listen at " + address + " port " + std::to_string(port) + ": " +
                             what);
  };
  addrinfo hints = {};
  hints.ai_flags = AI_PASSIVE | AI_NUMERICSERV;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  const int status = getaddrinfo(address.c_str(), std::to_string(port).c_str(), &hints, &found);
  if (status != 0) fail(gai_strerror(status));
  const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> owner(found, freeaddrinfo);
  Descriptor socket(::socket(found->ai_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  if (!socket) fail(std::strerror(errno));
  turnOn(socket, SOL_SOCKET, SO_REUSEADDR);
  if (bind(socket.get(), found->ai_addr, found->ai_addrlen) != 0 ||
      listen(socket.get(), SOMAXCONN) != 0) {
    fail(std::strerror(errno));
  }
  return socket;
}

Descriptor acceptFrom(const Descriptor& listener, std::string& peer) {
  sockaddr_storage address = {};
  socklen_t size = sizeof address;
  Descriptor socket(accept4(listener.get(), reinterpret_cast<sockaddr*>(&address), &size,
                            SOCK_NONBLOCK | SOCK_CLOEXEC));
  if (!socket) return socket;
  turnOn(socket, IPPROTO_TCP, TCP_NODELAY);
  turnOn(socket, SOL_SOCKET, SO_KEEPALIVE);
  peer = nameOf(address, size);
  return socket;
}

std::string nameOfSocket(const Descriptor& socket) {
  sockaddr_storage address = {};
  socklen_t size = sizeof address;
  if (getsockname(socket.get(), reinterpret_cast<sockaddr*>(&address), &size) != 0)
    return "unknown";
  return nameOf(address, size);
}

}  // namespace datanode
