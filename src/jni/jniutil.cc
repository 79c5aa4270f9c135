#include "jni/jniutil.h"

#include <string>

namespace JniUtil {

JavaVM* javaVM = nullptr;
jclass RuntimeException = nullptr;
jclass IOException = nullptr;
jclass NoSuchFileException = nullptr;
jclass AccessDeniedException = nullptr;
jclass ZORFNative = nullptr;
jclass Log = nullptr;
jclass HASHMAP_CLS = nullptr;
jclass CLSID_STRING = nullptr;
jobject ZORFNative_LOG_jobj = nullptr;
jfieldID ZORFNative_LOG = nullptr;
jmethodID Log_isTraceEnabled = nullptr;
jmethodID Log_isDebugEnabled = nullptr;
jmethodID Log_isInfoEnabled = nullptr;
jmethodID Log_isWarnEnabled = nullptr;
jmethodID Log_isErrorEnabled = nullptr;
jmethodID Log_isFatalEnabled = nullptr;
jmethodID Log_trace = nullptr;
jmethodID Log_debug = nullptr;
jmethodID Log_info = nullptr;
jmethodID Log_warn = nullptr;
jmethodID Log_error = nullptr;
jmethodID Log_fatal = nullptr;
jmethodID MTHID_HASHMAP_C_0 = nullptr;
jmethodID MTHID_HASHMAP_PUT_0 = nullptr;

namespace {

// Replaces the pending exception by a new one of `errorClass`. When that class can't be found, the
// virtual machine's own class-not-found error stays pending.
void replacePending(JNIEnv* env, const char* errorClass, const std::string& message) {
  env->ExceptionClear();
  if (jclass cls = env->FindClass(errorClass)) env->ThrowNew(cls, message.c_str());
}

int logMethod(JNIEnv* env, const char* name, const char* signature, jmethodID& out) {
  return getMethodId(env, Log, name, signature, out, JNI_INSTANCE_MEMBER);
}

int levelQuestion(JNIEnv* env, const char* name, jmethodID& out) {
  return logMethod(env, name, "()Z", out);
}

int levelDelivery(JNIEnv* env, const char* name, jmethodID& out) {
  return logMethod(env, name, "(Ljava/lang/Object;)V", out);
}

void release(JNIEnv* env, jobject reference) {
  if (reference != nullptr) env->DeleteGlobalRef(reference);
}

}  // namespace

int init(JNIEnv* env) {
  // The last two names are descriptors, with "L" and ";", where FindClass is meant to get a plain
  // name. HotSpot accepts both, and the library has always asked so.
  if (env->GetJavaVM(&javaVM) != JNI_OK ||
      findJavaClass(env, "java/lang/RuntimeException", RuntimeException) != 0 ||
      findJavaClass(env, "java/io/IOException", IOException) != 0 ||
      findJavaClass(env, "java/nio/file/NoSuchFileException", NoSuchFileException) != 0 ||
      findJavaClass(env, "java/nio/file/AccessDeniedException", AccessDeniedException) != 0 ||
      findJavaClass(env, "org/apache/hadoop/hdfs/server/namenode/ZORFNative", ZORFNative) != 0 ||
      getFieldId(env, ZORFNative, "LOG", "Lorg/apache/commons/logging/Log;", ZORFNative_LOG,
                 JNI_STATIC_MEMBER) != 0 ||
      findJavaClass(env, "org/apache/commons/logging/Log", Log) != 0 ||
      levelQuestion(env, "isTraceEnabled", Log_isTraceEnabled) != 0 ||
      levelQuestion(env, "isDebugEnabled", Log_isDebugEnabled) != 0 ||
      levelQuestion(env, "isWarnEnabled", Log_isWarnEnabled) != 0 ||
      levelQuestion(env, "isInfoEnabled", Log_isInfoEnabled) != 0 ||
      levelQuestion(env, "isErrorEnabled", Log_isErrorEnabled) != 0 ||
      levelQuestion(env, "isFatalEnabled", Log_isFatalEnabled) != 0 ||
      levelDelivery(env, "trace", Log_trace) != 0 || levelDelivery(env, "debug", Log_debug) != 0 ||
      levelDelivery(env, "info", Log_info) != 0 || levelDelivery(env, "warn", Log_warn) != 0 ||
      levelDelivery(env, "error", Log_error) != 0 || levelDelivery(env, "fatal", Log_fatal) != 0 ||
      findJavaClass(env, "Ljava/util/HashMap;", HASHMAP_CLS) != 0 ||
      getMethodId(env, HASHMAP_CLS, "<init>", "()V", MTHID_HASHMAP_C_0, JNI_INSTANCE_MEMBER) != 0 ||
      getMethodId(env, HASHMAP_CLS, "put",
                  "(Ljava/lang/Object;Ljava/lang/Object;)Ljava/lang/Object;", MTHID_HASHMAP_PUT_0,
                  JNI_INSTANCE_MEMBER) != 0 ||
      findJavaClass(env, "Ljava/lang/String;", CLSID_STRING) != 0) {
    return -1;
  }
  jobject log = env->GetStaticObjectField(ZORFNative, ZORFNative_LOG);
  if (env->ExceptionCheck()) {
    // No standard library has this class; callers have always been told this name.
    replacePending(env, "java/lang/NoFieldFoundError", "Cannot get object: ZORFNative.LOG");
    return -1;
  }
  ZORFNative_LOG_jobj = env->NewGlobalRef(log);
  return 0;
}

void uninit(JNIEnv* env) {
  for (jclass* cls :
       {&IOException, &NoSuchFileException, &AccessDeniedException, &ZORFNative, &Log}) {
    release(env, *cls);
    *cls = nullptr;
  }
  release(env, ZORFNative_LOG_jobj);
  ZORFNative_LOG_jobj = nullptr;
}

JNIEnv* currentEnv() {
  void* env = nullptr;
  if (javaVM != nullptr) javaVM->GetEnv(&env, ZORF_JNI_VERSION);
  return static_cast<JNIEnv*>(env);
}

}  // namespace JniUtil

int findJavaClass(JNIEnv* env, const char* name, jclass& out) {
  jclass found = env->FindClass(name);
  if (env->ExceptionCheck()) {
    JniUtil::replacePending(env, "java/lang/NoClassDefFoundError",
                            std::string("Cannot find class ") + name);
    return -1;
  }
  out = static_cast<jclass>(env->NewGlobalRef(found));
  return 0;
}

int getMethodId(JNIEnv* env, jclass cls, const char* name, const char* signature, jmethodID& out,
                JNI_MEMBER_TYPE type) {
  out = type != JNI_STATIC_MEMBER ? env->GetMethodID(cls, name, signature)
                                  : env->GetStaticMethodID(cls, name, signature);
  if (env->ExceptionCheck()) {
    // "methold" stays: callers match on this text.
    JniUtil::replacePending(env, "java/lang/NoSuchMethodError",
                            std::string("Cannot find methold ") + name + signature);
    return -1;
  }
  return 0;
}

int getFieldId(JNIEnv* env, jclass cls, const char* name, const char* signature, jfieldID& out,
               JNI_MEMBER_TYPE type) {
  out = type != JNI_STATIC_MEMBER ? env->GetFieldID(cls, name, signature)
                                  : env->GetStaticFieldID(cls, name, signature);
  if (env->ExceptionCheck()) {
    JniUtil::replacePending(env, "java/lang/NoSuchFieldError",
                            std::string("Cannot find field ") + name);
    return -1;
  }
  return 0;
}
