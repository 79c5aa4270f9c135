// Working memory whose size Java chooses.
#pragma once

#include <array>
#include <cstddef>
#include <memory>

// Room for `size` bytes, uninitialised: on the stack up to 4 KiB, so that no caller can exhaust the
// thread's stack, above that from the heap.
class Scratch {
 public:
  explicit Scratch(std::size_t size) : heap_(size > stack_.size() ? new char[size] : nullptr) {}
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;

  char* data() { return heap_ != nullptr ? heap_.get() : stack_.data(); }

 private:
  std::array<char, 4096> stack_;
  std::unique_ptr<char[]> heap_;
};
