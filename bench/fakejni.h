// Just enough of a Java virtual machine to call natives without one, always with the same
// instructions: Java values are plain memory.
#pragma once

#include <jni.h>

#include <cstddef>

// One per process. A result's memory is reused: only the latest of each kind lives.
JNIEnv* fakeJni();

jstring fakeString(const char* text);
jbyteArray fakeBytes(const void* bytes, std::size_t size);
// An array of one string.
jobjectArray fakeStrings(jstring only);
