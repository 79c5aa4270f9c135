// What reaches Java of a C++ exception when there is no memory to tell more.
#include <cerrno>

#include "base/ioexception.h"
#include "jni/convert.h"
#include "support/interpose.h"
#include "support/jvm.h"

namespace {

using EdgeTest = JvmTest;

TEST_F(EdgeTest, IOExceptionWithoutMemoryForItsTextIsOutOfMemory) {
  logger2::currentLevel = LOG_OFF;
  const IOException error("/a/path/longer/than/a/string/object/holds", EIO);
  try {
    throw IOException(error);
  } catch (...) {
    Hooks hooks;
    hooks.fail("any allocation", ENOMEM);
    atJavaEdge(env);
    EXPECT_FALSE(hooks.awaits("any allocation"));
  }
  EXPECT_EQ(takeJavaError(), errorFor(ENOMEM, ""));
}

}  // namespace
