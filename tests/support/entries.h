// Block location entries in memory.
#pragma once

#include <sstream>
#include <string>

#include "blocks/entrystream.h"

// Takes whatever comes, announced or not. What it is made with is written over.
class Entries : public EntryStream {
 public:
  explicit Entries(const std::string& text = "") : EntryStream(nullptr), buffer_(text) {
    rdbuf(&buffer_);
  }

  void expect(std::uint64_t /*count*/, std::uint64_t /*size*/) override {}
  std::string str() const { return buffer_.str(); }
  void str(const std::string& text) { buffer_.str(text); }

 private:
  std::stringbuf buffer_;
};
