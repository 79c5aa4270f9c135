#include "status/rawstatus.h"

bool readRawStatus(JNIEnv* env, jbyteArray record, struct stat& st) {
  if (env->ExceptionCheck()) return false;
  env->GetByteArrayRegion(record, 0, sizeof st, reinterpret_cast<jbyte*>(&st));
  return !env->ExceptionCheck();
}
