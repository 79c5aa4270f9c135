#include "jni/rawstatus.h"

#include "jni/javalog.h"

bool readRawStatus(JNIEnv* env, jbyteArray record, struct stat& st) {
  if (JavaLog::threw(env)) return false;
  env->GetByteArrayRegion(record, 0, sizeof st, reinterpret_cast<jbyte*>(&st));
  return !env->ExceptionCheck();
}
