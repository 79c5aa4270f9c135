#include "acl/aclutil.h"
#include "jni/javalog.h"
#include "jni/jniutil.h"

namespace {

// The Log object's lowest enabled level. Warn is asked before info: a hierarchical logger with info
// enabled has warn enabled too and yields warn; callers tune their log volume by that.
LOG_LEVEL levelOfLog(JNIEnv* env) {
  const struct {
    jmethodID question;
    LOG_LEVEL level;
  } ladder[] = {
      {JniUtil::Log_isTraceEnabled, LOG_TRACE}, {JniUtil::Log_isDebugEnabled, LOG_DEBUG},
      {JniUtil::Log_isWarnEnabled, LOG_WARN},   {JniUtil::Log_isInfoEnabled, LOG_INFO},
      {JniUtil::Log_isErrorEnabled, LOG_ERROR}, {JniUtil::Log_isFatalEnabled, LOG_FATAL},
  };
  if (JniUtil::ZORFNative_LOG_jobj == nullptr) return LOG_OFF;
  for (const auto& rung : ladder) {
    const jboolean answer = env->CallBooleanMethod(JniUtil::ZORFNative_LOG_jobj, rung.question);
    if (env->ExceptionCheck()) return LOG_OFF;  // stays pending: the load of the class reports it
    if (answer != JNI_FALSE) return rung.level;
  }
  return LOG_OFF;
}

}  // namespace

// Always succeeds: a failed lookup reaches Java as the pending error of the load.
extern "C" JNIEXPORT jint JNICALL JNI_OnLoad(JavaVM* vm, void* /*reserved*/) try {
  logger2::sink = JavaLog::deliver;
  void* env = nullptr;
  vm->GetEnv(&env, ZORF_JNI_VERSION);
  if (auto* jni = static_cast<JNIEnv*>(env)) {
    JniUtil::init(jni);
    logger2::currentLevel = levelOfLog(jni);
  }
  ZORF_LOG(LOG_DEBUG, "libzorfhadoop initializing");
  ACLUtil::init();
  return ZORF_JNI_VERSION;
} catch (...) {
  return ZORF_JNI_VERSION;
}
