// The stream that a native's byte result is written to on its way into a Java byte[].
//
// Results up to some kilobytes wait in the object. A larger one whose size was announced goes into
// the Java array as it is written, so that no native copy of it ever exists; one that was not
// announced, or not rightly, is collected in native memory. Belongs to the thread of its JNIEnv.
#pragma once

#include <jni.h>

#include <array>
#include <cstdint>
#include <streambuf>
#include <string>

#include "blocks/entrystream.h"

class ResultBuf : public std::streambuf {
 public:
  explicit ResultBuf(JNIEnv* env) : env_(env) { restart(0); }

  // `count` entries of `size` bytes will probably come after the put position. Throws
  // std::bad_alloc when no Java array could hold them.
  void expect(std::uint64_t count, std::uint64_t size);

  // All that was written, as a new Java array; null with an exception pending when it can't be made
  // or one was pending already. Ends the use of the stream.
  jbyteArray take();

 protected:
  int_type overflow(int_type c) override;
  std::streamsize xsputn(const char* s, std::streamsize n) override;
  pos_type seekoff(off_type offset, std::ios::seekdir from, std::ios::openmode which) override;
  pos_type seekpos(pos_type position, std::ios::openmode which) override;

 private:
  std::size_t position() const { return base_ + static_cast<std::size_t>(pptr() - pbase()); }
  void noteEnd();
  void restart(std::size_t base);
  void flush();
  void store(std::size_t at, const char* bytes, std::size_t count);
  void gatherUpTo(std::size_t total);
  void leaveArray(std::size_t written);

  JNIEnv* env_;
  std::array<char, 8192> window_;  // the put area: the bytes from base_ on
  std::size_t base_ = 0;
  std::size_t fill_ = 0;    // bytes of the window that are set, as of noteEnd()
  std::size_t end_ = 0;     // of all that was written
  std::size_t stored_ = 0;  // of what has left the window
  jbyteArray array_ = nullptr;
  std::size_t arrayLength_ = 0;
  std::string native_;
};

// Reports that no memory is left as std::bad_alloc: that must not end in a short result.
class ResultStream : public EntryStream {
 public:
  explicit ResultStream(JNIEnv* env) : EntryStream(nullptr), buf_(env) {
    rdbuf(&buf_);
    exceptions(std::ios::badbit);
  }

  void expect(std::uint64_t count, std::uint64_t size) override { buf_.expect(count, size); }
  jbyteArray take() { return buf_.take(); }

 private:
  ResultBuf buf_;
};
