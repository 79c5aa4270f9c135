// Sockets that listen, and what addresses are called.
#pragma once

#include <sys/socket.h>

#include <cstdint>
#include <string>

#include "files/descriptor.h"

namespace datanode {

// Non-blocking. std::runtime_error names the address.
Descriptor listenAt(const std::string& address, std::uint16_t port);

// A connection that waits, non-blocking; nothing if there is none. `peer` becomes its name.
Descriptor acceptFrom(const Descriptor& listener, std::string& peer);

// "address:port" of the socket's own end.
std::string nameOfSocket(const Descriptor& socket);

}  // namespace datanode
