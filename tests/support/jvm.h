// The in-process JVM that the C++ tests run natives and helpers in.
//
// The test program carries its own copy of the library's objects, initialised with JNI_OnLoad
// against this JVM, so that a test can call any helper, set the log level and see every line.
#pragma once

#include <jni.h>

#include <optional>
#include <ostream>
#include <string>

#include "support/core_test.h"

// The calling thread's environment; a thread other than main must be inside an AttachedThread.
JNIEnv* jniEnv();

class AttachedThread {
 public:
  AttachedThread();
  ~AttachedThread();
  AttachedThread(const AttachedThread&) = delete;
  AttachedThread& operator=(const AttachedThread&) = delete;
};

struct JavaError {
  std::string className;  // such as "java.io.IOException"
  std::string message;

  friend bool operator==(const JavaError&, const JavaError&) = default;
  friend std::ostream& operator<<(std::ostream& os, const JavaError& e) {
    return os << e.className << ": " << e.message;
  }
};

// Takes the pending Java exception of this thread, if any.
std::optional<JavaError> takeJavaError();

// What handle_error raises for `err` and `message`.
JavaError errorFor(int err, const std::string& message);

// What RecordingLog throws at every line from now on, as a RuntimeException of that message; an
// empty message ends it. With `nth` it throws at the n-th line alone (1 is the next).
void letLoggerThrow(const std::string& message, int nth = 0);

// For InJvm: a frame for local references begins; it ends, and no exception may be left pending.
JNIEnv* beginInJvm();
void endInJvm();

// A fixture of the core, in a JVM: what it logs goes through Java.
template <class Fixture>
class InJvm : public Fixture {
 protected:
  void SetUp() override {
    env = beginInJvm();
    Fixture::SetUp();
  }
  void TearDown() override {
    Fixture::TearDown();
    endInJvm();
  }

  JNIEnv* env = nullptr;
};

using JvmTest = InJvm<CoreTest>;
