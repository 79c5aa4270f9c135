#include "service/metrics_page.h"

#include <charconv>
#include <cstring>
#include <stdexcept>
#include <string_view>

#include "service/sockets.h"
#include "wire/stream.h"

namespace datanode {

namespace {

constexpr std::size_t LONGEST_REQUEST = 8192;

// The request's first line.
std::string readRequest(Stream& stream) {
  std::string request;
  while (request.find("\r\n\r\n") == std::string::npos) {
    if (request.size() == LONGEST_REQUEST) throw ConnectionEnd("a long request");
    request += static_cast<char>(*stream.peek(1));
    stream.consume(1);
  }
  return request.substr(0, request.find("\r\n"));
}

void answer(Stream& stream, const Metrics& metrics) {
  const std::string request = readRequest(stream);
  const bool known = request.starts_with("GET /metrics ");
  const std::string body = known ? metrics.text() : "The metrics are at /metrics.\n";
  const std::string page = std::string("HTTP/1.1 ") + (known ? "200 OK" : "404 Not Found") +
                           "\r\nContent-Type: text/plain; version=0.0.4\r\nContent-Length: " +
                           std::to_string(body.size()) + "\r\nConnection: close\r\n\r\n" + body;
  stream.write({reinterpret_cast<const std::uint8_t*>(page.data()), page.size()});
}

}  // namespace

Descriptor listenForMetrics(const std::string& where) {
  const auto colon = where.rfind(':');
  std::string address = colon == std::string::npos ? "127.0.0.1" : where.substr(0, colon);
  const std::string port = where.substr(colon + 1);  // all of it where there is no colon
  if (address.starts_with('[') && address.ends_with(']')) {
    address = address.substr(1, address.size() - 2);
  }
  std::uint16_t number = 0;
  const auto [end, error] = std::from_chars(port.data(), port.data() + port.size(), number);
  if (error != std::errc{} || end != port.data() + port.size()) {
    throw std::runtime_error("metrics: '" + where + "' is not [ADDRESS:]PORT");
  }
  return listenAt(address, number);
}

void serveMetrics(const Descriptor& listener, const Metrics& metrics) {
  Buffer buffer;
  std::string peer;
  while (const Descriptor socket = acceptFrom(listener, peer)) {
    Stream stream(socket.get(), buffer);
    stream.allow(std::chrono::seconds(2));
    try {
      answer(stream, metrics);
    } catch (const ConnectionEnd&) {
    }
  }
}

}  // namespace datanode
