// The stream that a native's byte result is written to on its way into a Java byte[].
//
// Results up to some kilobytes wait in the object. A larger one whose size was announced goes into
// the Java array as it is written, so that no native copy of it ever exists; one that was not
// announced, or not rightly, is collected in native memory. Belongs to the thread of its JNIEnv.
#pragma once

#include <jni.h>

#include <array>
#include <string>

#include "blocks/entrystream.h"

class ResultStream final : public EntryStream {
 public:
  explicit ResultStream(JNIEnv* env) : env_(env) {}

  void expect(std::uint64_t count, std::uint64_t size) override;
  void write(const void* bytes, std::size_t count) override;
  void rewrite(std::size_t at, const void* bytes, std::size_t count) override;
  std::size_t size() const override { return stored_ + waiting_; }

  // All that was written, as a new Java array; null with an exception pending when it can't be made
  // or one was pending already. Ends the use of the stream.
  jbyteArray take();

 private:
  void flush();
  void store(const char* bytes, std::size_t count);
  void putIntoArray(std::size_t at, const char* bytes, std::size_t count);
  void gatherUpTo(std::size_t total);
  void leaveArray();

  JNIEnv* env_;
  std::array<char, 8192> window_;  // the bytes after those that are stored
  std::size_t waiting_ = 0;        // of the window
  std::size_t stored_ = 0;         // in the array, or in native memory without one
  jbyteArray array_ = nullptr;
  std::size_t arrayLength_ = 0;
  std::string native_;
};
