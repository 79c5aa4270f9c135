// The entry of a fuzz target and the bytes of one input.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

// What every target defines, and libFuzzer or replay_main.cc calls.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

// Taken from the front.
class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size) : at_(data), end_(data + size) {}

  bool empty() const { return at_ == end_; }

  // Up to `most` bytes.
  std::string bytes(std::size_t most) {
    const auto n = std::min(most, static_cast<std::size_t>(end_ - at_));
    std::string taken(reinterpret_cast<const char*>(at_), n);
    at_ += n;
    return taken;
  }

  // Missing bytes are zero.
  template <class T>
  T number() {
    const std::string taken = bytes(sizeof(T));
    T value{};
    std::memcpy(&value, taken.data(), taken.size());
    return value;
  }

  std::string rest() { return bytes(static_cast<std::size_t>(end_ - at_)); }

 private:
  const std::uint8_t* at_;
  const std::uint8_t* end_;
};
