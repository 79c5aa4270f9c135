#include "robustness/jni_watch.h"

#include <utility>

namespace {

JniWatch* current = nullptr;
constexpr const char* REASON = "no memory left, says the test";

template <auto Member, bool Allocates>
struct Watched;

template <class Result, class... Arguments,
          Result (*JNINativeInterface_::*Member)(JNIEnv*, Arguments...), bool Allocates>
struct Watched<Member, Allocates> {
  static inline Result (*real)(JNIEnv*, Arguments...) = nullptr;
  static inline const char* name = nullptr;

  static Result call(JNIEnv* env, Arguments... arguments) {
    if (!JniWatch::enter(env, name, Allocates)) return Result();
    return real(env, arguments...);
  }

  static void install(JNINativeInterface_& table, const char* function) {
    name = function;
    real = std::exchange(table.*Member, call);
  }
};

}  // namespace

JniWatch::JniWatch() {
  JNIEnv* env = jniEnv();
  outOfMemory_ =
      static_cast<jclass>(env->NewGlobalRef(env->FindClass("java/lang/OutOfMemoryError")));
#define ZORF_WATCH(function, allocates) \
  Watched<&JNINativeInterface_::function, allocates>::install(patched_.table, #function);
  ZORF_WATCH(NewObjectA, true)
  ZORF_WATCH(CallObjectMethodA, true)
  ZORF_WATCH(NewStringUTF, true)
  ZORF_WATCH(GetStringUTFChars, true)
  ZORF_WATCH(NewObjectArray, true)
  ZORF_WATCH(NewByteArray, true)
  ZORF_WATCH(NewIntArray, true)
  ZORF_WATCH(CallVoidMethodV, false)
  ZORF_WATCH(GetStringLength, false)
  ZORF_WATCH(GetStringUTFRegion, false)
  ZORF_WATCH(FindClass, false)
  ZORF_WATCH(GetArrayLength, false)
  ZORF_WATCH(GetObjectArrayElement, false)
  ZORF_WATCH(SetObjectArrayElement, false)
  ZORF_WATCH(GetByteArrayRegion, false)
  ZORF_WATCH(SetByteArrayRegion, false)
  ZORF_WATCH(SetIntArrayRegion, false)
  ZORF_WATCH(ThrowNew, false)
  ZORF_WATCH(Throw, false)
#undef ZORF_WATCH
  current = this;
}

JniWatch::~JniWatch() {
  current = nullptr;
  jniEnv()->DeleteGlobalRef(outOfMemory_);
}

std::vector<std::string> JniWatch::takeMisuse() {
  return std::exchange(misuse_, {});
}

bool JniWatch::enter(JNIEnv* env, const char* function, bool allocates) {
  if (current->patched_.real.ExceptionCheck(env) != JNI_FALSE) current->misuse_.push_back(function);
  if (!allocates || current->countdown_ == 0 || --current->countdown_ > 0) return true;
  current->patched_.real.ThrowNew(env, current->outOfMemory_, REASON);
  return false;
}

JavaError javaHeapExhausted() {
  return {"java.lang.OutOfMemoryError", REASON};
}
