// What the soak program measures and Java can't see.
#include <jni.h>
#include <malloc.h>

extern "C" JNIEXPORT jlong JNICALL Java_zorf_soak_Meter_mallocInUse(JNIEnv*, jclass);

// Bytes that malloc(3) has handed out in this process, of all arenas and by mmap(2).
extern "C" JNIEXPORT jlong JNICALL Java_zorf_soak_Meter_mallocInUse(JNIEnv*, jclass) {
  const struct mallinfo2 info = mallinfo2();
  return static_cast<jlong>(info.uordblks + info.hblkhd);
}
