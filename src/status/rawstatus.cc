#include "status/rawstatus.h"

#include "jni/logger.h"

bool readRawStatus(JNIEnv* env, jbyteArray record, struct stat& st) {
  if (logger2::threw(env, LOG_DEBUG)) return false;
  env->GetByteArrayRegion(record, 0, sizeof st, reinterpret_cast<jbyte*>(&st));
  return !env->ExceptionCheck();
}
