// What the service counts, and its text for Prometheus.
#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <string>

namespace datanode {

using Counter = std::atomic<std::uint64_t>;

enum class Operation { READ, WRITE, CHECKSUM, OTHER };
constexpr std::size_t OPERATIONS = 4;

// How an operation ended.
enum class Outcome { DONE, REFUSED, TOKEN_REFUSED, BROKEN };
constexpr std::size_t OUTCOMES = 4;

struct Metrics {
  std::array<std::array<Counter, OUTCOMES>, OPERATIONS> operations{};
  std::array<Counter, OPERATIONS> microseconds{};
  Counter bytesRead{0};
  Counter bytesWritten{0};
  Counter syncs{0};
  Counter corruptPackets{0};  // of writers, by their checksums
  Counter corruptReads{0};    // as readers said
  Counter garbage{0};         // connections that didn't speak the protocol
  Counter connectionsAccepted{0};
  Counter connectionsRefused{0};
  Counter addressRefusals{0};  // of these, for there were too many of that address
  Counter userRefusals{0};     // operations, for there were too many of that user
  // These go up and down.
  Counter connections{0};
  Counter running{0};
  Counter threads{0};

  void ended(Operation operation, Outcome outcome, std::chrono::steady_clock::duration took);

  std::string text() const;
};

}  // namespace datanode
