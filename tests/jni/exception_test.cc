#include "jni/exception.h"

#include <cerrno>
#include <cstring>

#include "jni/jniutil.h"
#include "support/jvm.h"

namespace {

using ::testing::ElementsAre;

using ExceptionTest = JvmTest;

JavaError raised(JNIEnv* env, int err, const std::string& message) {
  handle_error(env, err, message);
  return takeJavaError().value_or(JavaError{"nothing", ""});
}

TEST_F(ExceptionTest, ErrnoChoosesTheClass) {
  EXPECT_EQ(raised(env, EPERM, "/p"),
            (JavaError{"java.nio.file.AccessDeniedException", "Operation not permitted: /p"}));
  EXPECT_EQ(raised(env, EACCES, "/p"),
            (JavaError{"java.nio.file.AccessDeniedException", "Permission denied: /p"}));
  EXPECT_EQ(raised(env, ENOENT, "/p"),
            (JavaError{"java.nio.file.NoSuchFileException", "No such file or directory: /p"}));
  EXPECT_EQ(raised(env, ENOMEM, "/p"),
            (JavaError{"java.lang.RuntimeException", "Cannot allocate memory: /p"}));
  EXPECT_EQ(raised(env, ENOTDIR, "/p"), (JavaError{"java.io.IOException", "Not a directory: /p"}));
}

TEST_F(ExceptionTest, ZeroIsAnIOException) {
  EXPECT_EQ(raised(env, 0, "/p"), (JavaError{"java.io.IOException", "Success: /p"}));
}

TEST_F(ExceptionTest, UnknownNumbersHaveTheSystemsText) {
  EXPECT_EQ(raised(env, 4711, "m"), (JavaError{"java.io.IOException", "Unknown error 4711: m"}));
  EXPECT_EQ(raised(env, -5, "m"), (JavaError{"java.io.IOException", "Unknown error -5: m"}));
}

TEST_F(ExceptionTest, EmptyMessageEndsInColonAndBlank) {
  EXPECT_EQ(raised(env, ENOMEM, ""),
            (JavaError{"java.lang.RuntimeException", "Cannot allocate memory: "}));
}

TEST_F(ExceptionTest, DebugLineCarriesTheExceptionsText) {
  raised(env, ENOENT, "/p");
  EXPECT_THAT(takeLogWithoutLines(),
              ElementsAre("debug @handle_error:# No such file or directory: /p"));
}

TEST_F(ExceptionTest, AboveDebugNothingIsLogged) {
  logger2::currentLevel = LOG_INFO;
  raised(env, ENOENT, "/p");
  EXPECT_TRUE(takeLog().empty());
}

TEST_F(ExceptionTest, FirstOfTwoErrorsStaysAndBothAreLogged) {
  handle_error(env, EACCES, "first");
  handle_error(env, ENOENT, "second");
  EXPECT_EQ(takeJavaError(), errorFor(EACCES, "first"));
  EXPECT_THAT(takeLogWithoutLines(),
              ElementsAre("debug @handle_error:# Permission denied: first",
                          "debug @handle_error:# No such file or directory: second"));
}

TEST_F(ExceptionTest, ClassMissingFromTheCacheGivesInternalError) {
  jclass cached = JniUtil::NoSuchFileException;
  JniUtil::NoSuchFileException = nullptr;
  const JavaError error = raised(env, ENOENT, "/p");
  JniUtil::NoSuchFileException = cached;
  EXPECT_EQ(error, (JavaError{"java.lang.InternalError", "No such file or directory: /p"}));
}

TEST_F(ExceptionTest, LoggersExceptionGivesWayToTheRaisedOne) {
  letLoggerThrow("disk full");
  EXPECT_EQ(raised(env, ENOENT, "/p"), errorFor(ENOENT, "/p"));
}

}  // namespace
