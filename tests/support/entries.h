// Block location entries in memory.
#pragma once

#include <string>

#include "blocks/entrystream.h"

// Takes whatever comes, announced or not.
class Entries final : public EntryStream {
 public:
  std::string bytes;

  void expect(std::uint64_t /*count*/, std::uint64_t /*size*/) override {}
  void write(const void* more, std::size_t count) override {
    bytes.append(static_cast<const char*>(more), count);
  }
  void rewrite(std::size_t at, const void* other, std::size_t count) override {
    bytes.replace(at, count, static_cast<const char*>(other), count);
  }
  std::size_t size() const override { return bytes.size(); }
};
