// Log lines on their way to the Java logger.
#pragma once

#include <jni.h>

#include <string>

#include "base/logger.h"

namespace JavaLog {

// The sink of a JVM: gives `text`, up to its first NUL, to the Java Log object's method for
// `level`; a level above fatal makes the Java string and calls nothing. A Java exception that is
// pending on entry is pending again on return; one thrown by the logger stays pending when there
// was none.
void deliver(const std::string& text, LOG_LEVEL level);

// Whether the logger threw at a line of `level` or above, the lowest that came before: then no Java
// value may be made any more. Costs one compare where no such line can have been delivered.
inline bool threw(JNIEnv* env, LOG_LEVEL level) {
  return logger2::enabled(level) && env->ExceptionCheck();
}

}  // namespace JavaLog
