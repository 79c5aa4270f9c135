#include "fakejni.h"

#include <cstring>
#include <list>
#include <string>
#include <vector>

namespace {

// What every reference points to.
struct Value {
  std::string text = {};
  std::vector<char> bytes = {};
  jstring only = nullptr;
};

std::list<Value> arguments;
Value result;

Value* valueOf(jobject object) {
  return reinterpret_cast<Value*>(object);
}

template <class Reference>
Reference referenceTo(Value& value) {
  return reinterpret_cast<Reference>(&value);
}

JNINativeInterface_ makeTable() {
  JNINativeInterface_ table = {};
  table.ExceptionCheck = [](JNIEnv*) -> jboolean { return JNI_FALSE; };
  table.DeleteLocalRef = [](JNIEnv*, jobject) {};
  table.GetStringUTFChars = [](JNIEnv*, jstring s, jboolean*) { return valueOf(s)->text.c_str(); };
  table.ReleaseStringUTFChars = [](JNIEnv*, jstring, const char*) {};
  table.GetStringLength = [](JNIEnv*, jstring s) {
    return static_cast<jsize>(valueOf(s)->text.size());
  };
  table.GetStringUTFRegion = [](JNIEnv*, jstring s, jsize start, jsize length, char* to) {
    std::memcpy(to, valueOf(s)->text.data() + start, static_cast<std::size_t>(length));
  };
  table.NewStringUTF = [](JNIEnv*, const char*) { return referenceTo<jstring>(result); };
  table.GetArrayLength = [](JNIEnv*, jarray array) -> jsize {
    const Value* value = valueOf(array);
    return value->only != nullptr ? 1 : static_cast<jsize>(value->bytes.size());
  };
  table.GetObjectArrayElement = [](JNIEnv*, jobjectArray array, jsize) -> jobject {
    return valueOf(array)->only;
  };
  table.NewByteArray = [](JNIEnv*, jsize length) {
    if (result.bytes.size() < static_cast<std::size_t>(length)) {
      result.bytes.resize(static_cast<std::size_t>(length));
    }
    return referenceTo<jbyteArray>(result);
  };
  table.SetByteArrayRegion = [](JNIEnv*, jbyteArray array, jsize start, jsize length,
                                const jbyte* from) {
    std::memcpy(valueOf(array)->bytes.data() + start, from, static_cast<std::size_t>(length));
  };
  table.GetByteArrayRegion = [](JNIEnv*, jbyteArray array, jsize start, jsize length, jbyte* to) {
    std::memcpy(to, valueOf(array)->bytes.data() + start, static_cast<std::size_t>(length));
  };
  table.NewObjectA = [](JNIEnv*, jclass, jmethodID, const jvalue*) {
    return referenceTo<jobject>(result);
  };
  table.CallObjectMethodA = [](JNIEnv*, jobject, jmethodID, const jvalue*) -> jobject {
    return nullptr;
  };
  return table;
}

}  // namespace

JNIEnv* fakeJni() {
  static const JNINativeInterface_ table = makeTable();
  static JNIEnv env{&table};
  return &env;
}

jstring fakeString(const char* text) {
  arguments.push_back({.text = text});
  return referenceTo<jstring>(arguments.back());
}

jbyteArray fakeBytes(const void* bytes, std::size_t size) {
  const auto* from = static_cast<const char*>(bytes);
  arguments.push_back({.bytes = {from, from + size}});
  return referenceTo<jbyteArray>(arguments.back());
}

jobjectArray fakeStrings(jstring only) {
  arguments.push_back({.only = only});
  return referenceTo<jobjectArray>(arguments.back());
}
