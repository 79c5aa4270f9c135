#include "support/jvm.h"

TEST_F(JvmTest, Starts) {
  EXPECT_FALSE(env->ExceptionCheck());
}
