#include "xattr/xattr_test.h"

#include "support/java_values.h"
#include "zorf_native.h"

namespace {

// For the replaced functions, which get no closure.
struct {
  const JNINativeInterface_* real = nullptr;
  int taken = 0;
  int released = 0;
  int countdown = 0;
} patched;

const char* JNICALL takeCharacters(JNIEnv* env, jstring s, jboolean* isCopy) {
  if (patched.countdown > 0 && --patched.countdown == 0) return nullptr;
  ++patched.taken;
  return patched.real->GetStringUTFChars(env, s, isCopy);
}

void JNICALL releaseCharacters(JNIEnv* env, jstring s, const char* characters) {
  ++patched.released;
  patched.real->ReleaseStringUTFChars(env, s, characters);
}

jobjectArray arrayFrom(jobject collection, jclass cls) {
  JNIEnv* env = jniEnv();
  return static_cast<jobjectArray>(
      env->CallObjectMethod(collection, env->GetMethodID(cls, "toArray", "()[Ljava/lang/Object;")));
}

}  // namespace

jint setExtendedAttribute(const std::string& path, const std::string& name,
                          const std::optional<std::string>& value, jshort flags) {
  return Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_setExtendedAttribute(
      jniEnv(), nullptr, javaString(path), javaString(name), value ? javaBytes(*value) : nullptr,
      flags);
}

jint removeXAttr(const std::string& path, const std::string& name) {
  return Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_removeXAttr(
      jniEnv(), nullptr, javaString(path), javaString(name));
}

jobjectArray listXAttrs(const std::string& path) {
  return Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_listXAttrs(jniEnv(), nullptr,
                                                                           javaString(path));
}

jobject getXAttrs(const std::string& path, const std::vector<std::string>& names) {
  return Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_getXAttrs(
      jniEnv(), nullptr, javaString(path), javaNames(names));
}

jobject dumpXAttrs(const std::string& path) {
  return Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_dumpXAttrs(jniEnv(), nullptr,
                                                                           javaString(path));
}

jobjectArray javaNames(const std::vector<std::string>& names) {
  JNIEnv* env = jniEnv();
  jclass cls = env->FindClass("java/lang/String");
  jobjectArray array = env->NewObjectArray(static_cast<jsize>(names.size()), cls, nullptr);
  env->DeleteLocalRef(cls);
  for (std::size_t i = 0; i < names.size(); ++i) {
    jstring name = javaString(names[i]);
    env->SetObjectArrayElement(array, static_cast<jsize>(i), name);
    env->DeleteLocalRef(name);
  }
  return array;
}

std::vector<std::optional<std::string>> namesOf(jobjectArray names) {
  JNIEnv* env = jniEnv();
  std::vector<std::optional<std::string>> result;
  const jsize count = env->GetArrayLength(names);
  for (jsize i = 0; i < count; ++i) {
    auto name = static_cast<jstring>(env->GetObjectArrayElement(names, i));
    result.push_back(name == nullptr ? std::nullopt : std::optional(stringOf(name)));
    env->DeleteLocalRef(name);
  }
  return result;
}

Attributes attributesOf(jobject hashMap) {
  JNIEnv* env = jniEnv();
  if (hashMap == nullptr) {
    ADD_FAILURE() << "no map";
    return {};
  }
  env->PushLocalFrame(16);
  jclass cls = env->FindClass("java/util/HashMap");
  EXPECT_TRUE(env->IsSameObject(env->GetObjectClass(hashMap), cls));
  jclass collection = env->FindClass("java/util/Collection");
  jobjectArray keys = arrayFrom(
      env->CallObjectMethod(hashMap, env->GetMethodID(cls, "keySet", "()Ljava/util/Set;")),
      collection);
  jobjectArray values = arrayFrom(
      env->CallObjectMethod(hashMap, env->GetMethodID(cls, "values", "()Ljava/util/Collection;")),
      collection);
  Attributes result;
  const jsize count = env->GetArrayLength(keys);
  for (jsize i = 0; i < count; ++i) {
    auto key = static_cast<jstring>(env->GetObjectArrayElement(keys, i));
    auto value = static_cast<jbyteArray>(env->GetObjectArrayElement(values, i));
    result.emplace(stringOf(key), bytesOf(value));
    env->DeleteLocalRef(key);
    env->DeleteLocalRef(value);
  }
  EXPECT_EQ(result.size(), static_cast<std::size_t>(count));
  env->PopLocalFrame(nullptr);
  return result;
}

CountingJni::CountingJni() {
  patched = {&real, 0, 0, 0};
  table.GetStringUTFChars = takeCharacters;
  table.ReleaseStringUTFChars = releaseCharacters;
}

int CountingJni::taken() const {
  return patched.taken;
}

int CountingJni::released() const {
  return patched.released;
}

void CountingJni::failCharacters(int nth) {
  patched.countdown = nth;
}
