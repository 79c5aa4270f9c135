#include "jni/javalog.h"

#include "jni/jniutil.h"

namespace {

jmethodID methodOf(LOG_LEVEL level) {
  switch (level) {
    case LOG_TRACE:
      return JniUtil::Log_trace;
    case LOG_DEBUG:
      return JniUtil::Log_debug;
    case LOG_INFO:
      return JniUtil::Log_info;
    case LOG_WARN:
      return JniUtil::Log_warn;
    case LOG_ERROR:
      return JniUtil::Log_error;
    case LOG_FATAL:
      return JniUtil::Log_fatal;
    case LOG_OFF:
      break;
  }
  return nullptr;
}

// Java must not be called with an exception pending: it waits here while a line is delivered, and
// wins over what the logger throws meanwhile.
class ParkedException {
 public:
  explicit ParkedException(JNIEnv* env)
      : env_(env), parked_(env->ExceptionCheck() ? env->ExceptionOccurred() : nullptr) {
    if (parked_ != nullptr) env_->ExceptionClear();
  }
  ~ParkedException() {
    if (parked_ == nullptr) return;
    env_->ExceptionClear();
    env_->Throw(parked_);
    env_->DeleteLocalRef(parked_);
  }
  ParkedException(const ParkedException&) = delete;
  ParkedException& operator=(const ParkedException&) = delete;

 private:
  JNIEnv* env_;
  jthrowable parked_;
};

}  // namespace

namespace JavaLog {

std::atomic<bool> everThrew = false;

void deliver(const std::string& text, LOG_LEVEL level) {
  if (JniUtil::ZORFNative_LOG_jobj == nullptr) return;
  JNIEnv* env = JniUtil::currentEnv();
  if (env == nullptr) return;
  const ParkedException parked(env);
  if (jstring line = env->NewStringUTF(text.c_str())) {
    if (jmethodID method = methodOf(level)) {
      env->CallVoidMethod(JniUtil::ZORFNative_LOG_jobj, method, line);
    }
    env->DeleteLocalRef(line);
  }
  if (env->ExceptionCheck()) everThrew = true;  // it stays for the native
}

}  // namespace JavaLog
