#include "jni/jniutil.h"

#include <string>
#include <utility>
#include <vector>

#include "acl/aclutil.h"
#include "base/logger.h"
#include "support/java_values.h"
#include "support/jvm.h"
#include "support/patched_jni.h"

extern "C" JNIEXPORT jint JNICALL JNI_OnLoad(JavaVM* vm, void* reserved);

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// Every test here may refill or empty the cache; each ends with the cache of a good load.
class JniUtilTest : public JvmTest {
 protected:
  void TearDown() override {
    ASSERT_EQ(JniUtil::init(env), 0);
    JvmTest::TearDown();
  }
};

std::string asked;  // the lookups made, in order

TEST_F(JniUtilTest, CacheIsFilledInOrder) {
  asked.clear();
  static JNINativeInterface_ real;
  {
    PatchedJni jni;
    real = jni.real;
    jni.table.FindClass = [](JNIEnv* e, const char* name) {
      asked += std::string(name) + "\n";
      return real.FindClass(e, name);
    };
    jni.table.GetMethodID = [](JNIEnv* e, jclass cls, const char* name, const char* signature) {
      asked += std::string(name) + " " + signature + "\n";
      return real.GetMethodID(e, cls, name, signature);
    };
    jni.table.GetStaticFieldID = [](JNIEnv* e, jclass cls, const char* name,
                                    const char* signature) {
      asked += std::string("static ") + name + " " + signature + "\n";
      return real.GetStaticFieldID(e, cls, name, signature);
    };
    ASSERT_EQ(JniUtil::init(env), 0);
  }
  EXPECT_EQ(asked,
            "java/lang/RuntimeException\n"
            "java/io/IOException\n"
            "java/nio/file/NoSuchFileException\n"
            "java/nio/file/AccessDeniedException\n"
            "org/apache/hadoop/hdfs/server/namenode/ZORFNative\n"
            "static LOG Lorg/apache/commons/logging/Log;\n"
            "org/apache/commons/logging/Log\n"
            "isTraceEnabled ()Z\n"
            "isDebugEnabled ()Z\n"
            "isWarnEnabled ()Z\n"
            "isInfoEnabled ()Z\n"
            "isErrorEnabled ()Z\n"
            "isFatalEnabled ()Z\n"
            "trace (Ljava/lang/Object;)V\n"
            "debug (Ljava/lang/Object;)V\n"
            "info (Ljava/lang/Object;)V\n"
            "warn (Ljava/lang/Object;)V\n"
            "error (Ljava/lang/Object;)V\n"
            "fatal (Ljava/lang/Object;)V\n"
            "Ljava/util/HashMap;\n"
            "<init> ()V\n"
            "put (Ljava/lang/Object;Ljava/lang/Object;)Ljava/lang/Object;\n"
            "Ljava/lang/String;\n");
}

TEST_F(JniUtilTest, HandlesAreGlobalReferences) {
  for (jobject reference :
       {static_cast<jobject>(JniUtil::RuntimeException), static_cast<jobject>(JniUtil::IOException),
        static_cast<jobject>(JniUtil::NoSuchFileException),
        static_cast<jobject>(JniUtil::AccessDeniedException),
        static_cast<jobject>(JniUtil::ZORFNative), static_cast<jobject>(JniUtil::Log),
        static_cast<jobject>(JniUtil::HASHMAP_CLS), static_cast<jobject>(JniUtil::CLSID_STRING),
        JniUtil::ZORFNative_LOG_jobj}) {
    EXPECT_EQ(env->GetObjectRefType(reference), JNIGlobalRefType);
  }
}

TEST_F(JniUtilTest, UninitDropsSomeReferencesAndKeepsTheRest) {
  jclass runtimeException = JniUtil::RuntimeException;
  JniUtil::uninit(env);
  EXPECT_EQ(JniUtil::IOException, nullptr);
  EXPECT_EQ(JniUtil::NoSuchFileException, nullptr);
  EXPECT_EQ(JniUtil::AccessDeniedException, nullptr);
  EXPECT_EQ(JniUtil::ZORFNative, nullptr);
  EXPECT_EQ(JniUtil::Log, nullptr);
  EXPECT_EQ(JniUtil::ZORFNative_LOG_jobj, nullptr);
  EXPECT_EQ(JniUtil::RuntimeException, runtimeException);
  EXPECT_NE(JniUtil::HASHMAP_CLS, nullptr);
  EXPECT_NE(JniUtil::CLSID_STRING, nullptr);
  JniUtil::uninit(env);  // nothing left to delete
}

TEST_F(JniUtilTest, MissingClassIsNamed) {
  jclass out = JniUtil::IOException;
  EXPECT_EQ(findJavaClass(env, "no/such/Class", out), -1);
  EXPECT_EQ(out, JniUtil::IOException);
  EXPECT_EQ(takeJavaError(),
            (JavaError{"java.lang.NoClassDefFoundError", "Cannot find class no/such/Class"}));
}

TEST_F(JniUtilTest, MissingMethodIsNamedWithItsSignatureGluedOn) {
  jmethodID out = JniUtil::Log_debug;
  EXPECT_EQ(getMethodId(env, JniUtil::ZORFNative, "debug", "(Ljava/lang/Object;)V", out,
                        JNI_INSTANCE_MEMBER),
            -1);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(takeJavaError(), (JavaError{"java.lang.NoSuchMethodError",
                                        "Cannot find methold debug(Ljava/lang/Object;)V"}));
}

TEST_F(JniUtilTest, StaticAndInstanceMembersAreApart) {
  jmethodID out = nullptr;
  EXPECT_EQ(getMethodId(env, JniUtil::ZORFNative, "getINum", "(Ljava/lang/String;)J", out,
                        JNI_STATIC_MEMBER),
            0);
  EXPECT_NE(out, nullptr);
  EXPECT_EQ(getMethodId(env, JniUtil::ZORFNative, "getINum", "(Ljava/lang/String;)J", out,
                        JNI_INSTANCE_MEMBER),
            -1);
  takeJavaError();
  jfieldID field = nullptr;
  EXPECT_EQ(getFieldId(env, JniUtil::ZORFNative, "LOG", "Lorg/apache/commons/logging/Log;", field,
                       JNI_INSTANCE_MEMBER),
            -1);
  EXPECT_EQ(takeJavaError(), (JavaError{"java.lang.NoSuchFieldError", "Cannot find field LOG"}));
}

TEST_F(JniUtilTest, MissingFieldIsNamedWithoutSignature) {
  jfieldID out = nullptr;
  EXPECT_EQ(getFieldId(env, JniUtil::ZORFNative, "GOL", "I", out, JNI_STATIC_MEMBER), -1);
  EXPECT_EQ(takeJavaError(), (JavaError{"java.lang.NoSuchFieldError", "Cannot find field GOL"}));
}

// The load as it is when `name` can't be found.
void loadWithout(JNIEnv* env, const char* name) {
  static const char* missing;
  static JNINativeInterface_ real;
  missing = name;
  PatchedJni jni;
  real = jni.real;
  jni.table.FindClass = [](JNIEnv* e, const char* cls) {
    return real.FindClass(e, missing == std::string(cls) ? "no/such/Class" : cls);
  };
  jni.table.GetMethodID = [](JNIEnv* e, jclass cls, const char* method, const char* signature) {
    return real.GetMethodID(e, cls, missing == std::string(method) ? "none" : method, signature);
  };
  EXPECT_EQ(JNI_OnLoad(JniUtil::javaVM, nullptr), 0x10006);
  (void)env;
}

TEST_F(JniUtilTest, LoadWithAMissingMethodSucceedsSilentWithTheErrorPending) {
  JniUtil::uninit(env);
  loadWithout(env, "warn");
  EXPECT_EQ(takeJavaError(), (JavaError{"java.lang.NoSuchMethodError",
                                        "Cannot find methold warn(Ljava/lang/Object;)V"}));
  EXPECT_EQ(logger2::currentLevel, LOG_OFF);
  EXPECT_EQ(JniUtil::ZORFNative_LOG_jobj, nullptr);
  EXPECT_NE(ACLUtil::libacl_handle, nullptr);
  EXPECT_THAT(takeLog(), IsEmpty());
}

TEST_F(JniUtilTest, LoadWithAMissingClassSucceedsSilentWithTheErrorPending) {
  JniUtil::uninit(env);
  loadWithout(env, "java/nio/file/AccessDeniedException");
  EXPECT_EQ(takeJavaError(), (JavaError{"java.lang.NoClassDefFoundError",
                                        "Cannot find class java/nio/file/AccessDeniedException"}));
  EXPECT_EQ(logger2::currentLevel, LOG_OFF);
  EXPECT_EQ(JniUtil::ZORFNative, nullptr);
}

TEST_F(JniUtilTest, UnreadableLogFieldLeavesTheVmsErrorForTheUnknownClass) {
  JniUtil::uninit(env);
  {
    PatchedJni jni;
    jni.table.GetStaticObjectField = [](JNIEnv* e, jclass, jfieldID) -> jobject {
      e->ThrowNew(JniUtil::RuntimeException, "unreadable");
      return nullptr;
    };
    EXPECT_EQ(JniUtil::init(env), -1);
  }
  EXPECT_EQ(takeJavaError(),
            (JavaError{"java.lang.NoClassDefFoundError", "java/lang/NoFieldFoundError"}));
  EXPECT_EQ(JniUtil::ZORFNative_LOG_jobj, nullptr);
}

TEST_F(JniUtilTest, NullLogFieldSilencesEverything) {
  JniUtil::uninit(env);
  {
    PatchedJni jni;
    jni.table.GetStaticObjectField = [](JNIEnv*, jclass, jfieldID) -> jobject { return nullptr; };
    EXPECT_EQ(JNI_OnLoad(JniUtil::javaVM, nullptr), 0x10006);
  }
  EXPECT_FALSE(env->ExceptionCheck());
  EXPECT_EQ(logger2::currentLevel, LOG_OFF);
  EXPECT_THAT(takeLog(), IsEmpty());
}

// The level that a load finds with a logger that answers true to the questions named.
std::pair<int, std::vector<std::string>> levelWith(std::vector<std::string> enabled) {
  static std::vector<jmethodID> yes;
  yes.clear();
  const std::pair<const char*, jmethodID> questions[] = {
      {"trace", JniUtil::Log_isTraceEnabled}, {"debug", JniUtil::Log_isDebugEnabled},
      {"info", JniUtil::Log_isInfoEnabled},   {"warn", JniUtil::Log_isWarnEnabled},
      {"error", JniUtil::Log_isErrorEnabled}, {"fatal", JniUtil::Log_isFatalEnabled}};
  for (const auto& [name, id] : questions) {
    for (const std::string& level : enabled) {
      if (level == name) yes.push_back(id);
    }
  }
  takeLog();
  {
    PatchedJni jni;
    jni.table.CallBooleanMethodV = [](JNIEnv*, jobject, jmethodID question, va_list) -> jboolean {
      for (jmethodID id : yes) {
        if (id == question) return JNI_TRUE;
      }
      return JNI_FALSE;
    };
    JNI_OnLoad(JniUtil::javaVM, nullptr);
  }
  return {logger2::currentLevel, takeLogWithoutLines()};
}

TEST_F(JniUtilTest, TraceStartsWithOneLineThroughDebug) {
  const auto [level, lines] = levelWith({"trace", "debug", "info", "warn", "error", "fatal"});
  EXPECT_EQ(level, LOG_TRACE);
  EXPECT_THAT(lines, ElementsAre("debug @JNI_OnLoad:# libzorfhadoop initializing",
                                 "trace @init:# ACLUtil"));
}

TEST_F(JniUtilTest, DebugStartsWithOneLine) {
  const auto [level, lines] = levelWith({"debug", "info", "warn", "error", "fatal"});
  EXPECT_EQ(level, LOG_DEBUG);
  EXPECT_THAT(lines, ElementsAre("debug @JNI_OnLoad:# libzorfhadoop initializing"));
}

TEST_F(JniUtilTest, WarnIsAskedBeforeInfo) {
  EXPECT_EQ(levelWith({"info", "warn", "error", "fatal"}).first, LOG_WARN);
  EXPECT_EQ(levelWith({"info"}).first, LOG_INFO);
  EXPECT_EQ(levelWith({"info", "error"}).first, LOG_INFO);
}

TEST_F(JniUtilTest, HigherLevelsAreSilentAtStart) {
  for (const auto& [enabled, expected] : std::vector<std::pair<std::vector<std::string>, int>>{
           {{"error", "fatal"}, LOG_ERROR}, {{"fatal"}, LOG_FATAL}, {{}, LOG_OFF}}) {
    const auto [level, lines] = levelWith(enabled);
    EXPECT_EQ(level, expected);
    EXPECT_THAT(lines, IsEmpty());
  }
}

TEST_F(JniUtilTest, LoggerThatCannotAnswerHasNoLevelAndItsExceptionStays) {
  {
    PatchedJni jni;
    jni.table.CallBooleanMethodV = [](JNIEnv* e, jobject, jmethodID, va_list) -> jboolean {
      e->ThrowNew(JniUtil::RuntimeException, "not configured");
      return JNI_TRUE;
    };
    EXPECT_EQ(JNI_OnLoad(JniUtil::javaVM, nullptr), 0x10006);
  }
  EXPECT_EQ(takeJavaError(), (JavaError{"java.lang.RuntimeException", "not configured"}));
  EXPECT_EQ(logger2::currentLevel, LOG_OFF);
}

}  // namespace
