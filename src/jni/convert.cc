#include "jni/convert.h"

#include <cerrno>
#include <limits>
#include <new>

RequiredChars::RequiredChars(JNIEnv* env, jstring s) : UtfChars(env, s) {
  if (get() != nullptr) return;
  if (s == nullptr) {
    handle_error(env, EINVAL, "null argument");
    return;
  }
  // The virtual machine's own OutOfMemoryError gives way to the exception callers expect.
  if (env->ExceptionCheck()) env->ExceptionClear();
  handle_error(env, ENOMEM, "");
}

int getString(JNIEnv* env, jstring s, std::string& out) {
  const RequiredChars chars(env, s);
  if (chars.get() == nullptr) return -1;
  out = chars.get();
  return 0;
}

jbyteArray convertChar2byteArray(JNIEnv* env, int len, const char* buf) {
  if (env->ExceptionCheck()) return nullptr;  // thrown by the logger: the native's answer is lost
  jbyteArray array = env->NewByteArray(len);
  if (array != nullptr) {
    env->SetByteArrayRegion(array, 0, len, reinterpret_cast<const jbyte*>(buf));
  }
  return array;
}

void ostringstreamToByteArray(JNIEnv* env, std::ostringstream& os, jbyteArray& out) {
  const std::streamoff length = os.tellp();
  if (length < 0 || length > std::numeric_limits<jint>::max()) throw std::bad_alloc();
  out = convertChar2byteArray(env, static_cast<int>(length), os.view().data());
}

void raiseEscaped(JNIEnv* env) noexcept {
  try {
    try {
      throw;
    } catch (const IOException& e) {
      handle_error(env, e.errorNumber, e.what());  // the copy of its text may find no memory
    }
  } catch (...) {
    handle_error(env, ENOMEM, "");
  }
}
