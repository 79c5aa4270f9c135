// The process-wide cache of Java handles. Filled once by JniUtil::init while the library loads,
// read without locks by every thread afterwards, never torn down. Handles are null where the load
// failed.
#pragma once

#include <jni.h>

constexpr jint ZORF_JNI_VERSION = JNI_VERSION_1_6;

namespace JniUtil {

extern JavaVM* javaVM;

// Global class references.
extern jclass RuntimeException;
extern jclass IOException;
extern jclass NoSuchFileException;
extern jclass AccessDeniedException;
extern jclass ZORFNative;
extern jclass Log;
extern jclass HASHMAP_CLS;
extern jclass CLSID_STRING;

// The Log object of ZORFNative.LOG (global reference); null silences all logging.
extern jobject ZORFNative_LOG_jobj;

extern jfieldID ZORFNative_LOG;
extern jmethodID Log_isTraceEnabled;
extern jmethodID Log_isDebugEnabled;
extern jmethodID Log_isInfoEnabled;
extern jmethodID Log_isWarnEnabled;
extern jmethodID Log_isErrorEnabled;
extern jmethodID Log_isFatalEnabled;
extern jmethodID Log_trace;
extern jmethodID Log_debug;
extern jmethodID Log_info;
extern jmethodID Log_warn;
extern jmethodID Log_error;
extern jmethodID Log_fatal;
extern jmethodID MTHID_HASHMAP_C_0;
extern jmethodID MTHID_HASHMAP_PUT_0;

// Fills the cache. Returns 0, or -1 at the first lookup that fails, with that lookup's Java error
// pending and every later handle null.
int init(JNIEnv* env);

// Deletes and nulls some of the global references (IOException, NoSuchFileException,
// AccessDeniedException, ZORFNative, Log and the Log object). Nothing in the library calls it.
void uninit(JNIEnv* env);

// The calling thread's JNIEnv, or null when the cache is empty or the thread is not attached.
JNIEnv* currentEnv();

}  // namespace JniUtil

enum JNI_MEMBER_TYPE { JNI_STATIC_MEMBER = 0, JNI_INSTANCE_MEMBER = 1 };

// Lookups that return 0 and set `out`, or -1 with one Java error pending that names what is
// missing: NoClassDefFoundError, NoSuchMethodError or NoSuchFieldError.

// `out` becomes a global reference; untouched on failure.
int findJavaClass(JNIEnv* env, const char* name, jclass& out);
// `out` is set even on failure, to null.
int getMethodId(JNIEnv* env, jclass cls, const char* name, const char* signature, jmethodID& out,
                JNI_MEMBER_TYPE type);
int getFieldId(JNIEnv* env, jclass cls, const char* name, const char* signature, jfieldID& out,
               JNI_MEMBER_TYPE type);
