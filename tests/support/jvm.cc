#include "support/jvm.h"

#include <dlfcn.h>

#include <cstdlib>
#include <cstring>
#include <iostream>

#include "jni/jniutil.h"
#include "support/java_values.h"

extern "C" JNIEXPORT jint JNICALL JNI_OnLoad(JavaVM* vm, void* reserved);

namespace {

JavaVM* theVm = nullptr;
jclass recordingLog = nullptr;

[[noreturn]] void die(const std::string& why) {
  std::cerr << "no JVM to test in: " << why << "\n";
  std::exit(2);
}

void createVm() {
  const char* home = std::getenv("JAVA_HOME");
  if (home == nullptr) home = ZORF_TEST_JDK;
  const std::string libjvm = std::string(home) + "/lib/server/libjvm.so";
  void* handle = dlopen(libjvm.c_str(), RTLD_NOW | RTLD_GLOBAL);
  if (handle == nullptr) die(dlerror());
  using Create = jint (*)(JavaVM**, void**, void*);
  const auto create = reinterpret_cast<Create>(dlsym(handle, "JNI_CreateJavaVM"));
  if (create == nullptr) die(dlerror());

  std::vector<std::string> words = {
      std::string("-Djava.class.path=") + ZORF_TEST_CLASSPATH,
      std::string("-Dzorf.library=") + ZORF_TEST_LIBRARY,
      "-Dorg.apache.commons.logging.Log=zorf.testing.RecordingLog",
      "-Xmx256m",
      "-XX:+UseSerialGC",
      "-Xshare:auto",
      // The sanitizers and the crash tests keep their own signals.
      "-XX:-CreateCoredumpOnCrash",
  };
  if (const char* more = std::getenv("ZORF_TEST_JVM_OPTION")) words.emplace_back(more);
  std::vector<JavaVMOption> options;
  for (std::string& word : words) options.push_back({word.data(), nullptr});
  JavaVMInitArgs args{ZORF_JNI_VERSION, static_cast<jint>(options.size()), options.data(),
                      JNI_FALSE};
  void* env = nullptr;
  if (create(&theVm, &env, &args) != JNI_OK) die("JNI_CreateJavaVM failed");

  JNI_OnLoad(theVm, nullptr);
  auto* jni = static_cast<JNIEnv*>(env);
  if (jni->ExceptionCheck()) {
    jni->ExceptionDescribe();
    die("JNI_OnLoad left an exception");
  }
  recordingLog =
      static_cast<jclass>(jni->NewGlobalRef(jni->FindClass("zorf/testing/RecordingLog")));
}

void ensureVm() {
  if (theVm == nullptr) createVm();
}

// Local references of the test support itself end with this, and its calls into Java are looked at:
// a run under -Xcheck:jni is about the library.
class SupportFrame {
 public:
  explicit SupportFrame(JNIEnv* env) : env_(env) { env_->PushLocalFrame(16); }
  ~SupportFrame() { env_->PopLocalFrame(nullptr); }
  SupportFrame(const SupportFrame&) = delete;
  SupportFrame& operator=(const SupportFrame&) = delete;

 private:
  JNIEnv* env_;
};

std::string callString(jobject object, jclass cls, const char* method) {
  JNIEnv* env = jniEnv();
  auto text = static_cast<jstring>(
      env->CallObjectMethod(object, env->GetMethodID(cls, method, "()Ljava/lang/String;")));
  env->ExceptionCheck();
  return text == nullptr ? "(null)" : stringOf(text);
}

}  // namespace

JNIEnv* jniEnv() {
  ensureVm();
  void* env = nullptr;
  if (theVm->GetEnv(&env, ZORF_JNI_VERSION) != JNI_OK) die("thread not attached");
  return static_cast<JNIEnv*>(env);
}

AttachedThread::AttachedThread() {
  void* env = nullptr;
  if (theVm->AttachCurrentThread(&env, nullptr) != JNI_OK) die("AttachCurrentThread failed");
}

AttachedThread::~AttachedThread() {
  theVm->DetachCurrentThread();
}

std::optional<JavaError> takeJavaError() {
  JNIEnv* env = jniEnv();
  jthrowable thrown = env->ExceptionOccurred();
  if (thrown == nullptr) return std::nullopt;
  env->ExceptionClear();
  const SupportFrame frame(env);
  jclass cls = env->GetObjectClass(thrown);
  JavaError error{callString(cls, env->FindClass("java/lang/Class"), "getName"),
                  callString(thrown, cls, "getMessage")};
  return error;
}

JavaError errorFor(int err, const std::string& message) {
  std::string className = "java.io.IOException";
  if (err == EPERM || err == EACCES) className = "java.nio.file.AccessDeniedException";
  if (err == ENOENT) className = "java.nio.file.NoSuchFileException";
  if (err == ENOMEM) className = "java.lang.RuntimeException";
  return {className, std::string(std::strerror(err)) + ": " + message};
}

std::vector<std::string> takeLog() {
  JNIEnv* env = jniEnv();
  // A test may look at the log while an exception of the library is pending.
  jthrowable pending = env->ExceptionOccurred();
  env->ExceptionClear();
  std::vector<std::string> result;
  {
    const SupportFrame frame(env);
    auto lines = static_cast<jobjectArray>(env->CallStaticObjectMethod(
        recordingLog, env->GetStaticMethodID(recordingLog, "take", "()[Ljava/lang/String;")));
    env->ExceptionCheck();
    const jsize count = env->GetArrayLength(lines);
    for (jsize i = 0; i < count; ++i) {
      auto line = static_cast<jstring>(env->GetObjectArrayElement(lines, i));
      result.push_back(stringOf(line));
      env->DeleteLocalRef(line);
    }
  }
  if (pending != nullptr) env->Throw(pending);
  return result;
}

void letLoggerThrow(const std::string& message, int nth) {
  JNIEnv* env = jniEnv();
  env->SetStaticIntField(recordingLog, env->GetStaticFieldID(recordingLog, "linesBeforeThrow", "I"),
                         nth - 1);
  jobject toThrow = nullptr;
  if (!message.empty()) {
    jclass cls = env->FindClass("java/lang/RuntimeException");
    toThrow = env->NewObject(cls, env->GetMethodID(cls, "<init>", "(Ljava/lang/String;)V"),
                             javaString(message));
  }
  env->SetStaticObjectField(
      recordingLog, env->GetStaticFieldID(recordingLog, "thrown", "Ljava/lang/RuntimeException;"),
      toThrow);
}

JNIEnv* beginInJvm() {
  JNIEnv* env = jniEnv();
  EXPECT_EQ(env->PushLocalFrame(64), JNI_OK);
  return env;
}

void endInJvm() {
  letLoggerThrow("");
  if (const auto left = takeJavaError()) ADD_FAILURE() << "left pending: " << *left;
  jniEnv()->PopLocalFrame(nullptr);
}
