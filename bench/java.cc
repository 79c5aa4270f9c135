#include "java.h"

#include <dlfcn.h>

#include <cstdlib>
#include <iostream>

namespace {

JavaVM* theVm = nullptr;

[[noreturn]] void die(const std::string& why) {
  std::cerr << "zorf_bench: " << why << "\n";
  std::exit(2);
}

std::string textOf(JNIEnv* env, jstring s) {
  const char* chars = env->GetStringUTFChars(s, nullptr);
  std::string text = chars;
  env->ReleaseStringUTFChars(s, chars);
  return text;
}

}  // namespace

void createVm(const std::vector<std::string>& options) {
  const char* set = std::getenv("JAVA_HOME");
  const std::string home = set != nullptr ? set : ZORF_BENCH_JDK;
  const std::string libjvm = home + "/lib/server/libjvm.so";
  void* handle = dlopen(libjvm.c_str(), RTLD_NOW | RTLD_GLOBAL);
  if (handle == nullptr) die(dlerror());
  using Create = jint (*)(JavaVM**, void**, void*);
  const auto create = reinterpret_cast<Create>(dlsym(handle, "JNI_CreateJavaVM"));
  if (create == nullptr) die(dlerror());

  const char* heap = std::getenv("ZORF_BENCH_HEAP");
  const std::string heapSize = heap != nullptr ? heap : "2g";
  std::vector<std::string> words = {
      std::string("-Djava.class.path=") + ZORF_BENCH_CLASSPATH,
      std::string("-Dzorf.library=") + ZORF_BENCH_LIBRARY,
      "-Dorg.apache.commons.logging.Log=org.apache.commons.logging.impl.NoOpLog",
      "-Xms" + heapSize,
      "-Xmx" + heapSize,
      "-Xmn64m",
      "-XX:+AlwaysPreTouch",  // a NameNode that has run for a while touches no new pages
      "-XX:+UseSerialGC",
      "-XX:-UsePerfData",
  };
  words.insert(words.end(), options.begin(), options.end());
  std::vector<JavaVMOption> vmOptions;
  for (std::string& word : words) vmOptions.push_back({word.data(), nullptr});
  JavaVMInitArgs args{JNI_VERSION_1_6, static_cast<jint>(vmOptions.size()), vmOptions.data(),
                      JNI_FALSE};
  void* env = nullptr;
  if (create(&theVm, &env, &args) != JNI_OK) die("no JVM from " + libjvm);
}

JNIEnv* javaEnv() {
  void* env = nullptr;
  if (theVm->GetEnv(&env, JNI_VERSION_1_6) != JNI_OK &&
      theVm->AttachCurrentThreadAsDaemon(&env, nullptr) != JNI_OK) {
    die("can't attach a thread");
  }
  return static_cast<JNIEnv*>(env);
}

void detachJava() {
  theVm->DetachCurrentThread();
}

void requireNoException(JNIEnv* env, const std::string& doing) {
  if (!env->ExceptionCheck()) return;
  env->ExceptionDescribe();
  die(doing);
}

jclass benchClass(const std::string& name) {
  JNIEnv* env = javaEnv();
  jclass cls = env->FindClass(("zorf/bench/" + name).c_str());
  requireNoException(env, name);
  return static_cast<jclass>(env->NewGlobalRef(cls));
}

jobject rowsOf(jclass cls) {
  JNIEnv* env = javaEnv();
  jfieldID field = env->GetStaticFieldID(cls, "ROWS", "Lzorf/bench/Rows;");
  requireNoException(env, "rows");
  return env->NewGlobalRef(env->GetStaticObjectField(cls, field));
}

std::vector<std::string> namesOf(jobject rows) {
  JNIEnv* env = javaEnv();
  auto names = static_cast<jobjectArray>(env->CallObjectMethod(
      rows, env->GetMethodID(benchClass("Rows"), "names", "()[Ljava/lang/String;")));
  requireNoException(env, "names of rows");
  std::vector<std::string> result;
  for (jsize i = 0; i < env->GetArrayLength(names); ++i) {
    result.push_back(textOf(env, static_cast<jstring>(env->GetObjectArrayElement(names, i))));
  }
  return result;
}

jstring javaText(const std::string& text) {
  return javaEnv()->NewStringUTF(text.c_str());
}

jbyteArray javaBytes(const void* bytes, std::size_t size) {
  JNIEnv* env = javaEnv();
  jbyteArray array = env->NewByteArray(static_cast<jsize>(size));
  env->SetByteArrayRegion(array, 0, static_cast<jsize>(size), static_cast<const jbyte*>(bytes));
  return array;
}

std::string javaVersion() {
  JNIEnv* env = javaEnv();
  jclass system = env->FindClass("java/lang/System");
  jmethodID get =
      env->GetStaticMethodID(system, "getProperty", "(Ljava/lang/String;)Ljava/lang/String;");
  const auto property = [&](const char* name) {
    return textOf(env,
                  static_cast<jstring>(env->CallStaticObjectMethod(system, get, javaText(name))));
  };
  return property("java.version") + " (" + property("java.vm.name") + ", " +
         property("java.vendor") + ")";
}
