// Values across the JNI boundary, and the edge that no C++ exception crosses.
#pragma once

#include <jni.h>

#include <array>
#include <cstdint>
#include <span>

#include "jni/exception.h"
#include "jni/javalog.h"

// The modified UTF-8 characters of a Java string, up to its first NUL, for the life of the object.
// On the stack while the string is short, as nearly every path is: then no memory is asked for.
//
//   const Chars path(env, jpath);
//   if (!path) return nullptr;
//
// Without characters an exception is pending: EINVAL, "null argument", for null, and ENOMEM where
// the virtual machine has none to give.
class Chars {
 public:
  // Where it is otherwise.
  enum Otherwise {
    AS_USUAL,
    VMS_ERROR,  // the virtual machine's own refusal is left as it is
    // Nothing is raised, and nothing is asked for while an exception is pending: for several
    // strings that are all asked for before one is refused. Never on the stack, so that they can be
    // kept.
    UNREFUSED
  };

  Chars(JNIEnv* env, jstring s, Otherwise otherwise = AS_USUAL);
  ~Chars() {
    if (ofVm_ != nullptr) env_->ReleaseStringUTFChars(s_, ofVm_);
  }
  Chars(const Chars&) = delete;
  Chars& operator=(const Chars&) = delete;

  explicit operator bool() const { return chars_ != nullptr; }
  bool isNull() const { return s_ == nullptr; }
  const char* get() const { return chars_; }
  // Lets the virtual machine's characters live on.
  void keep() { ofVm_ = nullptr; }

 private:
  bool copyToStack();
  void askVm(Otherwise otherwise);

  JNIEnv* env_;
  jstring s_;
  const char* ofVm_ = nullptr;
  const char* chars_ = nullptr;
  std::array<char, 1024> stack_;
};

// Raises what a native says of null where Java must not pass it.
void refuseNull(JNIEnv* env);

// New Java values; null with an exception pending when they can't be made, or when the logger threw
// before. No other exception may be pending.
inline jstring newString(JNIEnv* env, const char* text) {
  return JavaLog::threw(env) ? nullptr : env->NewStringUTF(text);
}
jintArray newIntArray(JNIEnv* env, std::span<const std::int32_t> numbers);
// A byte[] of the first `len` bytes of `buf`.
jbyteArray convertChar2byteArray(JNIEnv* env, int len, const char* buf);

// Turns the C++ exception being handled into a pending Java one: the native IOException with its
// own errno and text, anything else as ENOMEM.
//
// Called by the catch (...) of a native that is a function-try-block: by then everything that the
// native held has been released. Returns `neutral`, the native's result.
void atJavaEdge(JNIEnv* env) noexcept;
template <class Result>
Result atJavaEdge(JNIEnv* env, Result neutral) noexcept {
  atJavaEdge(env);
  return neutral;
}
