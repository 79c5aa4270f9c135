#include "jni/exception.h"

#include <cerrno>
#include <cstring>

#include "base/logger.h"
#include "jni/jniutil.h"

namespace {

jclass exceptionClass(int err) {
  switch (err) {
    case EPERM:
    case EACCES:
      return JniUtil::AccessDeniedException;
    case ENOENT:
      return JniUtil::NoSuchFileException;
    case ENOMEM:
      return JniUtil::RuntimeException;
    default:
      return JniUtil::IOException;
  }
}

void raise(JNIEnv* env, int err, const char* message) {
  if (env->ExceptionCheck()) return;
  jclass cls = exceptionClass(err);
  if (cls != nullptr) {
    env->ThrowNew(cls, message);
  } else if (jclass internalError = env->FindClass("java/lang/InternalError")) {
    env->ThrowNew(internalError, message);
    env->DeleteLocalRef(internalError);
  }
}

}  // namespace

void handle_error(JNIEnv* env, int err, std::string msg) noexcept {
  char buffer[512] = {};
  const char* text = strerror_r(err, buffer, sizeof buffer);
  try {
    const std::string message = std::string(text) + ": " + msg;
    raise(env, err, message.c_str());
    ZORF_LOG(LOG_DEBUG, message);
  } catch (...) {
    raise(env, err, text);  // no memory left for the whole message, or for the log line after it
  }
}
