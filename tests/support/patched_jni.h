// Makes chosen JNI functions of the calling thread behave otherwise for a scope: set entries of
// `table`, which starts as a copy of the real one.
#pragma once

#include <jni.h>

#include "support/jvm.h"

class PatchedJni {
 public:
  PatchedJni() : env_(jniEnv()), real(*env_->functions), table(real), saved_(env_->functions) {
    env_->functions = &table;
  }
  ~PatchedJni() { env_->functions = saved_; }
  PatchedJni(const PatchedJni&) = delete;
  PatchedJni& operator=(const PatchedJni&) = delete;

 private:
  JNIEnv* env_;

 public:
  const JNINativeInterface_ real;
  JNINativeInterface_ table;

 private:
  const JNINativeInterface_* saved_;
};
