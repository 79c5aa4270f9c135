// The status that a native works with: of the path, or the record that Java has already. On failure
// all return false with a Java exception pending.
#pragma once

#include <jni.h>
#include <sys/stat.h>

#include "status/stat.h"

// What the log is told of a path whose status can't be had: getFailedPath, following links or not.
enum class Diagnosis { NONE, OF_LINK, OF_TARGET };

// Raises what getStat failed with. Always false.
bool raiseStatus(JNIEnv* env, int err, const char* path, Diagnosis diagnosis, struct stat& st);

// getStat, for a native.
inline bool statusOf(JNIEnv* env, const char* path, bool resolveLink, struct stat& st) {
  const int err = getStat(path, resolveLink, st);
  if (err == 0) return true;
  return raiseStatus(env, err, path, resolveLink ? Diagnosis::OF_TARGET : Diagnosis::OF_LINK, st);
}

// Java's record, or without one getStat, which follows links. An array that is too short raises the
// virtual machine's own exception.
bool statusOf(JNIEnv* env, const char* path, jbyteArray record, Diagnosis diagnosis,
              struct stat& st);
