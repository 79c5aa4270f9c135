#include "jni/status.h"

#include "jni/exception.h"
#include "jni/javalog.h"
#include "status/failedpath.h"

bool raiseStatus(JNIEnv* env, int err, const char* path, Diagnosis diagnosis, struct stat& st) {
  handle_error(env, err, path);
  if (diagnosis != Diagnosis::NONE) getFailedPath(path, diagnosis == Diagnosis::OF_TARGET, st);
  return false;
}

bool statusOf(JNIEnv* env, const char* path, jbyteArray record, Diagnosis diagnosis,
              struct stat& st) {
  if (record == nullptr) {
    const int err = getStat(path, true, st);
    return err == 0 || raiseStatus(env, err, path, diagnosis, st);
  }
  if (JavaLog::threw(env)) return false;
  env->GetByteArrayRegion(record, 0, sizeof st, reinterpret_cast<jbyte*>(&st));
  return !env->ExceptionCheck();
}
