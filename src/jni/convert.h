// Values across the JNI boundary, and the edge that no C++ exception crosses.
#pragma once

#include <jni.h>

#include <array>
#include <cstdint>
#include <span>
#include <sstream>
#include <string>

#include "jni/exception.h"

// The modified UTF-8 characters of a Java string, released at the end of the scope.
class UtfChars {
 public:
  UtfChars(JNIEnv* env, jstring s)
      : env_(env), s_(s), chars_(s == nullptr ? nullptr : env->GetStringUTFChars(s, nullptr)) {}
  ~UtfChars() {
    if (chars_ != nullptr) env_->ReleaseStringUTFChars(s_, chars_);
  }
  UtfChars(const UtfChars&) = delete;
  UtfChars& operator=(const UtfChars&) = delete;

  const char* get() const { return chars_; }
  // Gives the characters up without releasing them.
  const char* leak() {
    const char* chars = chars_;
    chars_ = nullptr;
    return chars;
  }

 private:
  JNIEnv* env_;
  jstring s_;
  const char* chars_;
};

// The same, on the stack when the string is short, as nearly every path is: then no memory is asked
// for, and there always are characters.
class JavaChars {
 public:
  JavaChars(JNIEnv* env, jstring s)
      : short_(s != nullptr && copyToStack(env, s)), long_(env, short_ ? nullptr : s) {}

  const char* get() const { return short_ ? stack_.data() : long_.get(); }

 private:
  bool copyToStack(JNIEnv* env, jstring s);

  std::array<char, 4096> stack_;
  bool short_;
  UtfChars long_;
};

// The characters of a string that Java must not leave out, without a copy of our own. null with the
// exception of getString pending when there are none.
class RequiredChars : public JavaChars {
 public:
  RequiredChars(JNIEnv* env, jstring s);
};

// Copies `s`, up to its first NUL and in modified UTF-8, to `out` and returns 0. Returns -1 with a
// Java exception pending, and `out` unchanged, when `s` is null (EINVAL, "null argument") or its
// characters can't be had (ENOMEM).
int getString(JNIEnv* env, jstring s, std::string& out);

// New Java values; null with an exception pending when they can't be made, or when the logger threw
// before. No other exception may be pending.
jstring newString(JNIEnv* env, const char* text);
jintArray newIntArray(JNIEnv* env, std::span<const std::int32_t> numbers);
// A byte[] of the first `len` bytes of `buf`.
jbyteArray convertChar2byteArray(JNIEnv* env, int len, const char* buf);

// `out` becomes a new Java byte[] of what was written to `os`, up to its put position, made as
// convertChar2byteArray makes it and without a copy of the text on the way. More than a Java array
// holds is std::bad_alloc.
void ostringstreamToByteArray(JNIEnv* env, std::ostringstream& os, jbyteArray& out);

// Turns the C++ exception being handled into a pending Java one: the native IOException with its
// own errno and text, anything else as ENOMEM.
void raiseEscaped(JNIEnv* env) noexcept;

// The edge of every native, which is a function-try-block: by the time its catch (...) returns
// this, everything the native held has been released.
template <class Result>
Result atJavaEdge(JNIEnv* env, Result neutral) noexcept {
  raiseEscaped(env);
  return neutral;
}
