// What the file of a folder's natives is written with.
#pragma once

#include "jni/convert.h"
#include "zorf_native.h"

// Opens the definition of a native: ZORF_NATIVE(jlong, getINum)(JNIEnv* env, jclass, jstring path).
// extern "C" on the definition makes a wrong parameter list an error against zorf_native.h.
#define ZORF_NATIVE(result, method)   \
  extern "C" JNIEXPORT result JNICALL \
      Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_##method
