// The JNI functions that natives use, watched: one that may not be called while an exception is
// pending is noted when it is, and those that need memory of the virtual machine can be made to
// fail.
#pragma once

#include <string>
#include <vector>

#include "support/patched_jni.h"

// For the calling thread and the life of the object; one at a time.
class JniWatch {
 public:
  JniWatch();
  ~JniWatch();

  // The `nth` call from now on that needs memory fails with an OutOfMemoryError pending.
  void failAllocation(int nth) { countdown_ = nth; }
  // Whether that has yet to happen.
  bool awaits() const { return countdown_ > 0; }

  // The functions called with an exception pending, and forgets them.
  std::vector<std::string> takeMisuse();

  // For the replacements.
  static bool enter(JNIEnv* env, const char* function, bool allocates);

 private:
  PatchedJni patched_;
  jclass outOfMemory_;
  int countdown_ = 0;
  std::vector<std::string> misuse_;
};

// What JniWatch makes a function fail with.
JavaError javaHeapExhausted();
