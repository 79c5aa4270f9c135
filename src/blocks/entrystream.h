// Where block location entries are written.
#pragma once

#include <cstddef>
#include <cstdint>

// Writing throws std::bad_alloc when there is no room: that must not end in a short result.
class EntryStream {
 public:
  // That `count` entries of `size` bytes will probably follow; only the first announcement counts.
  // Throws std::bad_alloc when there can be no room for them: then the rest need not be asked for.
  virtual void expect(std::uint64_t count, std::uint64_t size) = 0;

  // Appends.
  virtual void write(const void* bytes, std::size_t count) = 0;
  // Replaces bytes that have been written.
  virtual void rewrite(std::size_t at, const void* bytes, std::size_t count) = 0;
  virtual std::size_t size() const = 0;

 protected:
  ~EntryStream() = default;
};
