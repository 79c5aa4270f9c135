#include "jni/convert.h"

#include <cerrno>
#include <cstring>
#include <limits>
#include <new>

#include "base/ioexception.h"
#include "jni/javalog.h"

bool JavaChars::copyToStack(JNIEnv* env, jstring s) {
  const jsize units = env->GetStringLength(s);
  if (static_cast<std::size_t>(units) >= stack_.size() / 3) return false;  // up to 3 bytes each
  // JNI does not promise a zero byte at the end.
  std::memset(stack_.data(), 0, 3 * static_cast<std::size_t>(units) + 1);
  env->GetStringUTFRegion(s, 0, units, stack_.data());
  return true;
}

RequiredChars::RequiredChars(JNIEnv* env, jstring s) : JavaChars(env, s) {
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

jstring newString(JNIEnv* env, const char* text) {
  return JavaLog::threw(env) ? nullptr : env->NewStringUTF(text);
}

jintArray newIntArray(JNIEnv* env, std::span<const std::int32_t> numbers) {
  if (JavaLog::threw(env)) return nullptr;
  const auto length = static_cast<jsize>(numbers.size());
  jintArray array = env->NewIntArray(length);
  if (array != nullptr) env->SetIntArrayRegion(array, 0, length, numbers.data());
  return array;
}

jbyteArray convertChar2byteArray(JNIEnv* env, int len, const char* buf) {
  if (JavaLog::threw(env)) return nullptr;
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
