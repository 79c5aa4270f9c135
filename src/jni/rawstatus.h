// The raw status record as it comes back from Java.
#pragma once

#include <jni.h>
#include <sys/stat.h>

// Fills `st` from the first bytes of `record`, which must not be null. Returns false, with a Java
// exception pending, when the array is too short (the virtual machine's own) or one was pending
// before.
bool readRawStatus(JNIEnv* env, jbyteArray record, struct stat& st);
