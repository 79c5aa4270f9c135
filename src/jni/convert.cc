#include "jni/convert.h"

#include <cerrno>
#include <cstring>

#include "base/ioexception.h"
#include "jni/javalog.h"

Chars::Chars(JNIEnv* env, jstring s, Otherwise otherwise) : env_(env), s_(s) {
  if (s == nullptr) {
    if (otherwise != UNREFUSED) refuseNull(env);
  } else if (otherwise != UNREFUSED && copyToStack()) {
    chars_ = stack_.data();
  } else {
    askVm(otherwise);
  }
}

// A string that may not fit, since a character can be 3 bytes, is too long.
bool Chars::copyToStack() {
  const jsize units = env_->GetStringLength(s_);
  if (static_cast<std::size_t>(units) >= stack_.size() / 3) return false;
  // JNI does not promise a zero byte at the end.
  std::memset(stack_.data(), 0, 3 * static_cast<std::size_t>(units) + 1);
  env_->GetStringUTFRegion(s_, 0, units, stack_.data());
  return true;
}

void Chars::askVm(Otherwise otherwise) {
  if (otherwise == UNREFUSED && env_->ExceptionCheck()) return;
  chars_ = ofVm_ = env_->GetStringUTFChars(s_, nullptr);
  if (chars_ != nullptr || otherwise != AS_USUAL) return;
  // The virtual machine's own OutOfMemoryError gives way to the exception callers expect.
  if (env_->ExceptionCheck()) env_->ExceptionClear();
  handle_error(env_, ENOMEM, "");
}

void refuseNull(JNIEnv* env) {
  handle_error(env, EINVAL, "null argument");
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

void atJavaEdge(JNIEnv* env) noexcept {
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
