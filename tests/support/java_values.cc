#include "support/java_values.h"

#include "support/jvm.h"

jstring javaString(std::string_view text) {
  return jniEnv()->NewStringUTF(std::string(text).c_str());
}

std::string stringOf(jstring s) {
  JNIEnv* env = jniEnv();
  const char* chars = env->GetStringUTFChars(s, nullptr);
  std::string text(chars, static_cast<std::size_t>(env->GetStringUTFLength(s)));
  env->ReleaseStringUTFChars(s, chars);
  return text;
}

std::string longSpelling(const std::string& path) {
  return std::string(2000, '/') + path;
}

jbyteArray javaBytes(std::string_view bytes) {
  JNIEnv* env = jniEnv();
  jbyteArray array = env->NewByteArray(static_cast<jsize>(bytes.size()));
  env->SetByteArrayRegion(array, 0, static_cast<jsize>(bytes.size()),
                          reinterpret_cast<const jbyte*>(bytes.data()));
  return array;
}

std::string bytesOf(jbyteArray array) {
  JNIEnv* env = jniEnv();
  std::string bytes(static_cast<std::size_t>(env->GetArrayLength(array)), '\0');
  env->GetByteArrayRegion(array, 0, static_cast<jsize>(bytes.size()),
                          reinterpret_cast<jbyte*>(bytes.data()));
  return bytes;
}
