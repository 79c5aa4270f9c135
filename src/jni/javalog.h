// Log lines on their way to the Java logger.
#pragma once

#include <jni.h>

#include <atomic>
#include <string>

#include "base/logger.h"

namespace JavaLog {

// The sink of a JVM: gives `text`, up to its first NUL, to the Java Log object's method for
// `level`; a level above fatal makes the Java string and calls nothing. A Java exception that is
// pending on entry is pending again on return; one thrown by the logger stays pending when there
// was none.
void deliver(const std::string& text, LOG_LEVEL level);

// Whether a delivery ever left an exception pending, on any thread.
extern std::atomic<bool> everThrew;

// Whether the logger threw on this thread: then Java must not be asked for anything any more. Those
// who make or read Java values ask; natives need not. Costs one compare until a logger first
// throws.
inline bool threw(JNIEnv* env) {
  return everThrew.load(std::memory_order_relaxed) && env->ExceptionCheck();
}

}  // namespace JavaLog
