#include <string>

#include "base/logger.h"
#include "jni/jniutil.h"
#include "support/jvm.h"
#include "support/patched_jni.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

using LoggerTest = JvmTest;

// Counts of what a delivery does with Java, for the patched functions below.
int stringsMade = 0;
int stringsDeleted = 0;
int methodsCalled = 0;

void countCalls(PatchedJni& jni) {
  stringsMade = stringsDeleted = methodsCalled = 0;
  static JNINativeInterface_ real;
  real = jni.real;
  jni.table.NewStringUTF = [](JNIEnv* env, const char* text) {
    ++stringsMade;
    return real.NewStringUTF(env, text);
  };
  jni.table.DeleteLocalRef = [](JNIEnv* env, jobject reference) {
    ++stringsDeleted;
    real.DeleteLocalRef(env, reference);
  };
  jni.table.CallVoidMethodV = [](JNIEnv* env, jobject object, jmethodID method, va_list args) {
    ++methodsCalled;
    real.CallVoidMethodV(env, object, method, args);
  };
}

TEST_F(LoggerTest, EachLevelGoesThroughItsOwnMethod) {
  for (const LOG_LEVEL level : {LOG_TRACE, LOG_DEBUG, LOG_INFO, LOG_WARN, LOG_ERROR, LOG_FATAL}) {
    logger2::log("line", level);
  }
  EXPECT_THAT(takeLog(), ElementsAre("trace line", "debug line", "info line", "warn line",
                                     "error line", "fatal line"));
}

TEST_F(LoggerTest, DebugIsLogAtDebug) {
  logger2::debug("line");
  EXPECT_THAT(takeLog(), ElementsAre("debug line"));
}

TEST_F(LoggerTest, OffMakesAndDeletesAStringButCallsNoMethod) {
  {
    PatchedJni jni;
    countCalls(jni);
    logger2::log("line", LOG_OFF);
    EXPECT_EQ(stringsMade, 1);
    EXPECT_EQ(stringsDeleted, 1);
    EXPECT_EQ(methodsCalled, 0);
  }
  EXPECT_THAT(takeLog(), IsEmpty());
}

TEST_F(LoggerTest, LogItselfDoesNotCompareLevels) {
  logger2::currentLevel = LOG_OFF;
  logger2::log("line", LOG_TRACE);
  EXPECT_THAT(takeLog(), ElementsAre("trace line"));
}

TEST_F(LoggerTest, WithoutALogObjectNothingIsSent) {
  jobject log = JniUtil::ZORFNative_LOG_jobj;
  JniUtil::ZORFNative_LOG_jobj = nullptr;
  logger2::currentLevel = LOG_INFO;  // as before JNI_OnLoad
  {
    PatchedJni jni;
    countCalls(jni);
    logger2::log("line", LOG_ERROR);
    EXPECT_EQ(stringsMade, 0);
  }
  JniUtil::ZORFNative_LOG_jobj = log;
  EXPECT_THAT(takeLog(), IsEmpty());
}

TEST_F(LoggerTest, TextEndsAtItsFirstNul) {
  logger2::log(std::string("ab\0cd", 5), LOG_WARN);
  EXPECT_THAT(takeLog(), ElementsAre("warn ab"));
}

TEST_F(LoggerTest, WithoutMemoryForTheStringTheLineIsDropped) {
  {
    PatchedJni jni;
    countCalls(jni);
    jni.table.NewStringUTF = [](JNIEnv*, const char*) -> jstring { return nullptr; };
    logger2::log("line", LOG_ERROR);
    EXPECT_EQ(methodsCalled, 0);
    EXPECT_EQ(stringsDeleted, 0);
  }
  EXPECT_THAT(takeLog(), IsEmpty());
}

TEST_F(LoggerTest, ManyLinesLeaveNoLocalReferences) {
  // A frame has room for 16; -Xcheck:jni runs of this test complain about any that pile up.
  for (int i = 0; i < 5000; ++i) logger2::log("line", LOG_DEBUG);
  EXPECT_EQ(takeLog().size(), 5000u);
}

TEST_F(LoggerTest, ThrowingLoggerLeavesItsException) {
  letLoggerThrow("disk full");
  logger2::log("line", LOG_WARN);
  letLoggerThrow("");
  EXPECT_EQ(takeJavaError(), (JavaError{"java.lang.RuntimeException", "disk full"}));
}

TEST_F(LoggerTest, PendingExceptionIsParkedWhileALineIsDelivered) {
  env->ThrowNew(JniUtil::IOException, "first");
  logger2::log("line", LOG_WARN);
  EXPECT_EQ(takeJavaError(), (JavaError{"java.io.IOException", "first"}));
  EXPECT_THAT(takeLog(), ElementsAre("warn line"));
}

TEST_F(LoggerTest, PendingExceptionWinsOverTheLoggersOwn) {
  letLoggerThrow("disk full");
  env->ThrowNew(JniUtil::IOException, "first");
  logger2::log("line", LOG_WARN);
  EXPECT_EQ(takeJavaError(), (JavaError{"java.io.IOException", "first"}));
}

}  // namespace
