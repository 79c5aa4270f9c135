// Where block location entries are written.
#pragma once

#include <cstdint>
#include <ostream>

class EntryStream : public std::ostream {
 public:
  // That `count` entries of `size` bytes will probably follow; only the first announcement counts.
  // Throws std::bad_alloc when there can be no room for them: then the rest need not be asked for.
  virtual void expect(std::uint64_t count, std::uint64_t size) = 0;

 protected:
  explicit EntryStream(std::streambuf* buffer) : std::ostream(buffer) {}
};
